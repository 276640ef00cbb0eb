#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <thread>

namespace tarvo::test {

/// Sends signals to the thread that constructed it, as fast as the thread can take them, for the object's
/// lifetime. The handler does nothing; it is installed without SA_RESTART, so interrupted calls return EINTR.
class SignalStorm {
 public:
  SignalStorm();
  SignalStorm(const SignalStorm&) = delete;
  SignalStorm& operator=(const SignalStorm&) = delete;
  ~SignalStorm();

  /// Waits until the target has been interrupted `count` more times. Call this function from another thread.
  void interrupts(std::size_t count);
  /// The number of interruptions so far.
  std::size_t count() const;

 private:
  void blow(std::uintptr_t target);

  mutable std::mutex mutex_;
  std::condition_variable advanced_;
  std::size_t count_ = 0;
  bool over_ = false;
  std::thread thread_;
};

/// Counts the SIGPIPE signals that reach the process during the object's lifetime. The former handler is
/// restored at the end.
class BrokenPipeWatch {
 public:
  BrokenPipeWatch();
  BrokenPipeWatch(const BrokenPipeWatch&) = delete;
  BrokenPipeWatch& operator=(const BrokenPipeWatch&) = delete;
  ~BrokenPipeWatch();

  int count() const;
};

/// Lets another thread observe the thread that constructed it.
class ThreadView {
 public:
  ThreadView();
  /// Waits until the observed thread is blocked in a system call.
  void awaitWaiting() const;

 private:
  int id_;
};

}  // namespace tarvo::test
