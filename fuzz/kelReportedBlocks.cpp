#include "kelLargestBlock.hpp"

#include <sanitizer/allocator_interface.h>

#include <algorithm>

namespace {

std::atomic<std::size_t>* largest = nullptr;

}  // namespace

void tarvo::fuzz::noteLargestBlock(std::atomic<std::size_t>& size) {
  largest = &size;
  __sanitizer_install_malloc_and_free_hooks(
      [](const volatile void*, std::size_t block) { *largest = std::max<std::size_t>(*largest, block); },
      [](const volatile void*) {});
}
