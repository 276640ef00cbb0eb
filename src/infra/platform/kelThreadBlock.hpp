#pragma once

#include <cstddef>

/// The platform layer's memory block for each thread, with a callback when the thread ends.
namespace tarvo::platform {

inline constexpr std::size_t threadBlockSize = 1024;

/// Returns the calling thread's block of `threadBlockSize` bytes, aligned for any type, all zero at first.
/// When the thread ends, `atEnd` is called with the block, once; pass the same function in every call.
/// Returns null from then on, or if there is no memory for the block. The block of the thread that ends the
/// process may never be released.
void* threadBlock(void (*atEnd)(void* block) noexcept) noexcept;

}  // namespace tarvo::platform
