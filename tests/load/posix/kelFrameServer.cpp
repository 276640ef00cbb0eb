// A server that answers every frame with the same frame, for the load programs to talk to and to look at.
//
//   kelinfra_frame_server [--groups] [--timeout MS] [--capacity BYTES] [--drain] [--buffers BYTES]
//                         [--leak KIND]
//
//   --groups     a thread serves up to 63 connections and watches them with select; otherwise each connection
//                has a thread
//   --timeout    the longest wait of one receive and of one send
//   --capacity   the longest payload that is accepted
//   --drain      a longer one is dropped and the connection continues; otherwise the connection ends
//   --buffers    size of the system's buffer for a connection, in each direction
//   --leak       descriptors, threads or heap: leaks one with every tenth connection, to show that leaks are
//                noticed
//
// Prints "listening PORT"; then a line for every line that it reads:
//   open N       waits until N connections are open             "open N"
//   figures      what it holds (kelFigures.hpp)                 "descriptors ..."
//   ended N      waits until N connections have ended since     "OUTCOME COUNT ...", sorted
// and ends when its input ends. An outcome is the operation that ended a connection and its error, for
// example "read:ERR_SOCKET_CLOSED", "write:QN_ERR_SOCKET_TIMEOUT", or "read:short" for a frame that the peer
// did not finish.

#include "infra/oss/kelSocketException.hpp"
#include "infra/oss/kelSocketServer.hpp"

#include "kelFigures.hpp"

#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <utility>

namespace {

using tarvo::oss::Socket;
using tarvo::oss::SocketException;
using tarvo::oss::SocketServer;

struct Settings {
  bool groups = false;
  unsigned int timeout = 0;
  unsigned long long capacity = 64ULL * 1024;
  bool drain = false;
  int buffers = 0;
  std::string leak;
};

std::string identifierOf(const SocketException& error) {
  std::string text;
  return error.getErrorMessage().getMessageID().toUTF8String(text);
}

/// Counts the open connections and the outcomes of the ended ones.
class Ledger {
 public:
  void opened() {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++open_;
    changed_.notify_all();
  }

  void ended(const std::string& outcome) {
    const std::lock_guard<std::mutex> lock(mutex_);
    --open_;
    ++endedCount_;
    ++outcomes_[outcome];
    changed_.notify_all();
  }

  void awaitOpen(long count) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] { return open_ == count; });
  }

  std::string takeEnded(long count) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] { return endedCount_ >= count; });
    std::string text;
    for (const auto& [outcome, times] : outcomes_) {
      text += (text.empty() ? "" : " ") + outcome + " " + std::to_string(times);
    }
    outcomes_.clear();
    endedCount_ = 0;
    return text;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  long open_ = 0;
  long endedCount_ = 0;
  std::map<std::string, long> outcomes_;
};

/// Answers one frame of a connection. Returns how the connection ended, or "" if it continues.
class FrameEcho {
 public:
  explicit FrameEcho(const Settings& settings)
      : settings_(settings), buffer_(new char[static_cast<std::size_t>(settings.capacity)]) {}

  std::string answer(Socket& connection) {
    const char* where = "read:";
    try {
      unsigned long long length = 0;
      const unsigned long long got =
          connection.readMessage(buffer_.get(), &length, 0, settings_.capacity, settings_.drain);
      if (got < length) return "read:short";
      where = "write:";
      connection.writeMessage(buffer_.get(), 0, got);
      return "";
    } catch (const SocketException& error) {
      const std::string identifier = identifierOf(error);
      if (settings_.drain && identifier == "ERR_DEST_BUFFER_TOO_SMALL") return "";
      return where + identifier;
    }
  }

 private:
  const Settings& settings_;
  std::unique_ptr<char[]> buffer_;
};

/// Serves connections in threads that it owns.
class Service {
 public:
  virtual ~Service() = default;
  virtual void take(std::unique_ptr<Socket> connection) = 0;
  /// The number of its running threads, after those that have ended are joined.
  virtual long threads() = 0;
};

class ThreadPerConnection : public Service {
 public:
  ThreadPerConnection(const Settings& settings, Ledger& ledger) : settings_(settings), ledger_(ledger) {}

  void take(std::unique_ptr<Socket> connection) override {
    joinFinished();
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto place = running_.emplace(running_.end());
    *place = std::thread(
        [this, place](std::unique_ptr<Socket> mine) {
          const std::string outcome = serve(*mine);
          mine.reset();
          const std::lock_guard<std::mutex> finishing(mutex_);
          finished_.splice(finished_.end(), running_, place);
          ledger_.ended(outcome);
        },
        std::move(connection));
  }

  long threads() override {
    joinFinished();
    const std::lock_guard<std::mutex> lock(mutex_);
    return static_cast<long>(running_.size());
  }

 private:
  std::string serve(Socket& connection) const {
    FrameEcho echo(settings_);
    for (;;) {
      std::string outcome = echo.answer(connection);
      if (!outcome.empty()) return outcome;
    }
  }

  void joinFinished() {
    std::list<std::thread> ended;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      ended.swap(finished_);
    }
    for (std::thread& thread : ended) thread.join();
  }

  const Settings& settings_;
  Ledger& ledger_;
  std::mutex mutex_;
  std::list<std::thread> running_;
  std::list<std::thread> finished_;
};

/// A thread that watches as many connections as select accepts, less the one that wakes it.
class Group {
 public:
  Group(const Settings& settings, Ledger& ledger) : echo_(settings), ledger_(ledger) {
    SocketServer server;
    server.listen(0, 1, false);
    wake_.connect("127.0.0.1", server.getPort(), Socket::NullAddrInfoExternal, nullptr);
    server.accept(woken_, nullptr);
    thread_ = std::thread([this] { run(); });
  }

  /// Returns whether there was room.
  bool take(std::unique_ptr<Socket>& connection) {
    constexpr long most = 63;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (count_ == most) return false;
      ++count_;
      arrived_.push_back(std::move(connection));
    }
    wake_.write("w", 0, 1);
    return true;
  }

 private:
  void run() {
    for (;;) {
      std::list<Socket> ready(1, woken_);
      for (const auto& connection : connections_) ready.push_back(*connection);
      std::list<Socket> nothing;
      Socket::select(ready, nothing, nothing, nullptr);
      for (const Socket& each : ready) {
        if (each.handle() == woken_.handle()) {
          takeArrived();
        } else {
          serve(each.handle());
        }
      }
    }
  }

  void takeArrived() {
    char byte = 0;
    woken_.readOnce(&byte, 0, 1);
    const std::lock_guard<std::mutex> lock(mutex_);
    connections_.splice(connections_.end(), arrived_);
  }

  void serve(unsigned long long handle) {
    for (auto each = connections_.begin(); each != connections_.end(); ++each) {
      if ((*each)->handle() != handle) continue;
      const std::string outcome = echo_.answer(**each);
      if (outcome.empty()) return;
      connections_.erase(each);
      const std::lock_guard<std::mutex> lock(mutex_);
      --count_;
      ledger_.ended(outcome);
      return;
    }
  }

  FrameEcho echo_;
  Ledger& ledger_;
  Socket wake_;
  Socket woken_;
  std::list<std::unique_ptr<Socket>> connections_;
  std::mutex mutex_;
  std::list<std::unique_ptr<Socket>> arrived_;
  long count_ = 0;
  std::thread thread_;
};

class ThreadPerGroup : public Service {
 public:
  ThreadPerGroup(const Settings& settings, Ledger& ledger) : settings_(settings), ledger_(ledger) {}

  void take(std::unique_ptr<Socket> connection) override {
    for (Group& group : groups_) {
      if (group.take(connection)) return;
    }
    groups_.emplace_back(settings_, ledger_).take(connection);
    ++count_;
  }

  long threads() override { return count_; }

 private:
  const Settings& settings_;
  Ledger& ledger_;
  std::list<Group> groups_;
  std::atomic<long> count_{0};
};

/// Leaks one object of the given kind.
void leak(const std::string& kind) {
  if (kind == "descriptors" && ::dup(0) < 0) std::abort();
  if (kind == "heap") {
    static std::list<std::string> kept;
    kept.emplace_back(2000, 'x');
  }
  if (kind == "threads") std::thread([] { ::pause(); }).detach();
}

void acceptAll(SocketServer& server, const Settings& settings, Service& service, Ledger& ledger) {
  for (unsigned long long number = 1;; ++number) {
    auto connection = std::make_unique<Socket>();
    server.accept(*connection, nullptr);
    if (settings.timeout != 0) connection->setTimeout(settings.timeout);
    service.take(std::move(connection));
    ledger.opened();
    if (number % 10 == 0) leak(settings.leak);
  }
}

bool parse(int count, char** arguments, Settings& settings) {
  for (int i = 1; i < count; ++i) {
    const std::string name = arguments[i];
    if (name == "--groups") {
      settings.groups = true;
    } else if (name == "--drain") {
      settings.drain = true;
    } else if (++i == count) {
      return false;
    } else if (name == "--timeout") {
      settings.timeout = static_cast<unsigned int>(std::atoi(arguments[i]));
    } else if (name == "--capacity") {
      settings.capacity = static_cast<unsigned long long>(std::atoll(arguments[i]));
    } else if (name == "--buffers") {
      settings.buffers = std::atoi(arguments[i]);
    } else if (name == "--leak") {
      settings.leak = arguments[i];
    } else {
      return false;
    }
  }
  return true;
}

void obey(Service& service, Ledger& ledger) {
  for (std::string line; std::getline(std::cin, line);) {
    std::istringstream in(line);
    std::string verb;
    long count = 0;
    in >> verb >> count;
    if (verb == "open") {
      ledger.awaitOpen(count);
      std::cout << "open " << count << std::endl;
    } else if (verb == "figures") {
      constexpr long mainAndAcceptor = 2;
      std::cout << tarvo::load::ownFigures(mainAndAcceptor + service.threads()).text() << std::endl;
    } else if (verb == "ended") {
      std::cout << ledger.takeEnded(count) << std::endl;
    } else {
      std::cout << "what is " << line << "?" << std::endl;
    }
  }
}

}  // namespace

int main(int count, char** arguments) {
  Settings settings;
  if (!parse(count, arguments, settings)) {
    std::cerr << "see the head of kelFrameServer.cpp\n";
    return 2;
  }
  Ledger ledger;
  std::unique_ptr<Service> service;
  if (settings.groups) {
    service = std::make_unique<ThreadPerGroup>(settings, ledger);
  } else {
    service = std::make_unique<ThreadPerConnection>(settings, ledger);
  }
  SocketServer server;
  server.listen(0, 4096, true);
  if (settings.buffers != 0) {
    server.setReceiveBufferSize(settings.buffers);
    server.setSendBufferSize(settings.buffers);
  }
  std::thread acceptor([&] { acceptAll(server, settings, *service, ledger); });
  std::cout << "listening " << server.getPort() << std::endl;
  obey(*service, ledger);
  std::cout.flush();
  std::_Exit(0);  // does not wait for the connections' threads
}
