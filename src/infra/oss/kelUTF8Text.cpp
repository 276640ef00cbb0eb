#include "oss/kelUTF8Text.hpp"

namespace tarvo::oss {

namespace {

/// The size of the well-formed character of two bytes or more at the start of the word, or 0. The masks of
/// each size hold, from the right: the lead byte, then the continuation bytes.
std::size_t wellFormedSize(std::uint64_t word) {
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

}  // namespace

/// A character that the end cuts short runs into a 0, which continues none.
std::ptrdiff_t countWellFormed(const char* text, std::size_t length) {
  std::size_t at = 0;
  std::size_t count = 0;
  while (at < length) {
    const std::uint64_t word = wordAt(text + at);
    const std::uint64_t foreign = word & foreignBits;
    if (foreign == 0) {
      at += 8;
      count += 8;
      continue;
    }
    const auto ascii = static_cast<std::size_t>(std::countr_zero(foreign)) / 8;
    const std::size_t size = wellFormedSize(ascii == 0 ? word : wordAt(text + at + ascii));
    if (size == 0) return -1;
    at += ascii + size;
    count += ascii + 1;
  }
  return static_cast<std::ptrdiff_t>(count - (at - length));  // zeros behind the end were counted
}

std::ptrdiff_t countLeniently(const char* text, std::size_t length) {
  std::size_t at = 0;
  std::size_t count = 0;
  while (at < length) {
    if (length - at >= 8 && (wordAt(text + at) & foreignBits) == 0) {
      at += 8;
      count += 8;
      continue;
    }
    const std::size_t size = characterSize(static_cast<unsigned char>(text[at]));
    if (size == 0) return -1;
    at += size;
    ++count;
  }
  return static_cast<std::ptrdiff_t>(count);
}

}  // namespace tarvo::oss
