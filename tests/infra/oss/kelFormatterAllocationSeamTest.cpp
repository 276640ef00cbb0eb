#include "infra/oss/kelFormatter.hpp"

#include "support/kelAllocationsSeam.hpp"
#include "support/kelRows.hpp"

#include <gtest/gtest.h>
#include <unicode/unistr.h>

#include <cstdint>
#include <limits>
#include <string>

namespace tarvo::test {
namespace {

using oss::Formatter;

TEST(FormatterAllocation, DoesNotHappenWhenIntegersAreWritten) {
  const icu::UnicodeString longText(1000, u'x', 1000);
  icu::UnicodeString fresh;
  icu::UnicodeString onTheHeap = longText;
  onTheHeap.append(u'x');
  icu::UnicodeString shared = longText;
  const AllocationCount count;
  for (icu::UnicodeString* out : {&fresh, &onTheHeap, &shared}) {
    Formatter::int32ToString(*out, std::numeric_limits<int>::min());
    Formatter::uint32ToString(*out, std::numeric_limits<unsigned int>::max());
    Formatter::int64ToString(*out, std::numeric_limits<std::int64_t>::min());
    Formatter::uint64ToString(*out, std::numeric_limits<std::uint64_t>::max());
    Formatter::int64ToHexLiteral(*out, -1, true);
  }
  EXPECT_EQ(count.made(), 0U);
}

TEST(FormatterAllocation, DoesNotHappenWhenIntegersAreRead) {
  const icu::UnicodeString plain(u"1234567890");
  const icu::UnicodeString padded = icu::UnicodeString(500, u'\u2003', 500) + plain + u"\t\n";
  const AllocationCount count;
  for (const icu::UnicodeString* text : {&plain, &padded}) {
    ROW("text", *text);
    EXPECT_EQ(Formatter::stringToInt32(*text), 1'234'567'890);
    EXPECT_EQ(Formatter::stringToUint32(*text), 1'234'567'890U);
    EXPECT_EQ(Formatter::stringToInt64(*text), 1'234'567'890);
    EXPECT_EQ(Formatter::stringToUint64(*text), 1'234'567'890U);
  }
  EXPECT_EQ(count.made(), 0U);
}

TEST(FormatterAllocation, DoesNotHappenWhenFloatingPointNumbersAreRead) {
  const std::string digits = "1." + std::string(100, '0') + "25";
  const icu::UnicodeString wideDigits = icu::UnicodeString::fromUTF8(digits);
  const AllocationCount count;
  for (const char* const text : {"1.5", "+1.5", "0x1.8p0", " 1.5 "}) {
    ROW("text", text);
    EXPECT_EQ(Formatter::stringToDouble(text), 1.5);
    EXPECT_EQ(Formatter::stringToDouble(icu::UnicodeString(text, -1, US_INV)), 1.5);
  }
  EXPECT_EQ(Formatter::stringToDouble(digits.c_str()), 1.0);
  EXPECT_EQ(Formatter::stringToDouble(wideDigits), 1.0);
  EXPECT_EQ(count.made(), 0U);
}

}  // namespace
}  // namespace tarvo::test
