#pragma once

#include "simd/kelVbmiVectors.hpp"

#include <cstddef>
#include <cstdint>

/// Checks UTF-8 on processors that have a mask bit for each of 64 bytes and table look-ups among 64 bytes.
/// The check compares two masks: one for the bytes that are continuation bytes, and one for the bytes that
/// must be continuation bytes because of the lead bytes before them. A table says which second bytes are not
/// allowed after a lead byte.
namespace tarvo::simd {

// NOLINTBEGIN(misc-definitions-in-headers): each including source needs a copy in its own instruction set
namespace {

using Mask = __mmask64;

constexpr std::size_t width = 64;

/// Table indexed by the low six bits of a lead byte; each entry says which quarters of the range 80 to BF
/// must not contain the second byte.
consteval ByteTable tableOfLeads() {
  ByteTable table;
  table.at[0x00] = table.at[0x01] = 0b1111;                                  // C0, C1: overlong
  table.at[0x20] = 0b0011;                                                   // E0 80 to 9F: overlong
  table.at[0x2D] = 0b1100;                                                   // ED A0 to BF: surrogates
  table.at[0x30] = 0b0001;                                                   // F0 80 to 8F: overlong
  table.at[0x34] = 0b1110;                                                   // F4 90 to BF: above U+10FFFF
  for (unsigned lead = 0x35; lead < width; ++lead) table.at[lead] = 0b1111;  // F5 to FF: never valid
  return table;
}

/// Table indexed by the low six bits of the second byte; each entry says which quarter of the range 80 to BF
/// contains the byte.
consteval ByteTable tableOfSeconds() {
  ByteTable table;
  for (unsigned byte = 0; byte < width; ++byte) table.at[byte] = static_cast<unsigned char>(1U << byte / 16);
  return table;
}

constexpr ByteTable barredByLead = tableOfLeads();
constexpr ByteTable quarters = tableOfSeconds();

__attribute__((always_inline)) inline Vector each(int byte) {
  return _mm512_set1_epi8(static_cast<char>(byte));
}

/// Returns whether the last character is incomplete.
__attribute__((always_inline)) inline bool lastIsCut(const char* text, std::size_t length) {
  const auto from = [&](std::size_t back, int lead) {
    return length >= back && static_cast<unsigned char>(text[length - back]) >= lead;
  };
  return from(1, 0xC0) || from(2, 0xE0) || from(3, 0xF0);
}

/// A check in progress.
struct Progress {
  Mask faults = 0;
  std::size_t continuations = 0;

  /// Checks the 64 bytes of `bytes` and counts their characters. The other vectors contain the 64 bytes that
  /// begin one, two and three bytes earlier in the text.
  __attribute__((always_inline)) void take(Vector bytes, Vector first, Vector second, Vector third) {
    const Mask continuing = _mm512_cmplt_epi8_mask(bytes, each(0xC0));
    const Mask afterLead = _mm512_cmpge_epu8_mask(first, each(0xC0));
    const Mask due =
        afterLead | _mm512_cmpge_epu8_mask(second, each(0xE0)) | _mm512_cmpge_epu8_mask(third, each(0xF0));
    const Vector barred = _mm512_permutexvar_epi8(first, load(barredByLead));
    const Vector own = _mm512_permutexvar_epi8(bytes, load(quarters));
    faults |= (due ^ continuing) | _mm512_mask_test_epi8_mask(afterLead, barred, own);
    continuations += static_cast<std::size_t>(__builtin_popcountll(continuing));
  }

  __attribute__((always_inline)) void take(Vector bytes, const char* text) {
    take(bytes, _mm512_loadu_si512(text - 1), _mm512_loadu_si512(text - 2), _mm512_loadu_si512(text - 3));
  }
};

/// Checks at most 64 bytes as if zeros followed them. A zero is not a continuation byte, so an incomplete
/// character at the end is malformed. Either the bytes are the first bytes of the text, or at least three
/// bytes precede them.
template <bool copies>
__attribute__((always_inline)) inline void takeSome(Progress& progress, char* dest, const char* text,
                                                    std::size_t at, std::size_t count) {
  const Mask all = firstBits(count);
  const auto shiftedBy = [&](std::size_t places) {
    return _mm512_maskz_loadu_epi8(at == 0 ? all & ~firstBits(places) : all, text + at - places);
  };
  const Vector bytes = shiftedBy(0);
  if constexpr (copies) _mm512_mask_storeu_epi8(dest + at, all, bytes);
  progress.take(bytes, shiftedBy(1), shiftedBy(2), shiftedBy(3));
}

template <bool copies>
__attribute__((always_inline)) inline Vector bytesAt(char* dest, const char* text, std::size_t at) {
  const Vector bytes = _mm512_loadu_si512(text + at);
  if constexpr (copies) _mm512_storeu_si512(dest + at, bytes);
  return bytes;
}

/// Checks the next 4 * 64 bytes of the text. If all these bytes are ASCII, the only possible fault is that
/// the character before them is incomplete.
template <bool copies>
__attribute__((always_inline)) inline void takeFour(Progress& progress, char* dest, const char* text,
                                                    std::size_t at, bool& asciiBefore) {
  const Vector v0 = bytesAt<copies>(dest, text, at);
  const Vector v1 = bytesAt<copies>(dest, text, at + width);
  const Vector v2 = bytesAt<copies>(dest, text, at + 2 * width);
  const Vector v3 = bytesAt<copies>(dest, text, at + 3 * width);
  const Vector any = _mm512_or_si512(_mm512_or_si512(v0, v1), _mm512_or_si512(v2, v3));
  const bool ascii = _mm512_movepi8_mask(any) == 0;
  if (!ascii || !asciiBefore) progress.take(v0, text + at);
  asciiBefore = ascii;
  if (ascii) return;
  progress.take(v1, text + at + width);
  progress.take(v2, text + at + 2 * width);
  progress.take(v3, text + at + 3 * width);
}

/// Returns the number of bytes to check first; the text may have fewer bytes. For a long text the result is
/// the number of bytes before the next cache line, so that later vectors do not cross cache lines. For a
/// short text, or if fewer than three bytes precede the cache line, the result is the width of a vector.
__attribute__((always_inline)) inline std::size_t sizeOfHead(const char* text, std::size_t length) {
  constexpr std::size_t isLong = 16 * width;
  const std::size_t before = width - reinterpret_cast<std::uintptr_t>(text) % width;
  return length < isLong || before < 3 ? width : before;
}

template <bool copies>
__attribute__((always_inline)) inline std::ptrdiff_t takeWellFormed(char* dest, const char* text,
                                                                    std::size_t length) {
  if (length == 0) return 0;
  Progress progress;
  const std::size_t head = sizeOfHead(text, length);
  std::size_t at = length < head ? length : head;
  takeSome<copies>(progress, dest, text, 0, at);
  bool asciiBefore = false;
  for (; length - at >= 4 * width; at += 4 * width) takeFour<copies>(progress, dest, text, at, asciiBefore);
  while (at < length) {
    const std::size_t count = length - at < width ? length - at : width;
    takeSome<copies>(progress, dest, text, at, count);
    at += count;
  }
  if (lastIsCut(text, length)) progress.faults = 1;
  return progress.faults == 0 ? static_cast<std::ptrdiff_t>(length - progress.continuations) : -1;
}

std::ptrdiff_t countWellFormed(const char* text, std::size_t length) {
  return takeWellFormed<false>(nullptr, text, length);
}

std::ptrdiff_t copyWellFormed(char* dest, const char* text, std::size_t length) {
  return takeWellFormed<true>(dest, text, length);
}

}  // namespace
// NOLINTEND(misc-definitions-in-headers)

}  // namespace tarvo::simd
