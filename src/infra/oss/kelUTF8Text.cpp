#include "oss/kelUTF8Text.hpp"

namespace tarvo::oss {

namespace {

// What a character of each size looks like in a word, its lead byte lowest, and the bits of its first two
// bytes that tell the code points which its size must not hold.

constexpr bool leadsTwo(std::uint64_t word) {
  return (word & 0xC0E0) == 0x80C0;
}
/// Not C0 and C1, which would be overlong.
constexpr bool isWellFormedOfTwo(std::uint64_t word) {
  return (word & 0x001E) != 0;
}

constexpr bool leadsThree(std::uint64_t word) {
  return (word & 0xC0C0F0) == 0x8080E0;
}
/// Neither E0 80..9F, which would be overlong, nor ED A0..BF, a surrogate.
constexpr bool isWellFormedOfThree(std::uint64_t word) {
  const std::uint64_t top = word & 0x200F;
  return top != 0 && top != 0x200D;
}

constexpr bool leadsFour(std::uint64_t word) {
  return (word & 0xC0C0C0F8) == 0x808080F0;
}
/// Neither F0 80..8F, which would be overlong, nor F4 90..BF and F5..F7, above U+10FFFF.
constexpr bool isWellFormedOfFour(std::uint64_t word) {
  const std::uint64_t top = word & 0x3007;
  return top != 0 && ((top & 0x0007) < 4 || top == 4);
}

}  // namespace

/// Each size is a branch of its own: a text mostly keeps to one, and the next step need not wait for it. A
/// character that the end cuts short runs into a 0, which continues none.
std::ptrdiff_t countWellFormed(const char* text, std::size_t length) {
  std::size_t at = 0;
  std::size_t count = 0;
  while (at < length) {
    const std::uint64_t word = wordAt(text + at);
    const std::uint64_t foreign = word & foreignBits;
    if (foreign == 0) {
      at += 8;
      count += 8;
    } else if ((foreign & 0x80) == 0) {
      const auto ascii = static_cast<std::size_t>(std::countr_zero(foreign)) / 8;
      at += ascii;
      count += ascii;
    } else if (leadsThree(word) && isWellFormedOfThree(word)) {
      at += 3;
      ++count;
    } else if (leadsTwo(word) && isWellFormedOfTwo(word)) {
      at += 2;
      ++count;
    } else if (leadsFour(word) && isWellFormedOfFour(word)) {
      at += 4;
      ++count;
    } else {
      return -1;
    }
  }
  return static_cast<std::ptrdiff_t>(count - (at - length));  // zeros behind the end were counted
}

std::ptrdiff_t countLeniently(const char* text, std::size_t length) {
  std::size_t at = 0;
  std::size_t count = 0;
  while (at < length) {
    const auto lead = static_cast<unsigned char>(text[at]);
    if (lead < 0x80) {
      const bool eight = length - at >= 8 && (wordAt(text + at) & foreignBits) == 0;
      at += eight ? 8 : 1;
      count += eight ? 8 : 1;
      continue;
    }
    const std::size_t size = characterSize(lead);
    if (size == 0) return -1;
    at += size;
    ++count;
  }
  return static_cast<std::ptrdiff_t>(count);
}

}  // namespace tarvo::oss
