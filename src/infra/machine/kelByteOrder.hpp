#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

/// Loads and stores words in a given byte order, on processors of either byte order. A word is loaded and
/// stored unchanged if the given order equals the processor's order.
///
/// The functions are always inlined. Otherwise files for different processors could share one copy of a
/// function; simd/kelKernels.hpp explains why this must not happen.
namespace tarvo::machine {

constexpr bool isLittleEndian = std::endian::native == std::endian::little;
static_assert(isLittleEndian || std::endian::native == std::endian::big, "mixed orders are not supported");

[[gnu::always_inline]] constexpr std::uint16_t swapped(std::uint16_t word) {
  return __builtin_bswap16(word);
}
[[gnu::always_inline]] constexpr std::uint32_t swapped(std::uint32_t word) {
  return __builtin_bswap32(word);
}
[[gnu::always_inline]] constexpr std::uint64_t swapped(std::uint64_t word) {
  return __builtin_bswap64(word);
}

/// Converts between the value of a word and the word as it is in memory, with the lowest byte first.
template <class Word>
[[gnu::always_inline]] constexpr Word littleEndian(Word word) {
  if constexpr (isLittleEndian) {
    return word;
  } else {
    return swapped(word);
  }
}

/// Converts between the value of a word and the word as it is in memory, with the highest byte first.
template <class Word>
[[gnu::always_inline]] constexpr Word bigEndian(Word word) {
  return swapped(littleEndian(word));
}

/// Returns the word at an address in the processor's byte order. The address may be unaligned.
template <class Word>
[[gnu::always_inline]] inline Word nativeAt(const void* place) {
  Word word;
  std::memcpy(&word, place, sizeof word);
  return word;
}

template <class Word>
[[gnu::always_inline]] inline Word littleEndianAt(const void* place) {
  return littleEndian(nativeAt<Word>(place));
}

template <class Word>
[[gnu::always_inline]] inline Word bigEndianAt(const void* place) {
  return bigEndian(nativeAt<Word>(place));
}

template <class Word>
[[gnu::always_inline]] inline void putLittleEndian(void* place, Word word) {
  word = littleEndian(word);
  std::memcpy(place, &word, sizeof word);
}

template <class Word>
[[gnu::always_inline]] inline void putBigEndian(void* place, Word word) {
  word = bigEndian(word);
  std::memcpy(place, &word, sizeof word);
}

}  // namespace tarvo::machine
