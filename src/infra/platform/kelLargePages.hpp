#pragma once

#include <cstddef>

/// The seam between large blocks of memory and the pages that the system makes them of.
namespace tarvo::platform {

/// Tells the system that the block will be written to as a whole, so that it may give it pages of another size where it
/// has not been touched yet: a page that is touched first is an interruption. Only what lies wholly in the block is meant,
/// and a small block is left alone. A wish: contents stay, and nothing tells whether it was granted. Leaves the system's
/// last error as it is.
void preferLargePages(void* block, std::size_t size) noexcept;

}  // namespace tarvo::platform
