#include "platform/kelLargePages.hpp"

namespace tarvo::platform {

/// Does nothing: the system gives large pages only to processes that may lock memory.
void preferLargePages(void*, std::size_t) noexcept {}

}  // namespace tarvo::platform
