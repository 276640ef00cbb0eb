#include "support/kelRows.hpp"
#include "text/kelWords.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <string>

namespace tarvo::test {
namespace {

std::u16string unitsOf(std::size_t count) {
  std::u16string units;
  for (std::size_t i = 0; i < count; ++i) units += static_cast<char16_t>(i * 37 % 128);
  return units;
}

TEST(NarrowAscii, WritesEveryLengthAndNothingAfterIt) {
  for (std::size_t count = 0; count <= 100; ++count) {
    ROW("count", count);
    const std::u16string units = unitsOf(count);
    std::string bytes(count + 16, '#');
    ASSERT_TRUE(text::narrowAscii(units.data(), count, bytes.data())) << count;
    ASSERT_EQ(std::u16string(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count)), units);
    ASSERT_EQ(bytes.substr(count), std::string(16, '#')) << count;
  }
}

TEST(NarrowAscii, DetectsANonAsciiUnitAtEveryPosition) {
  std::string bytes(100, '#');
  for (const char16_t other : rowsOf({u'\x80', u'\xFF', u'\x100', u'\x141', u'\x8000', u'\xFF30'})) {
    for (std::size_t count = 1; count <= 100; ++count) {
      ROW("count", count);
      for (std::size_t place = 0; place < count; ++place) {
        ROW("place", place);
        std::u16string units = unitsOf(count);
        units[place] = other;
        ASSERT_FALSE(text::narrowAscii(units.data(), count, bytes.data()))
            << static_cast<unsigned int>(other) << " at " << place << " of " << count;
      }
    }
  }
}

TEST(WidenEight, ConvertsEachByteToAUnit) {
  const std::array<char, 9> bytes = {'\0', '\1', 'a', '\x7F', '\x80', '\xAB', '\xFE', '\xFF', 'x'};
  std::u16string units(10, u'#');
  text::widenEight(bytes.data(), units.data() + 1);
  EXPECT_EQ(units, std::u16string(u"#\0\1a\x7F\x80\xAB\xFE\xFF#", 10));
}

}  // namespace
}  // namespace tarvo::test
