#pragma once

#include <cstddef>

/// The platform layer's hint for large memory pages.
namespace tarvo::platform {

/// Asks the system to use large pages for a block that will be written as a whole, where its pages have not
/// been touched yet: the first touch of each page is an interruption. Affects only pages that lie completely
/// in the block; ignores small blocks. This is a hint: the contents stay, and the result is not reported.
/// Does not change the system's last error.
void preferLargePages(void* block, std::size_t size) noexcept;

}  // namespace tarvo::platform
