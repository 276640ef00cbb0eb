#include "platform/kelLargePages.hpp"

namespace tarvo::platform {

/// Does nothing, because Windows gives large pages only to processes that have the right to lock memory.
void preferLargePages(void*, std::size_t) noexcept {}

}  // namespace tarvo::platform
