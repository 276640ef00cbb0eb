#pragma once

#include <cstddef>
#include <string>

/// The layout of a frame, and functions for the queue of bytes that `FrameReader` and `FrameWriter` keep in a
/// string.
namespace tarvo::oss {

inline constexpr std::size_t lengthWordSize = 4;

/// Removes the `used` bytes at the front. The function moves the remaining bytes only if it removes at least
/// as many bytes, so each byte is moved at most once on average. When a long queue becomes empty, the
/// function releases the memory of the queue.
inline void removeUsed(std::string& bytes, unsigned long long& used) {
  constexpr std::size_t keptCapacity = 4096;
  if (used == bytes.size()) {
    if (bytes.capacity() > keptCapacity) std::string().swap(bytes);
    bytes.clear();
  } else if (used >= bytes.size() - used) {
    bytes.erase(0, static_cast<std::size_t>(used));
  } else {
    return;
  }
  used = 0;
}

}  // namespace tarvo::oss
