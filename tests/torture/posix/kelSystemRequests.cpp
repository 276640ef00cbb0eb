#include "support/kelAllocationsSeam.hpp"

#include <netdb.h>
#include <pthread.h>

#include <cstddef>

/// The C library's own requests: the malloc, calloc and realloc of a program take the place of the C library's
/// for all libraries. So a fault run also refuses what a call of the C library needs: the value of a thread's
/// key, or the record of a thread's destructor.

namespace {

/// The values of a thread's first 32 keys need no memory. These keys come before the library's, so its value
/// does.
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

// The resolver reports a refused request by an error code; the faults of system calls contain that code.
int __real_getaddrinfo(const char* host, const char* service, const addrinfo* hints, addrinfo** found);
int __wrap_getaddrinfo(const char* host, const char* service, const addrinfo* hints, addrinfo** found) {
  const tarvo::test::AllocationsGranted granted;
  return __real_getaddrinfo(host, service, hints, found);
}

// An exception that gets no memory is made in the reserve of the C++ library, so the refused request changes nothing.
void* __real___cxa_allocate_exception(std::size_t size) noexcept;
void* __wrap___cxa_allocate_exception(std::size_t size) noexcept {
  const tarvo::test::AllocationsGranted granted;
  return __real___cxa_allocate_exception(size);
}
}
// NOLINTEND(bugprone-reserved-identifier)
