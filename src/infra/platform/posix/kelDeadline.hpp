#pragma once

#include "platform/posix/kelSystemCalls.hpp"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <limits>

namespace tarvo::platform::posix {

inline constexpr long long nanosecondsPerSecond = 1'000'000'000;

inline long long now(clockid_t clock) noexcept {
  timespec time{};
  ::clock_gettime(clock, &time);
  return static_cast<long long>(time.tv_sec) * nanosecondsPerSecond + time.tv_nsec;
}

/// The time on the monotonic clock at which a wait must end, or no limit.
class Deadline {
 public:
  static Deadline never() noexcept { return Deadline(false, 0); }
  static Deadline passed() noexcept { return at(0); }
  static Deadline at(long long nanoseconds) noexcept { return Deadline(true, nanoseconds); }

  bool hasPassed() const noexcept { return limited_ && (at_ == 0 || now(CLOCK_MONOTONIC) >= at_); }

  /// Returns the time until the deadline, for `pollFor`; null if there is no limit.
  const timespec* remaining(timespec& store) const noexcept {
    if (!limited_) return nullptr;
    const long long left = at_ == 0 ? 0 : std::max(at_ - now(CLOCK_MONOTONIC), 0LL);
    using Seconds = decltype(store.tv_sec);
    constexpr long long most = std::numeric_limits<Seconds>::max();  // 68 years if they have 32 bits
    store.tv_sec = static_cast<Seconds>(std::min(left / nanosecondsPerSecond, most));
    store.tv_nsec = static_cast<decltype(store.tv_nsec)>(left % nanosecondsPerSecond);
    return &store;
  }

 private:
  Deadline(bool limited, long long at) noexcept : limited_(limited), at_(at) {}

  bool limited_;
  long long at_;
};

/// Polls until an event is reported or the deadline has passed. Signals do not end the wait.
inline int pollUntil(pollfd* entries, nfds_t count, const Deadline& deadline) noexcept {
  for (;;) {
    timespec store{};
    const int result = pollFor(entries, count, deadline.remaining(store));
    if (result >= 0 || errno != EINTR) return result;
  }
}

}  // namespace tarvo::platform::posix
