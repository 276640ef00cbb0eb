#pragma once

#include <cstddef>

namespace tarvo::test {

/// Memory between two pages that nobody may touch: who reads or writes outside ends the program.
class GuardedMemory {
 public:
  /// Room for at least so many bytes.
  explicit GuardedMemory(std::size_t size);
  GuardedMemory(const GuardedMemory&) = delete;
  GuardedMemory& operator=(const GuardedMemory&) = delete;
  ~GuardedMemory();

  /// The first bytes.
  char* front() const { return front_; }
  /// The last `size` bytes.
  char* back(std::size_t size) const { return front_ + size_ - size; }

 private:
  char* front_;
  std::size_t size_;  ///< whole pages
};

}  // namespace tarvo::test
