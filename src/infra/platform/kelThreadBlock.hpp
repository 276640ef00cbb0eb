#pragma once

#include <cstddef>

/// The platform layer's memory block for each thread, with a callback when the thread ends.
namespace tarvo::platform {

inline constexpr std::size_t threadBlockSize = 1024;

/// Returns the calling thread's block of `threadBlockSize` bytes, which is aligned for any type and contains
/// zeros at first. When the thread ends, `atEnd` is called once with the block; pass the same function in
/// every call. After that call, or if there is no memory for the block, the result is null. The block of the
/// thread that ends the process may never be released.
void* threadBlock(void (*atEnd)(void* block) noexcept) noexcept;

}  // namespace tarvo::platform
