#pragma once

#include "simd/kelKernels.hpp"
#include "simd/kelUTF16Words.hpp"
#include "simd/kelVectors.hpp"

HWY_BEFORE_NAMESPACE();

/// Converts UTF-8 to UTF-16 and back. Several characters are converted at a time if all have one or two
/// bytes, with a table entry for each sequence of sizes, or if all have three bytes. Other characters are
/// converted one by one.
namespace tarvo::simd {

// NOLINTBEGIN(misc-definitions-in-headers): each including source needs a copy in its own instruction set
namespace {

using Unit = unsigned short;
using EightUnitsTag = hn::Full128<std::uint16_t>;
using WidestUnits = hn::ScalableTag<std::uint16_t>;

constexpr std::size_t vectorBytes = 16;
constexpr std::size_t vectorUnits = 8;
constexpr Byte none = 0x80;  // for this index a shuffle writes a zero

/// A table indexed by the bit pattern of a window of eight elements. Each entry contains a shuffle that
/// arranges the window's characters, and the numbers of their bytes and of their units.
template <unsigned cases>
struct WindowTable {
  alignas(vectorBytes) Byte shuffles[cases][vectorBytes] = {};
  Byte bytes[cases] = {};
  Byte units[cases] = {};

  consteval WindowTable() {
    for (Byte(&shuffle)[vectorBytes] : shuffles) {
      for (Byte& place : shuffle) place = none;
    }
  }
};

// --- from UTF-8

/// The UTF-8 kernel of the including file defines this function.
std::ptrdiff_t countWellFormed(const char* text, std::size_t length);

constexpr std::size_t stretch = 64;  // bytes; the ends of their characters are found at once

/// Returns the table for windows of eight bytes. A bit of the pattern is set if a byte is the last byte of a
/// character. Bit 0 stands for the byte before the window, and the other bits stand for the bytes of the
/// window. For each character of one or two bytes, the shuffle fills one unit: the low byte is the last byte
/// of the character, and the high byte is the first byte of a character of two bytes. Positions count from
/// the byte before the window. The shuffle ends before the first larger character.
consteval auto windowsOfBytes() {
  WindowTable<512> windows;
  for (unsigned ends = 0; ends < 512; ++ends) {
    for (unsigned last = 1; last <= 8; ++last) {
      if ((ends >> last & 1U) == 0) continue;
      const bool two = (ends >> (last - 1) & 1U) == 0;
      if (two && last > 1 && (ends >> (last - 2) & 1U) == 0) break;
      Byte* const unit = windows.shuffles[ends] + 2UL * windows.units[ends]++;
      unit[0] = static_cast<Byte>(last);
      if (two) unit[1] = static_cast<Byte>(last - 1);
      windows.bytes[ends] = static_cast<Byte>(last);
    }
  }
  return windows;
}

constexpr WindowTable<512> byteWindows = windowsOfBytes();

/// Returns a bit for each byte of a stretch that is the last byte of a character. A byte is the last byte of
/// a character if the next byte starts a character. Therefore the function reads one byte after the stretch.
HWY_INLINE std::uint64_t endsOf(const Byte* text) {
  const Widest d;
  std::uint64_t ends = 0;
  for (std::size_t at = 0; at < stretch; at += hn::Lanes(d)) {
    const auto starts = startsOf(d, hn::LoadU(d, text + at + 1));
    ends |= bitsOf(d, hn::MaskFromVec(starts)) << at;
  }
  return ends;
}

HWY_INLINE bool isAscii(const Byte* text) {
  const Widest d;
  auto any = hn::LoadU(d, text);
  for (std::size_t at = hn::Lanes(d); at < stretch; at += hn::Lanes(d))
    any = hn::Or(any, hn::LoadU(d, text + at));
  return allAscii(d, any);
}

HWY_INLINE void widenAscii(const Byte* text, Unit* dest) {
  const WidestUnits d;
  const hn::Rebind<Byte, WidestUnits> narrow;
  for (std::size_t at = 0; at < stretch; at += hn::Lanes(d))
    hn::StoreU(hn::PromoteTo(d, hn::LoadU(narrow, text + at)), d, dest + at);
}

/// Converts the characters of one or two bytes that end within a window of eight bytes. The function also
/// reads the byte before the window.
HWY_INLINE void readWindow(const Byte* text, std::uint64_t ends, Unit* dest) {
  const Narrow d;
  const EightUnitsTag d16;
  const auto window = hn::LoadU(d, text - 1);
  const auto pairs = lanesOf(d16, hn::TableLookupBytesOr0(window, hn::Load(d, byteWindows.shuffles[ends])));
  const auto leads = hn::ShiftRight<2>(hn::And(pairs, eachFour<0x1F001F00>(d16)));
  hn::StoreU(hn::Or(hn::And(pairs, eachFour<0x007F007F>(d16)), leads), d16, dest);
}

/// Converts a stretch in which all characters have one or two bytes. A character belongs to the window in
/// which it ends, so the conversion of a window does not depend on the window before it.
HWY_INLINE std::size_t readSmall(const Byte* text, std::uint64_t ends, Unit*& dest) {
  std::uint64_t next = ends << 1U | 1U;
  Unit* to = dest;
  for (std::size_t at = 0; at < stretch; at += 8) {
    const std::uint64_t nine = at == stretch - 8 ? ends >> (at - 1) : next & 0x1FF;
    readWindow(text + at, nine, to);
    to += byteWindows.units[nine];
    next >>= 8U;
  }
  dest = to;
  return stretch - (ends >> (stretch - 1) == 0 ? 1 : 0);
}

/// The positions of the bytes of four characters of three bytes each.
constexpr Blocks threesFromStart({none, 0, 1, 2, none, 3, 4, 5, none, 6, 7, 8, none, 9, 10, 11});
constexpr Blocks threesFromFour({none, 4, 5, 6, none, 7, 8, 9, none, 10, 11, 12, none, 13, 14, 15});
constexpr Blocks toLowerHalf({0, 1, 4, 5, 8, 9, 12, 13, none, none, none, none, none, none, none, none});
constexpr Blocks toUpperHalf({none, none, none, none, none, none, none, none, 0, 1, 4, 5, 8, 9, 12, 13});

HWY_INLINE hn::Vec<Narrow> fourOfThree(hn::Vec<Narrow> bytes, const Blocks& order) {
  const Narrow d;
  const hn::Full128<std::uint32_t> d32;
  const auto values = hn::And(hn::TableLookupBytesOr0(bytes, load(d, order)), eachFour<0x3F3F0F00>(d));
  return bytesOfLanes(d32, joinedSixes(d, values));
}

constexpr std::uint64_t eightOfThree = 0x924924;  // the ends of eight characters of three bytes
constexpr std::size_t eightOfThreeBytes = 24;

HWY_INLINE void readEightOfThree(const Byte* text, Unit* dest) {
  const Narrow d;
  const auto low = fourOfThree(hn::LoadU(d, text), threesFromStart);
  const auto high = fourOfThree(hn::LoadU(d, text + 8), threesFromFour);
  const auto units = hn::Or(hn::TableLookupBytesOr0(low, load(d, toLowerHalf)),
                            hn::TableLookupBytesOr0(high, load(d, toUpperHalf)));
  const EightUnitsTag d16;
  hn::StoreU(lanesOf(d16, units), d16, dest);
}

/// Converts the characters of a stretch, except a few characters at its end; the next stretch then begins
/// with these characters. Returns the number of bytes converted.
HWY_INLINE std::size_t readMixed(const Byte* text, std::uint64_t ends, Unit*& dest) {
  std::size_t at = 0;
  while (at <= stretch - 8) {
    const std::uint64_t next = ends >> at;
    const std::uint64_t nine = (next & 0xFF) << 1U | 1U;
    if ((next & 0xFFFFFF) == eightOfThree) {
      readEightOfThree(text + at, dest);
      at += eightOfThreeBytes;
      dest += vectorUnits;
    } else if (const Byte bytes = byteWindows.bytes[nine]; bytes != 0) {
      readWindow(text + at, nine, dest);
      at += bytes;
      dest += byteWindows.units[nine];
    } else if (at > stretch - eightOfThreeBytes) {
      break;
    } else {
      at += decode(text + at, 4, dest);
    }
  }
  return at;
}

HWY_INLINE std::size_t readStretch(const Byte* text, Unit*& dest) {
  const std::uint64_t ends = endsOf(text);
  // If neither of two adjacent bytes is the last byte of a character, the character has at least three bytes.
  const bool small = (~ends & ~ends >> 1U) == 0;
  return small ? readSmall(text, ends, dest) : readMixed(text, ends, dest);
}

/// A conversion in progress.
struct Conversion {
  const Byte* text;
  std::size_t length;
  Unit* dest;
  std::size_t at = 0;

  bool hasStretch() const { return length - at >= stretch + vectorBytes; }

  /// Converts the first character separately, because the loops read the byte before a character.
  void takeFirst() {
    if (text[0] >= 0x80) {
      at = decode(text, length, dest);
    } else {
      *dest++ = text[at++];
    }
  }
  void takeAscii() {
    widenAscii(text + at, dest);
    at += stretch;
    dest += stretch;
  }
};

Converted utf16FromUtf8(Unit* dest, const char* text, std::size_t length) {
  Conversion conversion{bytesOf(text), length, dest};
  while (conversion.hasStretch() && isAscii(conversion.text + conversion.at)) conversion.takeAscii();
  const std::size_t ascii = conversion.at;
  if (!conversion.hasStretch() || countWellFormed(text + ascii, length - ascii) < 0) return {ascii, ascii};
  if (ascii == 0) conversion.takeFirst();
  while (conversion.hasStretch()) {
    if (isAscii(conversion.text + conversion.at)) {
      conversion.takeAscii();
    } else {
      conversion.at += readStretch(conversion.text + conversion.at, conversion.dest);
    }
  }
  return {conversion.at, static_cast<std::size_t>(conversion.dest - dest)};
}

// --- to UTF-8

/// Returns the table for windows of eight units. A bit of the pattern says whether a unit is ASCII. The
/// shuffle takes two bytes of each unit, or only the first byte if the unit is ASCII.
consteval auto windowsOfUnits() {
  WindowTable<256> windows;
  for (unsigned ascii = 0; ascii < 256; ++ascii) {
    unsigned count = 0;
    for (unsigned unit = 0; unit < vectorUnits; ++unit) {
      windows.shuffles[ascii][count++] = static_cast<Byte>(2 * unit);
      if ((ascii >> unit & 1U) == 0) windows.shuffles[ascii][count++] = static_cast<Byte>(2 * unit + 1);
    }
    windows.bytes[ascii] = static_cast<Byte>(count);
  }
  return windows;
}

constexpr WindowTable<256> unitWindows = windowsOfUnits();

template <std::uint32_t unit, class D>
HWY_INLINE hn::Vec<D> eachUnit(D d) {
  return eachFour<unit * 0x00010001U>(d);
}

/// Returns the last byte of each character, in the lower half of each unit.
template <class V>
HWY_INLINE V tailOf(V units) {
  const EightUnitsTag d;
  return hn::Or(hn::And(units, eachUnit<0x3F>(d)), eachUnit<0x80>(d));
}

/// Converts units below U+0800. Writes 16 bytes and returns the number of valid bytes, which are at the
/// beginning of the 16 bytes.
template <class V>
HWY_INLINE std::size_t writeWindow(V units, Byte* dest) {
  const EightUnitsTag d;
  const Narrow bytes;
  const auto ascii = hn::Eq(hn::And(units, eachUnit<0xFF80>(d)), hn::Zero(d));
  const auto leads = hn::Or(hn::ShiftRight<6>(units), eachUnit<0xC0>(d));
  const auto pairs = hn::IfThenElse(ascii, units, hn::Or(leads, hn::ShiftLeft<8>(tailOf(units))));
  const std::uint64_t index = bitsOf(d, ascii) & 0xFF;
  const auto packed =
      hn::TableLookupBytesOr0(bytesOfLanes(d, pairs), hn::Load(bytes, unitWindows.shuffles[index]));
  hn::StoreU(packed, bytes, dest);
  return unitWindows.bytes[index];
}

constexpr Blocks withoutFourth({0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, none, none, none, none});

/// Converts eight units, all of which must be at least U+0800 and not surrogates. Writes 28 bytes, of which
/// the first 24 are valid.
template <class V>
HWY_INLINE void writeEightOfThree(V units, Byte* dest) {
  const EightUnitsTag d;
  const Narrow bytes;
  const auto leads = hn::Or(hn::ShiftRight<12>(units), eachUnit<0xE0>(d));
  const auto firstTwo = hn::Or(leads, hn::ShiftLeft<8>(tailOf(hn::ShiftRight<6>(units))));
  const auto last = tailOf(units);
  const auto order = load(bytes, withoutFourth);
  const auto low = bytesOfLanes(d, hn::InterleaveLower(d, firstTwo, last));
  const auto high = bytesOfLanes(d, hn::InterleaveUpper(d, firstTwo, last));
  hn::StoreU(hn::TableLookupBytesOr0(low, order), bytes, dest);
  hn::StoreU(hn::TableLookupBytesOr0(high, order), bytes, dest + 12);
}

/// Converts `count` units one by one, and one more unit if the last of these units is the first surrogate of
/// a pair. Returns the number of converted units.
HWY_INLINE std::size_t writeOnes(const Unit* units, std::size_t count, std::size_t left, char*& dest) {
  std::size_t at = 0;
  while (at < count) {
    if (units[at] < 0x80) {
      *dest++ = static_cast<char>(units[at++]);
    } else {
      at += encode(units + at, left - at, dest);
    }
  }
  return at;
}

/// Converts eight units, or nine units if the eighth unit is the first surrogate of a pair. Returns the
/// number of units converted.
HWY_INLINE std::size_t writeEight(const Unit* units, std::size_t left, char*& dest) {
  const EightUnitsTag d;
  const auto eight = hn::LoadU(d, units);
  const auto top = hn::And(eight, eachUnit<0xF800>(d));
  const auto small = hn::Eq(top, hn::Zero(d));
  if (hn::AllTrue(d, small)) {
    dest += writeWindow(eight, bytesOf(dest));
  } else if (hn::AllFalse(d, hn::Or(small, hn::Eq(top, eachUnit<0xD800>(d))))) {
    writeEightOfThree(eight, bytesOf(dest));
    dest += eightOfThreeBytes;
  } else {
    return writeOnes(units, vectorUnits, left, dest);
  }
  return vectorUnits;
}

constexpr std::size_t asciiUnits = 32;

/// Narrows `asciiUnits` units to bytes, or returns false if one of these units is not ASCII.
HWY_INLINE bool narrowAscii(const Unit* units, char* dest) {
  const WidestUnits d;
  const hn::Rebind<Byte, WidestUnits> narrow;
  auto any = hn::LoadU(d, units);
  for (std::size_t at = hn::Lanes(d); at < asciiUnits; at += hn::Lanes(d))
    any = hn::Or(any, hn::LoadU(d, units + at));
  if (!hn::AllTrue(d, hn::Eq(hn::And(any, eachUnit<0xFF80>(d)), hn::Zero(d)))) return false;
  const hn::RebindToSigned<WidestUnits> asSigned;
  for (std::size_t at = 0; at < asciiUnits; at += hn::Lanes(d)) {
    const auto wide = hn::BitCast(asSigned, hn::LoadU(d, units + at));
    hn::StoreU(hn::DemoteTo(narrow, wide), narrow, bytesOf(dest) + at);
  }
  return true;
}

/// Returns whether the text has no unpaired surrogate.
HWY_INLINE bool halvesArePaired(const Unit* units, std::size_t count) {
  const WidestUnits d;
  for (std::size_t at = 0; at < count;) {
    if (count - at >= hn::Lanes(d)) {
      const auto top = hn::And(hn::LoadU(d, units + at), eachUnit<0xF800>(d));
      if (hn::AllFalse(d, hn::Eq(top, eachUnit<0xD800>(d)))) {
        at += hn::Lanes(d);
        continue;
      }
    }
    if (!isHalf(units[at])) {
      ++at;
    } else if (count - at >= 2 && isPair(units[at], units[at + 1])) {
      at += 2;
    } else {
      return false;
    }
  }
  return true;
}

/// A step of the loop may write bytes after its result. Enough units remain after each such step, so that the
/// results of later steps overwrite these bytes.
Converted utf8FromUtf16(char* dest, const Unit* units, std::size_t count) {
  char* to = dest;
  std::size_t at = 0;
  bool paired = false;
  while (count - at >= asciiUnits + vectorBytes) {
    if (narrowAscii(units + at, to)) {
      at += asciiUnits;
      to += asciiUnits;
      continue;
    }
    if (!paired && !halvesArePaired(units + at, count - at)) break;
    paired = true;
    for (const std::size_t end = at + asciiUnits - vectorUnits; at <= end;)
      at += writeEight(units + at, count - at, to);
  }
  return {at, static_cast<std::size_t>(to - dest)};
}

}  // namespace
// NOLINTEND(misc-definitions-in-headers)

}  // namespace tarvo::simd

HWY_AFTER_NAMESPACE();
