#pragma once

#include "machine/kelByteOrder.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

/// Words and vectors of bytes and code units, and loops over them. The vectors are types of the compilers'
/// vector extension, which works for every processor. The compilers would not vectorise loops over single
/// bytes, because a byte that is written may alias any object.
namespace tarvo::text {

// --- words

/// Returns eight bytes or four units as a word in the processor's byte order, to test all of them at once.
inline std::uint64_t wordAt(const void* place) noexcept {
  return machine::nativeAt<std::uint64_t>(place);
}

/// Returns the bitwise OR of the two words of sixteen bytes: of the first eight bytes and of the last eight
/// bytes.
inline std::uint64_t bitsOfBoth(const void* place) {
  return wordAt(place) | wordAt(static_cast<const char*>(place) + sizeof(std::uint64_t));
}

constexpr std::uint64_t inEachByte(unsigned char byte) {
  return 0x0101'0101'0101'0101U * byte;
}
constexpr std::uint64_t inEachUnit(char16_t unit) {
  return 0x0001'0001'0001'0001U * unit;
}

constexpr bool hasZeroByte(std::uint64_t word) {
  return ((word - inEachByte(1)) & ~word & inEachByte(0x80)) != 0;
}

// --- vectors

constexpr std::size_t plainBlock = 16;
// The vectors have at most 16 bytes, because the stack is aligned to 16 bytes.
using SixteenBytes [[gnu::vector_size(16)]] = unsigned char;
using EightBytes [[gnu::vector_size(8)]] = unsigned char;
using TwoWords [[gnu::vector_size(16)]] = std::uint64_t;
using EightUnits [[gnu::vector_size(16)]] = std::uint16_t;

constexpr std::size_t vectorUnits = sizeof(EightUnits) / sizeof(char16_t);

/// Widens the eight bytes at `bytes` to units. The address of the units may be unaligned. Shuffling with a
/// zero vector is one instruction; GCC 12 compiles a vector conversion to four.
inline void widenEight(const char* bytes, void* units) {
  const auto narrow = reinterpret_cast<SixteenBytes>(TwoWords{wordAt(bytes), 0});
  constexpr SixteenBytes zeros{};
  SixteenBytes wide;
  if constexpr (machine::isLittleEndian) {
    wide = __builtin_shufflevector(narrow, zeros, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
  } else {
    wide = __builtin_shufflevector(zeros, narrow, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
  }
  std::memcpy(units, &wide, sizeof wide);
}

/// Widens the eight bytes of a word to units, the lowest byte first.
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

inline bool allAscii(EightUnits units) {
  return (bitsOfBoth(&units) & inEachUnit(0xFF80)) == 0;
}

// --- runs of code units and bytes that have equal values

/// Narrows a text in blocks of eight units; the last block overlaps the block before it. The function has no
/// branches between the first three blocks, because most numbers fit into three blocks. Returns false if a
/// unit of the text is not ASCII; the bytes are then not usable.
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

/// Widens whole blocks from the beginning of the text, as long as all bytes of a block are below `plain` (128
/// or 256). Returns the number of widened bytes.
inline std::size_t widenPlain(const char* bytes, std::size_t count, void* units, std::size_t plain) {
  std::size_t done = 0;
  for (; count - done >= plainBlock; done += plainBlock) {
    if (plain < 256 && (bitsOfBoth(bytes + done) & inEachByte(0x80)) != 0) break;
    for (std::size_t i = 0; i < plainBlock; i += 8) widenEight(bytes + done + i, unitsAt(units, done + i));
  }
  return done;
}

/// Widens whole blocks from the beginning of the text, as long as a block contains no byte from `first` to
/// `last`. Returns the number of widened bytes.
inline std::size_t widenOutside(const char* bytes, std::size_t count, void* units, unsigned char first,
                                unsigned char last) {
  static_assert(sizeof(SixteenBytes) == plainBlock);
  std::size_t done = 0;
  for (; count - done >= plainBlock; done += plainBlock) {
    SixteenBytes block;
    std::memcpy(&block, bytes + done, sizeof block);
    const auto found = (block - first) <= static_cast<unsigned char>(last - first);
    if (bitsOfBoth(&found) != 0) break;
    for (std::size_t i = 0; i < plainBlock; i += 8) widenEight(bytes + done + i, unitsAt(units, done + i));
  }
  return done;
}

/// Narrows whole blocks from the beginning of the text, as long as all units of a block are below `plain`.
/// Returns the number of narrowed units.
inline std::size_t narrowPlain(const char16_t* units, std::size_t count, char* bytes, std::size_t plain) {
  std::size_t done = 0;
  for (; count - done >= plainBlock; done += plainBlock) {
    const std::uint64_t any = bitsOfBoth(units + done) | bitsOfBoth(units + done + vectorUnits);
    if ((any & inEachUnit(plain == 256 ? 0xFF00 : 0xFF80)) != 0) break;
    for (std::size_t i = 0; i < plainBlock; i += 8) narrowEight(units + done + i, bytes + done + i);
  }
  return done;
}

// --- moves of a few bytes, which take less time than a call of the C library

/// Copies a range whose length is at least one `Piece` and at most two. The function copies the first piece
/// and the last piece of the range, which may overlap. The function reads both pieces before it writes a
/// piece, so source and destination may overlap.
template <class Piece>
inline void moveBothEnds(char* target, const char* source, std::size_t length) {
  Piece first;
  Piece last;
  std::memcpy(&first, source, sizeof first);
  std::memcpy(&last, source + length - sizeof last, sizeof last);
  std::memcpy(target, &first, sizeof first);
  std::memcpy(target + length - sizeof last, &last, sizeof last);
}

constexpr std::size_t shortPiece = 32;

/// Does the same as std::memmove for 1 to `shortPiece` bytes, without a function call.
[[gnu::always_inline]] inline void moveShort(char* target, const char* source, std::size_t length) {
  if (length >= 16) {
    moveBothEnds<std::array<char, 16>>(target, source, length);
  } else if (length >= 8) {
    moveBothEnds<std::uint64_t>(target, source, length);
  } else if (length >= 4) {
    moveBothEnds<std::uint32_t>(target, source, length);
  } else if (length >= 2) {
    moveBothEnds<std::uint16_t>(target, source, length);
  } else {
    *target = *source;
  }
}

}  // namespace tarvo::text
