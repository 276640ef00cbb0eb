#pragma once

#include "simd/kelBase64Characters.hpp"
#include "simd/kelKernels.hpp"
#include "simd/kelVbmiVectors.hpp"

#include <cstddef>
#include <cstdint>

/// Base64 for processors whose table look-ups choose among 64 or 128 bytes at once, so one look-up suffices
/// for a whole alphabet.
namespace tarvo::simd {

// NOLINTBEGIN(misc-definitions-in-headers): each including source needs a copy in its own instruction set
namespace {

// --- encode

constexpr std::size_t blockGroups = 16;

consteval ByteTable tableOf(const Base64Characters& characters) {
  ByteTable table;
  for (unsigned value = 0; value < 64; ++value)
    table.at[value] = static_cast<unsigned char>(characters[value]);
  return table;
}

constexpr ByteTable encodeTables[] = {tableOf(standardCharacters), tableOf(safeCharacters)};

/// A table for a shuffle of bytes. Each lane of eight bytes gets two groups of three bytes: lane k gets group
/// k in its lowest bytes, and group k + 8 in the next three bytes. The bytes of each group are in reverse
/// order.
consteval ByteTable groupsInLanes() {
  ByteTable table;
  for (unsigned lane = 0; lane < 8; ++lane) {
    for (unsigned byte = 0; byte < 3; ++byte) {
      table.at[lane * 8 + byte] = static_cast<unsigned char>(lane * 3 + 2 - byte);
      table.at[lane * 8 + 3 + byte] = static_cast<unsigned char>((lane + 8) * 3 + 2 - byte);
    }
  }
  return table;
}

constexpr ByteTable laneOrder = groupsInLanes();

/// The bit positions at which the values of a lane start: the even bytes contain the positions for the lower
/// group, and the odd bytes contain the positions for the upper group.
constexpr long long valuePlaces = 0x1800'1E06'240C'2A12;

/// The units of 16 groups. Each vector contains 32 units.
struct Units {
  Vector low;
  Vector high;
};

/// Looks up the units of the values in `bytes`. The look-up uses the low six bits of each byte.
template <Base64Alphabet alphabet>
__attribute__((always_inline)) inline Units unitsOf(Vector bytes) {
  const Vector lanes = _mm512_permutexvar_epi8(load(laneOrder), bytes);
  const Vector values = _mm512_multishift_epi64_epi8(_mm512_set1_epi64(valuePlaces), lanes);
  const Vector characters = _mm512_permutexvar_epi8(values, load(encodeTables[alphabet]));
  return {_mm512_and_si512(characters, _mm512_set1_epi16(0xFF)), _mm512_srli_epi16(characters, 8)};
}

/// Encodes at most 16 groups.
template <Base64Alphabet alphabet>
__attribute__((always_inline)) inline void encodeSome(unsigned short* dest, const char* src,
                                                      std::size_t groups) {
  const Units units = unitsOf<alphabet>(_mm512_maskz_loadu_epi8(firstBits(groups * 3), src));
  const __mmask64 all = firstBits(groups * 4);
  _mm512_mask_storeu_epi16(dest, static_cast<__mmask32>(all), units.low);
  _mm512_mask_storeu_epi16(dest + 32, static_cast<__mmask32>(all >> 32U), units.high);
}

/// Encodes the groups up to the next cache line of the destination, so that later vectors do not cross cache
/// lines, and returns the number of these groups. If no group ends at the start of that cache line, encodes
/// nothing.
template <Base64Alphabet alphabet>
__attribute__((noinline)) std::size_t encodeBeforeLine(unsigned short* dest, const char* src) {
  const std::size_t before = -reinterpret_cast<std::uintptr_t>(dest) % 64;
  if (before % 8 != 0) return 0;
  encodeSome<alphabet>(dest, src, before / 8);
  return before / 8;
}

/// Loads the bytes of up to 16 groups. If the function may read a whole vector, the vector also contains
/// bytes after the groups.
__attribute__((always_inline)) inline Vector bytesOfBlock(const char* src, std::size_t groups) {
  return groups * 3 >= sizeof(Vector) ? _mm512_loadu_si512(src)
                                      : _mm512_maskz_loadu_epi8(firstBits(blockGroups * 3), src);
}

template <Base64Alphabet alphabet>
std::size_t encodeGroups(unsigned short* dest, const char* src, std::size_t groups) {
  std::size_t taken = groups < 8 * blockGroups ? 0 : encodeBeforeLine<alphabet>(dest, src);
  for (; groups - taken >= blockGroups; taken += blockGroups) {
    const Units units = unitsOf<alphabet>(bytesOfBlock(src + taken * 3, groups - taken));
    _mm512_storeu_si512(dest + taken * 4, units.low);
    _mm512_storeu_si512(dest + taken * 4 + 32, units.high);
  }
  if (taken < groups) encodeSome<alphabet>(dest + taken * 4, src + taken * 3, groups - taken);
  return groups;
}

// --- decode

/// The value of each of 128 characters; hexadecimal 80 for characters that are not in the alphabet.
struct DecodeTable {
  ByteTable half[2];

  consteval explicit DecodeTable(const Base64Characters& characters) {
    for (ByteTable& table : half) {
      for (unsigned char& value : table.at) value = 0x80;
    }
    for (unsigned value = 0; value < 64; ++value) {
      const auto character = static_cast<unsigned char>(characters[value]);
      half[character / 64].at[character % 64] = static_cast<unsigned char>(value);
    }
  }
};

constexpr DecodeTable decodeTables[] = {DecodeTable(standardCharacters), DecodeTable(safeCharacters)};

/// Returns the index for a permutation of 64 bytes, which are 16 groups of four bytes. The permutation
/// reverses the first three bytes of each group and drops the fourth. The groups are not in the order of the
/// text, because the packing instruction alternates half blocks of the first 32 units with half blocks of the
/// second 32 units.
consteval ByteTable bytesOfGroups() {
  ByteTable table;
  for (unsigned group = 0; group < 16; ++group) {
    const unsigned place = group % 8 / 2 * 4 + group / 8 * 2 + group % 2;
    for (unsigned byte = 0; byte < 3; ++byte)
      table.at[group * 3 + byte] = static_cast<unsigned char>(place * 4 + 2 - byte);
  }
  return table;
}

constexpr ByteTable byteOrder = bytesOfGroups();

/// Decodes 64 units to 48 bytes; returns false if a unit is not in the alphabet. Packing changes units above
/// 255 to 255 and units above 32767 to 0, and no alphabet contains 255 or 0.
__attribute__((always_inline)) inline bool decodeBlock(Vector first, Vector second, const DecodeTable& table,
                                                       Vector& bytes) {
  const Vector characters = _mm512_packus_epi16(first, second);
  const Vector values = _mm512_permutex2var_epi8(load(table.half[0]), characters, load(table.half[1]));
  if (_mm512_movepi8_mask(_mm512_or_si512(values, characters)) != 0) return false;
  const Vector pairs = _mm512_maddubs_epi16(values, _mm512_set1_epi16(0x0140));
  const Vector groups = _mm512_madd_epi16(pairs, _mm512_set1_epi32(0x00011000));
  bytes = _mm512_permutexvar_epi8(load(byteOrder), groups);
  return true;
}

template <Base64Alphabet alphabet>
std::size_t decodeGroups(char* dest, const unsigned short* src, std::size_t groups) {
  constexpr const DecodeTable& table = decodeTables[alphabet];
  std::size_t taken = 0;
  Vector bytes;
  for (; groups - taken >= blockGroups;
       taken += blockGroups, src += blockGroups * 4, dest += blockGroups * 3) {
    if (!decodeBlock(_mm512_loadu_si512(src), _mm512_loadu_si512(src + 32), table, bytes)) return taken;
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dest), _mm512_castsi512_si256(bytes));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dest + 32), _mm512_extracti32x4_epi32(bytes, 2));
  }
  const std::size_t left = groups - taken;
  if (left == 0) return groups;
  const __mmask64 units = firstBits(left * 4);
  const Vector fill = _mm512_set1_epi16(u'A');  // value 0 in any alphabet
  const Vector first = _mm512_mask_loadu_epi16(fill, static_cast<__mmask32>(units), src);
  const Vector second = _mm512_mask_loadu_epi16(fill, static_cast<__mmask32>(units >> 32U), src + 32);
  if (!decodeBlock(first, second, table, bytes)) return taken;
  _mm512_mask_storeu_epi8(dest, firstBits(left * 3), bytes);
  return groups;
}

}  // namespace
// NOLINTEND(misc-definitions-in-headers)

}  // namespace tarvo::simd
