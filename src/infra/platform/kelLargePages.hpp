#pragma once

#include <cstddef>

/// The platform layer's hint for large memory pages.
namespace tarvo::platform {

/// Asks the system to use large pages for a block that is about to be written completely. The first access to
/// each page interrupts the program, and large pages are fewer. Affects only pages that are completely in the
/// block and have not been accessed yet; ignores small blocks. This is a hint: the contents do not change,
/// and the result is not reported. Does not change the system's last error.
void preferLargePages(void* block, std::size_t size) noexcept;

}  // namespace tarvo::platform
