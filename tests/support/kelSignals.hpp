#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <thread>

namespace tarvo::test {

/// Interrupts the thread that made it, again and again as fast as it can take it, for the object's life.
/// The signal's handler does nothing and does not ask for interrupted calls to be resumed.
class SignalStorm {
 public:
  SignalStorm();
  SignalStorm(const SignalStorm&) = delete;
  SignalStorm& operator=(const SignalStorm&) = delete;
  ~SignalStorm();

  /// Waits, in another thread, until the target has been interrupted `count` more times.
  void interrupts(std::size_t count);
  /// Interruptions so far.
  std::size_t count() const;

 private:
  void blow(std::uintptr_t target);

  mutable std::mutex mutex_;
  std::condition_variable advanced_;
  std::size_t count_ = 0;
  bool over_ = false;
  std::thread thread_;
};

/// Counts the broken-pipe signals that reach the process in the object's life, whatever the process did about
/// them before.
class BrokenPipeWatch {
 public:
  BrokenPipeWatch();
  BrokenPipeWatch(const BrokenPipeWatch&) = delete;
  BrokenPipeWatch& operator=(const BrokenPipeWatch&) = delete;
  ~BrokenPipeWatch();

  int count() const;
};

/// The thread that made it, seen from another one.
class ThreadView {
 public:
  ThreadView();
  /// Returns when the thread waits inside the system.
  void awaitWaiting() const;

 private:
  int id_;
};

}  // namespace tarvo::test
