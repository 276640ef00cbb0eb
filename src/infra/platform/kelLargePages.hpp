#pragma once

#include <cstddef>

/// The platform layer's hint for large memory pages.
namespace tarvo::platform {

/// Asks the system to use large pages for a block that is about to be written completely. The first access to
/// each page interrupts the program; large pages are fewer, so there are fewer interruptions. The call
/// affects only pages that are completely in the block and have not been accessed yet; it ignores small
/// blocks. It is a hint: the contents of the block do not change, and the result is not reported. The
/// system's last error does not change.
void preferLargePages(void* block, std::size_t size) noexcept;

}  // namespace tarvo::platform
