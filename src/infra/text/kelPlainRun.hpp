#pragma once

#include "machine/kelByteOrder.hpp"

#include <cstddef>
#include <cstdint>
#include <cstring>

/// Converts runs of code units and bytes that have equal values, sixteen at a time. The compilers' vector
/// extension works for every processor. Plain loops would not be vectorised, since a byte that is written may
/// alias any object.
namespace tarvo::text {

constexpr std::size_t plainBlock = 16;
// Not wider, because the stack is aligned to 16 bytes.
using SixteenBytes [[gnu::vector_size(16)]] = unsigned char;
using EightBytes [[gnu::vector_size(8)]] = unsigned char;
using TwoWords [[gnu::vector_size(16)]] = std::uint64_t;
using EightUnits [[gnu::vector_size(16)]] = std::uint16_t;

/// Eight bytes as a word in the processor's order: for tests of all bytes, or of all units.
inline std::uint64_t eightBytesAt(const void* place) {
  return machine::nativeAt<std::uint64_t>(place);
}

/// Widens the bytes at `bytes` to units. The units may be at any address. Shuffling with a zero vector is one
/// instruction; GCC 12 compiles a vector conversion to four.
inline void widenEight(const char* bytes, void* units) {
  const auto narrow = reinterpret_cast<SixteenBytes>(TwoWords{eightBytesAt(bytes), 0});
  constexpr SixteenBytes zeros{};
  SixteenBytes wide;
  if constexpr (machine::isLittleEndian) {
    wide = __builtin_shufflevector(narrow, zeros, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
  } else {
    wide = __builtin_shufflevector(zeros, narrow, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
  }
  std::memcpy(units, &wide, sizeof wide);
}

/// Widens the bytes of the word, the lowest first.
inline void widenEight(std::uint64_t bytes, void* units) {
  bytes = machine::littleEndian(bytes);
  widenEight(reinterpret_cast<const char*>(&bytes), units);
}

inline EightUnits eightUnitsAt(const char16_t* units) {
  EightUnits wide;
  std::memcpy(&wide, units, sizeof wide);
  return wide;
}

inline void narrowEight(const char16_t* units, char* bytes) {
  const EightBytes narrow = __builtin_convertvector(eightUnitsAt(units), EightBytes);
  std::memcpy(bytes, &narrow, sizeof narrow);
}

constexpr bool hasZeroByte(std::uint64_t word) {
  return ((word - 0x0101010101010101) & ~word & 0x8080808080808080) != 0;
}

/// The bits that are 0 in every number below `plain` (128 or 256), for eight bytes or four units.
constexpr std::uint64_t bitsAboveBytes(std::size_t plain) {
  return plain == 256 ? 0 : 0x8080808080808080;
}
constexpr std::uint64_t bitsAboveUnits(std::size_t plain) {
  return plain == 256 ? 0xFF00FF00FF00FF00 : 0xFF80FF80FF80FF80;
}

inline bool allAscii(EightUnits units) {
  std::uint64_t words[2];
  std::memcpy(words, &units, sizeof words);
  return ((words[0] | words[1]) & 0xFF80FF80FF80FF80) == 0;
}

/// Narrows a text in blocks of eight; the last block overlaps the one before. The first three take no branch:
/// numbers are rarely longer. Returns false if the text is not all ASCII; the bytes are then unusable.
inline bool narrowAscii(const char16_t* units, std::size_t count, char* bytes) {
  if (count < 8) {
    unsigned int seen = 0;
    for (std::size_t i = 0; i < count; ++i) {
      seen |= units[i];
      bytes[i] = static_cast<char>(units[i]);
    }
    return seen < 0x80;
  }
  const std::size_t last = count - 8;
  const std::size_t middle = last < 8 ? last : 8;
  EightUnits seen = eightUnitsAt(units) | eightUnitsAt(units + middle) | eightUnitsAt(units + last);
  narrowEight(units, bytes);
  narrowEight(units + middle, bytes + middle);
  for (std::size_t done = 16; done < last; done += 8) {
    seen |= eightUnitsAt(units + done);
    narrowEight(units + done, bytes + done);
  }
  narrowEight(units + last, bytes + last);
  return allAscii(seen);
}

inline void* unitsAt(void* units, std::size_t place) {
  return static_cast<char*>(units) + sizeof(char16_t) * place;
}

/// Widens the leading whole blocks whose bytes are below `plain`, and returns the number of bytes.
inline std::size_t widenPlain(const char* bytes, std::size_t count, void* units, std::size_t plain) {
  std::size_t done = 0;
  for (; count - done >= plainBlock; done += plainBlock) {
    const std::uint64_t any = eightBytesAt(bytes + done) | eightBytesAt(bytes + done + 8);
    if ((any & bitsAboveBytes(plain)) != 0) break;
    for (std::size_t i = 0; i < plainBlock; i += 8) widenEight(bytes + done + i, unitsAt(units, done + i));
  }
  return done;
}

/// Widens the leading whole blocks without a byte from `first` to `last`, and returns the number of bytes.
inline std::size_t widenOutside(const char* bytes, std::size_t count, void* units, unsigned char first,
                                unsigned char last) {
  static_assert(sizeof(SixteenBytes) == plainBlock);
  std::size_t done = 0;
  for (; count - done >= plainBlock; done += plainBlock) {
    SixteenBytes block;
    std::memcpy(&block, bytes + done, sizeof block);
    const auto found = (block - first) <= static_cast<unsigned char>(last - first);
    if ((eightBytesAt(&found) | eightBytesAt(reinterpret_cast<const char*>(&found) + 8)) != 0) break;
    for (std::size_t i = 0; i < plainBlock; i += 8) widenEight(bytes + done + i, unitsAt(units, done + i));
  }
  return done;
}

/// Narrows the leading whole blocks whose units are below `plain`, and returns the number of units.
inline std::size_t narrowPlain(const char16_t* units, std::size_t count, char* bytes, std::size_t plain) {
  std::size_t done = 0;
  for (; count - done >= plainBlock; done += plainBlock) {
    const char16_t* const four = units + done;
    const std::uint64_t any =
        eightBytesAt(four) | eightBytesAt(four + 4) | eightBytesAt(four + 8) | eightBytesAt(four + 12);
    if ((any & bitsAboveUnits(plain)) != 0) break;
    for (std::size_t i = 0; i < plainBlock; i += 8) narrowEight(units + done + i, bytes + done + i);
  }
  return done;
}

}  // namespace tarvo::text
