#pragma once

#include <condition_variable>
#include <mutex>

namespace tarvo::test {

/// A number that threads can wait on until it changes. Tests use this class instead of std::atomic::wait and
/// std::barrier, which can lose a wake-up in standard libraries that implement them with locks.
class Awaited {
 public:
  Awaited() = default;
  Awaited(const Awaited&) = delete;
  Awaited& operator=(const Awaited&) = delete;
  ~Awaited() = default;

  unsigned int get() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return number_;
  }
  void set(unsigned int number) {
    const std::lock_guard<std::mutex> lock(mutex_);
    number_ = number;
    changed_.notify_all();
  }
  void increment() {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++number_;
    changed_.notify_all();
  }
  void awaitAtLeast(unsigned int number) const {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] { return number_ >= number; });
  }
  /// Waits until the number differs from `number`; returns at once if it differs already.
  void awaitOtherThan(unsigned int number) const {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] { return number_ != number; });
  }

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  unsigned int number_ = 0;
};

}  // namespace tarvo::test
