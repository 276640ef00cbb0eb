#pragma once

namespace tarvo::test {

/// Whether addresses have more than 32 bits, so that a range of 2 GiB fits into memory. If not, tests of such
/// ranges are skipped.
inline constexpr bool longRangesFit = sizeof(void*) > 4;
inline constexpr const char* noLongRanges = "a range of 2 GiB does not fit into addresses of 32 bits";

}  // namespace tarvo::test
