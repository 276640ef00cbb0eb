#pragma once

#include <atomic>
#include <cstddef>

namespace tarvo::fuzz {

/// From here on, `size` is at least the size of each allocated block. Without a sanitizer that reports
/// allocations, it does not change.
void noteLargestBlock(std::atomic<std::size_t>& size);

}  // namespace tarvo::fuzz
