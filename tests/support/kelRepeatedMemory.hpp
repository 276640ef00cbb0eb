#pragma once

#include <cstddef>

namespace tarvo::test {

/// A long range of addresses that takes little memory: the same piece of memory is mapped many times,
/// followed by zeros. A byte that is written into one piece appears in all pieces.
class RepeatedMemory {
 public:
  /// Maps `pieces` pieces in which every byte is `byte`. Throws std::system_error.
  RepeatedMemory(std::size_t pieces, char byte);
  RepeatedMemory(const RepeatedMemory&) = delete;
  RepeatedMemory& operator=(const RepeatedMemory&) = delete;
  ~RepeatedMemory();

  char* get() const { return start_; }

  static constexpr std::size_t pieceSize = std::size_t{16} << 20;

 private:
  char* start_;
  std::size_t size_;
};

}  // namespace tarvo::test
