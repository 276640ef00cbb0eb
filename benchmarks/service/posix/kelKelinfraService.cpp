#include "infra/oss/kelBaseException.hpp"
#include "infra/oss/kelConverter.hpp"
#include "infra/oss/kelDeadline.hpp"
#include "infra/oss/kelFrameReader.hpp"
#include "infra/oss/kelFrameWriter.hpp"
#include "infra/oss/kelPoller.hpp"
#include "infra/oss/kelSocket.hpp"
#include "infra/oss/kelSocketException.hpp"
#include "infra/oss/kelSocketServer.hpp"
#include "infra/oss/kelWakeup.hpp"
#include "infra/util/kelBase64.hpp"
#include "infra/util/kelExtendedProperties.hpp"

#include "kelWordCounter.hpp"

#include <unicode/unistr.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <deque>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

/// The service with KELINFRA: a Poller and a thread for each processor.
namespace {

using namespace tarvo::benchmarks::service;
using tarvo::oss::BaseException;
using tarvo::oss::Converter;
using tarvo::oss::Deadline;
using tarvo::oss::FrameReader;
using tarvo::oss::FrameWriter;
using tarvo::oss::Poller;
using tarvo::oss::Socket;
using tarvo::oss::SocketException;
using tarvo::oss::SocketServer;
using tarvo::oss::Wakeup;
using tarvo::util::Base64;
using tarvo::util::ExtendedProperties;

std::string decodeBase64(const icu::UnicodeString& text) {
  const auto length = static_cast<std::size_t>(text.length());
  std::string bytes(Base64::decodeSize(length), '\0');
  // The copy shares the text, and has a terminator.
  icu::UnicodeString terminated(text);
  const auto* const units = reinterpret_cast<const unsigned short*>(terminated.getTerminatedBuffer());
  bytes.resize(Base64::decode(bytes.data(), bytes.size(), units, length));
  return bytes;
}

icu::UnicodeString convert(const std::string& bytes, const std::string& codePage) {
  icu::UnicodeString text;
  const auto length = static_cast<int>(bytes.size());
  const int room = 2 * length + 1;  // no code page makes more than two units from a byte
  char16_t* const units = text.getBuffer(room);
  int size = 1;
  try {
    size = Converter::convert(reinterpret_cast<char*>(units), 2 * room, codePage.c_str(), bytes.data(),
                              length, "UTF16_PlatformEndian");
  } catch (...) {
    text.releaseBuffer(0);
    throw;
  }
  text.releaseBuffer(size / 2);
  return text;
}

std::string answer(const char* request, std::size_t length) {
  try {
    ExtendedProperties properties;
    properties.load(request, length, false);
    std::string codePage;
    properties.requireProperty(codePageKey).toUTF8String(codePage);
    const std::string document = decodeBase64(properties.requireProperty(dataKey));
    return answerOf(wordCounter().count(convert(document, codePage)));
  } catch (BaseException&) {
    return refusal;
  }
}

/// One client.
class Conversation {
 public:
  explicit Conversation(std::unique_ptr<Socket> socket)
      : socket_(std::move(socket)), received_(requestLimit), waiting_(answerLimit) {
    socket_->setNoDelay(true);
  }

  unsigned long long handle() const { return socket_->handle(); }
  bool hasUnsent() const { return waiting_.length() > 0; }

  /// Receives once and answers the frames that are complete. False if the conversation has ended.
  bool receive(std::array<char, 4096>& room) {
    const auto count = socket_->readOnce(room.data(), 0, room.size());
    if (count == 0) return false;
    received_.append(room.data(), 0, count);
    FrameReader::State state = received_.next();
    for (; state == FrameReader::FRAME; state = received_.next()) {
      const std::string text = answer(received_.payload(), static_cast<std::size_t>(received_.length()));
      // A client that sends requests and reads no answers is cut off.
      if (!waiting_.add(text.data(), 0, text.size())) return false;
    }
    if (hasUnsent()) send();
    return state == FrameReader::NEED_MORE;
  }

  void send() { waiting_.remove(socket_->writeOnce(waiting_.bytes(), 0, waiting_.length())); }

 private:
  static constexpr unsigned long long answerLimit = 1 << 16;

  std::unique_ptr<Socket> socket_;
  FrameReader received_;
  FrameWriter waiting_;
};

/// Serves its clients with one thread.
class Worker {
 public:
  Worker() : thread_([this] { run(); }) {}

  /// Any thread may call this.
  void add(std::unique_ptr<Socket> socket) {
    const std::lock_guard<std::mutex> lock(mutex_);
    arrived_.push_back(std::move(socket));
    wakeup_.trigger();
  }

 private:
  void run() {
    poller_.watch(wakeup_.handle(), Poller::READ);
    for (;;) {
      const auto count = poller_.wait(Deadline::never());
      for (unsigned long long i = 0; i < count; ++i) {
        const Poller::Ready ready = poller_.ready(i);
        if (ready.handle == wakeup_.handle()) {
          takeArrived();
        } else {
          advance(ready);
        }
      }
    }
  }

  void takeArrived() {
    wakeup_.clear();
    const std::lock_guard<std::mutex> lock(mutex_);
    for (std::unique_ptr<Socket>& socket : arrived_) {
      const unsigned long long handle = socket->handle();
      conversations_.try_emplace(handle, std::move(socket));
      poller_.watch(handle, Poller::READ);
    }
    arrived_.clear();
  }

  void advance(const Poller::Ready& ready) {
    Conversation& conversation = conversations_.at(ready.handle);
    try {
      const bool hadUnsent = conversation.hasUnsent();
      if (ready.canWrite) conversation.send();
      const bool goesOn = !ready.canRead || conversation.receive(room_);
      if (!goesOn) {
        end(ready.handle);
      } else if (conversation.hasUnsent() != hadUnsent) {
        poller_.watch(ready.handle, conversation.hasUnsent() ? Poller::READ | Poller::WRITE : Poller::READ);
      }
    } catch (const SocketException&) {
      end(ready.handle);  // the connection is lost
    }
  }

  void end(unsigned long long handle) {
    poller_.forget(handle);
    conversations_.erase(handle);
  }

  Poller poller_;
  Wakeup wakeup_;
  std::unordered_map<unsigned long long, Conversation> conversations_;
  std::array<char, 4096> room_;
  std::mutex mutex_;  // for `arrived_`
  std::vector<std::unique_ptr<Socket>> arrived_;
  std::thread thread_;
};

void serve() {
  SocketServer server;
  server.listen("127.0.0.1", 0, 1024, true);
  std::deque<Worker> workers(std::max(1U, std::thread::hardware_concurrency()));
  std::cout << server.getPort() << std::endl;
  for (std::size_t next = 0;; next = (next + 1) % workers.size()) {
    auto socket = std::make_unique<Socket>();
    server.accept(*socket, nullptr);
    workers[next].add(std::move(socket));
  }
}

}  // namespace

int main() {
  return guarded(serve);
}
