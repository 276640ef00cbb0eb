#pragma once

#include "simd/kelBase64Characters.hpp"
#include "simd/kelKernels.hpp"
#include "simd/kelVectors.hpp"

HWY_BEFORE_NAMESPACE();

/// Base64 for vectors of 16 and of 32 bytes. A table look-up for such a vector chooses among 16 bytes. Each
/// block of 16 bytes in the vector has a separate table.
namespace tarvo::simd {

// NOLINTBEGIN(misc-definitions-in-headers): each including source needs a copy in its own instruction set
namespace {

// --- encode

/// A table of the numbers to add to a value to get its character: one row for A..Z, one row for a..z, ten
/// equal rows for 0..9, and one row for each of the last two values.
consteval Blocks encodeTable(const Base64Characters& characters) {
  Byte toAdd[16] = {};
  for (unsigned row = 0; row < 14; ++row) {
    const unsigned value = row == 0 ? 0 : 25 * 2 + row - (row == 1 ? 25 : 0);
    toAdd[row] = static_cast<Byte>(static_cast<unsigned char>(characters[value]) - value);
  }
  return Blocks(toAdd);
}

constexpr Blocks encodeTables[] = {encodeTable(standardCharacters), encodeTable(safeCharacters)};

/// The indices of a shuffle that selects the second, first, third and second byte of each group. After the
/// shuffle the first two values of the group are in one 16-bit lane, and its last two values are in the next
/// lane.
struct alignas(32) GroupOrder {
  Byte places[32] = {};

  consteval GroupOrder(unsigned first, unsigned third, unsigned fifth, unsigned seventh) {
    put(0, first);
    put(8, third);
    put(16, fifth);
    put(24, seventh);
  }

  consteval void put(unsigned at, unsigned group) {
    for (const unsigned end = at + 8; at < end; at += 4, group += 3) {
      places[at] = static_cast<Byte>(group + 1);
      places[at + 1] = static_cast<Byte>(group);
      places[at + 2] = static_cast<Byte>(group + 2);
      places[at + 3] = static_cast<Byte>(group + 1);
    }
  }
};

constexpr GroupOrder fromStart(0, 6, 0, 6);
constexpr GroupOrder upToEnd(4, 10, 4, 10);
constexpr GroupOrder acrossBlocks(0, 8, 2, 10);

/// Returns the bytes of four groups out of 16 bytes at `src`. `order` states which of the 16 bytes are used:
/// either the first group begins at the first byte, or the last group ends at the last byte.
HWY_INLINE hn::Vec128<Byte> groupsAt(Narrow d, const Byte* src, const GroupOrder& order) {
  return hn::TableLookupBytes(hn::LoadU(d, src), hn::Load(d, order.places));
}

#if HWY_MAX_BYTES >= 32
/// Returns the bytes of eight groups. The first block gets groups 0, 1, 4 and 5, and the second block gets
/// groups 2, 3, 6 and 7. `encodeAt` restores the order, because it widens one half of each block at a time.
HWY_INLINE hn::Vec256<Byte> groupsAt(hn::Full256<Byte> d, const Byte* src, const GroupOrder& order) {
  alignas(32) static constexpr std::uint32_t quarters[] = {0, 1, 3, 4, 1, 2, 4, 5};
  const hn::Full256<std::uint32_t> d32;
  const auto bytes = hn::BitCast(d32, hn::LoadU(d, src));
  const auto spread = hn::TableLookupLanes(bytes, hn::SetTableIndices(d32, quarters));
  return hn::TableLookupBytes(hn::BitCast(d, spread), hn::Load(d, order.places));
}
#endif

/// Returns the characters of `groups`, whose bytes are in the order of GroupOrder. A multiplication shifts
/// each 16-bit lane by a different count.
template <class D, class V>
HWY_INLINE V charactersOf(D d, V groups, V table) {
  const hn::Repartition<std::uint16_t, D> d16;
  const hn::Repartition<std::int8_t, D> signedBytes;
  const auto lanes = lanesOf(d16, groups);
  const auto first = hn::MulHigh(hn::And(lanes, eachFour<0x0FC0FC00>(d16)), eachFour<0x04000040>(d16));
  const auto second = hn::And(lanes, eachFour<0x003F03F0>(d16)) * eachFour<0x01000010>(d16);
  const auto values = bytesOfLanes(d16, hn::Or(first, second));
  // The mask contains -1 for values above 25, so subtracting the mask selects the next row for these values.
  const auto small =
      hn::VecFromMask(signedBytes, hn::Gt(hn::BitCast(signedBytes, values), each<25>(signedBytes)));
  const auto row = hn::SaturatedSub(values, each<51>(d)) - hn::BitCast(d, small);
  return values + hn::TableLookupBytes(table, row);
}

/// Writes as many units as the vector has bytes.
template <class D>
HWY_INLINE void encodeAt(D d, unsigned short* dest, const Byte* src, const GroupOrder& order,
                         const Blocks& table) {
  const auto characters = charactersOf(d, groupsAt(d, src, order), load(d, table));
  const hn::Repartition<std::uint16_t, D> d16;
  hn::StoreU(lanesOf(d16, hn::InterleaveLower(d, characters, hn::Zero(d))), d16, dest);
  hn::StoreU(lanesOf(d16, hn::InterleaveUpper(d, characters, hn::Zero(d))), d16, dest + hn::Lanes(d16));
}

template <Base64Alphabet alphabet>
std::size_t encodeGroups(unsigned short* dest, const char* src, std::size_t groups) {
  const Widest widest;
  const Narrow narrow;
  constexpr const Blocks& table = encodeTables[alphabet];
  constexpr std::size_t wideGroups = hn::MaxLanes(widest) / 4;
  constexpr std::size_t narrowGroups = hn::MaxLanes(narrow) / 4;
  const Byte* bytes = bytesOf(src);
  std::size_t left = groups;
  const auto pass = [&](std::size_t taken) {
    bytes += taken * 3;
    dest += taken * 4;
    left -= taken;
  };
  if (groups * 3 < hn::MaxLanes(narrow)) return 0;
  if constexpr (wideGroups > narrowGroups) {
    for (; left * 3 >= hn::MaxLanes(widest); pass(wideGroups))
      encodeAt(widest, dest, bytes, acrossBlocks, table);
  }
  if (left == groups) {
    encodeAt(narrow, dest, bytes, fromStart, table);
    pass(narrowGroups);
  }
  // The following reads and writes end exactly where the groups end, so some units are written twice.
  while (left > 0) {  // NOLINT(bugprone-infinite-loop): `pass` reduces `left`
    pass(left < narrowGroups ? left : narrowGroups);
    encodeAt(narrow, dest - hn::MaxLanes(narrow), bytes - hn::MaxLanes(narrow), upToEnd, table);
  }
  return groups;
}

// --- decode

/// A character is looked up by its two nibbles. The table has a row for each low nibble. The row has one bit
/// for each high nibble; the bit is set if the two nibbles form a character of the alphabet. The number to
/// add to a character to get its value depends only on the high nibble, with one exception: one character of
/// the alphabet uses row 0, and no other character uses row 0.
struct DecodeTable {
  Blocks highHalves;
  Blocks toAdd;
  Byte own;
};

consteval DecodeTable decodeTable(const Base64Characters& characters) {
  Byte highHalves[16] = {};
  Byte toAdd[16] = {};
  for (unsigned value = 0; value < 64; ++value) {
    const auto character = static_cast<unsigned char>(characters[value]);
    highHalves[character % 16] |= static_cast<Byte>(1U << (character / 16U));
    Byte& difference = toAdd[value == 63 ? 0 : character / 16];
    if (difference != 0 && difference != static_cast<Byte>(value - character)) throw "two in one row";
    difference = static_cast<Byte>(value - character);
  }
  return {Blocks(highHalves), Blocks(toAdd), static_cast<Byte>(characters[63])};
}

constexpr DecodeTable decodeTables[] = {decodeTable(standardCharacters), decodeTable(safeCharacters)};

/// The bit of each high nibble; 0 for the high nibbles of 80 to FF.
constexpr Blocks bitOfHighHalf({1, 2, 4, 8, 16, 32, 64, 128, 0, 0, 0, 0, 0, 0, 0, 0});

/// A shuffle that takes the three low bytes of each group of four bytes, the highest of these three first.
constexpr Blocks groupsToBytes({2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, 0x80, 0x80, 0x80, 0x80});

/// Narrows as many units as the vector has bytes. A unit above 127 becomes a byte that is not ASCII.
HWY_INLINE hn::Vec128<Byte> narrowed(Narrow, const unsigned short* src) {
  const hn::Full128<std::uint16_t> d16;
  return packedBlocks(hn::LoadU(d16, src), hn::LoadU(d16, src + 8));
}

/// Stores the first 12 bytes.
HWY_INLINE void storeBytes(Narrow, hn::Vec128<Byte> bytes, Byte* dest) {
  const hn::Full64<Byte> half;
  const hn::Full128<std::uint32_t> d32;
  hn::StoreU(hn::LowerHalf(half, bytes), half, dest);
  const std::uint32_t rest = hn::ExtractLane(hn::BitCast(d32, bytes), 2);
  __builtin_memcpy(dest + 8, &rest, sizeof rest);
}

#if HWY_MAX_BYTES >= 32
/// Loads each half of the text separately, so that packing within blocks keeps the order.
HWY_INLINE hn::Vec256<Byte> narrowed(hn::Full256<Byte>, const unsigned short* src) {
  const hn::Full128<std::uint16_t> half;
  const hn::Full256<std::uint16_t> d16;
  return packedBlocks(hn::Combine(d16, hn::LoadU(half, src + 16), hn::LoadU(half, src)),
                      hn::Combine(d16, hn::LoadU(half, src + 24), hn::LoadU(half, src + 8)));
}

/// Stores the first 12 bytes of each block of 16 bytes.
HWY_INLINE void storeBytes(hn::Full256<Byte> d, hn::Vec256<Byte> bytes, Byte* dest) {
  alignas(32) static constexpr std::uint32_t quarters[] = {0, 1, 2, 4, 5, 6, 3, 7};
  const hn::Full256<std::uint32_t> d32;
  const hn::Full128<Byte> low;
  const hn::Full64<Byte> half;
  const auto closed =
      hn::BitCast(d, hn::TableLookupLanes(hn::BitCast(d32, bytes), hn::SetTableIndices(d32, quarters)));
  hn::StoreU(hn::LowerHalf(low, closed), low, dest);
  hn::StoreU(hn::LowerHalf(half, hn::UpperHalf(low, closed)), half, dest + 16);
}
#endif

/// Decodes as many units as the vector has bytes. If a unit is not in the alphabet, returns false and writes
/// nothing.
template <Base64Alphabet alphabet, class D>
HWY_INLINE bool decodeAt(D d, char* dest, const unsigned short* src) {
  constexpr const DecodeTable& table = decodeTables[alphabet];
  const hn::Repartition<std::uint32_t, D> d32;
  const auto characters = narrowed(d, src);
  const auto high = hn::ShiftRight<4>(characters);
  const auto known = hn::And(lookUpLow(d, load(d, table.highHalves), characters),
                             hn::TableLookupBytes(load(d, bitOfHighHalf), high));
  if (!hn::AllFalse(d, hn::Eq(known, hn::Zero(d)))) return false;
  const auto own = hn::VecFromMask(d, hn::Eq(characters, each<table.own>(d)));
  const auto row = hn::SaturatedSub(high, own);  // 0 for the one with a separate row
  const auto values = characters + hn::TableLookupBytes(load(d, table.toAdd), row);
  const auto groups = bytesOfLanes(d32, joinedSixes(d, values));
  storeBytes(d, hn::TableLookupBytes(groups, load(d, groupsToBytes)), bytesOf(dest));
  return true;
}

template <Base64Alphabet alphabet>
std::size_t decodeGroups(char* dest, const unsigned short* src, std::size_t groups) {
  const Widest widest;
  const Narrow narrow;
  constexpr std::size_t wideGroups = hn::MaxLanes(widest) / 4;
  constexpr std::size_t narrowGroups = hn::MaxLanes(narrow) / 4;
  std::size_t taken = 0;
  for (; groups - taken >= wideGroups; taken += wideGroups) {
    if (!decodeAt<alphabet>(widest, dest + taken * 3, src + taken * 4)) return taken;
  }
  if (groups < narrowGroups) return 0;
  for (; groups - taken >= narrowGroups; taken += narrowGroups) {
    if (!decodeAt<alphabet>(narrow, dest + taken * 3, src + taken * 4)) return taken;
  }
  // Decodes the last groups of the text; some of these groups may have been decoded before.
  const std::size_t last = groups - narrowGroups;
  return last == taken || decodeAt<alphabet>(narrow, dest + last * 3, src + last * 4) ? groups : taken;
}

}  // namespace
// NOLINTEND(misc-definitions-in-headers)

}  // namespace tarvo::simd

HWY_AFTER_NAMESPACE();
