#pragma once

#include <cstddef>

/// Converts between UTF-16 and UTF-8 one character at a time, on any processor. The functions have internal
/// linkage for the reason that kelKernels.hpp states.
namespace tarvo::simd {

// NOLINTBEGIN(misc-definitions-in-headers): each including source needs a copy in its own instruction set
namespace {

// --- from UTF-8

constexpr bool isTail(unsigned byte) {
  return (byte & 0xC0) == 0x80;
}

/// Reads one character above U+007F. Returns the number of bytes of the character, or 0 if the character is
/// malformed by the Unicode Standard's table of well-formed byte sequences.
template <class Unit>
std::size_t decode(const unsigned char* from, std::size_t count, Unit*& to) {
  const unsigned lead = from[0];
  if (count < 2 || !isTail(from[1])) return 0;
  const unsigned second = from[1] & 0x3FU;
  if (lead < 0xE0) {
    if (lead < 0xC2) return 0;
    *to++ = static_cast<Unit>((lead & 0x1FU) << 6U | second);
    return 2;
  }
  if (count < 3 || !isTail(from[2])) return 0;
  const unsigned third = from[2] & 0x3FU;
  if (lead < 0xF0) {
    const unsigned unit = (lead & 0xFU) << 12U | second << 6U | third;
    if (unit < 0x800 || (unit & 0xF800) == 0xD800) return 0;
    *to++ = static_cast<Unit>(unit);
    return 3;
  }
  if (count < 4 || lead > 0xF4 || !isTail(from[3])) return 0;
  const unsigned character = (lead & 0x7U) << 18U | second << 12U | third << 6U | (from[3] & 0x3FU);
  if (character < 0x10000 || character > 0x10FFFF) return 0;
  *to++ = static_cast<Unit>(0xD7C0 + (character >> 10U));
  *to++ = static_cast<Unit>(0xDC00 + (character & 0x3FFU));
  return 4;
}

// --- to UTF-8

constexpr bool isHalf(unsigned unit) {
  return (unit & 0xF800) == 0xD800;
}
constexpr bool isPair(unsigned first, unsigned second) {
  return (first & 0xFC00) == 0xD800 && (second & 0xFC00) == 0xDC00;
}

/// Writes one character above U+007F, which has at least two bytes in UTF-8. Returns the number of UTF-16
/// units of the character, or 0 for an unpaired surrogate.
template <class Unit>
std::size_t encode(const Unit* from, std::size_t count, char*& to) {
  const unsigned unit = from[0];
  const auto put = [&](unsigned byte) { *to++ = static_cast<char>(byte); };
  if (unit < 0x800) {
    put(0xC0 | unit >> 6U);
    put(0x80 | (unit & 0x3FU));
    return 1;
  }
  if (!isHalf(unit)) {
    put(0xE0 | unit >> 12U);
    put(0x80 | (unit >> 6U & 0x3FU));
    put(0x80 | (unit & 0x3FU));
    return 1;
  }
  if (count < 2 || !isPair(unit, from[1])) return 0;
  const unsigned character = ((unit & 0x3FFU) << 10U) + (from[1] & 0x3FFU) + 0x10000;
  put(0xF0 | character >> 18U);
  put(0x80 | (character >> 12U & 0x3FU));
  put(0x80 | (character >> 6U & 0x3FU));
  put(0x80 | (character & 0x3FU));
  return 2;
}

}  // namespace
// NOLINTEND(misc-definitions-in-headers)

}  // namespace tarvo::simd
