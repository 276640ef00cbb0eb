#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

/// Moves of a few bytes, which take less time than a call of the C library.
namespace tarvo::text {

/// Copies the first and the last `Piece` of a range that is at most two pieces long. Both are read before
/// either is written, so the ranges may overlap.
template <class Piece>
inline void moveBothEnds(char* target, const char* source, std::size_t length) {
  Piece first;
  Piece last;
  std::memcpy(&first, source, sizeof first);
  std::memcpy(&last, source + length - sizeof last, sizeof last);
  std::memcpy(target, &first, sizeof first);
  std::memcpy(target + length - sizeof last, &last, sizeof last);
}

constexpr std::size_t shortPiece = 32;

/// std::memmove of 1 to `shortPiece` bytes, without the call.
[[gnu::always_inline]] inline void moveShort(char* target, const char* source, std::size_t length) {
  if (length >= 16) {
    moveBothEnds<std::array<char, 16>>(target, source, length);
  } else if (length >= 8) {
    moveBothEnds<std::uint64_t>(target, source, length);
  } else if (length >= 4) {
    moveBothEnds<std::uint32_t>(target, source, length);
  } else if (length >= 2) {
    moveBothEnds<std::uint16_t>(target, source, length);
  } else {
    *target = *source;
  }
}

}  // namespace tarvo::text
