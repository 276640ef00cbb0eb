#pragma once

#include <string>

namespace tarvo::load {

/// What a process holds of the system.
struct Figures {
  long descriptors = 0;
  long threads = 0;
  long heap = 0;      ///< bytes that are allocated and not freed
  long resident = 0;  ///< bytes of memory that lie in the machine's own

  std::string text() const;
};

/// Those of this process, which knows itself to have `threads` threads.
Figures ownFigures(long threads);

/// The inverse of `text`. Throws std::runtime_error for anything else.
Figures parseFigures(const std::string& text);

/// What has grown between two looks at a process that does nothing, "" when nothing has. Descriptors and threads are
/// counted exactly. The allocator's own books leave it some play, which a leak in every connection exceeds.
std::string growth(const Figures& first, const Figures& last);

}  // namespace tarvo::load
