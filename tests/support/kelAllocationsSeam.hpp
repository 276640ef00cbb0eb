#pragma once

#include <cstddef>
#include <cstdint>

/// Counts and refuses memory. What is seen: operator new and delete in all forms but the over-aligned ones, by
/// whatever library; malloc, calloc, realloc and free where the program's own objects call them, which has the
/// library inside; and ICU. Not what the C library takes for itself. The sanitizers keep their allocator and
/// their watch over it.
///
/// One request is one call that asks for a block; a realloc asks for one and gives one back.
namespace tarvo::test {

/// What the calling thread has asked for and given back since construction. Other threads are not seen. May
/// nest.
///
///     const AllocationCount count;
///     list.addMessage(message);
///     EXPECT_EQ(count.made(), 1u);
class AllocationCount {
 public:
  AllocationCount() noexcept;

  /// Requests that were granted, and the bytes that they asked for.
  std::size_t made() const noexcept;
  std::size_t bytes() const noexcept;
  /// Blocks given back; null is not one.
  std::size_t released() const noexcept;
  /// Granted and not given back: 0 behind a balanced piece of work. Negative if older blocks were released.
  std::ptrdiff_t outstanding() const noexcept;

 private:
  std::size_t madeBefore_;
  std::size_t bytesBefore_;
  std::size_t releasedBefore_;
};

/// Blocks that all threads together hold now.
std::ptrdiff_t blocksHeld() noexcept;

/// How long memory is short once it is.
enum class Shortage { once, fromThenOn };

/// While it lives, the calling thread's n-th request from now on (1 is the next) fails, with std::bad_alloc or
/// null as its form has it: that one alone, or that one and all behind it. Does not nest.
///
///     const FailingAllocation second(2);
///     EXPECT_THROW(list.join(other), std::bad_alloc);
///
/// Keep everything that must not fail, a test's own strings included, outside of its scope.
class FailingAllocation {
 public:
  explicit FailingAllocation(std::size_t nth, Shortage shortage = Shortage::once) noexcept;
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;
  ~FailingAllocation();

  /// Whether the request has come and was refused.
  bool happened() const noexcept;
  /// How many requests have come, refused ones included.
  std::size_t requests() const noexcept;
};

/// While it lives, the calling thread gets no memory for requests of `size` bytes or more. Does not nest.
class AllocationLimit {
 public:
  explicit AllocationLimit(std::size_t size) noexcept;
  AllocationLimit(const AllocationLimit&) = delete;
  AllocationLimit& operator=(const AllocationLimit&) = delete;
  ~AllocationLimit();
};

/// While it lives, the calling thread's requests are granted whatever is to fail, and not numbered.
class AllocationsGranted {
 public:
  AllocationsGranted() noexcept;
  AllocationsGranted(const AllocationsGranted&) = delete;
  AllocationsGranted& operator=(const AllocationsGranted&) = delete;
  ~AllocationsGranted();

 private:
  bool before_;
};

/// Whether a request that a library makes of the C library directly is refused; the FailingAllocation of the
/// calling thread decides, and counts it. For a program that replaces malloc for all libraries. AllocationCount
/// does not contain such requests.
bool refusesToOthers(std::size_t size) noexcept;

/// Has ICU give back all that it keeps and forget all that it knows, as in a program that has just started.
/// Nothing of ICU's may be in use in any thread, no converter that a thread keeps either.
void restartIcu();

}  // namespace tarvo::test
