#pragma once

#include <cstddef>

/// The seam between what the library keeps for a thread and the thread's end.
namespace tarvo::platform {

inline constexpr std::size_t threadBlockSize = 1024;

/// The calling thread's block of `threadBlockSize` bytes, aligned for anything, all zero at first. When the thread ends
/// `atEnd`, which is the same in every call, is called with it once. Null from that call on, or when there is no memory
/// for the block. The block of the thread that ends the process may be left as it is.
void* threadBlock(void (*atEnd)(void* block) noexcept) noexcept;

}  // namespace tarvo::platform
