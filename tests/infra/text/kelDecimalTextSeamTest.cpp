#include "support/kelRows.hpp"
#include "support/kelSeed.hpp"
#include "text/kelDecimalText.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <string_view>

/// Compares the digits, as bytes and as UTF-16 code units, with those of the standard library. Checks also
/// that only zeros are written after them, and no more units than the longest text has.

namespace tarvo::test {
namespace {

using text::DecimalText;

/// Writes a number into a buffer that is longer than the longest text, and checks that the rest is unchanged.
template <class Number, class Unit>
void expectWritten(Number value, std::string_view expected) {
  constexpr std::size_t longest = DecimalText<Number>::longest;
  constexpr Unit old = '#';
  std::array<Unit, longest + 8> room;
  room.fill(old);
  const Unit* const end = DecimalText<Number>::write(room.data(), value);
  ASSERT_EQ(static_cast<std::size_t>(end - room.data()), expected.size()) << expected;
  ASSERT_TRUE(std::equal(expected.begin(), expected.end(), room.begin())) << expected;
  for (std::size_t i = expected.size(); i < room.size(); ++i) {
    ROW("i", i);
    ASSERT_TRUE(room[i] == old || (room[i] == 0 && i < longest)) << expected << ", unit " << i;
  }
}

template <class Number>
void expectText(Number value) {
  const std::string expected = std::to_string(value);
  ASSERT_EQ(DecimalText<Number>(value).view(), expected);
  expectWritten<Number, char>(value, expected);
  expectWritten<Number, char16_t>(value, expected);
}

template <class Number>
class DecimalTexts : public ::testing::Test {
 protected:
  using Limits = std::numeric_limits<Number>;

  /// Checks the number and, for signed types, its negative.
  static void expectBoth(std::uint64_t magnitude) {
    expectText(static_cast<Number>(magnitude));
    expectText(static_cast<Number>(0 - magnitude));
  }
};

using Numbers = ::testing::Types<int, unsigned int, long, unsigned long, long long, unsigned long long>;
TYPED_TEST_SUITE(DecimalTexts, Numbers);

TYPED_TEST(DecimalTexts, OfTheLimits) {
  expectText(std::numeric_limits<TypeParam>::min());
  expectText(std::numeric_limits<TypeParam>::max());
  this->expectBoth(0);
}

TYPED_TEST(DecimalTexts, OfEveryLength) {
  std::uint64_t power = 1;
  for (int digits = 1; digits <= std::numeric_limits<TypeParam>::digits10 + 1; ++digits, power *= 10) {
    ROW("digits", digits);
    for (std::uint64_t times = 1; times <= 9; ++times) {
      ROW("times", times);
      this->expectBoth(times * power - 1);
      this->expectBoth(times * power);
      this->expectBoth(times * power + 1);
    }
  }
}

TYPED_TEST(DecimalTexts, OfEveryFourDigitsInEveryPlace) {
  for (std::uint64_t four = 0; four < 10000; ++four) {
    ROW("four", four);
    for (const std::uint64_t place :
         rowsOf({1ULL, 10000ULL, 100000000ULL, 1000000000000ULL, 10000000000000000ULL})) {
      this->expectBoth(four * place);
      this->expectBoth(four * place + 9999 - four);
    }
  }
}

TYPED_TEST(DecimalTexts, OfNumbersOfAnySize) {
  constexpr unsigned int seed = 34;
  std::mt19937_64 random(seeded(seed));
  for (int i = 0; i < 200'000; ++i) {
    ROW("i", i);
    this->expectBoth(random() >> (random() % 64));
  }
}

/// The four upper and the four lower digits are computed side by side, so each half is tested with the
/// smallest and the largest other half.
TEST(DecimalDigits, AreExactForEveryValueOfAHalf) {
  for (std::uint32_t value = 0; value < 10000; ++value) {
    ROW("value", value);
    const std::uint32_t thousands = value / 1000, hundreds = value / 100 % 10, tens = value / 10 % 10,
                        ones = value % 10;
    const std::uint64_t four = thousands | hundreds << 8U | tens << 16U | ones << 24U;
    ASSERT_EQ(text::decimal::digitsOf<4>(value), four) << value;
    for (const std::uint64_t nines : {0x00000000U, 0x09090909U}) {
      const std::uint32_t other = nines == 0 ? 0 : 9999;
      ASSERT_EQ(text::decimal::digitsOf<8>(other * 10000 + value), nines | four << 32U) << value;
      ASSERT_EQ(text::decimal::digitsOf<8>(value * 10000 + other), four | nines << 32U) << value;
    }
    if (value < 100) {
      ASSERT_EQ(text::decimal::digitsOf<2>(value), four >> 16U) << value;
    }
  }
}

}  // namespace
}  // namespace tarvo::test
