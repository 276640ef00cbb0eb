#pragma once

#include <string>

namespace tarvo::load {

/// Resources that a process holds.
struct Figures {
  long descriptors = 0;
  long threads = 0;
  long heap = 0;      ///< bytes that are allocated and not freed
  long resident = 0;  ///< bytes of memory that are in physical memory

  std::string text() const;
};

/// The figures of this process. The caller knows how many threads the process has.
Figures ownFigures(long threads);

/// The inverse of `text`. Throws std::runtime_error for anything else.
Figures parseFigures(const std::string& text);

/// Resources that have grown between two measurements of an idle process; "" if none have. Descriptors and
/// threads are counted exactly. Heap and resident memory may grow a little because of the allocator; a leak
/// in every connection exceeds that.
std::string growth(const Figures& first, const Figures& last);

}  // namespace tarvo::load
