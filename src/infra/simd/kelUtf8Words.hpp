#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

/// UTF-8 eight bytes at a time, on any processor. Internal linkage: see kelKernels.hpp.
namespace tarvo::simd {

namespace {

constexpr std::size_t wordSize = sizeof(std::uint64_t);

/// The eight bytes at `text`, the first one lowest.
inline std::uint64_t wordAt(const char* text) {
  static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__);
  std::uint64_t word = 0;
  std::memcpy(&word, text, sizeof word);
  return word;
}

/// The size of the well-formed character of two bytes or more at the start of the word, or 0. The masks of each size
/// hold, from the right: the lead byte, then the continuation bytes.
inline std::size_t foreignSize(std::uint64_t word) {
  if ((word & 0xC0E0) == 0x80C0) {
    return (word & 0x1E) != 0 ? 2 : 0;  // C0 and C1 would be overlong
  }
  if ((word & 0xC0C0F0) == 0x8080E0) {
    const std::uint64_t top = word & 0x200F;  // overlong: E0 80..9F; a surrogate: ED A0..BF
    return top != 0 && top != 0x200D ? 3 : 0;
  }
  if ((word & 0xC0C0C0F8) == 0x808080F0) {
    const std::uint64_t top = word & 0x3007;  // overlong: F0 80..8F; above U+10FFFF: F4 90..BF, F5..F7
    return top != 0 && ((top & 0x07) < 4 || top == 4) ? 4 : 0;
  }
  return 0;
}

/// Characters from the front while two words can be read: the bytes of those taken are added to `at`, their number
/// to `count`. False at a malformed one.
inline bool takeWords(const char* text, std::size_t length, std::size_t& at, std::size_t& count) {
  while (length - at >= 2 * wordSize) {
    const std::uint64_t foreign = wordAt(text + at) & 0x8080808080808080;
    if (foreign == 0) {
      at += wordSize;
      count += wordSize;
      continue;
    }
    const auto ascii = static_cast<std::size_t>(__builtin_ctzll(foreign)) / 8;
    const std::size_t size = foreignSize(wordAt(text + at + ascii));
    if (size == 0) return false;
    at += ascii + size;
    count += ascii + 1;
  }
  return true;
}

/// The last bytes are looked at with zeros behind them: a character that the end cuts short runs into a 0, which
/// continues none.
inline std::ptrdiff_t countByWords(const char* text, std::size_t length) {
  std::size_t at = 0;
  std::size_t count = 0;
  if (!takeWords(text, length, at, count)) return -1;
  char rest[4 * wordSize] = {};
  const std::size_t left = length - at;
  if (left > 0) std::memcpy(rest, text + at, left);
  at = 0;
  if (!takeWords(rest, left + 2 * wordSize - 1, at, count)) return -1;
  return static_cast<std::ptrdiff_t>(count - (at - left));  // zeros behind the end were counted
}

}  // namespace

}  // namespace tarvo::simd
