#pragma once

#include "machine/kelByteOrder.hpp"
#include "text/kelWords.hpp"

#include <unicode/unistr.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

/// Finds where the tokens of a text begin and end. The delimiters are found for 64 units at a time, as a word
/// with one bit for each unit; a token begins or ends where two neighbouring bits differ. No branch depends
/// on the length of a token, so tokens of different lengths cause no mispredicted branches.
namespace tarvo::text {

using UnitBits = std::uint64_t;
constexpr std::size_t bitsUnits = 64;

/// A set of any number of delimiters, all of which are below `Units`.
template <std::size_t Units>
class ManyDelimiters {
 public:
  explicit ManyDelimiters(const icu::UnicodeString& members) {
    for (std::int32_t i = 0; i < members.length(); ++i) {
      const std::size_t unit = members.charAt(i);
      bits_[unit / 64] |= std::uint64_t{1} << (unit % 64);
    }
  }

  UnitBits findIn(const char16_t* units) const {
    UnitBits found = 0;
    for (std::size_t i = 0; i < bitsUnits; ++i) found |= UnitBits{contains(units[i])} << i;
    return found;
  }

 private:
  bool contains(char16_t unit) const { return unit < Units && ((bits_[unit / 64] >> (unit % 64)) & 1) != 0; }

  std::array<std::uint64_t, Units / 64> bits_{};
};

/// A set of one to four delimiters of any value. Each delimiter is compared with eight units at once.
class FewDelimiters {
 public:
  static constexpr std::int32_t most = 4;

  explicit FewDelimiters(const icu::UnicodeString& members)
      : first_(eachUnit(members, 0)),
        second_(eachUnit(members, 1)),
        third_(eachUnit(members, 2)),
        fourth_(eachUnit(members, 3)) {}

  UnitBits findIn(const char16_t* units) const {
    UnitBits found = 0;
    for (std::size_t i = 0; i < bitsUnits; i += 8) found |= findInEight(units + i) << i;
    return found;
  }

 private:
  /// Returns eight copies of the delimiter with this index. If the set has no delimiter with this index, the
  /// function returns eight copies of the last delimiter of the set.
  static EightUnits eachUnit(const icu::UnicodeString& members, std::int32_t index) {
    const std::uint16_t unit = members.charAt(std::min(index, members.length() - 1));
    return EightUnits{} + unit;
  }

  UnitBits findInEight(const char16_t* units) const {
    const EightUnits eight = eightUnitsAt(units);
    const auto found = (eight == first_) | (eight == second_) | (eight == third_) | (eight == fourth_);
    // Each unit that is a delimiter becomes a byte in which all bits are set. The mask keeps a different bit
    // of each byte, and the multiplication adds these bits in the highest byte.
    const EightBytes bytes = __builtin_convertvector(found, EightBytes);
    return ((machine::littleEndianAt<std::uint64_t>(&bytes) & 0x8040201008040201) * 0x0101010101010101) >>
           56U;
  }

  EightUnits first_;
  EightUnits second_;
  EightUnits third_;
  EightUnits fourth_;
};

/// Returns the bits of the last units of the text, which are fewer than 64. The bits after the end of the
/// text are set, as if delimiters followed the text.
template <class Delimiters>
UnitBits findInLast(const char16_t* units, std::size_t count, const Delimiters& delimiters) {
  std::array<char16_t, bitsUnits> padded{};
  std::copy_n(units, count, padded.data());
  return delimiters.findIn(padded.data()) | ~UnitBits{0} << count;
}

/// Writes the start and the end of each token, alternately, and returns the end of the written edges. The
/// text must not be empty. The number of edges is at most the number of units plus two. The first token
/// starts at the beginning of the text.
///
/// CR LF needs no special case: if both are delimiters, they count as one, as all adjacent delimiters do.
template <class Delimiters>
std::int32_t* findEdges(const char16_t* text, std::size_t length, const Delimiters& delimiters,
                        std::int32_t* edge) {
  *edge++ = 0;
  UnitBits before = 0;  // whether the unit before these is a delimiter
  for (std::size_t at = 0; at <= length; at += bitsUnits) {
    const bool whole = length - at >= bitsUnits;
    const UnitBits found =
        whole ? delimiters.findIn(text + at) : findInLast(text + at, length - at, delimiters);
    UnitBits edges = found ^ (found << 1U | before);
    before = found >> (bitsUnits - 1);
    for (; edges != 0; edges &= edges - 1) {
      *edge++ = static_cast<std::int32_t>(at) + std::countr_zero(edges);
    }
  }
  return edge;
}

}  // namespace tarvo::text
