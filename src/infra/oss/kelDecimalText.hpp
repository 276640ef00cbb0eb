#pragma once

#include "oss/kelPlainRun.hpp"

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string_view>
#include <type_traits>

namespace tarvo::oss {

/// Decimal digits, up to eight at a time in one word, the first in its lowest byte: they are reckoned side by side, and a
/// text takes few steps and fewer branches, which numbers of any length would mislead.
namespace decimal {

static_assert(std::endian::native == std::endian::little);

constexpr std::uint32_t eightDigitsEnd = 100'000'000;

/// The values of 2, 4 or 8 digits. A number is parted in two beside each other, in lanes of 32, then 16, then 8 bits. The
/// quotients are products, exact for as many digits as there are; a remainder goes into the lane above by the same
/// subtraction that finds it.
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

/// The eight bytes of the word, as units of the text.
inline void put(char* place, std::uint64_t word) {
  std::memcpy(place, &word, sizeof word);
}
inline void put(char16_t* place, std::uint64_t word) {
  widenEight(word, place);
}

/// A number of up to so many digits, without zeros before it. Eight units are written, 0 behind its end, which is
/// returned.
template <unsigned int Digits, class Unit>
inline Unit* putFirst(Unit* place, std::uint64_t value) {
  const std::uint64_t digits = digitsOf<Digits>(static_cast<std::uint32_t>(value));
  constexpr std::uint64_t last = 1ULL << (8 * (Digits - 1));
  const unsigned int skipped = static_cast<unsigned int>(std::countr_zero(digits | last)) / 8;
  put(place, (digits | zeroDigits(Digits)) >> 8 * skipped);
  return place + Digits - skipped;
}

/// Eight digits behind others.
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

/// The decimal text of a number, held by the object itself: integers as they are, floating-point numbers in
/// fixed notation with a point and six decimals. The locale has no say in it.
template <class Number>
class DecimalText {
  using Limits = std::numeric_limits<Number>;

 public:
  // A sign, then every digit; for fixed notation also the point and its decimals.
  static constexpr std::size_t longest = std::floating_point<Number>
                                             ? 1 + Limits::max_exponent10 + 1 + sizeof ".000000"
                                             : 1 + Limits::digits10 + 1;

  explicit DecimalText(Number value) {
    if constexpr (std::floating_point<Number>) {
      // The sign of a "nan" is a matter of chance, so it has none.
      const Number shown = std::isnan(value) ? std::numeric_limits<Number>::quiet_NaN() : value;
      end_ = std::to_chars(first(), first() + text_.size(), shown, std::chars_format::fixed, 6).ptr;
    } else {
      end_ = write(first(), value);
    }
  }

  DecimalText(const DecimalText&) = delete;
  DecimalText& operator=(const DecimalText&) = delete;
  ~DecimalText() = default;

  /// The text of an integer at a place with room for the longest, of which the part behind the text becomes 0 or stays as
  /// it is. Returns the end of the text.
  template <class Unit>
  static Unit* write(Unit* place, Number value) requires std::integral<Number> {
    using Magnitude = std::conditional_t<(sizeof(Number) > 4), std::uint64_t, std::uint32_t>;
    static_assert(sizeof(Number) >= 4 && longest >= 1 + 8);
    auto magnitude = static_cast<Magnitude>(value);
    if constexpr (std::signed_integral<Number>) {
      // Without a branch: the sign stays, or the first digit takes its place.
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

}  // namespace tarvo::oss
