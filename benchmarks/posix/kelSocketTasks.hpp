#pragma once

#include "infra/oss/kelSocket.hpp"
#include "infra/oss/kelSocketServer.hpp"

#include "kelTimed.hpp"

#include <benchmark/benchmark.h>
#include <unicode/unistr.h>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <thread>
#include <vector>

/// Connections over loopback, and the tasks that other libraries can do, too: shared by all benchmarks of
/// sockets. Both ends use the one core to which the program is pinned.
namespace tarvo::benchmarks::sockets {

using oss::Socket;
using oss::SocketServer;

inline const icu::UnicodeString loopback(u"127.0.0.1");

inline void check(bool holds, const char* what) {
  if (!holds) {
    std::perror(what);
    std::abort();
  }
}

inline bool isReady(int descriptor, short event) {
  pollfd entry = {descriptor, event, 0};
  return poll(&entry, 1, 10000) == 1;
}

/// A connection: an end of the library's class on each side, and descriptors for system calls.
struct Connection {
  Connection() {
    SocketServer server;
    server.listen(0, 1, true);
    client.connect(loopback, server.getPort(), Socket::NullAddrInfoExternal, nullptr);
    server.accept(accepted, nullptr);
    const int on = 1;
    check(setsockopt(acceptedDescriptor(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) == 0, "TCP_NODELAY");
  }

  int clientDescriptor() const { return static_cast<int>(client.handle()); }
  int acceptedDescriptor() const { return static_cast<int>(accepted.handle()); }

  Socket client;
  Socket accepted;
};

inline void sendAll(int descriptor, const char* bytes, std::size_t length) {
  for (std::size_t sent = 0; sent < length;) {
    const ssize_t count = send(descriptor, bytes + sent, length - sent, MSG_NOSIGNAL);
    check(count > 0, "send");
    sent += static_cast<std::size_t>(count);
  }
}

inline bool receiveAll(int descriptor, char* bytes, std::size_t length) {
  for (std::size_t got = 0; got < length;) {
    const ssize_t count = recv(descriptor, bytes + got, length - got, 0);
    if (count <= 0) return false;
    got += static_cast<std::size_t>(count);
  }
  return true;
}

/// The peer of every round trip, the same echo by system calls for all candidates. `link` has `peer()`, the
/// descriptor to answer on, and `endOfSending()`, which ends the echo.
template <class Link>
class Echo {
 public:
  Echo(Link& link, std::size_t size)
      : link_(link), thread_([descriptor = link.peer(), size] {
          std::vector<char> bytes(size);
          while (receiveAll(descriptor, bytes.data(), size)) sendAll(descriptor, bytes.data(), size);
        }) {}
  Echo(const Echo&) = delete;
  Echo& operator=(const Echo&) = delete;
  // NOLINTNEXTLINE(bugprone-exception-escape): the program may end if its connection fails here
  ~Echo() {
    link_.endOfSending();
    thread_.join();
  }

 private:
  Link& link_;
  std::thread thread_;
};

/// The durations of many runs, for the counters "p50" and "p99", in nanoseconds.
class Durations {
 public:
  void add() {
    const Clock::time_point now = Clock::now();
    taken_.push_back(now - last_);
    last_ = now;
  }

  /// Call this function immediately before the first run.
  void begin(const benchmark::State& state) {
    taken_.reserve(static_cast<std::size_t>(state.max_iterations) + 1024);
    last_ = Clock::now();
  }

  void report(benchmark::State& state) {
    std::sort(taken_.begin(), taken_.end());
    state.counters["p50"] = at(50);
    state.counters["p99"] = at(99);
  }

 private:
  using Clock = std::chrono::steady_clock;

  double at(std::size_t percent) const {
    return std::chrono::duration<double, std::nano>(taken_[(taken_.size() - 1) * percent / 100]).count();
  }

  std::vector<Clock::duration> taken_;
  Clock::time_point last_;
};

/// Sends `state.range(0)` bytes to an echo and waits for them. A Link also has `send` and `receive`.
template <class Link>
void roundTrips(benchmark::State& state) {
  const auto size = static_cast<std::size_t>(state.range(0));
  Link link;
  const Echo<Link> echo(link, size);
  std::vector<char> bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i * 7);
  std::vector<char> answer(size);
  link.send(bytes.data(), size);
  link.receive(answer.data(), size);
  if (answer != bytes) return refuse(state, "the answer differs");
  Durations durations;
  durations.begin(state);
  timed(state, [&] {
    link.send(bytes.data(), size);
    link.receive(answer.data(), size);
    durations.add();
  });
  durations.report(state);
}

/// Idle connections, of which only the first has a byte to read.
inline std::vector<std::unique_ptr<Connection>> idleConnections(std::int64_t count) {
  std::vector<std::unique_ptr<Connection>> connections;
  for (std::int64_t i = 0; i < count; ++i) connections.push_back(std::make_unique<Connection>());
  connections.front()->client.write("x", 0, 1);
  check(isReady(connections.front()->acceptedDescriptor(), POLLIN), "poll");
  return connections;
}

}  // namespace tarvo::benchmarks::sockets
