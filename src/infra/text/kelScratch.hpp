#pragma once

#include <array>
#include <cstddef>
#include <cstdlib>

namespace tarvo::text {

/// Bytes for the duration of one call, on the stack if they fit. Null if there is no memory.
class Scratch {
 public:
  explicit Scratch(std::size_t size)
      : bytes_(size <= inline_.size() ? inline_.data() : static_cast<char*>(std::malloc(size))) {}
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
  ~Scratch() {
    if (bytes_ != inline_.data()) std::free(bytes_);
  }

  static constexpr std::size_t inlineSize = 4096;
  char* get() { return bytes_; }

 private:
  std::array<char, inlineSize> inline_;
  char* bytes_;
};

}  // namespace tarvo::text
