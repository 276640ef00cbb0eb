#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <new>

namespace tarvo::text {

/// Temporary memory for one call. Small blocks are on the stack, and larger blocks are on the heap.
class Scratch {
 public:
  static constexpr std::size_t inlineSize = 4096;

  /// Returns room for `size` bytes, or null if there is no memory. Releases the former room.
  char* room(std::size_t size) {
    if (size <= inlineSize) return inline_.data();
    heap_.reset(new (std::nothrow) char[size]);
    return heap_.get();
  }

 private:
  std::array<char, inlineSize> inline_;
  std::unique_ptr<char[]> heap_;
};

}  // namespace tarvo::text
