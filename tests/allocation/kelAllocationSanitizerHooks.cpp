#include "support/kelAllocationCount.hpp"

// The sanitizers have replaced the allocator themselves and call whoever wants to know.
// NOLINTBEGIN(bugprone-reserved-identifier): the sanitizers' name
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*malloced)(const volatile void*, std::size_t),
                                                         void (*freed)(const volatile void*));

namespace {

const int installed = __sanitizer_install_malloc_and_free_hooks(
    [](const volatile void*, std::size_t size) { tarvo::test::detail::noteAllocation(size); },
    [](const volatile void*) {});

}  // namespace
// NOLINTEND(bugprone-reserved-identifier)
