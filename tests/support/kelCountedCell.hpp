#pragma once

#include <cstddef>
#include <vector>

namespace tarvo::test {

/// A byte whose arrays count themselves: what the storage templates ask of array-new and give back to
/// array-delete, and a way to make the next requests fail. Arrays stay uninitialised and cost nothing until
/// they are touched. Reset by `CellHeap`, of which one stands in each test.
struct Cell {
  unsigned char value;

  static void* operator new[](std::size_t bytes);
  static void operator delete[](void* block);

  static inline std::vector<std::size_t> asked;  ///< the bytes of every request, the failed ones included
  static inline int live = 0;                    ///< blocks not yet given back
  static inline bool failing = false;
};

/// The counters start at zero and no request fails, from here on.
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
