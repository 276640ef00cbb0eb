#include "infra/oss/kelConverter.hpp"
#include "infra/oss/kelNLSException.hpp"

#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"
#include "support/kelTraceRecorder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unicode/ucnv.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <functional>
#include <limits>
#include <regex>
#include <string>
#include <vector>

/// Tests of the three overloads of Converter::convert; convertToBytes is tested in kelConverterTest.cpp.
namespace tarvo::test {
namespace {

using oss::Converter;
using oss::NLSException;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace std::string_literals;

constexpr int largestInt = std::numeric_limits<int>::max();

RaisesMatcher<NLSException> tooSmall(int length) {
  return Raises<NLSException>("ERR_BUFFER_SIZE_TOO_SMALL", length).from("kelConverter.cpp");
}

RaisesMatcher<NLSException> conversionError(const std::string& to, const std::string& from) {
  return Raises<NLSException>("ERR_CONV_CONVERSION_ERROR", to, from).from("kelConverter.cpp");
}

/// A call of one overload with all arguments except its destination.
using Conversion = std::function<int(char* destination, int destinationLength)>;

Conversion ofText(const char* from, const char* data, const char* to) {
  return
      [=](char* destination, int length) { return Converter::convert(destination, length, from, data, to); };
}

Conversion ofBytes(const char* from, const std::string& data, const char* to) {
  return [=](char* destination, int length) {
    return Converter::convert(destination, length, from, data.data(), static_cast<int>(data.size()), to);
  };
}

Conversion ofUnicode(const icu::UnicodeString& data, const char* to) {
  return [=](char* destination, int length) { return Converter::convert(destination, length, to, data); };
}

/// A destination whose bytes, and the bytes after it, have a known value, so that writes are visible.
class Destination {
 public:
  explicit Destination(int length) : room_(static_cast<std::size_t>(length) + behind, '#'), length_(length) {}

  int take(const Conversion& conversion) { return conversion(room_.data(), length_); }
  std::string bytes(std::size_t count) const { return room_.substr(0, count); }
  bool isUntouchedFrom(int place) const {
    const auto first = room_.begin() + place;
    return std::all_of(first, room_.end(), [](char c) { return c == '#'; });
  }

 private:
  static constexpr std::size_t behind = 16;

  std::string room_;
  int length_;
};

/// Expects the size from a size query, then converts into a destination of that size, a larger and a smaller
/// one.
void expectConverts(const Conversion& conversion, const std::string& expected) {
  const int size = static_cast<int>(expected.size()) + 1;
  EXPECT_EQ(conversion(nullptr, 0), size);
  EXPECT_EQ(conversion(nullptr, -5), size);
  EXPECT_EQ(conversion(nullptr, 1000), size);
  for (const int length : rowsOf({size, size + 1, size + 100})) {
    Destination destination(length);
    EXPECT_EQ(destination.take(conversion), size) << length;
    EXPECT_EQ(destination.bytes(expected.size() + 1), expected + '\0') << length;
    EXPECT_TRUE(destination.isUntouchedFrom(size)) << length;
  }
  for (int length = size - 1; length >= 0; --length) {
    ROW("length", length);
    Destination destination(length);
    EXPECT_THAT([&] { destination.take(conversion); }, tooSmall(length));
    EXPECT_TRUE(destination.isUntouchedFrom(length)) << length;
  }
}

// --- between different code pages

struct Row {
  const char* why;
  const char* from;
  std::string data;
  const char* to;
  std::string expected;
};

std::vector<Row> rows() {
  return {
      {"ASCII", "UTF-8", "abc", "ISO-8859-1", "abc"},
      {"fewer bytes", "UTF-8", "Gr\xC3\xBC\xC3\x9F", "ISO-8859-1", "Gr\xFC\xDF"},
      {"more bytes", "ISO-8859-1", "Gr\xFC\xDF", "UTF-8", "Gr\xC3\xBC\xC3\x9F"},
      {"the euro sign", "windows-1252", "5 \x80", "UTF-8", "5 \xE2\x82\xAC"},
      {"two bytes", "Shift_JIS", "\x93\xFA\x96\x7B", "UTF-8", "\xE6\x97\xA5\xE6\x9C\xAC"},
      {"four bytes", "UTF-8", "\xC3\xBF", "GB18030", "\x81\x30\x8B\x37"},
      {"Korean", "EUC-KR", "\xC7\xD1", "UTF-8", "\xED\x95\x9C"},
      {"supplementary", "UTF-8", "\xF0\x9F\x98\x80", "UTF-16BE", "\xD8\x3D\xDE\x00"s},
      {"a code page of zero bytes", "UTF-8", "ab", "UTF-16LE", "a\0b\0"s},
      {"four bytes each", "UTF-8", "a", "UTF-32BE", "\0\0\0a"s},
      {"states", "UTF-8", "A\xE6\x97\xA5", "ISO-2022-JP", "A\x1B$BF|\x1B(B"},
      {"no place in the code page", "UTF-8", "\xE2\x82\xAC!", "ISO-8859-1", "\x1A!"},
      {"no UTF-8", "UTF-8", "a\xFFz", "UTF-16BE", "\0a\xFF\xFD\0z"s},
      {"cut short", "UTF-8", "a\xE2\x82", "UTF-16BE", "\0a\xFF\xFD"s},
      {"two names of one code page", "utf8", "\xFF", "UTF-8", "\xEF\xBF\xBD"},
      {"to the default", "ISO-8859-1", "a", nullptr, "a"},
      {"from the default", "", "a", "ISO-8859-1", "a"},
  };
}

TEST(Convert, ReturnsTheBytesOfTheOtherCodePage) {
  for (const Row& row : rowsOf(rows())) {
    expectConverts(ofText(row.from, row.data.c_str(), row.to), row.expected);
    expectConverts(ofBytes(row.from, row.data, row.to), row.expected);
    if (row.from == nullptr || *row.from == '\0') continue;
    const icu::UnicodeString text(row.data.data(), static_cast<int>(row.data.size()), row.from);
    expectConverts(ofUnicode(text, row.to), row.expected);
  }
}

TEST(Convert, TreatsZeroBytesAsData) {
  expectConverts(ofBytes("UTF-8", "a\0\xC3\xBC\0"s, "ISO-8859-1"), "a\0\xFC\0"s);
  expectConverts(ofBytes("UTF-16BE", "\0a\0b"s, "UTF-8"), "ab");
  expectConverts(ofUnicode(icu::UnicodeString(u"a\0b", 3), "UTF-8"), "a\0b"s);
}

TEST(Convert, EndsTextAtItsTerminator) {
  expectConverts(ofText("UTF-8", "ab\0cd", "ISO-8859-1"), "ab");
  expectConverts(ofText("UTF-8", "ab\0cd", "UTF-8"), "ab");
}

TEST(Convert, AgreesWithIcuForEveryCodePageAtEveryLength) {
  icu::UnicodeString everything(u"abc");
  for (char16_t unit = 0xA0; unit < 0x600; unit += 7) everything.append(unit);
  for (char16_t unit = 0x3000; unit < 0xFF00; unit += 97) everything.append(unit);
  for (std::int32_t page = 0; page < ucnv_countAvailable(); ++page) {
    ROW("page", page);
    const char* const name = ucnv_getAvailableName(page);
    for (const int length : rowsOf({1, 2, 26, 30, 300, 1500})) {
      ROW(name + ", "s + std::to_string(length));
      icu::UnicodeString text;
      while (text.length() < length) text.append(everything, 0, length - text.length());
      std::string expected(static_cast<std::size_t>(length) * 9 + 20, '\0');
      const auto size =
          text.extract(0, length, expected.data(), static_cast<std::uint32_t>(expected.size()), name);
      expected.resize(static_cast<std::size_t>(size));
      Destination destination(size + 1);
      ASSERT_EQ(destination.take(ofUnicode(text, name)), size + 1);
      ASSERT_EQ(destination.bytes(expected.size()), expected);

      const icu::UnicodeString back(expected.data(), size, name);
      std::string utf8;
      back.toUTF8String(utf8);
      Destination there(static_cast<int>(utf8.size()) + 1);
      if (back.isEmpty()) continue;
      ASSERT_EQ(there.take(ofBytes(name, expected, "utf-8")), static_cast<int>(utf8.size()) + 1);
      ASSERT_EQ(there.bytes(utf8.size()), utf8);
    }
  }
}

TEST(Convert, ConvertsLongData) {
  for (const std::size_t length : rowsOf(std::vector<std::size_t>{1000, 1023, 1024, 1025, 100'000})) {
    expectConverts(ofBytes("ISO-8859-1", std::string(length > 2000 ? 0 : length, '\xFC') + "z", "UTF-16BE"),
                   [&] {
                     std::string bytes;
                     for (std::size_t i = 0; i < length && length <= 2000; ++i) bytes += "\0\xFC"s;
                     return bytes + "\0z"s;
                   }());
    const std::string data(length, '\xFC');
    std::string bytes(2 * length + 1, '#');
    EXPECT_EQ(
        Converter::convert(bytes.data(), static_cast<int>(bytes.size()), "ISO-8859-1", data.c_str(), "UTF-8"),
        static_cast<int>(bytes.size()));
    EXPECT_EQ(bytes.substr(2 * length - 2), "\xC3\xBC\0"s);
  }
}

// --- between equal names: the data is copied unchanged

TEST(Convert, CopiesBetweenEqualNames) {
  struct Same {
    const char* from;
    const char* to;
  };
  const std::string elsewhere = "UTF-8";
  const auto pairs = std::to_array<Same>({{"UTF-8", "UTF-8"},
                                          {"UTF-8", elsewhere.c_str()},
                                          {"no-such-page", "no-such-page"},
                                          {nullptr, nullptr},
                                          {nullptr, ""},
                                          {"", nullptr},
                                          {"", ""}});
  for (const Same& same : rowsOf(pairs)) {
    ROW(testing::PrintToString(same.from) + " to " + testing::PrintToString(same.to));
    for (const std::string& data : rowsOf({"a"s, "\xFF\x80 no UTF-8"s, std::string(5000, 'x')})) {
      if (data.size() > 100) {  // single bytes are compared only for short data
        Destination destination(5001);
        EXPECT_EQ(destination.take(ofBytes(same.from, data, same.to)), 5001);
        EXPECT_EQ(destination.bytes(5001), data + '\0');
        continue;
      }
      expectConverts(ofText(same.from, data.c_str(), same.to), data);
      expectConverts(ofBytes(same.from, data, same.to), data);
    }
    expectConverts(ofBytes(same.from, "a\0b\0"s, same.to), "a\0b\0"s);
  }
}

TEST(Convert, ComparesNamesByteByByte) {
  for (const char* const other : rowsOf({"utf-8", "UTF8", "utf8", "UTF-8,version=1"})) {
    expectConverts(ofText("UTF-8", "a\xFF", other), "a\xEF\xBF\xBD");
    expectConverts(ofText(other, "a\xFF", "UTF-8"), "a\xEF\xBF\xBD");
  }
  EXPECT_THAT([] { Converter::convert(nullptr, 0, "no-such-page", "a", "NO-SUCH-PAGE"); },
              conversionError("NO-SUCH-PAGE", "no-such-page"));
}

TEST(Convert, DistinguishesTheDefaultFromItsName) {
  const char* const name = ucnv_getDefaultName();
  const icu::UnicodeString read("a\xFF", 2, nullptr);
  std::string expected(8, '\0');
  expected.resize(static_cast<std::size_t>(read.extract(0, read.length(), expected.data(), 8U, name)));
  expectConverts(ofText(nullptr, "a\xFF", name), expected);
  expectConverts(ofText(name, "a\xFF", ""), expected);
}

TEST(Convert, CopiesWithinItsDestination) {
  std::array<char, 16> room{};
  std::copy_n("abcdef", 6, room.begin());
  EXPECT_EQ(Converter::convert(room.data() + 2, 14, "UTF-8", room.data(), 6, "UTF-8"), 7);
  EXPECT_STREQ(room.data(), "ababcdef");
  EXPECT_EQ(Converter::convert(room.data(), 16, "UTF-8", room.data() + 2, 6, "ISO-8859-1"), 7);
  EXPECT_STREQ(room.data(), "abcdef");
}

TEST(Convert, CopiesDataOfEveryLengthAlsoOntoItself) {
  std::string data;
  for (char letter = '0'; data.size() < 80; ++letter) data += letter;
  constexpr std::size_t start = 40;
  for (std::size_t length = 1; length <= data.size(); ++length) {
    ROW("length", length);
    for (const std::size_t place : rowsOf({std::size_t{0}, start - 1, start, start + 1, std::size_t{130}})) {
      std::string room(220, '#');
      room.replace(start, length, data, 0, length);
      std::string expected = room;
      expected.replace(place, length + 1, data.substr(0, length) + '\0');
      const int size = static_cast<int>(length);
      ASSERT_EQ(
          Converter::convert(room.data() + place, size + 1, "UTF-8", room.data() + start, size, "UTF-8"),
          size + 1);
      ASSERT_EQ(room, expected) << length << " bytes to " << place;
    }
  }
}

// --- no data

TEST(Convert, ReturnsZeroForNullData) {
  std::array<char, 4> room = {'#', '#', '#', '#'};
  for (const char* const to :
       rowsOf({"UTF-8", "ISO-8859-1", "no-such-page", static_cast<const char*>(nullptr)})) {
    for (const int length : rowsOf({4, 0, -1})) {
      for (char* const destination : rowsOf({room.data(), static_cast<char*>(nullptr)})) {
        EXPECT_EQ(Converter::convert(destination, length, "UTF-8", nullptr, to), 0);
        EXPECT_EQ(Converter::convert(destination, length, "UTF-8", nullptr, 0, to), 0);
        EXPECT_EQ(Converter::convert(destination, length, "UTF-8", nullptr, 7, to), 0);
        EXPECT_EQ(Converter::convert(destination, length, "UTF-8", nullptr, -1, to), 0);
      }
    }
  }
  EXPECT_EQ(std::string(room.data(), 4), "####");
}

TEST(Convert, WritesOnlyTheTerminatorForEmptyData) {
  icu::UnicodeString bogus;
  bogus.setToBogus();
  for (const char* const to :
       rowsOf({"UTF-8", "ISO-8859-1", "no-such-page", static_cast<const char*>(nullptr)})) {
    const auto conversions = std::to_array<Conversion>({
        ofText("UTF-8", "", to),
        ofBytes("UTF-8", "", to),
        [=](char* d, int length) { return Converter::convert(d, length, "UTF-8", "data", -1, to); },
        [=](char* d, int length) {
          return Converter::convert(d, length, "UTF-8", "data", std::numeric_limits<int>::min(), to);
        },
        ofUnicode(icu::UnicodeString(), to),
        ofUnicode(bogus, to),
    });
    for (const Conversion& conversion : rowsOf(conversions)) {
      EXPECT_EQ(conversion(nullptr, 0), 1);
      EXPECT_EQ(conversion(nullptr, 10), 1);
      for (const int length : rowsOf({1, 10})) {
        Destination destination(length);
        EXPECT_EQ(destination.take(conversion), 1);
        EXPECT_EQ(destination.bytes(1), "\0"s);
        EXPECT_TRUE(destination.isUntouchedFrom(1));
      }
      std::string room = "#";
      for (const int length : rowsOf({0, -1, std::numeric_limits<int>::min()})) {
        EXPECT_EQ(conversion(room.data(), length), 1);
        EXPECT_EQ(room, "#");
      }
    }
  }
}

// --- errors

TEST(Convert, WritesNothingIfTheDestinationIsTooSmall) {
  const auto conversions = std::to_array<Conversion>({
      ofText("UTF-8", "abc", "UTF-8"),
      ofText("UTF-8", "abc", "ISO-8859-1"),
      ofText("UTF-8", "abc", nullptr),
      ofText(nullptr, "abc", "UTF-8"),
      ofBytes("UTF-8", "abc", "UTF-8"),
      ofBytes("UTF-8", "abc", "ISO-8859-1"),
      ofUnicode(u"abc", "UTF-8"),
      ofUnicode(u"abc", "ISO-8859-1"),
      ofUnicode(u"abc", nullptr),
      ofUnicode(u"abc", ""),
  });
  for (std::size_t row = 0; row < conversions.size(); ++row) {
    ROW("row", row);
    for (const int length : rowsOf({0, -1, -1000, std::numeric_limits<int>::min()})) {
      ROW(std::to_string(row) + " into " + std::to_string(length));
      std::string room(64, '#');
      EXPECT_THAT([&] { conversions.at(row)(room.data() + 32, length); }, tooSmall(length));
      EXPECT_EQ(room, std::string(64, '#'));
    }
  }
}

TEST(Convert, RaisesWithTheCodePagesThatItCannotConvertBetween) {
  const std::string byDefault = ucnv_getDefaultName();
  struct Failing {
    const char* from;
    const char* to;
    std::string fromName;
    std::string toName;
  };
  const auto failing = std::to_array<Failing>({
      {"UTF-8", "no-such-page", "UTF-8", "no-such-page"},
      {"no-such-page", "UTF-8", "no-such-page", "UTF-8"},
      {"one", "other", "one", "other"},
      {nullptr, "no-such-page", byDefault, "no-such-page"},
      {"", "no-such-page", byDefault, "no-such-page"},
      {"no-such-page", nullptr, "no-such-page", byDefault},
      {"no-such-page", "", "no-such-page", byDefault},
  });
  for (const Failing& row : rowsOf(failing)) {
    ROW(row.toName + " from " + row.fromName);
    const auto error = conversionError(row.toName, row.fromName);
    for (const Conversion& conversion :
         rowsOf({ofText(row.from, "abc", row.to), ofBytes(row.from, "abc", row.to)})) {
      EXPECT_THAT([&] { conversion(nullptr, 0); }, error);
      for (const int length : rowsOf({100, 1, 0, -1})) {
        Destination destination(std::max(length, 0));
        EXPECT_THAT([&] { destination.take(conversion); }, error);
        EXPECT_TRUE(destination.isUntouchedFrom(length > 0 ? 1 : 0));
      }
    }
  }
  EXPECT_THAT([] { Converter::convert(nullptr, 0, "no-such-page", u"abc"); },
              conversionError("no-such-page", byDefault));
  std::array<char, 4> room{};
  EXPECT_THAT([&] { Converter::convert(room.data(), 4, "no-such-page", u"abc"); },
              conversionError("no-such-page", byDefault));
}

TEST(Convert, RaisesIfTheResultIsEmpty) {
  struct Lost {
    const char* what;
    const char* from;
    const char* data;
    const char* to;
  };
  const auto rows = std::to_array<Lost>({
      {"a signature", "UTF-16", "\xFE\xFF", "UTF-8"},
      {"a space without width, which the code page lacks", "UTF-8", "\xE2\x80\x8B", "ISO-8859-1"},
      {"a soft hyphen, which the code page lacks", "ISO-8859-1", "\xAD", "US-ASCII"},
  });
  for (const Lost& row : rowsOf(rows)) {
    const Conversion conversion = ofBytes(row.from, row.data, row.to);
    Destination destination(10);
    EXPECT_THAT([&] { conversion(nullptr, 0); }, conversionError(row.to, row.from));
    EXPECT_THAT([&] { destination.take(conversion); }, conversionError(row.to, row.from));
  }
}

// The data is not read: only the size is requested, or the destination is too small.
TEST(Convert, RaisesForSizesAboveTheLargestInt) {
  char one = 'x';
  EXPECT_EQ(Converter::convert(nullptr, 0, "UTF-8", &one, largestInt - 1, "UTF-8"), largestInt);
  EXPECT_THAT([&] { Converter::convert(nullptr, 0, "UTF-8", &one, largestInt, "UTF-8"); },
              conversionError("UTF-8", "UTF-8"));
  EXPECT_THAT([&] { Converter::convert(&one, largestInt, "UTF-8", &one, largestInt, "UTF-8"); },
              tooSmall(largestInt));
}

// --- debug lines

class ConvertDebug : public testing::Test {
 protected:
  ConvertDebug() { Converter::setDebug(true); }
  ~ConvertDebug() override { Converter::setDebug(false); }

  /// The output of a conversion. It contains errno from before the call, because all code pages are already
  /// open and so no call of the C library fails.
  static std::string printed(const Conversion& conversion, char* destination, int length) {
    run(conversion, destination, length);
    return run(conversion, destination, length);
  }

 private:
  static std::string run(const Conversion& conversion, char* destination, int length) {
    testing::internal::CaptureStdout();
    errno = 77;
    try {
      conversion(destination, length);
    } catch (const NLSException&) {
      std::fputs("!", stdout);
    }
    return testing::internal::GetCapturedStdout();
  }
};

std::string parameters(const std::string& from, const std::string& to, int length, const std::string& data,
                       const std::string& task) {
  return "DEBUG: convert parameters - FromCP: [" + from + "] ToCP: [" + to +
         "]\nDEBUG: Destination length: [" + std::to_string(length) + "]\n" + data + "DEBUG: " + task + "\n";
}

std::string textLines(const std::string& text) {
  const std::string size = std::to_string(text.size());
  return "DEBUG: Data length: [" + size + "] Data size: [" + size + "]\nDEBUG: Data: [" + text + "]\n";
}

std::string binaryLine(int length) {
  return "DEBUG: Data length: [" + std::to_string(length) + "] Data is binary\n";
}

TEST_F(ConvertDebug, PrintsEachStepOfABytesConversion) {
  const std::string byDefault = ucnv_getDefaultName();
  const std::string size = "Getting the size";
  const std::string convert = "Converting data";
  const std::string constructed = "DEBUG: Called String constructor - errno: 77\n";
  std::array<char, 16> room{};
  struct Case {
    const char* why;
    Conversion conversion;
    char* destination;
    int length;
    std::string lines;
  };
  const auto cases = std::to_array<Case>({
      {"null text", ofText("UTF-8", nullptr, "latin1"), room.data(), 16,
       parameters("UTF-8", "latin1", 16, "DEBUG: Data length: [0] Data size: [0]\nDEBUG: Data: [(null)]\n",
                  convert) +
           "DEBUG: No data buffer was passed"},
      {"null bytes",
       [](char* d, int length) { return Converter::convert(d, length, "UTF-8", nullptr, 7, "latin1"); },
       nullptr, 0,
       parameters("UTF-8", "latin1", 0, binaryLine(7), size) + "DEBUG: No data buffer was passed"},
      {"empty text", ofText("UTF-8", "", "latin1"), room.data(), 16,
       parameters("UTF-8", "latin1", 16, textLines(""), convert) + "DEBUG: No data was passed"},
      {"a negative length",
       [](char* d, int length) { return Converter::convert(d, length, "UTF-8", "a", -3, "latin1"); }, nullptr,
       0, parameters("UTF-8", "latin1", 0, binaryLine(-3), size) + "DEBUG: No data was passed"},
      {"size, equal names", ofText("UTF-8", "abc", "UTF-8"), nullptr, 0,
       parameters("UTF-8", "UTF-8", 0, textLines("abc"), size) +
           "DEBUG: Returning just the size with both code pages the same - size: 4\n"},
      {"size, default names", ofText(nullptr, "abc", ""), nullptr, 0,
       parameters(byDefault, byDefault, 0, textLines("abc"), size) +
           "DEBUG: Returning just the size with both code pages the same - size: 4\n"},
      {"size", ofText("UTF-8", "\xC3\xBC", "latin1"), nullptr, -1,
       parameters("UTF-8", "latin1", -1, textLines("\xC3\xBC"), size) + constructed +
           "DEBUG: Called extract to get size - errno: 77 size: 1 toCodePage: latin1.\n"},
      {"size, to the default", ofBytes("latin1", "abc", nullptr), nullptr, 0,
       parameters("latin1", byDefault, 0, binaryLine(3), size) + constructed +
           "DEBUG: Called extract to get size - errno: 77 size: 3 toCodePage: " + byDefault + ".\n"},
      {"no size", ofText("UTF-16", "\xFE\xFF", "latin1"), nullptr, 0,
       parameters("UTF-16", "latin1", 0, textLines("\xFE\xFF"), size) + constructed +
           "DEBUG: Call to extract to get size failed - errno: 77 size: 0 toCodePage: latin1.\n!"},
      {"too small, equal names", ofText("UTF-8", "abc", "UTF-8"), room.data(), 3,
       parameters("UTF-8", "UTF-8", 3, textLines("abc"), convert) +
           "DEBUG: Could not convert data because the destination buffer was too small - size: 4 destLength: "
           "3.\n!"},
      {"copied", ofBytes("UTF-8", "abc", "UTF-8"), room.data(), 16,
       parameters("UTF-8", "UTF-8", 16, binaryLine(3), convert) +
           "DEBUG: Returning the passed data string - size: 4.\n"},
      {"nothing converted", ofText("UTF-16", "\xFE\xFF", "latin1"), room.data(), 16,
       parameters("UTF-16", "latin1", 16, textLines("\xFE\xFF"), convert) + constructed +
           "DEBUG: Call to extract to convert data failed - errno: 77 size: 0 destLength: 16 toCodePage: "
           "latin1.\n!"},
      {"too small", ofText("UTF-8", "\xC3\xBC", "latin1"), room.data(), 1,
       parameters("UTF-8", "latin1", 1, textLines("\xC3\xBC"), convert) + constructed +
           "DEBUG: Call to extract to convert data failed because the destination buffer was too small - "
           "size: 2 destLength: 1.\n!"},
      {"no room", ofText("UTF-8", "abc", "latin1"), room.data(), 0,
       parameters("UTF-8", "latin1", 0, textLines("abc"), convert) + constructed +
           "DEBUG: Call to extract to convert data failed because the destination buffer was too small - "
           "size: 4 destLength: 0.\n!"},
      {"converted text", ofText("latin1", "\xFC", "UTF-8"), room.data(), 16,
       parameters("latin1", "UTF-8", 16, textLines("\xFC"), convert) + constructed +
           "DEBUG: Called extract to convert data - errno: 77 size: 3 destLength: 16 toCodePage: UTF-8.\n"
           "DEBUG: converted data: [\xC3\xBC]\n"},
      {"converted text with a NUL in it", ofText("latin1", "ab", "UTF-16LE"), room.data(), 16,
       parameters("latin1", "UTF-16LE", 16, textLines("ab"), convert) + constructed +
           "DEBUG: Called extract to convert data - errno: 77 size: 5 destLength: 16 toCodePage: UTF-16LE.\n"
           "DEBUG: converted data: [a]\n"},
      {"converted bytes", ofBytes("latin1", "\xFC", "UTF-8"), room.data(), 16,
       parameters("latin1", "UTF-8", 16, binaryLine(1), convert) + constructed +
           "DEBUG: Called extract to convert data - errno: 77 size: 3 destLength: 16 toCodePage: UTF-8.\n"
           "DEBUG: converted data is binary"},
  });
  for (const Case& one : rowsOf(cases)) {
    EXPECT_EQ(printed(one.conversion, one.destination, one.length), one.lines);
  }
}

TEST_F(ConvertDebug, PrintsEachStepOfAUnicodeConversion) {
  const std::string byDefault = ucnv_getDefaultName();
  std::array<char, 16> room{};
  const auto head = [](const std::string& to, int length, int size) {
    return "DEBUG: convert parameters - ToCP: [" + to +
           "] Data is String object\nDEBUG: Destination length: [" + std::to_string(length) +
           "] Data size: [" + std::to_string(size) + "]\n";
  };
  struct Case {
    const char* why;
    Conversion conversion;
    char* destination;
    int length;
    std::string lines;
  };
  const auto cases = std::to_array<Case>({
      {"empty", ofUnicode(u"", "latin1"), room.data(), 16,
       head("latin1", 16, 0) + "DEBUG: No data was passed"},
      {"size", ofUnicode(u"abc", nullptr), nullptr, 0,
       head(byDefault, 0, 3) +
           "DEBUG: Called extract to get size - errno: 77 size: 3 toCodePage: " + byDefault + ".\n"},
      {"too small", ofUnicode(u"ab", "latin1"), room.data(), 2,
       head("latin1", 2, 2) +
           "DEBUG: Call to extract to convert data failed because the destination buffer was too small - "
           "size: 3 destLength: 2.\n!"},
      {"converted", ofUnicode(u"ab", "latin1"), room.data(), 3,
       head("latin1", 3, 2) +
           "DEBUG: Called extract to convert data - errno: 77 size: 3 destLength: 3 toCodePage: latin1.\n"
           "DEBUG: converted data: [ab]\n"},
  });
  for (const Case& one : rowsOf(cases)) {
    EXPECT_EQ(printed(one.conversion, one.destination, one.length), one.lines);
  }
}

/// Removes errno from the output: a failure in the C library can set it to any value.
std::string withoutErrno(const std::string& text) {
  return std::regex_replace(text, std::regex("errno: [0-9]+"), "errno: #");
}

TEST_F(ConvertDebug, PrintsTheUnknownCodePage) {
  std::array<char, 4> room{};
  EXPECT_THAT(withoutErrno(printed(ofUnicode(u"a", "no-such-page"), nullptr, 0)),
              testing::EndsWith("DEBUG: Call to extract to get size failed - errno: # size: 0 toCodePage: "
                                "no-such-page.\n!"));
  EXPECT_THAT(withoutErrno(printed(ofUnicode(u"a", "no-such-page"), room.data(), 4)),
              testing::EndsWith("DEBUG: Call to extract to convert data failed - errno: # size: 0 "
                                "destLength: 4 toCodePage: no-such-page.\n!"));
}

TEST_F(ConvertDebug, CanBeTurnedOffAgain) {
  Converter::setDebug(false);
  EXPECT_EQ(printed(ofText("UTF-8", "a", "latin1"), nullptr, 0), "");
  Converter::setDebug(true);
  EXPECT_NE(printed(ofText("UTF-8", "a", "latin1"), nullptr, 0), "");
}

TEST(Convert, PrintsNothingByDefault) {
  testing::internal::CaptureStdout();
  Converter::convert(nullptr, 0, "UTF-8", "a", "latin1");
  Converter::convert(nullptr, 0, "latin1", u"a");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

// --- trace hooks

TEST(ConvertTrace, ReportsTheSharedImplementationInsideTheByteOverloads) {
  TraceRecorder trace(0x20000);
  const auto expected = ElementsAre("traceEntry 5ED", "traceEntry 5EE", "traceExit 5EE 0", "traceExit 5ED 0");
  Converter::convert(nullptr, 0, "UTF-8", "a", "latin1");
  EXPECT_THAT(trace.take(), expected);
  Converter::convert(nullptr, 0, "UTF-8", "a", 1, "latin1");
  EXPECT_THAT(trace.take(), expected);
  Converter::convert(nullptr, 0, "UTF-8", nullptr, "latin1");
  EXPECT_THAT(trace.take(), expected);
}

TEST(ConvertTrace, ReportsTheOtherOverloadsOnce) {
  TraceRecorder trace(0x20000);
  Converter::convert(nullptr, 0, "UTF-8", u"a");
  EXPECT_THAT(trace.take(), ElementsAre("traceEntry 5ED", "traceExit 5ED 0"));
  Converter::setDebug(false);
  EXPECT_THAT(trace.take(), ElementsAre("traceEntry 5EF", "traceExit 5EF 0"));
}

TEST(ConvertTrace, ReportsNoExitIfItRaises) {
  TraceRecorder trace(0x20000);
  EXPECT_THROW(Converter::convert(nullptr, 0, "UTF-8", "a", "no-such-page"), NLSException);
  std::vector<std::string> own;
  for (const std::string& call : trace.take()) {
    if (call.find(" 5E") != std::string::npos) own.push_back(call);
  }
  EXPECT_THAT(own, ElementsAre("traceEntry 5ED", "traceEntry 5EE"));
}

TEST(ConvertTrace, CallsNothingWithAllFlagsClear) {
  TraceRecorder trace(0);
  EXPECT_EQ(Converter::convert(nullptr, 0, "UTF-8", "a", "latin1"), 2);
  EXPECT_THAT(trace.take(), IsEmpty());
}

}  // namespace
}  // namespace tarvo::test
