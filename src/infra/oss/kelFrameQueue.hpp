#pragma once

#include <cstddef>
#include <string>

/// The form of a frame, and the queue of bytes that `FrameReader` and `FrameWriter` keep in a string.
namespace tarvo::oss {

inline constexpr std::size_t lengthWordSize = 4;

/// Removes the `used` bytes at the front. Bytes are moved only if at least as many are removed, so a queue
/// costs each byte at most one more copy. The memory of a long queue is released when it is empty.
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
