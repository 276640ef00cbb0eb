// Poller and Wakeup compared with system calls.
// Names are "class/task/candidate"; the candidate KELINFRA is compared with the others of its task.
#include "infra/oss/kelDeadline.hpp"
#include "infra/oss/kelPoller.hpp"
#include "infra/oss/kelWakeup.hpp"

#include "posix/kelSocketTasks.hpp"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace {

using namespace tarvo::benchmarks::sockets;
using tarvo::benchmarks::timed;
using tarvo::oss::Deadline;
using tarvo::oss::Poller;
using tarvo::oss::Wakeup;

// --- Poller: one of the connections has a byte to read

void waitOurs(benchmark::State& state) {
  const auto connections = idleConnections(state.range(0));
  Poller poller;
  for (const auto& connection : connections) poller.watch(connection->accepted.handle(), Poller::READ);
  timed(state, [&] { check(poller.wait(Deadline::in(0)) == 1 && poller.ready(0).canRead, "Poller"); });
}

void waitPoll(benchmark::State& state) {
  const auto connections = idleConnections(state.range(0));
  std::vector<pollfd> entries;
  entries.reserve(connections.size());
  for (const auto& connection : connections) entries.push_back({connection->acceptedDescriptor(), POLLIN, 0});
  timed(state, [&] {
    check(poll(entries.data(), entries.size(), 0) == 1, "poll");
    std::size_t ready = 0;
    while (entries[ready].revents == 0) ++ready;
    benchmark::DoNotOptimize(ready);
  });
}

void waitEpoll(benchmark::State& state) {
  const auto connections = idleConnections(state.range(0));
  const int descriptor = epoll_create1(EPOLL_CLOEXEC);
  check(descriptor >= 0, "epoll_create1");
  for (const auto& connection : connections) {
    epoll_event event{};
    event.events = EPOLLIN;
    check(epoll_ctl(descriptor, EPOLL_CTL_ADD, connection->acceptedDescriptor(), &event) == 0, "epoll_ctl");
  }
  std::array<epoll_event, 64> ready{};
  timed(state, [&] { check(epoll_wait(descriptor, ready.data(), 64, 0) == 1, "epoll_wait"); });
  close(descriptor);
}

BENCHMARK(waitOurs)->Name("Poller/wait over 60/KELINFRA")->Arg(60);
BENCHMARK(waitPoll)->Name("Poller/wait over 60/poll")->Arg(60);
BENCHMARK(waitEpoll)->Name("Poller/wait over 60/epoll")->Arg(60);
BENCHMARK(waitOurs)->Name("Poller/wait over 400/KELINFRA")->Arg(400);
BENCHMARK(waitPoll)->Name("Poller/wait over 400/poll")->Arg(400);
BENCHMARK(waitEpoll)->Name("Poller/wait over 400/epoll")->Arg(400);

// --- Wakeup

/// An event descriptor, used by system calls.
class Event {
 public:
  Event() : descriptor_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) { check(descriptor_ >= 0, "eventfd"); }
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;
  ~Event() { close(descriptor_); }

  int handle() const { return descriptor_; }
  void trigger() const {
    const std::uint64_t one = 1;
    check(write(descriptor_, &one, sizeof one) == sizeof one, "write");
  }
  void clear() const {
    std::uint64_t count = 0;
    check(read(descriptor_, &count, sizeof count) == sizeof count, "read");
  }

 private:
  int descriptor_;
};

/// A pipe, as programs use it that run on more systems than Linux.
class Pipe {
 public:
  Pipe() { check(pipe2(ends_.data(), O_NONBLOCK | O_CLOEXEC) == 0, "pipe2"); }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  ~Pipe() {
    close(ends_[0]);
    close(ends_[1]);
  }

  int handle() const { return ends_[0]; }
  void trigger() const { check(write(ends_[1], "x", 1) == 1, "write"); }
  void clear() const {
    std::array<char, 64> bytes;
    while (read(ends_[0], bytes.data(), bytes.size()) > 0) {
    }
  }

 private:
  std::array<int, 2> ends_{};
};

template <class Waker>
void wakes(benchmark::State& state) {
  Waker waker;
  waker.trigger();
  check(isReady(static_cast<int>(waker.handle()), POLLIN), "poll");
  waker.clear();
  timed(state, [&] {
    waker.trigger();
    waker.clear();
  });
}

BENCHMARK(wakes<Wakeup>)->Name("Wakeup/trigger and clear/KELINFRA");
BENCHMARK(wakes<Event>)->Name("Wakeup/trigger and clear/eventfd");
BENCHMARK(wakes<Pipe>)->Name("Wakeup/trigger and clear/a pipe");

}  // namespace
