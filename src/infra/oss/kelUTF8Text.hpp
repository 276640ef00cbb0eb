#pragma once

#include "simd/kelKernels.hpp"

#include <cstddef>
#include <cstdint>

/// What the bytes of a UTF-8 text say.
namespace tarvo::oss {

/// Whether a byte is none that a character starts with: 80 to BF.
constexpr bool continuesCharacter(char byte) {
  return static_cast<signed char>(byte) < -0x40;
}

/// The characters of a well-formed text, or -1, by the Unicode Standard's table of well-formed byte sequences.
std::ptrdiff_t countWellFormed(const char* text, std::size_t length);

/// The same, and copies the text; of one that is malformed no one knows how much is copied.
std::ptrdiff_t copyWellFormed(char* dest, const char* text, std::size_t length);

/// Writes each character that begins within the first `length` bytes of a well-formed text to eight bytes of its own,
/// zeros behind it, and returns how many. As many bytes more as `spreadSlack` says must be readable behind the text;
/// `dest` needs room for `length` characters, rounded up to a multiple of 16.
std::size_t spreadCharacters(std::uint64_t* dest, const char* text, std::size_t length);
constexpr std::size_t spreadSlack = simd::spreadReadsBehind;

/// The characters by their lead bytes alone, whatever follows them, or -1 where one is none: 80 to BF and F8 to FF. One
/// that the end cuts short counts.
std::ptrdiff_t countLeniently(const char* text, std::size_t length);

}  // namespace tarvo::oss
