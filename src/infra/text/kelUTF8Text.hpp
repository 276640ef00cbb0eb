#pragma once

#include "simd/kelKernels.hpp"

#include <cstddef>
#include <cstdint>

/// Checks, counts, copies and separates the characters of UTF-8 texts.
namespace tarvo::text {

/// Whether a byte continues a character: 80 to BF.
constexpr bool continuesCharacter(char byte) {
  return static_cast<signed char>(byte) < -0x40;
}

/// The number of characters of a well-formed text, or -1, by the Unicode Standard's table of well-formed byte
/// sequences.
std::ptrdiff_t countWellFormed(const char* text, std::size_t length);

/// The same, and copies the text. If it is malformed, an unspecified part of it is copied.
std::ptrdiff_t copyWellFormed(char* dest, const char* text, std::size_t length);

/// Writes each character that begins within the first `length` bytes of a well-formed text to eight bytes,
/// followed by zeros, and returns the number of characters. After the text `spreadSlack` more bytes must be
/// readable; `dest` needs room for `length` characters, rounded up to a multiple of 16.
std::size_t spreadCharacters(std::uint64_t* dest, const char* text, std::size_t length);
constexpr std::size_t spreadSlack = simd::spreadReadsAfter;

/// The number of characters by their lead bytes, whatever bytes follow these, or -1 if a lead byte is 80 to
/// BF or F8 to FF. A character that the end cuts short counts.
std::ptrdiff_t countLeniently(const char* text, std::size_t length);

}  // namespace tarvo::text
