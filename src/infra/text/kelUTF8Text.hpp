#pragma once

#include "simd/kelKernels.hpp"

#include <cstddef>
#include <cstdint>

/// Checks, counts, copies and separates the characters of UTF-8 texts.
namespace tarvo::text {

/// Returns whether a byte is a continuation byte: 80 to BF.
constexpr bool continuesCharacter(char byte) {
  return static_cast<signed char>(byte) < -0x40;
}

/// Returns the number of characters of a text, or -1 if the text is not well-formed by the Unicode Standard's
/// table of well-formed byte sequences.
std::ptrdiff_t countWellFormed(const char* text, std::size_t length);

/// Counts as `countWellFormed` does and copies the text. If the text is malformed, an unspecified part of it
/// is copied.
std::ptrdiff_t copyWellFormed(char* dest, const char* text, std::size_t length);

/// Writes each character that begins within the first `length` bytes of a well-formed text into a word of
/// eight bytes, followed by zeros, and returns the number of characters. After the text, `spreadSlack` more
/// bytes must be readable. `dest` needs room for `length` words, rounded up to a multiple of 16.
std::size_t spreadCharacters(std::uint64_t* dest, const char* text, std::size_t length);
constexpr std::size_t spreadSlack = simd::spreadReadsAfter;

/// Returns the number of characters according to their lead bytes; the bytes after a lead byte are not
/// checked. Returns -1 if a character starts with 80 to BF or F8 to FF. An incomplete character at the end is
/// counted.
std::ptrdiff_t countLeniently(const char* text, std::size_t length);

}  // namespace tarvo::text
