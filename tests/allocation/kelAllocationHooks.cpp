#include "support/kelAllocationCount.hpp"

#include <cstdint>

namespace tarvo::test {
namespace {

constinit thread_local std::size_t limit = SIZE_MAX;

bool granted(std::size_t size) {
  detail::noteAllocation(size);
  return size < limit;
}

}  // namespace

AllocationLimit::AllocationLimit(std::size_t size) {
  limit = size;
}

AllocationLimit::~AllocationLimit() {
  limit = SIZE_MAX;
}

}  // namespace tarvo::test

// The C library's own allocator, under the names that it keeps for those who replace the public ones.
// NOLINTBEGIN(bugprone-reserved-identifier): the C library's names
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);

void* malloc(std::size_t size) {
  return tarvo::test::granted(size) ? __libc_malloc(size) : nullptr;
}

void* calloc(std::size_t count, std::size_t size) {
  return tarvo::test::granted(count * size) ? __libc_calloc(count, size) : nullptr;
}

void* realloc(void* block, std::size_t size) {
  return tarvo::test::granted(size) ? __libc_realloc(block, size) : nullptr;
}
}
// NOLINTEND(bugprone-reserved-identifier)
