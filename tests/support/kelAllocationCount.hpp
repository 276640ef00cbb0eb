#pragma once

#include <cstddef>

namespace tarvo::test {

/// What the calling thread has allocated since this was built, by whatever library: calls of malloc, calloc
/// and realloc, and the bytes that they asked for.
class AllocationCount {
 public:
  AllocationCount();
  std::size_t calls() const;
  std::size_t bytes() const;

 private:
  std::size_t callsBefore_;
  std::size_t bytesBefore_;
};

/// Until the end of the scope the calling thread gets no memory for requests of `size` bytes or more. Only
/// where no sanitizer has taken the allocator over.
class AllocationLimit {
 public:
  explicit AllocationLimit(std::size_t size);
  AllocationLimit(const AllocationLimit&) = delete;
  AllocationLimit& operator=(const AllocationLimit&) = delete;
  ~AllocationLimit();
};

namespace detail {

/// Called for every allocation of the thread.
void noteAllocation(std::size_t size) noexcept;

}  // namespace detail
}  // namespace tarvo::test
