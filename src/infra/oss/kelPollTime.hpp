#pragma once

#include "infra/oss/kelDeadline.hpp"

#include <algorithm>

namespace tarvo::oss {

/// Returns the longest time, in milliseconds, of one wait in the platform layer; a negative number means no
/// limit. The time is rounded up, so that a wait does not end before the deadline. The time is at most the
/// longest wait that every system supports, so the caller must check the deadline again after the wait.
inline long long pollTime(const Deadline& deadline) {
  constexpr unsigned long long most = 1'000'000'000;
  if (!deadline.expires()) return -1;
  return static_cast<long long>(std::min(deadline.remaining(), most));
}

}  // namespace tarvo::oss
