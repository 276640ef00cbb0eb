#pragma once

#include <cstddef>
#include <cstdint>

/// Counts allocations and makes chosen ones fail. It covers:
///   - operator new and delete, in every library, except the over-aligned forms;
///   - malloc, calloc, realloc and free, if called by an object file that is linked into the program; that
///     includes the library's object files;
///   - the allocations of ICU.
/// It does not cover allocations inside the C library. Sanitizers still check every block.
///
/// A request is one call that allocates a block. A realloc counts as one request and one release.
namespace tarvo::test {

/// Counts the requests and releases of the calling thread since the object was constructed. Those of other
/// threads are not counted. May nest.
///
///     const AllocationCount count;
///     list.addMessage(message);
///     EXPECT_EQ(count.made(), 1u);
class AllocationCount {
 public:
  AllocationCount() noexcept;

  /// The number of requests that succeeded, and the sum of their sizes in bytes.
  std::size_t made() const noexcept;
  std::size_t bytes() const noexcept;
  /// The number of blocks released; releasing a null pointer does not count.
  std::size_t released() const noexcept;
  /// made() - released(): 0 after code that releases all that it allocates, negative if older blocks were
  /// released.
  std::ptrdiff_t outstanding() const noexcept;

 private:
  std::size_t madeBefore_;
  std::size_t bytesBefore_;
  std::size_t releasedBefore_;
};

/// The blocks that are allocated now, in all threads.
std::ptrdiff_t blocksHeld() noexcept;

/// Whether only the chosen request fails, or the chosen request and all later requests.
enum class Shortage { once, fromThenOn };

/// While an object of this class exists, the n-th request of the calling thread fails; 1 is the next request.
/// The request throws std::bad_alloc or returns null, depending on the function called. Objects must not
/// nest.
///
///     const FailingAllocation second(2);
///     EXPECT_THROW(list.join(other), std::bad_alloc);
///
/// Do everything that must not fail outside the scope of the object, for example the construction of strings
/// for the test.
class FailingAllocation {
 public:
  explicit FailingAllocation(std::size_t nth, Shortage shortage = Shortage::once) noexcept;
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;
  ~FailingAllocation();

  /// Returns whether the n-th request was made, and therefore failed.
  bool happened() const noexcept;
  /// The number of requests so far, including those that failed.
  std::size_t requests() const noexcept;
};

/// While an object of this class exists, the calling thread's requests of at least `size` bytes fail. Objects
/// must not nest.
class AllocationLimit {
 public:
  explicit AllocationLimit(std::size_t size) noexcept;
  AllocationLimit(const AllocationLimit&) = delete;
  AllocationLimit& operator=(const AllocationLimit&) = delete;
  ~AllocationLimit();
};

/// While an object of this class exists, the calling thread's requests succeed, and a FailingAllocation does
/// not count them.
class AllocationsGranted {
 public:
  AllocationsGranted() noexcept;
  AllocationsGranted(const AllocationsGranted&) = delete;
  AllocationsGranted& operator=(const AllocationsGranted&) = delete;
  ~AllocationsGranted();

 private:
  bool before_;
};

/// While an object of this class exists, each request of the calling thread first calls `action`. So a test
/// can act in the middle of a function that allocates. Requests that `action` makes do not call it. Objects
/// must not nest.
class AllocationAction {
 public:
  explicit AllocationAction(void (*action)()) noexcept;
  AllocationAction(const AllocationAction&) = delete;
  AllocationAction& operator=(const AllocationAction&) = delete;
  ~AllocationAction();
};

/// For a program that replaces malloc for all libraries: returns whether this request of another library must
/// fail. The request counts towards the FailingAllocation of the calling thread, but not in AllocationCount.
bool refusesToOthers(std::size_t size) noexcept;

/// Makes ICU release its caches and its data, as in a program that has just started. No thread may hold an
/// object of ICU, including converters that the library keeps for a thread.
void restartIcu();

}  // namespace tarvo::test
