#pragma once

#include <cstddef>

namespace tarvo::test {

/// A long range of memory that costs little: one piece, again and again, and zeros behind it. What is written into one
/// piece stands in all.
class RepeatedMemory {
 public:
  /// `pieces` pieces that are full of `byte`. Throws std::system_error.
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
