#pragma once

namespace tarvo::oss {

// A buffer that outgrows a block of so much is likely to grow on: the next one is not twice but four times as large, unless
// that is above the other. Half of the copies are spared so, and room that is never written to is no memory yet.
inline constexpr unsigned long long growsAheadFrom = 32ULL << 10;
inline constexpr unsigned long long largestAhead = 32ULL << 20;

}  // namespace tarvo::oss
