#include "platform/kelLargePages.hpp"

namespace tarvo::platform {

/// The system has large pages for those who may lock memory alone.
void preferLargePages(void*, std::size_t) noexcept {}

}  // namespace tarvo::platform
