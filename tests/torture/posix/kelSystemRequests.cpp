#include "support/kelAllocationsSeam.hpp"

#include <netdb.h>
#include <pthread.h>

#include <cstddef>

/// The C library's allocations: malloc, calloc and realloc of a program replace the C library's for all
/// libraries. So a fault run also refuses allocations that the C library makes, such as the value of a
/// thread's key or the record of a thread's destructor.

namespace {

/// The values of a thread's first 32 keys are not allocated. These keys are made before the library's, so
/// that the library's value is allocated.
const bool keysMade = [] {
  for (int i = 0; i < 32; ++i) {
    pthread_key_t key;
    pthread_key_create(&key, nullptr);
  }
  return true;
}();

}  // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the names of the C library and of the linker
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);

void* malloc(std::size_t size) noexcept {
  return tarvo::test::refusesToOthers(size) ? nullptr : __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) noexcept {
  return tarvo::test::refusesToOthers(count * size) ? nullptr : __libc_calloc(count, size);
}

void* realloc(void* block, std::size_t size) noexcept {
  return tarvo::test::refusesToOthers(size) ? nullptr : __libc_realloc(block, size);
}

// The resolver reports a refused allocation with an error code; the faults of system calls contain that code.
int __real_getaddrinfo(const char* host, const char* service, const addrinfo* hints, addrinfo** found);
int __wrap_getaddrinfo(const char* host, const char* service, const addrinfo* hints, addrinfo** found) {
  const tarvo::test::AllocationsGranted granted;
  return __real_getaddrinfo(host, service, hints, found);
}

// If the allocation of an exception fails, the C++ library uses its reserve, so the refusal changes nothing.
void* __real___cxa_allocate_exception(std::size_t size) noexcept;
void* __wrap___cxa_allocate_exception(std::size_t size) noexcept {
  const tarvo::test::AllocationsGranted granted;
  return __real___cxa_allocate_exception(size);
}
}
// NOLINTEND(bugprone-reserved-identifier)
