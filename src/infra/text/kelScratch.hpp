#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <new>

namespace tarvo::text {

/// Bytes for the duration of one call, on the stack if they fit.
class Scratch {
 public:
  static constexpr std::size_t inlineSize = 4096;

  /// Null if there is no memory. Releases the former room.
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
