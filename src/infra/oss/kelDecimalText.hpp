#pragma once

#include <array>
#include <charconv>
#include <cmath>
#include <concepts>
#include <cstddef>
#include <limits>
#include <string_view>

namespace tarvo::oss {

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

  /// The text of an integer, and nothing behind it, at a place with room for the longest. Returns its end.
  static char* write(char* place, Number value) requires std::integral<Number> {
    return std::to_chars(place, place + longest, value).ptr;
  }

  std::string_view view() const { return {text_.data(), static_cast<std::size_t>(end_ - text_.data())}; }

 private:
  char* first() { return text_.data(); }

  std::array<char, longest> text_;
  const char* end_;
};

}  // namespace tarvo::oss
