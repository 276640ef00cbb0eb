#include "support/kelRows.hpp"
#include "support/kelSeed.hpp"
#include "text/kelTextUnits.hpp"

#include <gtest/gtest.h>

#include <cstddef>
#include <new>
#include <random>
#include <string>
#include <string_view>
#include <utility>

namespace tarvo::text {
namespace {

using test::rowsOf;

TEST(TextUnits, ThrowBadAllocAboveTheLargestLengthOfIcu) {
  constexpr std::size_t most = 0x7FFFFFFF;
  EXPECT_EQ(lengthOf(std::u16string_view(u"claimed", most)), 0x7FFFFFFF);
  EXPECT_THROW(lengthOf(std::u16string_view(u"claimed", most + 1)), std::bad_alloc);
  EXPECT_THROW(textOf(std::u16string_view(u"claimed", most + 1)), std::bad_alloc);
}

TEST(TextUnits, AreFoundAtEveryPosition) {
  for (const char16_t unit : rowsOf({u'%', u'\0', u'\x8025', u'\xFFFF'})) {
    // Units that differ from `unit` in one bit must not be found.
    for (int bit = 0; bit < 16; ++bit) {
      ROW("bit", bit);
      for (std::size_t length = 0; length < 14; ++length) {
        ROW("length", length);
        std::u16string units(length, static_cast<char16_t>(unit ^ 1U << static_cast<unsigned int>(bit)));
        ASSERT_FALSE(holds(units, unit)) << length;
        for (char16_t& place : rowsOf(units)) {
          const char16_t former = std::exchange(place, unit);
          ASSERT_TRUE(holds(units, unit)) << length;
          place = former;
        }
      }
    }
  }
}

TEST(TextUnits, AreOrderedLikeIcuStrings) {
  std::mt19937 random(test::seeded(1));
  for (int i = 0; i < 20'000; ++i) {
    ROW("i", i);
    const std::u16string common(random() % 10, u'c');
    std::u16string left = common;
    std::u16string right = common;
    for (std::size_t rest = random() % 6; rest > 0; --rest) left += u"ab\0\u0100\xD800\xFFFF"[random() % 6];
    for (std::size_t rest = random() % 6; rest > 0; --rest) right += u"ab\0\u0100\xD800\xFFFF"[random() % 6];
    ASSERT_EQ(isLess(left, right), left < right) << "pair " << i;
    ASSERT_FALSE(isLess(left, left));
  }
}

}  // namespace
}  // namespace tarvo::text
