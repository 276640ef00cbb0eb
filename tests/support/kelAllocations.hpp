#pragma once

#include <cstddef>

namespace tarvo::test {

/// Counts what the calling thread takes from and gives back to operator new and delete since construction, in
/// all forms but the over-aligned ones. Other threads are not seen. May nest.
///
///     const AllocationCount count;
///     list.addMessage(message);
///     EXPECT_EQ(count.made(), 1u);
///
/// The operators are this program's own. The seam program has the library inside, so the library's requests
/// count on every platform; those of a shared library count where it takes the program's operators, as on
/// Linux.
class AllocationCount {
 public:
  AllocationCount() noexcept;

  /// Requests that were granted.
  std::size_t made() const noexcept;
  /// Blocks given back; null is not one.
  std::size_t released() const noexcept;
  /// Granted and not given back: 0 behind a balanced piece of work. Negative if older blocks were released.
  std::ptrdiff_t outstanding() const noexcept;

 private:
  std::size_t madeBefore_;
  std::size_t releasedBefore_;
};

/// While it lives, the calling thread's n-th request from now on (1 is the next) fails with std::bad_alloc,
/// or gives null in the nothrow forms. That one alone: requests before and behind it are granted. Does not
/// nest.
///
///     const FailingAllocation second(2);
///     EXPECT_THROW(list.join(other), std::bad_alloc);
///
/// Keep everything that must not fail, a test's own strings included, outside of its scope.
class FailingAllocation {
 public:
  explicit FailingAllocation(std::size_t nth) noexcept;
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;
  ~FailingAllocation();

  /// Whether the request has come and was refused.
  bool happened() const noexcept;
};

}  // namespace tarvo::test
