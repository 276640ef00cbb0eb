#pragma once

#include <cstddef>

/// The platform layer's hint for large memory pages.
namespace tarvo::platform {

/// Asks the system to use large pages for a block that is about to be written completely. The first access to
/// each page interrupts the program. A block consists of fewer large pages than small pages, so large pages
/// cause fewer interruptions. The call affects only pages that are completely in the block and have not been
/// accessed yet; it ignores small blocks. The call is a hint: it does not change the contents of the block,
/// and does not report a result. The call does not change the system's last error.
void preferLargePages(void* block, std::size_t size) noexcept;

}  // namespace tarvo::platform
