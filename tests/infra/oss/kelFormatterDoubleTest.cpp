#include "infra/oss/kelFormatter.hpp"
#include "infra/oss/kelNLSException.hpp"
#include "infra/oss/kelPrintStream.hpp"

#include "support/kelCommaLocale.hpp"
#include "support/kelRaises.hpp"
#include "support/kelReporting.hpp"
#include "support/kelRows.hpp"
#include "support/kelSeed.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unicode/unistr.h>

#include <array>
#include <atomic>
#include <bit>
#include <cfenv>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <limits>
#include <optional>
#include <random>
#include <sstream>
#include <streambuf>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace tarvo::test {
namespace {

using oss::Formatter;
using oss::NLSException;

static_assert(std::is_same_v<decltype(Formatter::stringToDouble("1")), double>);
static_assert(std::is_same_v<decltype(Formatter::stringToDouble(u"1")), double>);

icu::UnicodeString wide(const std::string& bytes) {
  return icu::UnicodeString::fromUTF8(bytes);
}

auto refuses(const std::string& text) {
  return Raises<NLSException>("ERR_STR_TO_NUM_CONV_ERR", "double", text).from("kelFormatter.cpp");
}

/// The bits of a value, so that 0 and -0 differ. All NaNs of one sign are equal.
std::string shown(double value) {
  if (std::isnan(value)) return std::signbit(value) ? "-nan" : "nan";
  char text[40];
  std::snprintf(text, sizeof text, "%a", value);
  return text;
}

/// The result of strtod if it accepts the whole text, otherwise nullopt. The tests run in the "C" locale.
std::optional<double> strtodOf(const std::string& text) {
  char* end = nullptr;
  const double value = std::strtod(text.c_str(), &end);
  if (text.empty() || end != text.c_str() + text.size()) return std::nullopt;
  return value;
}

/// Expects that both overloads return the value of strtod, or refuse the text if strtod does.
void compareWithStrtod(const std::string& text) {
  ROW(text);
  if (const std::optional<double> expected = strtodOf(text)) {
    EXPECT_EQ(shown(Formatter::stringToDouble(text.c_str())), shown(*expected));
    EXPECT_EQ(shown(Formatter::stringToDouble(wide(text))), shown(*expected));
  } else {
    EXPECT_THAT([&] { Formatter::stringToDouble(text.c_str()); }, refuses(text));
    EXPECT_THAT([&] { Formatter::stringToDouble(wide(text)); }, refuses(text));
  }
}

TEST(FormatterDouble, ReadsFloatingPointNumbers) {
  struct Row {
    const char* text;
    double value;
  };
  const auto rows = std::to_array<Row>({
      {"0", 0.0},
      {"1.5", 1.5},
      {"+1.5", 1.5},
      {"-1.5", -1.5},
      {" \t1.5\r\n", 1.5},
      {"\xE2\x80\x83"
       "1.5\xE3\x80\x80",
       1.5},
      {"1.", 1.0},
      {".5", 0.5},
      {"-.5e1", -5.0},
      {"1e3", 1000.0},
      {"1E+3", 1000.0},
      {"25e-2", 0.25},
      {"000000000000000000000001", 1.0},
      {"123456789012345678901234567890", 123456789012345678901234567890.0},
      {"0.1", 0.1},
      {"1.7976931348623157e308", std::numeric_limits<double>::max()},
      {"2.2250738585072014e-308", std::numeric_limits<double>::min()},
      {"4.9406564584124654e-324", std::numeric_limits<double>::denorm_min()},
      {"9007199254740993", 9007199254740992.0},
  });
  for (const Row& row : rowsOf(rows)) {
    EXPECT_EQ(Formatter::stringToDouble(row.text), row.value) << row.text;
    EXPECT_EQ(Formatter::stringToDouble(wide(row.text)), row.value) << row.text;
  }
}

TEST(FormatterDouble, KeepsTheSignOfZero) {
  EXPECT_EQ(shown(Formatter::stringToDouble("-0")), "-0x0p+0");
  EXPECT_EQ(shown(Formatter::stringToDouble("-0.0e5")), "-0x0p+0");
  EXPECT_EQ(shown(Formatter::stringToDouble("-1e-999")), "-0x0p+0");
  EXPECT_EQ(shown(Formatter::stringToDouble("+0")), "0x0p+0");
}

TEST(FormatterDouble, AcceptsNumbersThatAreOutOfRange) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  EXPECT_EQ(Formatter::stringToDouble("1e309"), infinity);
  EXPECT_EQ(Formatter::stringToDouble(u"-1e309"), -infinity);
  EXPECT_EQ(Formatter::stringToDouble("1e99999999999999999999"), infinity);
  EXPECT_EQ(Formatter::stringToDouble("1e-99999999999999999999"), 0.0);
  EXPECT_EQ(Formatter::stringToDouble("2e-324"), 0.0);
  EXPECT_EQ(Formatter::stringToDouble("3e-324"), std::numeric_limits<double>::denorm_min());
  EXPECT_EQ(Formatter::stringToDouble("1.7976931348623159e308"), infinity);
}

TEST(FormatterDouble, RefusesTextThatIsNotEntirelyANumber) {
  using namespace std::string_literals;
  struct Row {
    const char* why;
    std::string text;
    std::string trimmed;
  };
  const std::vector<Row> rows = {
      {"empty", "", ""},
      {"only white space", " \n\t", ""},
      {"only white space of other scripts", "\xE3\x80\x80", ""},
      {"a decimal comma", "1,5", "1,5"},
      {"a letter after the number", " 1.5x ", "1.5x"},
      {"two points", "1.5.2", "1.5.2"},
      {"grouping", "1,000.5", "1,000.5"},
      {"a blank inside", "1 5", "1 5"},
      {"a sign alone", "-", "-"},
      {"a point alone", ".", "."},
      {"two signs", "+-1", "+-1"},
      {"two signs, both plus", "++1", "++1"},
      {"an exponent without digits", "1e", "1e"},
      {"only an exponent with a sign", "1e+", "1e+"},
      {"only an exponent", "e5", "e5"},
      {"hexadecimal without digits", "0x", "0x"},
      {"a suffix", "1.5f", "1.5f"},
      {"words", "one", "one"},
      {"full-width digits", "\xEF\xBC\x91", "\xEF\xBC\x91"},
      {"a no-break space is not trimmed",
       "\xC2\xA0"
       "1",
       "\xC2\xA0"
       "1"},
      {"a control character is not trimmed", "1\x01", "1\x01"},
      {"a non-ASCII letter after the number", "1.5\xC3\xA9", "1.5\xC3\xA9"},
      {"a letter inside, outside ASCII",
       "1\xC3\xA9"
       "5",
       "1\xC3\xA9"
       "5"},
  };
  for (const Row& row : rowsOf(rows)) {
    EXPECT_THAT([&] { Formatter::stringToDouble(row.text.c_str()); }, refuses(row.trimmed)) << row.why;
    EXPECT_THAT([&] { Formatter::stringToDouble(wide(row.text)); }, refuses(row.trimmed)) << row.why;
  }
}

TEST(FormatterDouble, RefusesANulInside) {
  using namespace std::string_literals;
  EXPECT_THAT([] { Formatter::stringToDouble(wide("1\0"s)); }, refuses("1\0"s));
  EXPECT_THAT([] { Formatter::stringToDouble(wide("1\0.5"s)); }, refuses("1\0.5"s));
  EXPECT_THAT([] { Formatter::stringToDouble(wide("\0"s)); }, refuses("\0"s));
}

TEST(FormatterDouble, DescribesANullPointerInTheError) {
  EXPECT_THAT([] { Formatter::stringToDouble(static_cast<const char*>(nullptr)); }, refuses("NULL"));
  EXPECT_THAT([] { Formatter::stringToDouble(nullptr); }, refuses("NULL"));
}

TEST(FormatterDouble, RecordsInvalidUtf8AsReplacementCharacters) {
  EXPECT_THAT([] { Formatter::stringToDouble(" 1\xFF "); }, refuses("1\xEF\xBF\xBD"));
  EXPECT_THAT([] { Formatter::stringToDouble("1\xC3"); }, refuses("1\xEF\xBF\xBD"));
  EXPECT_THAT([] { Formatter::stringToDouble(icu::UnicodeString(u"1").append(u'\xD800')); },
              refuses("1\xEF\xBF\xBD"));
}

TEST(FormatterDouble, RecordsOnlyWellFormedText) {
  try {
    Formatter::stringToDouble(icu::UnicodeString(u" 1").append(u'\xD800').append(u'2'));
    FAIL() << "takes half a surrogate pair";
  } catch (const NLSException& error) {
    EXPECT_EQ(error.getErrorMessage().getMessageArgs().back(), icu::UnicodeString(u"1\uFFFD2"));
  }
}

// --- compared with strtod

TEST(FormatterDouble, AcceptsTheSameTextsAsStrtod) {
  for (const char* const text : {"inf",
                                 "-inf",
                                 "+inf",
                                 "INF",
                                 "infinity",
                                 "-Infinity",
                                 "infinit",
                                 "infinityx",
                                 "nan",
                                 "-nan",
                                 "+NaN",
                                 "nan()",
                                 "nan(123)",
                                 "nan(0x7)",
                                 "nan(a_b)",
                                 "nan(",
                                 "nan(-)",
                                 "nanx",
                                 "0x10",
                                 "-0x1.8p3",
                                 "+0x.8",
                                 "0x1p-1074",
                                 "0x1p-1075",
                                 "0x1.8p-1075",
                                 "0x1p1024",
                                 "0X1P+3",
                                 "0x1p",
                                 "0xg",
                                 "0x",
                                 "0x.",
                                 "0x1.p1",
                                 "1e400",
                                 "-1e400",
                                 "1e-400",
                                 "-1e-400",
                                 "1d5",
                                 "1_000",
                                 "0b1",
                                 "0b11",
                                 "1e5.5",
                                 "0e99999",
                                 "00x1",
                                 "1e0000000000000000005",
                                 "1e-0",
                                 ".e1",
                                 "-.",
                                 "+.5",
                                 "5.",
                                 "0.0000000000000000000000000000000000000000000001e45"}) {
    compareWithStrtod(text);
  }
}

TEST(FormatterDouble, AgreesWithStrtodOnEveryMagnitude) {
  constexpr unsigned int seed = 3402;
  std::mt19937_64 engine(seeded(seed));
  for (int i = 0; i < 50'000; ++i) {
    ROW("i", i);
    const auto value = std::bit_cast<double>(engine());
    if (!std::isfinite(value)) continue;
    char text[64];
    std::snprintf(text, sizeof text, "%.*e", static_cast<int>(engine() % 22U), value);
    compareWithStrtod(text);
    if (::testing::Test::HasFailure()) FAIL() << "seed " << seed << ", number " << i;
  }
}

TEST(FormatterDouble, AgreesWithStrtodOnDenormalsAndHalfWayValues) {
  constexpr unsigned int seed = 3403;
  std::mt19937_64 engine(seeded(seed));
  for (int i = 0; i < 3'000; ++i) {
    ROW("i", i);
    // The exact decimal value half-way between two adjacent doubles, and a value slightly above it.
    const std::uint64_t bits = (engine() >> (i % 2 == 0 ? 12U : 2U)) & 0x7FE0'0000'0000'0000U;
    const std::uint64_t fraction = engine() & 0x000F'FFFF'FFFF'FFFFU;
    const auto value = std::bit_cast<double>(i % 2 == 0 ? fraction : bits | fraction);
    const auto next = static_cast<long double>(std::nextafter(value, HUGE_VAL));
    const long double between = (static_cast<long double>(value) + next) / 2;
    char text[1400];
    const int length = std::snprintf(text, sizeof text, "%.1100Le", between);
    ASSERT_LT(length, static_cast<int>(sizeof text));
    compareWithStrtod(text);
    std::string beyond = text;
    beyond.insert(beyond.find('e'), "1");
    compareWithStrtod(beyond);
    if (::testing::Test::HasFailure()) FAIL() << "seed " << seed << ", number " << i;
  }
}

TEST(FormatterDouble, AgreesWithStrtodOnRandomTexts) {
  constexpr unsigned int seed = 3404;
  std::mt19937 engine(seeded(seed));
  const auto below = [&](std::size_t limit) { return engine() % limit; };
  const std::string units = "0123456789012345678901234567890123456789..eE+-xXaApPinfINF,_()";
  int numbers = 0;
  for (int i = 0; i < 15'000; ++i) {
    ROW("i", i);
    std::string text;
    for (std::size_t n = 1 + below(12); n > 0; --n) text += units[below(units.size())];
    compareWithStrtod(text);
    numbers += strtodOf(text).has_value() ? 1 : 0;
    if (::testing::Test::HasFailure()) FAIL() << "seed " << seed << ", text " << i;
  }
  EXPECT_GT(numbers, 1'000);
}

// Numbers of up to 15 digits are computed directly; longer ones are parsed in another way.
TEST(FormatterDouble, AgreesWithStrtodOnFewDigitsWithAPointAnywhere) {
  constexpr unsigned int seed = 3405;
  std::mt19937 engine(seeded(seed));
  for (std::size_t count = 0; count <= 18; ++count) {
    ROW("count", count);
    for (int i = 0; i < 40; ++i) {
      ROW("i", i);
      std::string digits(count, i == 0 ? '0' : '9');
      if (i > 1) {
        for (char& digit : digits) digit = static_cast<char>('0' + engine() % 10);
      }
      for (const char* const sign : {"", "-", "+"}) {
        compareWithStrtod(sign + digits);
        for (std::size_t point = 0; point <= count; ++point) {
          compareWithStrtod(sign + std::string(digits).insert(point, "."));
        }
      }
      if (::testing::Test::HasFailure()) FAIL() << "seed " << seed << ", " << count << " digits";
    }
  }
}

TEST(FormatterDouble, RefusesUnitsThatOnlyLookLikeFewDigits) {
  for (const char* const text :
       {"1.2.3", "..1", "1..", "1-2", "--1", "1.-2", "1.2-", "-", "1 2", "1:2", "1/2", "1,2"}) {
    compareWithStrtod(text);
  }
  for (const char16_t unit : rowsOf({u'\u0131', u'\u012E', u'\u012D', u'\uFF11', u'\u0661', u'\u00B2'})) {
    for (int place = 0; place < 3; ++place) {
      ROW("place", place);
      icu::UnicodeString text(u"2.5");
      text.setCharAt(place, unit);
      std::string bytes;
      EXPECT_THAT([&] { Formatter::stringToDouble(text); }, refuses(text.toUTF8String(bytes)));
      EXPECT_THAT([&] { Formatter::stringToDouble(bytes.c_str()); }, refuses(bytes));
    }
  }
}

TEST(FormatterDouble, UsesTheRoundingModeLikeStrtod) {
  const int former = std::fegetround();
  for (const int mode : rowsOf({FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO, FE_TONEAREST})) {
    std::fesetround(mode);
    std::vector<std::pair<double, std::optional<double>>> results;
    for (const char* const text :
         {"0.1", "-0.1", "0.3", "1.7976931348623159e307", "123456789012345678901", "1e23"}) {
      results.emplace_back(Formatter::stringToDouble(text), strtodOf(text));
      results.emplace_back(Formatter::stringToDouble(wide(text)), strtodOf(text));
    }
    std::fesetround(former);
    for (const auto& [value, expected] : rowsOf(results))
      EXPECT_EQ(shown(value), shown(*expected)) << "mode " << mode;
  }
}

TEST(FormatterDouble, ReadsTextsLongerThanAnyBuffer) {
  for (const std::size_t length :
       rowsOf({126U, 127U, 128U, 129U, 255U, 256U, 257U, 511U, 512U, 513U, 4096U, 100'000U})) {
    const std::string digits = "1." + std::string(length - 3, '0') + "1";
    EXPECT_EQ(Formatter::stringToDouble(wide(digits)), 1.0) << length;
    EXPECT_EQ(Formatter::stringToDouble(digits.c_str()), 1.0) << length;
    EXPECT_EQ(Formatter::stringToDouble(wide("+" + digits)), 1.0) << length;
    EXPECT_THAT([&] { Formatter::stringToDouble(wide(digits + "x")); }, refuses(digits + "x"));
    EXPECT_THAT([&] { Formatter::stringToDouble(wide(digits).append(u'\u0661')); },
                refuses(digits + "\xD9\xA1"));
  }
}

// --- under a locale with a decimal comma

/// The number 0.5 as the C runtime prints it in the calling thread.
std::string halfByTheRuntime() {
  char text[16];
  std::snprintf(text, sizeof text, "%.1f", 0.5);
  return text;
}

class FormatterUnderAComma : public testing::TestWithParam<CommaLocale::For> {};

TEST_P(FormatterUnderAComma, AcceptsAPointAndRefusesAComma) {
  const CommaLocale comma(GetParam());
  ASSERT_EQ(halfByTheRuntime(), "0,5");
  ASSERT_EQ(std::strtod("1,5", nullptr), 1.5);
  // The signed and the hexadecimal text are parsed by the C runtime.
  for (const char* const text : rowsOf({"1.5", "+1.5", "0x1.8p0", " 15e-1 "})) {
    EXPECT_EQ(Formatter::stringToDouble(text), 1.5) << text;
    EXPECT_EQ(Formatter::stringToDouble(wide(text)), 1.5) << text;
  }
  for (const char* const text : rowsOf({"1,5", "+1,5", "0x1,8p0", "1.000,5"})) {
    EXPECT_THAT([&] { Formatter::stringToDouble(text); }, refuses(text));
    EXPECT_THAT([&] { Formatter::stringToDouble(wide(text)); }, refuses(text));
  }
}

TEST_P(FormatterUnderAComma, RestoresTheCallersLocale) {
  const std::string before = std::setlocale(LC_ALL, nullptr);
  {
    const CommaLocale comma(GetParam());
    const std::string during = std::setlocale(LC_ALL, nullptr);
    for (const char* const text : rowsOf({"1.5", "+1.5", " 1.5", "1,5", "x", "", "inf", "1e999"})) {
      std::string atTheError = "0,5";
      try {
        Formatter::stringToDouble(text);
      } catch (const NLSException&) {
        atTheError = halfByTheRuntime();
      }
      EXPECT_EQ(atTheError, "0,5") << text;
      EXPECT_EQ(halfByTheRuntime(), "0,5") << text;
      EXPECT_EQ(std::setlocale(LC_ALL, nullptr), during) << text;
    }
    EXPECT_THROW(Formatter::stringToDouble(nullptr), NLSException);
    EXPECT_EQ(halfByTheRuntime(), "0,5");
  }
  EXPECT_EQ(halfByTheRuntime(), "0.5");
  EXPECT_EQ(std::setlocale(LC_ALL, nullptr), before);
}

TEST_P(FormatterUnderAComma, ReadsAndWritesIntegersAsInTheCLocale) {
  const CommaLocale comma(GetParam());
  icu::UnicodeString out;
  Formatter::int64ToString(out, -1'234'567);
  EXPECT_EQ(out, icu::UnicodeString(u"-1234567"));
  EXPECT_EQ(Formatter::stringToInt64(out), -1'234'567);
  EXPECT_THAT([] { Formatter::stringToInt32(u"1.234"); },
              Raises<NLSException>("ERR_STR_TO_NUM_CONV_ERR", "int32_t", "1.234").from("kelFormatter.cpp"));
}

TEST_P(FormatterUnderAComma, GivesTheSameValuesAsInTheCLocale) {
  constexpr unsigned int seed = 3405;
  std::mt19937_64 engine(seeded(seed));
  std::vector<std::pair<std::string, double>> cases;
  for (int i = 0; i < 2'000; ++i) {
    const auto value = std::bit_cast<double>(engine());
    if (!std::isfinite(value)) continue;
    char text[64];
    std::snprintf(text, sizeof text, i % 2 == 0 ? "%+.17g" : "%a", value);
    cases.emplace_back(text, value);
  }
  const CommaLocale comma(GetParam());
  for (const auto& [text, value] : rowsOf(cases))
    ASSERT_EQ(shown(Formatter::stringToDouble(text.c_str())), shown(value)) << text;
}

INSTANTIATE_TEST_SUITE_P(Locale, FormatterUnderAComma,
                         testing::Values(CommaLocale::For::process, CommaLocale::For::thread),
                         [](const auto& row) {
                           return row.param == CommaLocale::For::process ? "OfTheProcess" : "OfTheThread";
                         });

TEST(FormatterThreads, ReadTheSameTextsConcurrently) {
  const CommaLocale comma(CommaLocale::For::process);
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back(reporting([&wrong, t] {
      const std::string text = "+" + std::to_string(t) + ".25";
      for (int i = 0; i < 1'000; ++i) {
        if (Formatter::stringToDouble(text.c_str()) != t + 0.25) ++wrong;
        try {
          Formatter::stringToDouble("1,5");
          ++wrong;
        } catch (const NLSException&) {
        }
      }
    }));
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(halfByTheRuntime(), "0,5");
}

// On platforms where a locale applies to the whole process, the standard library switches it to print
// numbers. If it did so while a reader has switched the locale, it would later restore the reader's locale
// for the whole process.
TEST(FormatterThreads, ReadNumbersWhileAnotherPrintsThem) {
  const CommaLocale comma(CommaLocale::For::process);
  std::ostringstream printed;
  std::streambuf* const before = std::cerr.rdbuf(printed.rdbuf());
  std::atomic<int> reading{2};
  std::atomic<int> wrong{0};
  std::vector<std::thread> readers;
  for (int t = 0; t < 2; ++t) {
    readers.emplace_back(reporting([&] {
      for (int i = 0; i < 1'000; ++i) wrong += Formatter::stringToDouble("+0.25") == 0.25 ? 0 : 1;
      --reading;
    }));
  }
  std::string expected;
  do {
    oss::ossOut << 0.5 << 0.25F;
    expected += "0.50.25";
  } while (reading > 0);
  for (std::thread& reader : readers) reader.join();
  std::cerr.rdbuf(before);
  EXPECT_EQ(wrong, 0);
  EXPECT_TRUE(printed.str() == expected);
  EXPECT_EQ(halfByTheRuntime(), "0,5") << "the process's locale is as it was";
}

/// A stream buffer that parses a number whenever a character is written to it.
class ReadingBuffer : public std::streambuf {
 public:
  double sum = 0;

 protected:
  int_type overflow(int_type unit) override {
    sum += Formatter::stringToDouble("+0.5");
    return traits_type::not_eof(unit);
  }
};

TEST(FormatterThreads, ReadANumberInTheMiddleOfPrintingOne) {
  const CommaLocale comma(CommaLocale::For::process);
  ReadingBuffer reading;
  std::streambuf* const before = std::cerr.rdbuf(&reading);
  oss::ossOut << 0.25;
  std::cerr.rdbuf(before);
  EXPECT_EQ(reading.sum, 2.0) << "four characters";
  EXPECT_EQ(halfByTheRuntime(), "0,5");
}

}  // namespace
}  // namespace tarvo::test
