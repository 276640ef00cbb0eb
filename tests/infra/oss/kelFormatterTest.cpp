#include "infra/oss/kelFormatter.hpp"
#include "infra/oss/kelNLSException.hpp"

#include "support/kelDecimalModel.hpp"
#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"
#include "support/kelSeed.hpp"
#include "support/kelTraceRecorder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace tarvo::test {
namespace {

using oss::Formatter;
using oss::NLSException;
using ::testing::ElementsAre;

static_assert(!std::is_default_constructible_v<Formatter>);
static_assert(
    std::is_same_v<decltype(&Formatter::stringToInt64), std::int64_t (*)(const icu::UnicodeString&)>);
static_assert(
    std::is_same_v<decltype(&Formatter::uint64ToString), void (*)(icu::UnicodeString&, std::uint64_t)>);

icu::UnicodeString unicode(const std::u16string& text) {
  return {text.data(), static_cast<std::int32_t>(text.size())};
}

// --- common functions for the four types

struct Int32 {
  using Value = int;
  static constexpr const char* word = "int32_t";
  static constexpr std::size_t mostDigits = 10;
  static constexpr auto toText = &Formatter::int32ToString;
  static constexpr auto toValue = &Formatter::stringToInt32;
};
struct Uint32 {
  using Value = unsigned int;
  static constexpr const char* word = "uint32_t";
  static constexpr std::size_t mostDigits = 10;
  static constexpr auto toText = &Formatter::uint32ToString;
  static constexpr auto toValue = &Formatter::stringToUint32;
};
struct Int64 {
  using Value = std::int64_t;
  static constexpr const char* word = "int64_t";
  static constexpr std::size_t mostDigits = 19;
  static constexpr auto toText = &Formatter::int64ToString;
  static constexpr auto toValue = &Formatter::stringToInt64;
};
struct Uint64 {
  using Value = std::uint64_t;
  static constexpr const char* word = "uint64_t";
  static constexpr std::size_t mostDigits = 20;
  static constexpr auto toText = &Formatter::uint64ToString;
  static constexpr auto toValue = &Formatter::stringToUint64;
};

template <class Type>
class FormatterOf : public testing::Test {
 protected:
  using Value = typename Type::Value;
  using Bits = std::make_unsigned_t<Value>;
  static constexpr bool isSigned = std::is_signed_v<Value>;

  static std::string textOf(Value value) {
    icu::UnicodeString out;
    Type::toText(out, value);
    return utf8(out);
  }

  static Value parse(const std::u16string& text) { return Type::toValue(unicode(text)); }

  static std::optional<std::uint64_t> model(const std::u16string& text) {
    return modelInteger(text, isSigned, Type::mostDigits, std::numeric_limits<Bits>::digits);
  }

  /// Expects the model's result: a value or the error.
  static void compare(const std::u16string& text) {
    ROW(utf8(unicode(text)));
    if (const std::optional<std::uint64_t> expected = model(text)) {
      EXPECT_EQ(static_cast<Bits>(parse(text)), *expected);
    } else {
      icu::UnicodeString trimmed = unicode(text);
      EXPECT_THAT([&] { parse(text); },
                  Raises<NLSException>("ERR_STR_TO_NUM_CONV_ERR", Type::word, utf8(trimmed.trim()))
                      .from("kelFormatter.cpp"));
    }
  }
};

using Types = testing::Types<Int32, Uint32, Int64, Uint64>;
TYPED_TEST_SUITE(FormatterOf, Types);

TYPED_TEST(FormatterOf, LeavesATextAloneWhoseBufferTheCallerHolds) {
  icu::UnicodeString out(u"former");
  std::char_traits<char16_t>::copy(out.getBuffer(30), u"mine", 4);
  TypeParam::toText(out, 42);
  out.releaseBuffer(4);
  EXPECT_EQ(utf8(out), "mine");
}

TEST(Formatter, DoesNotWriteALiteralIntoATextWhoseBufferIsHeldOpen) {
  icu::UnicodeString out(u"former");
  std::char_traits<char16_t>::copy(out.getBuffer(30), u"mine", 4);
  Formatter::int64ToHexLiteral(out, 42, true);
  out.releaseBuffer(4);
  EXPECT_EQ(utf8(out), "mine");
}

// --- the model

TEST(DecimalModel, ReducesDecimalTextsOfAnyLength) {
  using Bits = std::optional<std::uint64_t>;
  EXPECT_EQ(modelInteger(u"0", true, 10, 32), Bits(0));
  EXPECT_EQ(modelInteger(u" +42\t", true, 10, 32), Bits(42));
  EXPECT_EQ(modelInteger(u"-1", true, 10, 32), Bits(0xFFFFFFFFU));
  EXPECT_EQ(modelInteger(u"-2147483648", true, 10, 32), Bits(0x80000000U));
  EXPECT_EQ(modelInteger(u"4294967296", true, 10, 32), Bits(0));
  EXPECT_EQ(modelInteger(u"4294967297", false, 10, 32), Bits(1));
  EXPECT_EQ(modelInteger(u"18446744073709551615", false, 20, 64), Bits(~std::uint64_t{0}));
  EXPECT_EQ(modelInteger(u"18446744073709551618", false, 20, 64), Bits(2));
  EXPECT_EQ(modelInteger(u"340282366920938463463374607431768211461", false, 39, 64), Bits(5));
  EXPECT_EQ(modelInteger(u"-12", true, 1, 64), std::nullopt);
  EXPECT_EQ(modelInteger(u"-12", false, 9, 64), std::nullopt);
  EXPECT_EQ(modelInteger(u"-", true, 9, 64), std::nullopt);
  EXPECT_EQ(modelInteger(u"1x", true, 9, 64), std::nullopt);
}

// --- numbers to text

TYPED_TEST(FormatterOf, WritesTheExtremesInPlainDecimal) {
  using Limits = std::numeric_limits<typename TypeParam::Value>;
  EXPECT_EQ(this->textOf(0), "0");
  EXPECT_EQ(this->textOf(7), "7");
  EXPECT_EQ(this->textOf(1'234'567), "1234567");
  EXPECT_EQ(this->textOf(Limits::max()), std::to_string(Limits::max()));
  EXPECT_EQ(this->textOf(Limits::min()), std::to_string(Limits::min()));
}

TEST(Formatter, WritesTheSmallestAndLargestValues) {
  icu::UnicodeString out;
  Formatter::int32ToString(out, std::numeric_limits<int>::min());
  EXPECT_EQ(out, icu::UnicodeString(u"-2147483648"));
  Formatter::uint32ToString(out, std::numeric_limits<unsigned int>::max());
  EXPECT_EQ(out, icu::UnicodeString(u"4294967295"));
  Formatter::int64ToString(out, std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(out, icu::UnicodeString(u"-9223372036854775808"));
  Formatter::uint64ToString(out, std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(out, icu::UnicodeString(u"18446744073709551615"));
}

TYPED_TEST(FormatterOf, ReplacesWhateverTheTextWas) {
  icu::UnicodeString bogus;
  bogus.setToBogus();
  const icu::UnicodeString longText(1000, u'x', 1000);
  icu::UnicodeString shared = longText;
  icu::UnicodeString alias(true, u"a constant that is not to be written", -1);
  for (icu::UnicodeString* out : rowsOf({&bogus, &shared, &alias})) {
    TypeParam::toText(*out, 120);
    EXPECT_EQ(*out, icu::UnicodeString(u"120"));
  }
  EXPECT_EQ(longText.length(), 1000);
  EXPECT_EQ(longText.charAt(0), u'x');
}

TYPED_TEST(FormatterOf, ReadsBackWhatItWrites) {
  std::mt19937_64 engine(seeded(34));
  for (int i = 0; i < 20'000; ++i) {
    ROW("i", i);
    // Keep a random number of a random word's bits, so that all magnitudes are equally frequent.
    const auto value = static_cast<typename TypeParam::Value>(engine() >> (engine() % 64U));
    const std::string text = this->textOf(value);
    ASSERT_EQ(text, std::to_string(value)) << "number " << i;
    ASSERT_EQ(this->parse({text.begin(), text.end()}), value) << "number " << i;
  }
}

// --- text to integers

TYPED_TEST(FormatterOf, TakesDigitsAndTheWhiteSpaceAroundThem) {
  struct Row {
    const char* why;
    const char16_t* text;
    int value;
  };
  const auto rows = std::to_array<Row>({
      {"zero", u"0", 0},
      {"leading zeros", u"0000000012", 12},
      {"blanks around", u" 42 ", 42},
      {"every ASCII white space", u"\t\n\v\f\r\x1C\x1D\x1E\x1F 42 \x1F\x1E\x1D\x1C\r\f\v\n\t", 42},
      {"other white space", u"\u2003\u3000\u205F42\u2028\u2029\u1680", 42},
  });
  for (const Row& row : rowsOf(rows))
    EXPECT_EQ(this->parse(row.text), static_cast<typename TypeParam::Value>(row.value)) << row.why;
}

TYPED_TEST(FormatterOf, RefusesEverythingElseAndNamesTypeAndTrimmedText) {
  struct Row {
    const char* why;
    std::u16string text;
    std::string trimmed;
  };
  using namespace std::string_literals;
  const std::vector<Row> rows = {
      {"empty", u"", ""},
      {"only white space", u" \t\r\n ", ""},
      {"a blank inside", u" 1 2 ", "1 2"},
      {"hexadecimal", u"0x10", "0x10"},
      {"a decimal point", u"1.0", "1.0"},
      {"grouping", u"1,000", "1,000"},
      {"an exponent", u"1e3", "1e3"},
      {"a letter after the number", u"12a", "12a"},
      {"a letter before", u"a12", "a12"},
      {"minus without digits", u"-", "-"},
      {"plus without digits", u" + ", "+"},
      {"two signs", u"--1", "--1"},
      {"two different signs", u"+-1", "+-1"},
      {"a blank after the sign", u"- 1", "- 1"},
      {"a sign after the number", u"1-", "1-"},
      {"the unit before the digit 0", u"/", "/"},
      {"the unit after the digit 9", u":", ":"},
      {"a NUL inside", u"1\0002"s, "1\0002"s},
      {"a NUL after the number", u"12\0"s, "12\0"s},
      {"a NUL alone", u"\0"s, "\0"s},
      {"digits of another script", u"\u0661\u0662", "\u0661\u0662"},
      {"full-width digits", u"\uFF11", "\uFF11"},
      {"a unit whose low byte is a digit", u"\u0131", "\u0131"},
      {"a supplementary character", u"\U0001D7D9", "\U0001D7D9"},
      {"a no-break space is not trimmed",
       u"\u00A0"
       u"1",
       "\u00A0"
       "1"},
      {"half a surrogate pair", u" 1\xD800 ", "1\uFFFD"},
      {"the other half", u"\xDC00", "\uFFFD"},
  };
  for (const Row& row : rowsOf(rows)) {
    EXPECT_THAT([&] { this->parse(row.text); },
                Raises<NLSException>("ERR_STR_TO_NUM_CONV_ERR", TypeParam::word, row.trimmed)
                    .from("kelFormatter.cpp"))
        << row.why;
  }
}

TYPED_TEST(FormatterOf, TakesASignForTheSignedTypesOnly) {
  struct Row {
    const char16_t* text;
    const char* trimmed;
    int value;
  };
  for (const Row& row : rowsOf({Row{u"+7", "+7", 7}, Row{u"-42", "-42", -42}, Row{u" -0 ", "-0", 0}})) {
    if (this->isSigned) {
      EXPECT_EQ(this->parse(row.text), static_cast<typename TypeParam::Value>(row.value));
    } else {
      EXPECT_THAT([&] { this->parse(row.text); },
                  Raises<NLSException>("ERR_STR_TO_NUM_CONV_ERR", TypeParam::word, row.trimmed)
                      .from("kelFormatter.cpp"));
    }
  }
}

TYPED_TEST(FormatterOf, CountsTheDigitsLeadingZerosIncludedAndTheSignNot) {
  constexpr std::size_t most = TypeParam::mostDigits;
  const std::u16string zeros(most - 1, u'0');
  EXPECT_EQ(this->parse(zeros + u"1"), 1U + typename TypeParam::Value{});
  EXPECT_THAT([&] { this->parse(zeros + u"01"); },
              Raises<NLSException>("ERR_STR_TO_NUM_CONV_ERR", TypeParam::word, std::string(most, '0') + "1")
                  .from("kelFormatter.cpp"));
  if (this->isSigned) {
    EXPECT_EQ(this->parse(u"-" + zeros + u"1"), static_cast<typename TypeParam::Value>(-1));
    EXPECT_EQ(this->parse(u" +" + zeros + u"1 "), 1U + typename TypeParam::Value{});
    EXPECT_THAT(
        [&] { this->parse(u"-0" + zeros + u"1"); },
        Raises<NLSException>("ERR_STR_TO_NUM_CONV_ERR", TypeParam::word, "-" + std::string(most, '0') + "1")
            .from("kelFormatter.cpp"));
  }
}

TEST(Formatter, ReducesOutOfRangeNumbersModuloTheTypesWidth) {
  EXPECT_EQ(Formatter::stringToInt32(u"2147483648"), std::numeric_limits<int>::min());
  EXPECT_EQ(Formatter::stringToInt32(u"-2147483649"), std::numeric_limits<int>::max());
  EXPECT_EQ(Formatter::stringToInt32(u"4294967296"), 0);
  EXPECT_EQ(Formatter::stringToInt32(u"9999999999"), 1'410'065'407);
  EXPECT_EQ(Formatter::stringToInt32(u"-9999999999"), -1'410'065'407);
  EXPECT_EQ(Formatter::stringToUint32(u"4294967295"), 4'294'967'295U);
  EXPECT_EQ(Formatter::stringToUint32(u"4294967296"), 0U);
  EXPECT_EQ(Formatter::stringToUint32(u"9999999999"), 1'410'065'407U);
  EXPECT_EQ(Formatter::stringToInt64(u"9223372036854775807"), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(Formatter::stringToInt64(u"9223372036854775808"), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(Formatter::stringToInt64(u"-9223372036854775809"), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(Formatter::stringToInt64(u"9999999999999999999"), -8'446'744'073'709'551'617LL);
  EXPECT_EQ(Formatter::stringToInt64(u"-9999999999999999999"), 8'446'744'073'709'551'617LL);
  EXPECT_EQ(Formatter::stringToUint64(u"18446744073709551615"), std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(Formatter::stringToUint64(u"18446744073709551616"), 0U);
  EXPECT_EQ(Formatter::stringToUint64(u"99999999999999999999"), 7'766'279'631'452'241'919ULL);
}

/// The sum of two numbers in decimal digits; used to add one and to double.
std::u16string plus(std::u16string digits, const std::u16string& addend) {
  digits.insert(0, 1, u'0');
  int carry = 0;
  for (std::size_t i = 0; i < digits.size(); ++i) {
    char16_t& digit = digits[digits.size() - 1 - i];
    const int sum = digit - u'0' + (i < addend.size() ? addend[addend.size() - 1 - i] - u'0' : 0) + carry;
    digit = static_cast<char16_t>(u'0' + sum % 10);
    carry = sum / 10;
  }
  return digits.front() == u'0' ? digits.substr(1) : digits;
}

/// Powers of two and ten, and the numbers next to them.
std::vector<std::u16string> delicateNumbers() {
  std::vector<std::u16string> texts;
  std::u16string before = u"0";  // the power minus one
  for (int power = 0; power < 68; ++power, before = plus(plus(before, before), u"1")) {
    for (const char16_t* const more : {u"0", u"1", u"2"}) texts.push_back(plus(before, more));
  }
  for (std::size_t zeros = 0; zeros < 22; ++zeros) {
    texts.push_back(std::u16string(zeros + 1, u'9'));
    texts.push_back(u"1" + std::u16string(zeros, u'0'));
    texts.push_back(u"1" + std::u16string(zeros, u'0') + u"1");
  }
  return texts;
}

TYPED_TEST(FormatterOf, AgreesWithLongArithmeticAroundPowersOfTwoAndTen) {
  const std::vector<std::u16string> texts = delicateNumbers();
  ASSERT_EQ(texts[3 * 64 + 1], u"18446744073709551616");
  for (const std::u16string& text : texts) {
    for (const char16_t* const sign : {u"", u"-", u"+"}) this->compare(sign + text);
  }
}

TYPED_TEST(FormatterOf, AgreesWithLongArithmeticOnRandomTexts) {
  constexpr unsigned int seed = 3401;
  ROW("seed", seed);
  std::mt19937 engine(seeded(seed));
  const auto below = [&](std::size_t limit) { return engine() % limit; };
  const std::u16string odd = u" \t\n\u2003\u00A0+-.,xeE\0/:a\u0660\xD800\xDC00";
  for (int i = 0; i < 20'000; ++i) {
    ROW("i", i);
    std::u16string text;
    for (std::size_t n = below(3); n > 0; --n) text += u" \t\u3000"[below(3)];
    if (below(3) == 0) text += u"+-"[below(2)];
    for (std::size_t n = below(24); n > 0; --n) text += static_cast<char16_t>(u'0' + below(10));
    for (std::size_t n = below(3); n > 0; --n) text += u" \t\u3000"[below(3)];
    if (below(4) == 0) text.insert(below(text.size() + 1), 1, odd[below(odd.size())]);
    this->compare(text);
    if (this->HasFailure()) FAIL() << "text number " << i;
  }
}

TEST(Formatter, TrimsTheSameCharactersAsIcu) {
  for (int unit = 0; unit < 0x10000; ++unit) {
    ROW("unit", unit);
    const auto c = static_cast<char16_t>(unit);
    const icu::UnicodeString text = icu::UnicodeString(c).append(u'5').append(c);
    const bool blank = icu::UnicodeString(text).trim().length() == 1;
    std::optional<int> value;
    std::optional<double> number;
    try {
      value = Formatter::stringToInt32(text);
    } catch (const NLSException&) {
    }
    try {
      number = Formatter::stringToDouble(text);
    } catch (const NLSException&) {
    }
    const bool digit = u'0' <= c && c <= u'9';
    ASSERT_EQ(value.has_value(), blank || digit) << unit;
    ASSERT_EQ(number.has_value(), blank || digit) << unit;
    ASSERT_EQ(blank ? *value + *number : 10, 10) << unit;
  }
}

TEST(Formatter, TreatsABogusTextAsEmpty) {
  icu::UnicodeString bogus;
  bogus.setToBogus();
  EXPECT_THAT([&] { Formatter::stringToInt32(bogus); },
              Raises<NLSException>("ERR_STR_TO_NUM_CONV_ERR", "int32_t", "").from("kelFormatter.cpp"));
  EXPECT_THAT([&] { Formatter::stringToDouble(bogus); },
              Raises<NLSException>("ERR_STR_TO_NUM_CONV_ERR", "double", "").from("kelFormatter.cpp"));
}

TEST(Formatter, DoesNotChangeTheTextItReads) {
  const icu::UnicodeString text(u"  12  ");
  Formatter::stringToInt32(text);
  Formatter::stringToDouble(text);
  EXPECT_EQ(text, icu::UnicodeString(u"  12  "));
}

TEST(Formatter, RecordsALongTextCompletely) {
  const std::string digits(100'000, '1');
  EXPECT_THAT([&] { Formatter::stringToUint64(icu::UnicodeString::fromUTF8("\t" + digits + " ")); },
              Raises<NLSException>("ERR_STR_TO_NUM_CONV_ERR", "uint64_t", digits).from("kelFormatter.cpp"));
}

// --- hexadecimal literals

TEST(Formatter, WritesHexadecimalLiterals) {
  struct Row {
    std::int64_t value;
    const char* upper;
    const char* lower;
  };
  const auto rows = std::to_array<Row>({
      {0, "X'0'", "X'0'"},
      {9, "X'9'", "X'9'"},
      {10, "X'A'", "X'a'"},
      {31, "X'1F'", "X'1f'"},
      {0xABCDEF, "X'ABCDEF'", "X'abcdef'"},
      {0x1234567890ABCDEF, "X'1234567890ABCDEF'", "X'1234567890abcdef'"},
      {std::numeric_limits<std::int64_t>::max(), "X'7FFFFFFFFFFFFFFF'", "X'7fffffffffffffff'"},
      {std::numeric_limits<std::int64_t>::min(), "X'8000000000000000'", "X'8000000000000000'"},
      {-1, "X'FFFFFFFFFFFFFFFF'", "X'ffffffffffffffff'"},
  });
  for (const Row& row : rowsOf(rows)) {
    icu::UnicodeString out(u"what stood here before, and was rather long for a number");
    Formatter::int64ToHexLiteral(out, row.value, true);
    EXPECT_EQ(utf8(out), row.upper);
    Formatter::int64ToHexLiteral(out, row.value, false);
    EXPECT_EQ(utf8(out), row.lower);
  }
}

// --- trace hooks

TEST(Formatter, TracesOneEntryAndOneExitPerCall) {
  icu::UnicodeString out;
  const auto rows = std::to_array<std::pair<const char*, std::function<void()>>>({
      {"63F", [&] { Formatter::int32ToString(out, 1); }},
      {"63F", [&] { Formatter::uint32ToString(out, 1); }},
      {"63F", [&] { Formatter::int64ToString(out, 1); }},
      {"63F", [&] { Formatter::uint64ToString(out, 1); }},
      {"640", [] { Formatter::stringToInt32(u"1"); }},
      {"640", [] { Formatter::stringToUint32(u"1"); }},
      {"640", [] { Formatter::stringToInt64(u"1"); }},
      {"640", [] { Formatter::stringToUint64(u"1"); }},
      {"641", [] { Formatter::stringToDouble(icu::UnicodeString(u" 1")); }},
      {"641", [] { Formatter::stringToDouble("1"); }},
      {"641", [] { Formatter::stringToDouble(" 1"); }},
      {"642", [&] { Formatter::int64ToHexLiteral(out, 1, true); }},
      {"644", [] { Formatter::localeCode(); }},
      {"645", [] { Formatter::consoleCodePageName(); }},
  });
  TraceRecorder trace(0x20000);
  for (const auto& [number, call] : rowsOf(rows)) {
    call();
    EXPECT_THAT(trace.take(),
                ElementsAre(std::string("traceEntry ") + number, std::string("traceExit ") + number + " 0"));
  }
  Formatter::setSettings();
  EXPECT_THAT(trace.take(),
              ElementsAre("traceEntry 643", "traceEntry 644", "traceExit 644 0", "traceExit 643 0"));
}

/// The calls without those of the error's messages.
std::vector<std::string> formatterCalls(TraceRecorder& trace) {
  std::vector<std::string> calls = trace.take();
  calls.erase(std::remove_if(calls.begin(), calls.end(),
                             [](const std::string& call) { return call.find(" 64") == std::string::npos; }),
              calls.end());
  return calls;
}

TEST(Formatter, TracesNoExitIfACallRaises) {
  const auto rows = std::to_array<std::pair<const char*, std::function<void()>>>({
      {"traceEntry 640", [] { Formatter::stringToInt32(u"x"); }},
      {"traceEntry 640", [] { Formatter::stringToUint64(u""); }},
      {"traceEntry 641", [] { Formatter::stringToDouble(icu::UnicodeString(u"x")); }},
      {"traceEntry 641", [] { Formatter::stringToDouble("x"); }},
      {"traceEntry 641", [] { Formatter::stringToDouble(nullptr); }},
  });
  TraceRecorder trace(0x20000);
  for (const auto& [expected, call] : rowsOf(rows)) {
    EXPECT_THROW(call(), NLSException);
    EXPECT_THAT(formatterCalls(trace), ElementsAre(expected));
  }
}

}  // namespace
}  // namespace tarvo::test
