#include "kelRequestsForMemory.hpp"

#include <cerrno>
#include <cstddef>
#include <optional>

/// Replaces the C library's allocation functions and counts their calls, for all libraries of the process and
/// operator new. Counting takes far less time than an allocation.
namespace {

constinit thread_local std::size_t requests = 0;

}  // namespace

std::optional<std::size_t> tarvo::benchmarks::requestsForMemory() {
  return requests;
}

// NOLINTBEGIN(bugprone-reserved-identifier): the C library's names of the replaced functions
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);

void* malloc(std::size_t size) {
  ++requests;
  return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) {
  ++requests;
  return __libc_calloc(count, size);
}

void* realloc(void* block, std::size_t size) {
  ++requests;
  return __libc_realloc(block, size);
}

void* memalign(std::size_t alignment, std::size_t size) {
  ++requests;
  return __libc_memalign(alignment, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
  return memalign(alignment, size);
}

int posix_memalign(void** block, std::size_t alignment, std::size_t size) {
  *block = memalign(alignment, size);
  return *block == nullptr ? ENOMEM : 0;
}

void free(void* block) {
  __libc_free(block);
}
}
// NOLINTEND(bugprone-reserved-identifier)
