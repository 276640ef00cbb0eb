#pragma once

#include <cstddef>
#include <vector>

namespace tarvo::test {

/// A byte whose operator new[] and delete[] count allocations, for tests of the storage templates. Requests
/// can be made to fail. An array is uninitialised, so a large one takes no physical memory until it is
/// written. Each test has one `CellHeap`, which resets the counters.
struct Cell {
  unsigned char value;

  static void* operator new[](std::size_t bytes);
  static void operator delete[](void* block);

  static inline std::vector<std::size_t> asked;  ///< the size of each request in bytes, failed ones included
  static inline int live = 0;                    ///< blocks not yet released
  static inline bool failing = false;
};

/// Sets the counters to zero; no request fails until a test says so.
struct CellHeap {
  CellHeap() { reset(); }
  CellHeap(const CellHeap&) = delete;
  CellHeap& operator=(const CellHeap&) = delete;
  ~CellHeap() { reset(); }

  static void reset() {
    Cell::asked.clear();
    Cell::live = 0;
    Cell::failing = false;
  }
};

}  // namespace tarvo::test
