#pragma once

#include "machine/kelByteOrder.hpp"
#include "text/kelWords.hpp"

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string_view>
#include <type_traits>

namespace tarvo::text {

/// Computes up to eight decimal digits at a time in one word, the first digit in its lowest byte. The digits
/// are computed in parallel, so a number takes few steps and few branches. (Branches on the length of a
/// number would often be mispredicted.)
namespace decimal {

constexpr std::uint32_t eightDigitsEnd = 100'000'000;

/// Returns the values of 2, 4 or 8 digits as a word; each byte contains the value of one digit. The number is
/// split into quotient and remainder, which are stored side by side: first in lanes of 32 bits, then of 16
/// bits, then of 8 bits. With q the quotient of v by d, the difference `(v << lane) - q * ((d << lane) - 1)`
/// is `((v - q * d) << lane) + q`. In this sum the lower lane contains the quotient, and the next lane
/// contains the remainder.
///
/// A multiplication and a shift compute the quotient. With m the smallest integer that is at least 2^s / d,
/// and e the excess m * d - 2^s, `v * m >> s` equals `v / d` for every v below 2^s / e:
///
///     d     s    m      e    exact below   needed below   product below   quotient at most
///     100   20   10486  24   43690         10000          2^27            99, mask 0x7F
///     10    10   103    6    170           100            2^14            9, mask 0x0F
///
/// The products fit into their lanes. The shift moves bits of the lane above into a lane; the mask removes
/// these bits.
template <unsigned int Digits>
constexpr std::uint64_t digitsOf(std::uint32_t value) {
  std::uint64_t lanes = value;
  if constexpr (Digits > 4) lanes = (lanes << 32U) - value / 10000 * ((10000ULL << 32U) - 1);
  if constexpr (Digits > 2)
    lanes = (lanes << 16U) - ((lanes * 10486 >> 20U) & 0x0000007F0000007F) * ((100U << 16U) - 1);
  return (lanes << 8U) - ((lanes * 103 >> 10U) & 0x000F000F000F000F) * ((10U << 8U) - 1);
}

constexpr std::uint64_t zeroDigits(unsigned int digits) {
  return 0x3030303030303030 >> (64 - 8 * digits);
}

/// Writes the eight bytes of the word as units of the text, the lowest byte first.
inline void put(char* place, std::uint64_t word) {
  machine::putLittleEndian(place, word);
}
inline void put(char16_t* place, std::uint64_t word) {
  widenEight(word, place);
}

/// Writes a number of at most `Digits` digits, without leading zeros, and returns the end of the text. The
/// function always writes eight units; the units after the end of the number are 0.
template <unsigned int Digits, class Unit>
inline Unit* putFirst(Unit* place, std::uint64_t value) {
  const std::uint64_t digits = digitsOf<Digits>(static_cast<std::uint32_t>(value));
  constexpr std::uint64_t last = 1ULL << (8 * (Digits - 1));
  const unsigned int skipped = static_cast<unsigned int>(std::countr_zero(digits | last)) / 8;
  put(place, (digits | zeroDigits(Digits)) >> 8 * skipped);
  return place + Digits - skipped;
}

/// Writes the next eight digits of a number, with leading zeros.
template <class Unit>
inline Unit* putNext(Unit* place, std::uint64_t value) {
  put(place, digitsOf<8>(static_cast<std::uint32_t>(value)) | zeroDigits(8));
  return place + 8;
}

template <class Unit>
inline Unit* putNumber(Unit* place, std::uint32_t value) {
  if (value < eightDigitsEnd) return putFirst<8>(place, value);
  return putNext(putFirst<2>(place, value / eightDigitsEnd), value % eightDigitsEnd);
}

template <class Unit>
inline Unit* putNumber(Unit* place, std::uint64_t value) {
  if (value < eightDigitsEnd) return putFirst<8>(place, value);
  const std::uint64_t upper = value / eightDigitsEnd;
  if (upper < eightDigitsEnd) {
    place = putFirst<8>(place, upper);
  } else {
    place = putNext(putFirst<4>(place, upper / eightDigitsEnd), upper % eightDigitsEnd);
  }
  return putNext(place, value % eightDigitsEnd);
}

}  // namespace decimal

/// The decimal text of a number, stored in the object: integers without grouping, floating-point numbers in
/// fixed notation with a point and six decimals. The text does not depend on the locale.
template <class Number>
class DecimalText {
  using Limits = std::numeric_limits<Number>;

 public:
  // The longest text has a sign and all digits; in fixed notation also the point and the decimals.
  static constexpr std::size_t longest = std::floating_point<Number>
                                             ? 1 + Limits::max_exponent10 + 1 + sizeof ".000000"
                                             : 1 + Limits::digits10 + 1;

  explicit DecimalText(Number value) {
    if constexpr (std::floating_point<Number>) {
      // The sign of a NaN is not predictable, so the text contains no sign for a NaN.
      const Number shown = std::isnan(value) ? std::numeric_limits<Number>::quiet_NaN() : value;
      end_ = std::to_chars(first(), first() + text_.size(), shown, std::chars_format::fixed, 6).ptr;
    } else {
      end_ = write(first(), value);
    }
  }

  DecimalText(const DecimalText&) = delete;
  DecimalText& operator=(const DecimalText&) = delete;
  ~DecimalText() = default;

  /// Writes the text of an integer to `place`, which has room for the longest text, and returns the end of
  /// the text. The units after the end become 0 or do not change.
  template <class Unit>
  static Unit* write(Unit* place, Number value) requires std::integral<Number> {
    using Magnitude = std::conditional_t<(sizeof(Number) > 4), std::uint64_t, std::uint32_t>;
    static_assert(sizeof(Number) >= 4 && longest >= 1 + 8);
    auto magnitude = static_cast<Magnitude>(value);
    if constexpr (std::signed_integral<Number>) {
      // The function has no branch: it always writes the sign, and the first digit of a positive number
      // overwrites the sign.
      const Magnitude negative = magnitude >> (8 * sizeof magnitude - 1);
      *place = '-';
      place += negative;
      magnitude = (magnitude ^ (0 - negative)) + negative;
    }
    return decimal::putNumber(place, magnitude);
  }

  std::string_view view() const { return {text_.data(), static_cast<std::size_t>(end_ - text_.data())}; }

 private:
  char* first() { return text_.data(); }

  std::array<char, longest> text_;
  const char* end_;
};

}  // namespace tarvo::text
