// Answers documents with what it counted in them, each client in a thread of its own.

#include "infra/oss/kelSocketException.hpp"
#include "infra/oss/kelSocketServer.hpp"

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

using documents::Summary;
using tarvo::oss::BaseException;
using tarvo::oss::Socket;
using tarvo::oss::SocketException;
using tarvo::oss::SocketServer;

const char* const usage =
    "Usage: documentServer [OPTION]...\n"
    "Answers each document that a client sends with its byte count, line count and CRC-32.\n"
    "\n"
    "  --port PORT      the port to listen on; 0, the default, lets the system choose\n"
    "  --clients N      ends after N clients; 0, the default, goes on until it is interrupted\n"
    "  --limit BYTES    the largest document that is taken; 16777216 by default\n"
    "  --timeout MS     drops a client that neither sends nor takes for so long; 30000 by default, 0 never\n"
    "  --wait MS        ends when no client comes for so long; 0, the default, waits without limit\n"
    "  --help           prints this text\n"
    "\n"
    "Prints \"listening on PORT\" when clients may come. A client's failure is printed and ends that "
    "client's\n"
    "connection only. The status tells how the server itself ended.\n"
    "\n";

struct Options {
  unsigned long long port = 0;
  unsigned long long clients = 0;
  unsigned long long limit = 16ULL << 20;
  unsigned long long timeout = 30'000;
  unsigned long long wait = 0;
};

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
  Connection(unsigned long long number, const Options& options, Screen& screen)
      : name_("client " + std::to_string(number)), options_(options), screen_(screen) {}
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
      socket_.setTimeout(static_cast<unsigned int>(options_.timeout));
      documents::FrameBuffer buffer(static_cast<std::size_t>(options_.limit));
      while (answerNext(buffer)) {
      }
      screen_.say(name_ + ": done after " + std::to_string(answered_) + " answers");
    } catch (const BaseException& error) {
      std::ostringstream text;
      documents::explain(text, error);
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
      const Summary summary = documents::summarise(documents::receiveFrame(socket_, buffer));
      documents::sendFrame(socket_, documents::answerText(summary));
      screen_.say(name_ + ": " + std::to_string(summary.bytes) + " bytes, " + std::to_string(summary.lines) +
                  " lines, CRC-32 " + documents::hexadecimal(summary.crc));
    } catch (const SocketException& error) {
      const std::string identifier = documents::identifierOf(error);
      if (identifier == "ERR_SOCKET_CLOSED") return false;
      if (identifier != "ERR_DEST_BUFFER_TOO_SMALL") throw;
      const std::string line = documents::messageLine(error);
      documents::sendFrame(socket_, std::string(documents::refusalPrefix) + line);
      screen_.say(name_ + ": refused a document. " + line);
    }
    ++answered_;
    return true;
  }

  std::string name_;
  const Options& options_;
  Screen& screen_;
  Socket socket_;
  unsigned long long answered_ = 0;
  std::atomic<bool> done_ = false;
  std::thread thread_;
};

int serve(const Options& options) {
  constexpr unsigned int backlog = 128;
  Screen screen;
  SocketServer server;
  server.listen(static_cast<unsigned int>(options.port), backlog, true);
  screen.say("listening on " + std::to_string(server.getPort()));

  std::list<Connection> connections;
  for (unsigned long long number = 1; options.clients == 0 || number <= options.clients; ++number) {
    Connection& connection = connections.emplace_back(number, options, screen);
    try {
      server.accept(connection.socket(), options.wait == 0 ? nullptr : &options.wait);
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
  screen.say("served " + std::to_string(options.clients) + " clients");
  return documents::statusOk;
}

int run(const std::vector<std::string>& arguments) {
  if (arguments == std::vector<std::string>{"--help"}) {
    std::cout << usage << documents::exitStatusHelp;
    return documents::statusOk;
  }
  constexpr unsigned long long most32 = std::numeric_limits<unsigned int>::max();
  constexpr unsigned long long mostTime = std::numeric_limits<int>::max();
  Options options;
  const auto plain = documents::parseArguments(arguments, {{"--port", &options.port, 0, 65535},
                                                           {"--clients", &options.clients, 0, most32},
                                                           {"--limit", &options.limit, 0, most32},
                                                           {"--timeout", &options.timeout, 0, mostTime},
                                                           {"--wait", &options.wait, 0, mostTime}});
  if (!plain || !plain->empty()) {
    std::cerr << usage << documents::exitStatusHelp;
    return documents::statusUsage;
  }
  return serve(options);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run({argv + 1, argv + argc});
  } catch (const BaseException& error) {
    documents::explain(std::cerr, error);
    return documents::meaningOf(error).status;
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return documents::statusOther;
  }
}
