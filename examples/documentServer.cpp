// Answers documents with what it counted in them, each client in a thread of its own.

#include "infra/oss/kelSocketException.hpp"
#include "infra/oss/kelSocketServer.hpp"

#include "documentAnalysis.hpp"
#include "documentService.hpp"

#include <atomic>
#include <exception>
#include <iostream>
#include <limits>
#include <list>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>

namespace {

using documents::Settings;
using tarvo::oss::BaseException;
using tarvo::oss::Message;
using tarvo::oss::Socket;
using tarvo::oss::SocketException;
using tarvo::oss::SocketServer;

const char* const usage =
    "Usage: documentServer [--clients N] SETTINGS\n"
    "Answers each document that a client sends with what it counted in it. SETTINGS is a properties file;\n"
    "server.properties, which comes with the program, explains each setting.\n"
    "\n"
    "  --clients N      ends after N clients; 0, the default, goes on until it is interrupted\n"
    "  --help           prints this text\n"
    "\n"
    "Prints \"listening on PORT\" when clients may come. A request that is wrong is answered with its error; "
    "a\n"
    "connection that fails is printed and ends. The status tells how the server itself ended.\n"
    "\n";

/// The server's screen, shared by the connections' threads; a line at a time.
class Screen {
 public:
  void say(const std::string& line) {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::cout << line << std::endl;
  }

 private:
  std::mutex mutex_;
};

/// One client: its connection, and the thread that answers it.
class Connection {
 public:
  Connection(unsigned long long number, const Settings& settings, Screen& screen)
      : name_("client " + std::to_string(number)), settings_(settings), screen_(screen) {}
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection() {
    if (thread_.joinable()) thread_.join();
  }

  Socket& socket() { return socket_; }
  void start() {
    thread_ = std::thread([this] { serve(); });
  }
  bool isDone() const { return done_; }

 private:
  void serve() {
    try {
      screen_.say(name_ + ": connected");
      socket_.setTimeout(settings_.clientTimeout);
      documents::FrameBuffer buffer(settings_.requestLimit);
      while (answerNext(buffer)) {
      }
      screen_.say(name_ + ": done, " + std::to_string(answered_) + " answered, " + std::to_string(refused_) +
                  " refused");
    } catch (BaseException& error) {
      std::ostringstream text;
      documents::explain(text, error.getErrorMessage());
      screen_.say(name_ + ": dropped. " + text.str());
    } catch (const std::exception& error) {
      screen_.say(name_ + ": dropped. " + error.what());
    }
    socket_.close();
    done_ = true;
  }

  /// False when the client has left between two frames, as it should.
  bool answerNext(documents::FrameBuffer& buffer) {
    try {
      const std::string_view request = documents::receiveFrame(socket_, buffer);
      reply(request);
    } catch (SocketException& error) {
      const std::string identifier = documents::utf8(error.getErrorMessage().getMessageID());
      if (identifier == "ERR_SOCKET_CLOSED") return false;
      // The frame that is too large has been read and dropped, so the conversation can go on.
      if (identifier != "ERR_DEST_BUFFER_TOO_SMALL") throw;
      refuse(error.getErrorMessage());
    }
    return true;
  }

  void reply(std::string_view request) {
    std::string text;
    try {
      text = documents::answer(request, settings_);
    } catch (BaseException& error) {
      refuse(error.getErrorMessage());
      return;
    }
    documents::sendFrame(socket_, text);
    ++answered_;
  }

  void refuse(const Message& message) {
    documents::sendFrame(socket_, documents::refusalText(message));
    ++refused_;
  }

  std::string name_;
  const Settings& settings_;
  Screen& screen_;
  Socket socket_;
  unsigned long long answered_ = 0;
  unsigned long long refused_ = 0;
  std::atomic<bool> done_ = false;
  std::thread thread_;
};

int serve(const Settings& settings, unsigned long long clients) {
  Screen screen;
  SocketServer server;
  server.listen(settings.port, settings.backlog, true);
  screen.say("listening on " + std::to_string(server.getPort()));

  const unsigned long long wait = settings.acceptTimeout;
  std::list<Connection> connections;
  for (unsigned long long number = 1; clients == 0 || number <= clients; ++number) {
    Connection& connection = connections.emplace_back(number, settings, screen);
    try {
      server.accept(connection.socket(), wait == 0 ? nullptr : &wait);
    } catch (...) {
      // Those who came are served to their end; that nobody else came is then told by the status.
      connections.clear();
      throw;
    }
    connection.start();
    connections.remove_if([](const Connection& each) { return each.isDone(); });
  }
  server.close();
  connections.clear();
  screen.say("served " + std::to_string(clients) + " clients");
  return documents::statusOk;
}

int run(const std::vector<std::string>& arguments) {
  if (arguments == std::vector<std::string>{"--help"}) {
    std::cout << usage << documents::exitStatusHelp;
    return documents::statusOk;
  }
  unsigned long long clients = 0;
  const auto plain = documents::parseArguments(
      arguments, {{"--clients", &clients, 0, std::numeric_limits<unsigned int>::max()}});
  if (!plain || plain->size() != 1) {
    std::cerr << usage << documents::exitStatusHelp;
    return documents::statusUsage;
  }
  const auto text = documents::readFile(plain->front());
  if (!text) {
    std::cerr << plain->front() << ": it cannot be read\n";
    return documents::statusUsage;
  }
  return serve(documents::readSettings(*text), clients);
}

}  // namespace

int main(int argc, char** argv) {
  return documents::guarded(run, argc, argv);
}
