#pragma once

#include "infra/oss/kelDeadline.hpp"

#include <algorithm>

namespace tarvo::oss {

/// The milliseconds that one wait of the platform may last: negative without limit. Rounded up, so a wait of
/// this length ends at the deadline or after it; below the longest wait of every system, so the caller looks
/// at the deadline again after it.
inline long long pollTime(const Deadline& deadline) {
  constexpr unsigned long long most = 1'000'000'000;
  if (!deadline.expires()) return -1;
  return static_cast<long long>(std::min(deadline.remaining(), most));
}

}  // namespace tarvo::oss
