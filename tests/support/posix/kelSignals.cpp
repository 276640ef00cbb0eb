#include "support/kelSignals.hpp"

#include <pthread.h>
#include <sched.h>
#include <semaphore.h>
#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <fstream>
#include <string>
#include <system_error>

namespace tarvo::test {
namespace {

constexpr int stormSignal = SIGUSR2;

sem_t taken;  // posted by the handler for each signal taken

void take(int) {
  const int error = errno;
  ::sem_post(&taken);
  errno = error;
}

bool takenSoon() {
  constexpr long patience = 10'000'000;
  constexpr long second = 1'000'000'000;
  timespec until = {};
  ::clock_gettime(CLOCK_MONOTONIC, &until);
  until.tv_nsec += patience;
  until.tv_sec += until.tv_nsec / second;
  until.tv_nsec %= second;
  return ::sem_clockwait(&taken, CLOCK_MONOTONIC, &until) == 0;
}

std::atomic<int> brokenPipes{0};
struct sigaction beforeTheWatch;

void handleWith(int signal, void (*handler)(int), struct sigaction* before) {
  struct sigaction action = {};
  action.sa_handler = handler;  // sa_flags has no SA_RESTART
  if (::sigaction(signal, &action, before) != 0)
    throw std::system_error(errno, std::generic_category(), "sigaction");
}

}  // namespace

SignalStorm::SignalStorm() {
  ::sem_init(&taken, 0, 0);
  handleWith(stormSignal, &take, nullptr);
  const pthread_t target = ::pthread_self();
  thread_ = std::thread([this, target] { blow(target); });
}

SignalStorm::~SignalStorm() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    over_ = true;
  }
  thread_.join();  // the handler stays installed: a last signal may still be pending
}

void SignalStorm::blow(std::uintptr_t target) {
  for (;;) {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (over_) return;
    }
    // Send the signal again if it was not taken for a while: a sanitizer can delay a handler until the next
    // system call has returned.
    do {
      ::pthread_kill(target, stormSignal);
    } while (!takenSoon());
    const std::lock_guard<std::mutex> lock(mutex_);
    ++count_;
    advanced_.notify_all();
  }
}

void SignalStorm::interrupts(std::size_t count) {
  std::unique_lock<std::mutex> lock(mutex_);
  const std::size_t goal = count_ + count;
  advanced_.wait(lock, [&] { return count_ >= goal; });
}

std::size_t SignalStorm::count() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return count_;
}

BrokenPipeWatch::BrokenPipeWatch() {
  brokenPipes = 0;
  handleWith(
      SIGPIPE, [](int) { ++brokenPipes; }, &beforeTheWatch);
}

BrokenPipeWatch::~BrokenPipeWatch() {
  ::sigaction(SIGPIPE, &beforeTheWatch, nullptr);
}

int BrokenPipeWatch::count() const {
  return brokenPipes;
}

ThreadView::ThreadView() : id_(::gettid()) {}

void ThreadView::awaitWaiting() const {
  const std::string path = "/proc/self/task/" + std::to_string(id_) + "/stat";
  for (;;) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    // The state follows the program's name, which is in parentheses and may contain any character.
    const std::size_t nameEnd = line.rfind(") ");
    if (nameEnd != std::string::npos && line[nameEnd + 2] == 'S') return;
    ::sched_yield();
  }
}

}  // namespace tarvo::test
