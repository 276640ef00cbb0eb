#include "platform/kelLargePages.hpp"

#include <sys/mman.h>

#include <cerrno>
#include <memory>

namespace tarvo::platform {
namespace {

// The usual size of a large page, which is a multiple of the size of a small page on every system.
constexpr std::size_t largePage = std::size_t{2} << 20;
// A smaller block rarely contains a whole large page.
constexpr std::size_t smallestBlock = 2 * largePage;

}  // namespace

void preferLargePages(void* block, std::size_t size) noexcept {
  if (size < smallestBlock || std::align(largePage, largePage, block, size) == nullptr) return;
  const int error = errno;
  madvise(block, size - size % largePage, MADV_HUGEPAGE);
  errno = error;
}

}  // namespace tarvo::platform
