#include "conversation.hpp"

#include "infra/oss/kelSocketException.hpp"

#include "documentService.hpp"

#include <exception>
#include <sstream>
#include <string>
#include <string_view>

namespace documents {

using tarvo::oss::BaseException;
using tarvo::oss::Message;
using tarvo::oss::Socket;
using tarvo::oss::SocketException;

namespace {

class Conversation {
 public:
  Conversation(Socket& socket, const Settings& settings)
      : socket_(socket), settings_(settings), buffer_(settings.requestLimit) {
    socket_.setTimeout(settings_.clientTimeout);
  }

  /// Returns false if the client has left between two frames, which is the normal end of a conversation.
  bool answerNext() {
    try {
      reply(receiveFrame(socket_, buffer_));
    } catch (SocketException& error) {
      const std::string identifier = utf8(error.getErrorMessage().getMessageID());
      if (identifier == "ERR_SOCKET_CLOSED") return false;
      // A frame that is too large has been read and dropped, so the conversation can go on.
      if (identifier != "ERR_DEST_BUFFER_TOO_SMALL") throw;
      refuse(error.getErrorMessage());
    }
    return true;
  }

  unsigned long long answered() const { return answered_; }
  unsigned long long refused() const { return refused_; }

 private:
  void reply(std::string_view request) {
    std::string text;
    try {
      text = answer(request, settings_);
    } catch (BaseException& error) {
      refuse(error.getErrorMessage());
      return;
    }
    sendFrame(socket_, text);
    ++answered_;
  }

  void refuse(const Message& message) {
    sendFrame(socket_, refusalText(message));
    ++refused_;
  }

  Socket& socket_;
  const Settings& settings_;
  FrameBuffer buffer_;
  unsigned long long answered_ = 0;
  unsigned long long refused_ = 0;
};

void converseToTheEnd(Socket& socket, unsigned long long client, const Settings& settings, Screen& screen) {
  try {
    screen.say("client ", client, ": connected");
    Conversation conversation(socket, settings);
    while (conversation.answerNext()) {
    }
    screen.say("client ", client, ": done, ", conversation.answered(), " answered, ", conversation.refused(),
               " refused");
  } catch (BaseException& error) {
    std::ostringstream text;
    explain(text, error.getErrorMessage());
    screen.say("client ", client, ": dropped. ", text.str());
  }
}

}  // namespace

void converse(Socket& socket, unsigned long long client, const Settings& settings, Screen& screen) noexcept {
  try {
    converseToTheEnd(socket, client, settings, screen);
  } catch (const std::exception& error) {
    // This is also done if there was no memory for the explanation above.
    screen.say("client ", client, ": dropped. ", error.what());
  }
}

}  // namespace documents
