#pragma once

#include "machine/kelByteOrder.hpp"

#include <cstddef>
#include <cstdint>
#include <cstring>

/// Checks and counts UTF-8 eight bytes at a time, on any processor. The functions have internal linkage for
/// the reason that kelKernels.hpp states.
namespace tarvo::simd {

// NOLINTBEGIN(misc-definitions-in-headers): each including source needs a copy in its own instruction set
namespace {

constexpr std::size_t wordSize = sizeof(std::uint64_t);

/// Returns the eight bytes at `text` as a number; the first byte is the lowest.
inline std::uint64_t wordAt(const char* text) {
  return machine::littleEndianAt<std::uint64_t>(text);
}

// Each of the following functions tests whether a word begins with a well-formed character of one size. The
// function tests the bits that all characters of this size have in common, and excludes the first two bytes
// that are not allowed.

constexpr bool isOfTwo(std::uint64_t word) {
  return (word & 0xC0E0) == 0x80C0 && (word & 0x1E) != 0;  // C0, C1: overlong
}

constexpr bool isOfThree(std::uint64_t word) {
  const std::uint64_t top = word & 0x200F;  // E0 80 to 9F: overlong; ED A0 to BF: surrogates
  return (word & 0xC0C0F0) == 0x8080E0 && top != 0 && top != 0x200D;
}

constexpr bool isOfFour(std::uint64_t word) {
  const std::uint64_t top = word & 0x3007;  // F0 80 to 8F: overlong; F4 90 to BF, F5 to F7: above U+10FFFF
  return (word & 0xC0C0C0F8) == 0x808080F0 && top != 0 && ((top & 0x07) < 4 || top == 4);
}

/// The numbers of bytes and characters that were already checked.
struct Taken {
  std::size_t bytes = 0;
  std::size_t characters = 0;
};

/// Checks the ASCII characters at the start of the word, or one character if the word does not start with
/// ASCII. Returns false if the character is malformed. Each size has a separate branch. Most texts use
/// characters of one size, so the processor predicts the branch and the next step does not wait for the size.
__attribute__((always_inline)) inline bool takeWord(std::uint64_t word, Taken& taken) {
  const std::uint64_t foreign = word & 0x8080808080808080;
  if (foreign == 0) {
    taken.bytes += wordSize;
    taken.characters += wordSize;
  } else if ((foreign & 0x80) == 0) {
    const auto ascii = static_cast<std::size_t>(__builtin_ctzll(foreign)) / 8;
    taken.bytes += ascii;
    taken.characters += ascii;
  } else if (isOfThree(word)) {
    taken.bytes += 3;
    ++taken.characters;
  } else if (isOfTwo(word)) {
    taken.bytes += 2;
    ++taken.characters;
  } else if (isOfFour(word)) {
    taken.bytes += 4;
    ++taken.characters;
  } else {
    return false;
  }
  return true;
}

/// Counts the characters of a text. The last bytes are checked as if zeros followed them. A zero is not a
/// continuation byte, so an incomplete character at the end is malformed.
inline std::ptrdiff_t countByWords(const char* text, std::size_t length) {
  Taken taken;
  while (length - taken.bytes >= wordSize) {
    if (!takeWord(wordAt(text + taken.bytes), taken)) return -1;
  }
  char rest[2 * wordSize] = {};
  const std::size_t left = length - taken.bytes;
  if (left > 0) std::memcpy(rest, text + taken.bytes, left);
  Taken last;
  while (last.bytes < left) {
    if (!takeWord(wordAt(rest + last.bytes), last)) return -1;
  }
  return static_cast<std::ptrdiff_t>(taken.characters + last.characters -
                                     (last.bytes - left));  // without the zeros taken
}

}  // namespace
// NOLINTEND(misc-definitions-in-headers)

}  // namespace tarvo::simd
