#pragma once

#include <cstddef>

namespace tarvo::test {

/// Memory between two inaccessible pages: a read or write outside it ends the program.
class GuardedMemory {
 public:
  /// Reserves at least `size` bytes.
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
