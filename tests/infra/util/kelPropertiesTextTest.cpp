#include "infra/oss/kelOutputStream.hpp"
#include "infra/util/kelExtendedProperties.hpp"
#include "infra/util/kelPropertiesException.hpp"

#include "support/kelDefaultCodePage.hpp"
#include "support/kelPropertiesModel.hpp"
#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"
#include "support/kelSeed.hpp"

#include <gtest/gtest.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace tarvo::test {
namespace {

using util::ExtendedProperties;
using util::PropertiesException;

constexpr const char* sourceFile = "src/infra/oss/../util/kelExtendedProperties.cpp";

icu::UnicodeString unicode(const std::u16string& text) {
  return {text.data(), static_cast<std::int32_t>(text.size())};
}

std::u16string units(const icu::UnicodeString& text) {
  return {text.getBuffer(), static_cast<std::size_t>(text.length())};
}

PropertiesModel contents(const ExtendedProperties& properties) {
  PropertiesModel map;
  for (const auto& [key, value] : properties) map.emplace(units(key), units(value));
  return map;
}

PropertiesModel loaded(const std::string& bytes) {
  ExtendedProperties properties;
  properties.load(bytes.data(), bytes.size(), false);
  return contents(properties);
}

/// Bytes in the form in which failures print them.
std::string shown(const std::string& bytes) {
  std::ostringstream text;
  text << std::hex << '"';
  for (const char c : bytes) {
    if (c >= ' ' && c <= '~') {
      text << c;
    } else {
      text << "<" << static_cast<unsigned int>(static_cast<unsigned char>(c)) << ">";
    }
  }
  text << '"';
  return text.str();
}

/// Stores the bytes that are written to it, and the number of bytes at each flush.
class KeepingStream : public oss::OutputStream {
 public:
  using oss::OutputStream::write;
  void write(char c) override {
    if (bytes.size() == mostBytes) throw std::length_error("the stream is full");
    bytes += c;
  }
  void flush() override { flushedAt.push_back(bytes.size()); }

  std::size_t mostBytes = std::numeric_limits<std::size_t>::max();
  std::string bytes;
  std::vector<std::size_t> flushedAt;
};

std::string saved(const ExtendedProperties& properties) {
  KeepingStream stream;
  properties.save(stream);
  return stream.bytes;
}

/// Resolves references. Returns the error in the form that the model uses.
std::optional<PropertiesModelError> resolve(ExtendedProperties& properties) {
  try {
    properties.resolveReferences();
    return std::nullopt;
  } catch (PropertiesException& error) {
    const oss::Message& message = error.getErrorMessage();
    PropertiesModelError found{utf8(message.getMessageID()), {}};
    for (const icu::UnicodeString& argument : message.getMessageArgs())
      found.arguments.push_back(units(argument));
    return found;
  }
}

// --- reading: rows written by hand, for the library and for its model

struct Reading {
  const char* why;
  std::string bytes;
  PropertiesModel expected;
};

const std::vector<Reading>& readings() {
  using std::string_literals::operator""s;
  static const std::vector<Reading> rows = {
      {"no data", "", {}},
      {"an LF", "\n", {}},
      {"a CR", "\r", {}},
      {"a CR LF", "\r\n", {}},
      {"an LF CR is two line ends", "\n\ra", {{u"a", u""}}},
      {"blank lines", " \t \n\t\r\na=b", {{u"a", u"b"}}},
      {"only white space", " \t ", {}},
      {"only a continuation", "\\\n", {}},
      {"only continuations and white space", " \\\r\n\t\\\r \\\n", {}},
      {"a comment", "#a=b\nc=d", {{u"c", u"d"}}},
      {"the other comment", "!a=b\rc=d", {{u"c", u"d"}}},
      {"a comment after blanks", "  # not a comment?\na=b", {{u"a", u"b"}}},
      {"a comment after a continuation", "\\\n#a=b\nc=d", {{u"c", u"d"}}},
      {"an empty line after a continuation", "\\\n\na=b", {{u"a", u"b"}}},
      {"a comment is not continued", "#a\\\nb=c", {{u"b", u"c"}}},
      {"a comment ends in CR LF", "#a\r\nb=c", {{u"b", u"c"}}},
      {"a comment at the end of data", "a=b\n#", {{u"a", u"b"}}},
      {"an include is a comment", "#include x\na=b", {{u"a", u"b"}}},
      {"a comment mark inside a key", "a#b=c\na!=d", {{u"a#b", u"c"}, {u"a!", u"d"}}},
      {"an escaped comment mark", "\\#a=b\n\\!=c", {{u"#a", u"b"}, {u"!", u"c"}}},
      {"key=value", "key=value", {{u"key", u"value"}}},
      {"key:value", "key:value", {{u"key", u"value"}}},
      {"key value", "key value", {{u"key", u"value"}}},
      {"key TAB value", "key\tvalue", {{u"key", u"value"}}},
      {"key : value", "key : value", {{u"key", u"value"}}},
      {"key = value, TABs", "key\t=\tvalue", {{u"key", u"value"}}},
      {"more blanks", "key   value", {{u"key", u"value"}}},
      {"trailing blanks stay", "key   value  ", {{u"key", u"value  "}}},
      {"blanks before the key", " \tkey=value", {{u"key", u"value"}}},
      {"one separator is taken", "a==b", {{u"a", u"=b"}}},
      {"one separator is taken, blanks between", "a = : b", {{u"a", u": b"}}},
      {"separators in the value", "a=b=c:d e", {{u"a", u"b=c:d e"}}},
      {"a key alone", "a\nb", {{u"a", u""}, {u"b", u""}}},
      {"a key and a separator", "a=\nb:\r\nc ", {{u"a", u""}, {u"b", u""}, {u"c", u""}}},
      {"an empty key", "=v", {{u"", u"v"}}},
      {"an empty key and nothing else", ":", {{u"", u""}}},
      {"the last line with a key wins", "a=1\nb=2\na=3", {{u"a", u"3"}, {u"b", u"2"}}},
      {"lines end in CR", "a=1\rb=2\r", {{u"a", u"1"}, {u"b", u"2"}}},
      {"lines end in CR LF", "a=1\r\nb=2\r\n", {{u"a", u"1"}, {u"b", u"2"}}},
      {"bytes are characters", "\xE9=\xFF\x80\x01", {{u"\u00E9", u"\u00FF\u0080\u0001"}}},
      {"NUL is a character", "a\0b=\0c"s, {{u"a\0b"s, u"\0c"s}}},
      {"form feed and vertical tab are characters", "a\f=\vb", {{u"a\f", u"\vb"}}},
      {"a value is continued", "k=line1\\\n    line2", {{u"k", u"line1line2"}}},
      {"a value is continued, CR LF", "k=a\\\r\n\tb\\\rc", {{u"k", u"abc"}}},
      {"continuations in a row", "k=a\\\n \\\n \\\r\n b", {{u"k", u"ab"}}},
      {"a continuation ends the data", "k=a\\\n", {{u"k", u"a"}}},
      {"a blank before a continuation stays", "k=a \\\n b", {{u"k", u"a b"}}},
      {"a continued line that is empty", "k=a\\\n  \nb=c", {{u"k", u"a"}, {u"b", u"c"}}},
      {"no comment in a continued value", "k=a\\\n#b", {{u"k", u"a#b"}}},
      {"a key is continued", "ke\\\n  y=v", {{u"key", u"v"}}},
      {"a continuation after the key", "key \\\n = \\\n value", {{u"key", u"value"}}},
      {"a continuation after the separator", "key=\\\n value", {{u"key", u"value"}}},
      {"an LF CR after a backslash: continued, then ended", "k=a\\\n\rb", {{u"k", u"a"}, {u"b", u""}}},
      {"a backslash ends the data", "k=v\\", {{u"k", u"v"}}},
      {"a backslash ends a key and the data", "k\\", {{u"k", u""}}},
      {"a backslash is the data", "\\", {{u"", u""}}},
      {"a backslash after blanks is the rest of the data", "  \\", {{u"", u""}}},
      {"a backslash after the separator ends the data", "k=\\", {{u"k", u""}}},
      {"n, r, t", "\\n\\r\\t=\\t\\r\\n", {{u"\n\r\t", u"\t\r\n"}}},
      {"escaped separators", "a\\:\\=\\ \\\tb=c", {{u"a:= \tb", u"c"}}},
      {"two backslashes", "a\\\\=b\\\\\nc=d", {{u"a\\", u"b\\"}, {u"c", u"d"}}},
      {"three backslashes and a line end", "a=b\\\\\\\nc", {{u"a", u"b\\c"}}},
      {"letters without a meaning", "k=\\a\\f\\N\\0\\\"", {{u"k", u"afN0\""}}},
      {"a byte above 127 escaped", "k=\\\xE9", {{u"k", u"\u00E9"}}},
      {"a NUL escaped", "k=\\\0x"s, {{u"k", u"\0x"s}}},
      {"an escaped blank begins a value", "k=\\  v", {{u"k", u"  v"}}},
      {"a Unicode escape", "k=\\u0041\n", {{u"k", u"A"}}},
      {"a Unicode escape at the very end", "k=\\u0041", {{u"k", u"u0041"}}},
      {"a Unicode escape at the end of a key", "\\u0041", {{u"u0041", u""}}},
      {"a Unicode escape and one byte", "k=\\u0041x", {{u"k", u"Ax"}}},
      {"digits of either case", "\\uabCD=\\uEf01\n", {{u"\uABCD", u"\uEF01"}}},
      {"three digits", "k=\\u004\n", {{u"k", u"u004"}}},
      {"three digits at the end", "k=\\u004", {{u"k", u"u004"}}},
      {"no digits", "k=\\uxyz!1\n", {{u"k", u"uxyz!1"}}},
      {"no digits at the end", "k=\\u", {{u"k", u"u"}}},
      {"the text after a refused escape is read unchanged", "k=\\u00\\n1x", {{u"k", u"u00\n1x"}}},
      {"a separator in a refused escape", "k\\u00=4x", {{u"ku00", u"4x"}}},
      {"a bad digit next to 9", "k=\\u00:0\n", {{u"k", u"u00:0"}}},
      {"a bad digit next to 0", "k=\\u00/0\n", {{u"k", u"u00/0"}}},
      {"a bad digit next to A", "k=\\u00@0\n", {{u"k", u"u00@0"}}},
      {"a bad digit next to F", "k=\\u00G0\n", {{u"k", u"u00G0"}}},
      {"a bad digit next to a", "k=\\u00`0\n", {{u"k", u"u00`0"}}},
      {"a bad digit next to f", "k=\\u00g0\n", {{u"k", u"u00g0"}}},
      {"only a small u", "k=\\U0041x", {{u"k", u"U0041x"}}},
      {"U+0000", "k=\\u0000x", {{u"k", u"\0x"s}}},
      {"an escaped separator is no separator", "a\\u003Db=c", {{u"a=b", u"c"}}},
      {"an escaped line end is no line end", "k=a\\u000Ab\n", {{u"k", u"a\nb"}}},
      {"an escaped backslash escapes nothing", "k=\\u005Cn\n", {{u"k", u"\\n"}}},
      {"before the surrogates", "k=\\uD7FFx", {{u"k", u"\uD7FFx"}}},
      {"the first surrogate", "k=\\uD800x", {{u"k", u"uD800x"}}},
      {"the last surrogate", "k=\\uDFFFx", {{u"k", u"uDFFFx"}}},
      {"after the surrogates", "k=\\uE000x", {{u"k", u"\uE000x"}}},
      {"before the noncharacters", "k=\\uFDCFx", {{u"k", u"\uFDCFx"}}},
      {"the first noncharacter", "k=\\uFDD0x", {{u"k", u"uFDD0x"}}},
      {"the last one there", "k=\\uFDEFx", {{u"k", u"uFDEFx"}}},
      {"after them", "k=\\uFDF0x", {{u"k", u"\uFDF0x"}}},
      {"U+FFFD", "k=\\uFFFDx", {{u"k", u"\uFFFDx"}}},
      {"U+FFFE", "k=\\uFFFEx", {{u"k", u"uFFFEx"}}},
      {"U+FFFF", "k=\\uffffx", {{u"k", u"uffffx"}}},
      {"a percent sign is not looked at", "%=%%\na=%", {{u"%", u"%%"}, {u"a", u"%"}}},
  };
  return rows;
}

TEST(PropertiesText, IsReadAsDocumented) {
  for (const Reading& row : rowsOf(readings())) {
    EXPECT_EQ(loaded(row.bytes), row.expected) << shown(row.bytes);
  }
}

TEST(PropertiesModelItself, ReadsTheSameRows) {
  for (const Reading& row : rowsOf(readings())) {
    PropertiesModel properties;
    modelLoad(properties, row.bytes);
    EXPECT_EQ(properties, row.expected) << shown(row.bytes);
  }
}

TEST(PropertiesText, IsReadWithinItsLength) {
  const std::string bytes = "a=\\u0041b\nc=d";
  for (std::size_t length = 0; length <= bytes.size(); ++length) {
    ROW("length", length);
    ExtendedProperties properties;
    properties.load(bytes.data(), length, false);
    EXPECT_EQ(contents(properties), loaded(bytes.substr(0, length))) << length;
  }
}

TEST(PropertiesText, IsEmptyForNullData) {
  ExtendedProperties properties;
  properties.putProperty(u"a", u"1");
  std::size_t position = 3;
  for (const std::size_t length :
       rowsOf({std::size_t{0}, std::size_t{10}, std::numeric_limits<std::size_t>::max()})) {
    properties.load(nullptr, length, true);
    properties.load(nullptr, length);
    EXPECT_FALSE(properties.parseLine(position, nullptr, length));
  }
  EXPECT_EQ(position, 3U);
  EXPECT_EQ(contents(properties), (PropertiesModel{{u"a", u"1"}}));
}

TEST(PropertiesText, DecodesUnicodeEscapesExceptSurrogatesAndNoncharacters) {
  for (unsigned int unit = 0; unit <= 0xFFFF; ++unit) {
    ROW("unit", unit);
    std::array<char, 8> digits{};
    std::snprintf(digits.data(), digits.size(), unit % 2 == 0 ? "%04X" : "%04x", unit);
    const bool refused =
        (unit >= 0xD800 && unit <= 0xDFFF) || (unit >= 0xFDD0 && unit <= 0xFDEF) || unit >= 0xFFFE;
    const std::string asRead = std::string("u") + digits.data();
    const std::u16string expected =
        refused ? std::u16string(asRead.begin(), asRead.end()) : std::u16string{static_cast<char16_t>(unit)};
    const PropertiesModel properties = loaded(std::string("k=\\u") + digits.data() + "\n");
    ASSERT_EQ(properties, (PropertiesModel{{u"k", expected}})) << digits.data();
  }
}

TEST(PropertiesText, LoadsIntoExistingProperties) {
  ExtendedProperties properties;
  properties.putProperty(u"a", u"1");
  properties.putProperty(u"b", u"2");
  const icu::UnicodeString& value = properties.requireProperty(u"a");
  properties.load("a=3\nc=4", 7, false);
  EXPECT_EQ(contents(properties), (PropertiesModel{{u"a", u"3"}, {u"b", u"2"}, {u"c", u"4"}}));
  EXPECT_EQ(value, u"3");
}

TEST(PropertiesText, IsResolvedOnRequest) {
  const std::string bytes = "a=1\r\nb=%a%2";
  ExtendedProperties asRead;
  asRead.load(bytes.data(), bytes.size(), false);
  EXPECT_EQ(asRead.requireProperty(u"b"), u"%a%2");
  ExtendedProperties asked;
  asked.load(bytes.data(), bytes.size(), true);
  EXPECT_EQ(asked.requireProperty(u"b"), u"12");
  ExtendedProperties always;
  always.load(bytes.data(), bytes.size());
  EXPECT_EQ(always.requireProperty(u"b"), u"12");
  ExtendedProperties text;
  text.load(u"a=1\r\nb=%a%2");
  EXPECT_EQ(text.requireProperty(u"b"), u"12");
}

// --- one line

TEST(PropertiesText, IsReadLineByLine) {
  struct Row {
    const char* why;
    std::string bytes;
    std::size_t from;
    bool expected;
    std::size_t to;
    PropertiesModel properties;
  };
  const auto rows = std::to_array<Row>({
      {"no data", "", 0, false, 0, {}},
      {"at the end", "a=b", 3, false, 3, {}},
      {"beyond the end", "a=b", 9, false, 9, {}},
      {"the largest position",
       "a=b",
       std::numeric_limits<std::size_t>::max(),
       false,
       std::numeric_limits<std::size_t>::max(),
       {}},
      {"a property", "a=b\nc=d", 0, true, 4, {{u"a", u"b"}}},
      {"the next property", "a=b\nc=d", 4, true, 7, {{u"c", u"d"}}},
      {"from the middle of a line", "abc=d", 2, true, 5, {{u"c", u"d"}}},
      {"CR LF", "a=b\r\nc=d", 0, true, 5, {{u"a", u"b"}}},
      {"an empty line", "\r\na=b", 0, true, 2, {}},
      {"a CR alone", "\ra=b", 0, true, 1, {}},
      {"a comment", "#x\na=b", 0, true, 3, {}},
      {"a comment at the end", "#x", 0, true, 2, {}},
      {"a comment after a continuation", "\\\n#x\na=b", 0, true, 5, {}},
      {"a rest of white space", "a=b\n \t", 4, true, 6, {}},
      {"a rest of continuations", " \\\n\\\r\n ", 0, true, 7, {}},
      {"a continued property", "a=\\\n b\nc", 0, true, 7, {{u"a", u"b"}}},
  });
  for (const Row& row : rowsOf(rows)) {
    ExtendedProperties properties;
    std::size_t position = row.from;
    EXPECT_EQ(properties.parseLine(position, row.bytes.data(), row.bytes.size()), row.expected);
    EXPECT_EQ(position, row.to);
    EXPECT_EQ(contents(properties), row.properties);
  }
}

TEST(PropertiesText, IsReadCompletelyFromALongLine) {
  for (std::size_t length = 0; length < 400; ++length) {
    ROW("length", length);
    const icu::UnicodeString key(0, u'k', static_cast<std::int32_t>(length % 150));
    const icu::UnicodeString value(0, u'\n', static_cast<std::int32_t>(length));
    std::string line(length % 150, 'k');
    line += '=';
    for (std::size_t i = 0; i < length; ++i) line += i % 3 == 0 ? "\\n" : "\\u000a";
    line += "v\nnext=line";
    ExtendedProperties properties;
    std::size_t position = 0;
    ASSERT_TRUE(properties.parseLine(position, line.data(), line.size()));
    ASSERT_EQ(position, line.size() - 9);
    ASSERT_EQ(properties.requireProperty(key), value + u"v") << length;
  }
}

/// The library scans texts in blocks of many bytes. It must detect a special byte at every position of a
/// block, and only special bytes.
TEST(PropertiesText, IsReadLikeTheModelWithAnyByteAtAnyPosition) {
  constexpr std::size_t length = 34;
  for (std::size_t place = 0; place < length; ++place) {
    ROW("place", place);
    for (int byte = 0; byte < 256; ++byte) {
      ROW("byte", byte);
      std::string text(length, 'x');
      text[place] = static_cast<char>(byte);
      for (const std::string& lines :
           rowsOf({text, text + "\nb=2\n", "k=" + text, "k=" + text + "\nb=2\n"})) {
        PropertiesModel expected;
        modelLoad(expected, lines);
        ASSERT_EQ(loaded(lines), expected) << "byte " << byte << " at " << place << " in " << lines;
      }
    }
  }
}

TEST(PropertiesText, IsNotResolvedByParseLine) {
  ExtendedProperties properties;
  std::size_t position = 0;
  EXPECT_TRUE(properties.parseLine(position, "a=%b%", 5));
  EXPECT_EQ(properties.requireProperty(u"a"), u"%b%");
}

// --- Unicode texts

TEST(PropertiesText, IsReadFromUnicodeAsLatin1) {
  ExtendedProperties properties;
  properties.load(u"\u00E9=\u00FFx\nwide=\u4E2D\u0153\U0001F600!\nescape=\\u4E2D\n");
  EXPECT_EQ(contents(properties),
            (PropertiesModel{{u"\u00E9", u"\u00FFx"}, {u"wide", u"\x1A\x1A\x1A!"}, {u"escape", u"\u4E2D"}}));
}

TEST(PropertiesText, IsReadFromUnicodeOfAnyLength) {
  for (const int length : rowsOf({0, 1, 500, 508, 509, 510, 511, 512, 513, 514, 5000, 100'000})) {
    ExtendedProperties properties;
    properties.load(icu::UnicodeString(u"key=") + icu::UnicodeString(length, u'\u00E9', length));
    EXPECT_EQ(contents(properties),
              (PropertiesModel{{u"key", std::u16string(static_cast<std::size_t>(length), u'\u00E9')}}));
  }
}

TEST(PropertiesText, IsEmptyForABogusText) {
  icu::UnicodeString bogus;
  bogus.setToBogus();
  ExtendedProperties properties;
  properties.load(bogus);
  EXPECT_EQ(contents(properties), PropertiesModel());
}

// --- references: rows written by hand, for the library and for its model

struct Resolution {
  const char* why;
  PropertiesModel before;
  std::optional<PropertiesModelError> error;
  PropertiesModel after;
};

PropertiesModelError cyclic(const std::u16string& key) {
  return {"ERR_PROPERTIES_CYCLIC_REFERENCE", {key}};
}

PropertiesModelError bad(const std::u16string& key, const std::u16string& name) {
  return {"ERR_PROPERTIES_BAD_REFERENCE", {key, name}};
}

const std::vector<Resolution>& resolutions() {
  static const std::vector<Resolution> rows = {
      {"no properties", {}, {}, {}},
      {"no references", {{u"a", u"1"}}, {}, {{u"a", u"1"}}},
      {"a reference", {{u"a", u"1"}, {u"b", u"%a%2"}}, {}, {{u"a", u"1"}, {u"b", u"12"}}},
      {"forward", {{u"a", u"%b%"}, {u"b", u"1"}}, {}, {{u"a", u"1"}, {u"b", u"1"}}},
      {"inside a value", {{u"a", u"<%b%>"}, {u"b", u"1"}}, {}, {{u"a", u"<1>"}, {u"b", u"1"}}},
      {"several",
       {{u"a", u"%b%,%c%,%b%"}, {u"b", u"1"}, {u"c", u"2"}},
       {},
       {{u"a", u"1,2,1"}, {u"b", u"1"}, {u"c", u"2"}}},
      {"side by side",
       {{u"a", u"%b%%c%"}, {u"b", u"1"}, {u"c", u"2"}},
       {},
       {{u"a", u"12"}, {u"b", u"1"}, {u"c", u"2"}}},
      {"nested",
       {{u"a", u"%b%%b%"}, {u"b", u"(%c%)"}, {u"c", u"1"}},
       {},
       {{u"a", u"(1)(1)"}, {u"b", u"(1)"}, {u"c", u"1"}}},
      {"to an empty value", {{u"a", u"x%b%y"}, {u"b", u""}}, {}, {{u"a", u"xy"}, {u"b", u""}}},
      {"a lone percent sign", {{u"p", u"50%"}}, {}, {{u"p", u"50%"}}},
      {"a lone one that leads", {{u"p", u"%50"}}, {}, {{u"p", u"%50"}}},
      {"two refer to the empty key", {{u"", u"e"}, {u"p", u"100%%"}}, {}, {{u"", u"e"}, {u"p", u"100e"}}},
      {"two, and no empty key", {{u"p", u"100%%"}}, bad(u"p", u""), {{u"p", u"100%%"}}},
      {"the empty key refers to itself", {{u"", u"%%"}}, cyclic(u""), {{u"", u"%%"}}},
      {"three: the first two pair", {{u"a", u"%b%%"}, {u"b", u"1"}}, {}, {{u"a", u"1%"}, {u"b", u"1"}}},
      {"names are exact", {{u"a", u"% b%"}, {u"b", u"1"}}, bad(u"a", u" b"), {{u"a", u"% b%"}, {u"b", u"1"}}},
      {"names have a case", {{u"a", u"%B%"}, {u"b", u"1"}}, bad(u"a", u"B"), {{u"a", u"%B%"}, {u"b", u"1"}}},
      {"a percent sign arrives and pairs with the next",
       {{u"a", u"%p%c%"}, {u"c", u"1"}, {u"p", u"50%"}},
       {},
       {{u"a", u"501"}, {u"c", u"1"}, {u"p", u"50%"}}},
      {"a percent sign is inserted in the middle, and the text after it becomes a name",
       {{u"a", u"%p%y%!"}, {u"p", u"[%x"}, {u"xy", u"1"}},
       {},
       {{u"a", u"[1!"}, {u"p", u"[%x"}, {u"xy", u"1"}}},
      {"an inserted percent sign is paired with the one that opens the next reference",
       {{u"a", u"%p%,%b%"}, {u"b", u"1"}, {u"p", u"%"}},
       bad(u"a", u","),
       {{u"a", u"%,%b%"}, {u"b", u"1"}, {u"p", u"%"}}},
      {"and that one closes it",
       {{u"a", u"%p%,%b%"}, {u",", u"c"}, {u"b", u"1"}, {u"p", u"%"}},
       {},
       {{u"a", u"cb%"}, {u",", u"c"}, {u"b", u"1"}, {u"p", u"%"}}},
      {"a percent sign is inserted and has no counterpart",
       {{u"a", u"%p%"}, {u"p", u"50%"}},
       {},
       {{u"a", u"50%"}, {u"p", u"50%"}}},
      {"a percent sign arrives by way of another value",
       {{u"a", u"%b%c%"}, {u"b", u"%p%"}, {u"c", u"1"}, {u"p", u"%"}},
       {},
       {{u"a", u"1"}, {u"b", u"%"}, {u"c", u"1"}, {u"p", u"%"}}},
      {"a value with a percent sign begins several names",
       {{u"a", u"%p%x%,%p%y%,%p%x%,%p%"}, {u"p", u"[%t"}, {u"tx", u"1"}, {u"ty", u"2"}},
       {},
       {{u"a", u"[1,[2,[1,[%t"}, {u"p", u"[%t"}, {u"tx", u"1"}, {u"ty", u"2"}}},
      {"a value with a percent sign begins the name of such a value",
       {{u"a", u"%p%x%y%z"}, {u"p", u"(%t"}, {u"tx", u"[%u"}, {u"uy", u"{%v"}},
       {},
       {{u"a", u"([{%vz"}, {u"p", u"(%t"}, {u"tx", u"[%u"}, {u"uy", u"{%v"}}},
      {"a name that starts with an inserted percent sign is not a property",
       {{u"a", u"%p%x%,%p%z%."}, {u"p", u"[%t"}, {u"tx", u"1"}},
       bad(u"a", u"tz"),
       {{u"a", u"[1,[%tz%."}, {u"p", u"[%t"}, {u"tx", u"1"}}},
      {"a name that consists of replacements refers to its own value",
       {{u"a", u"%p%%"}, {u"p", u"%a"}},
       cyclic(u"a"),
       {{u"a", u"%a%"}, {u"p", u"%a"}}},
      {"to itself", {{u"a", u"%a%"}}, cyclic(u"a"), {{u"a", u"%a%"}}},
      {"to itself by another",
       {{u"a", u"%b%"}, {u"b", u"%a%"}},
       cyclic(u"a"),
       {{u"a", u"%b%"}, {u"b", u"%a%"}}},
      {"into a cycle that it is not part of",
       {{u"a", u"x%b%"}, {u"b", u"y%c%"}, {u"c", u"z%b%"}},
       cyclic(u"b"),
       {{u"a", u"x%b%"}, {u"b", u"y%c%"}, {u"c", u"z%b%"}}},
      {"to no property", {{u"x", u"%y%"}}, bad(u"x", u"y"), {{u"x", u"%y%"}}},
      {"to no property, from another property: the error names that property's key",
       {{u"a", u"%b%"}, {u"b", u"%c%"}},
       bad(u"b", u"c"),
       {{u"a", u"%b%"}, {u"b", u"%c%"}}},
      {"after an error, replacements made so far remain",
       {{u"a", u"%v%"},
        {u"b", u"%v%,%c%,%v%"},
        {u"c", u"<%v%|%v%|%none%|%v%>"},
        {u"d", u"%v%"},
        {u"v", u"1"}},
       bad(u"c", u"none"),
       {{u"a", u"1"}, {u"b", u"1,%c%,%v%"}, {u"c", u"<1|1|%none%|%v%>"}, {u"d", u"%v%"}, {u"v", u"1"}}},
      {"an error after a percent sign that arrived",
       {{u"a", u"%v%%p%y%%v%"}, {u"p", u"[%x"}, {u"v", u"1"}},
       bad(u"a", u"xy"),
       {{u"a", u"1[%xy%%v%"}, {u"p", u"[%x"}, {u"v", u"1"}}},
  };
  return rows;
}

TEST(PropertiesReferences, AreReplaced) {
  for (const Resolution& row : rowsOf(resolutions())) {
    ExtendedProperties properties;
    for (const auto& [key, value] : row.before) properties.putProperty(unicode(key), unicode(value));
    EXPECT_EQ(resolve(properties), row.error);
    EXPECT_EQ(contents(properties), row.after);
  }
}

TEST(PropertiesModelItself, ReplacesReferences) {
  for (const Resolution& row : rowsOf(resolutions())) {
    PropertiesModel properties = row.before;
    EXPECT_EQ(modelResolve(properties), row.error);
    EXPECT_EQ(properties, row.after);
  }
}

TEST(PropertiesReferences, RaiseAnErrorIfTheyCannotBeReplaced) {
  ExtendedProperties properties;
  const auto cyclicReference =
      Raises<PropertiesException>("ERR_PROPERTIES_CYCLIC_REFERENCE", "a").from(sourceFile);
  EXPECT_THAT([&] { properties.load("a=%b%\nb=%a%", 11); }, cyclicReference);
  EXPECT_THAT([&] { properties.resolveReferences(); }, cyclicReference);
  const auto badReference =
      Raises<PropertiesException>("ERR_PROPERTIES_BAD_REFERENCE", "a", "").from(sourceFile);
  EXPECT_THAT([&] { properties.load(u"a=%%"); }, badReference);
  EXPECT_THAT([&] { properties.load("a=%%", 4, true); }, badReference);
  EXPECT_EQ(properties.requireProperty(u"b"), u"%a%") << "what was read stays";
}

TEST(PropertiesReferences, AreReplacedInTheSameObject) {
  ExtendedProperties properties;
  properties.load("a=%b%\nb=1\nc=2", 13, false);
  const icu::UnicodeString& a = properties.requireProperty(u"a");
  const icu::UnicodeString& b = properties.requireProperty(u"b");
  properties.resolveReferences();
  EXPECT_EQ(a, u"1");
  EXPECT_EQ(&properties.requireProperty(u"a"), &a);
  EXPECT_EQ(&properties.requireProperty(u"b"), &b);
}

/// A key; keys are in ascending or descending order of their numbers.
icu::UnicodeString numbered(int number, bool up) {
  std::string digits = std::to_string(up ? number : 999'999 - number);
  digits.insert(0, 6 - digits.size(), '0');
  return icu::UnicodeString::fromUTF8(digits);
}

class LongChains : public ::testing::TestWithParam<bool> {
 protected:
  static constexpr int count = 100'000;

  /// Properties in which each value refers to the next property; the last value is `end`.
  ExtendedProperties chain(const icu::UnicodeString& end) const {
    ExtendedProperties properties;
    for (int i = 0; i + 1 < count; ++i) properties.putProperty(key(i), u"%" + key(i + 1) + u"%");
    properties.putProperty(key(count - 1), end);
    return properties;
  }
  icu::UnicodeString key(int number) const { return numbered(number, GetParam()); }
};

TEST_P(LongChains, OfReferencesAreReplaced) {
  ExtendedProperties properties = chain(u"the end");
  EXPECT_EQ(resolve(properties), std::nullopt);
  int replaced = 0;
  for (const auto& [key, value] : properties) replaced += value == u"the end" ? 1 : 0;
  EXPECT_EQ(replaced, count);
}

TEST_P(LongChains, RaiseAnErrorIfTheyFormACycle) {
  ExtendedProperties properties = chain(u"%" + key(0) + u"%");
  const PropertiesModel before = contents(properties);
  const icu::UnicodeString first = GetParam() ? key(0) : key(count - 1);
  EXPECT_EQ(resolve(properties), cyclic(units(first)));
  EXPECT_EQ(contents(properties), before);
}

INSTANTIATE_TEST_SUITE_P(WithKeys, LongChains, ::testing::Bool(),
                         [](const auto& up) { return up.param ? "GoingUp" : "GoingDown"; });

// The test would take hours if each replacement searched the value from its start or moved the rest of the
// value.
TEST(PropertiesReferences, InOneLongValueAreReplacedInOnePass) {
  constexpr int count = 1'000'000;
  ExtendedProperties properties;
  properties.putProperty(u"percent", u"%b");
  properties.putProperty(u"b", u"1");
  properties.putProperty(u"a", u"");
  icu::UnicodeString value;
  for (int i = 0; i < count; ++i) value += i % 2 == 0 ? u"%b%," : u"%percent%%,";
  properties.putProperty(u"long", value);
  EXPECT_EQ(resolve(properties), std::nullopt);
  const icu::UnicodeString& replaced = properties.requireProperty(u"long");
  ASSERT_EQ(replaced.length(), 2 * count);
  EXPECT_EQ(replaced.tempSubString(2 * count - 6), u"1,1,1,");
}

struct LongTail {
  const char* why;
  icu::UnicodeString piece;     ///< repeated in the value whose references are replaced
  icu::UnicodeString after;     ///< follows the long text in the key of `target`
  icu::UnicodeString target;    ///< the value of that key; "*" stands for the long text
  icu::UnicodeString expected;  ///< the result for all pieces; "*" stands for the long text
};

// The value of "s" is "%" followed by a long text, so every replacement starts a reference whose name begins
// with the long text. If each replacement copied or read that text, the test would take many minutes.
TEST(PropertiesReferences, WithNamesThatStartWithALongTextAreReplacedInOnePass) {
  constexpr int count = 1'000'000;
  const icu::UnicodeString longText(count, u'k', count);
  const auto whole = [&](icu::UnicodeString text) { return text.findAndReplace(u"*", longText); };
  const auto rows = std::to_array<LongTail>({
      {"the long text is the whole name, and the reference's value contains it again", u"%", u"", u"%*",
       u"%*"},
      {"the long text is part of the name, and the reference's value contains it again", u"x%", u"x", u"%*",
       u"%*"},
      {"the long text is not the name of a property", u"%%s%", u"", u"", u"%*"},
  });
  for (const LongTail& row : rowsOf(rows)) {
    ExtendedProperties properties;
    properties.putProperty(u"s", whole(u"%*"));
    properties.putProperty(whole(u"*") + row.after, whole(row.target));
    icu::UnicodeString value(u"%s%");
    for (int i = 0; i < count; ++i) value += row.piece;
    properties.putProperty(u"a", value);
    EXPECT_EQ(resolve(properties), std::nullopt);
    EXPECT_TRUE(properties.requireProperty(u"a") == whole(row.expected));
  }
}

// --- saving

struct Saving {
  const char* why;
  std::u16string key;
  std::u16string value;
  std::string expected;
};

TEST(PropertiesText, IsSavedAsDocumented) {
  using std::string_literals::operator""s;
  const auto rows = std::to_array<Saving>({
      {"plain", u"key", u"value", "key=value"},
      {"empty", u"", u"", "="},
      {"a blank", u"a b", u"c d", "a\\ b=c d"},
      {"blanks around", u" a ", u" c ", "\\ a\\ = c "},
      {"CR, LF, TAB", u"\r\n\t", u"\t\n\r", "\\r\\n\\t=\\t\\n\\r"},
      {"what separates", u"a=b:c", u"d=e:f", "a\\=b\\:c=d\\=e\\:f"},
      {"characters that start comments", u"#a!b", u"#c!d", "\\#a\\!b=\\#c\\!d"},
      {"backslashes", u"\\a\\", u"\\b\\", "\\\\a\\\\=\\\\b\\\\"},
      {"other ASCII", u"\"$%&'()*+,-./;<>?@[]^_`{|}~", u"0Az\x7F\x01\f",
       "\"$%&'()*+,-./;<>?@[]^_`{|}~=0Az\x7F\x01\f"},
      {"NUL", u"\0"s, u"\0"s, "\0=\0"s},
      {"U+0080", u"\u0080", u"\u0080", "\\u0080=\\u0080"},
      {"U+00E9", u"\u00E9", u"\u00E9", "\\u00E9=\\u00E9"},
      {"four digits", u"\uABCD", u"\uFFFF", "\\uABCD=\\uFFFF"},
      {"a supplementary character, twice", u"\U0001F600", u"x\U0001F600y", "\\uF600\\uF600=x\\uF600\\uF600y"},
      {"the last character, twice", u"k", u"\U0010FFFF", "k=\\uFFFF\\uFFFF"},
      {"the first supplementary character, twice", u"k", u"\U00010000", "k=\\u0000\\u0000"},
      {"halves", u"\xD83D", u"\xDE00\xD83D", "\\uD83D=\\uDE00\\uD83D"},
      {"a half before a pair", u"k", u"\xD83D\xD83D\xDE00\xDE00", "k=\\uD83D\\uF600\\uF600\\uDE00"},
  });
  for (const Saving& row : rowsOf(rows)) {
    ExtendedProperties properties;
    properties.putProperty(unicode(row.key), unicode(row.value));
    const std::string expected = "#saved by ExtendedProperties on \r\n" + row.expected + "\r\n";
    EXPECT_EQ(saved(properties), expected);
    EXPECT_EQ(modelSave({{row.key, row.value}}), expected) << "the model";
  }
}

TEST(PropertiesText, IsOnlyTheHeaderLineIfThereAreNoProperties) {
  EXPECT_EQ(saved(ExtendedProperties()), "#saved by ExtendedProperties on \r\n");
}

TEST(PropertiesText, IsSavedInOrderAndFlushedAtTheEnd) {
  ExtendedProperties properties;
  properties.putProperty(u"b", u"2");
  properties.putProperty(u"a", u"1");
  properties.addInclude(u"z.properties");
  properties.addInclude(u"with = \u00E9 \\ # !");
  properties.addInclude(u"");
  KeepingStream stream;
  properties.save(stream);
  EXPECT_EQ(stream.bytes,
            "#saved by ExtendedProperties on \r\n#include z.properties\r\n"
            "#include with = \\u00E9 \\ # !\r\n#include \r\na=1\r\nb=2\r\n");
  EXPECT_EQ(stream.flushedAt, std::vector<std::size_t>{stream.bytes.size()});
}

/// Stores the pieces that are written, separately for each of the three write operations.
class PieceStream : public oss::OutputStream {
 public:
  void write(char c) override { pieces.emplace_back(1, c); }
  void write(const char* s) override { pieces.emplace_back(s); }
  void write(const char* buffer, std::size_t offset, std::size_t length) override {
    pieces.push_back("range " + std::string(buffer + offset, length));
  }
  void flush() override { pieces.emplace_back("flush"); }

  std::vector<std::string> pieces;
};

TEST(PropertiesText, IsWrittenByteByByteWithLineEndsAsTexts) {
  ExtendedProperties properties;
  properties.putProperty(u"a", u"\u00E9");
  PieceStream stream;
  properties.save(stream);
  std::vector<std::string> expected;
  for (const char c : std::string("#saved by ExtendedProperties on ")) expected.emplace_back(1, c);
  expected.emplace_back("\r\n");
  for (const char c : std::string("a=\\u00E9")) expected.emplace_back(1, c);
  expected.insert(expected.end(), {"\r\n", "flush"});
  EXPECT_EQ(stream.pieces, expected);
}

TEST(PropertiesText, ContainsTheIncludesInCopies) {
  ExtendedProperties properties;
  properties.addInclude(u"x.properties");
  const std::string expected = "#saved by ExtendedProperties on \r\n#include x.properties\r\n";
  const ExtendedProperties constructed(properties);
  ExtendedProperties assigned;
  assigned.addInclude(u"dropped");
  assigned = properties;
  ExtendedProperties copied;
  copied.copy(properties);
  for (const ExtendedProperties* const copy :
       rowsOf({&constructed, &std::as_const(assigned), &std::as_const(copied)})) {
    EXPECT_EQ(saved(*copy), expected);
  }
}

TEST(PropertiesText, DoesNotReadIncludesBack) {
  ExtendedProperties properties;
  properties.addInclude(u"more.properties");
  const std::string bytes = saved(properties);
  ExtendedProperties again;
  again.load(bytes.data(), bytes.size());
  EXPECT_EQ(saved(again), "#saved by ExtendedProperties on \r\n");
}

TEST(PropertiesText, ContainsTheIncludesCopiedFromAnotherObject) {
  ExtendedProperties from;
  from.addInclude(u"one");
  ExtendedProperties to;
  to.addInclude(u"former");
  to.copy(from);
  from.addInclude(u"two");
  EXPECT_EQ(saved(to), "#saved by ExtendedProperties on \r\n#include one\r\n");
}

TEST(PropertiesText, IsSavedUntilTheStreamRefusesAByte) {
  ExtendedProperties properties;
  properties.putProperty(u"a", u"1");
  const std::string whole = saved(properties);
  for (std::size_t most = 0; most < whole.size(); ++most) {
    ROW("most", most);
    KeepingStream stream;
    stream.mostBytes = most;
    EXPECT_THROW(properties.save(stream), std::length_error);
    EXPECT_EQ(stream.bytes, whole.substr(0, most));
    EXPECT_TRUE(stream.flushedAt.empty());
  }
}

TEST(PropertiesText, ReadsBackSavedProperties) {
  std::u16string everything;
  for (unsigned int unit = 0; unit < 0xD800; ++unit) everything += static_cast<char16_t>(unit);
  ExtendedProperties properties;
  properties.putProperty(unicode(everything), unicode(u"x" + everything));
  const std::string bytes = saved(properties);
  EXPECT_EQ(loaded(bytes), contents(properties));
}

TEST(PropertiesText, DoesNotReadBackEveryTextThatWasSaved) {
  struct Row {
    const char* why;
    std::u16string saved;
    std::u16string asKey;
    std::u16string asValue;
  };
  const auto rows = std::to_array<Row>({
      {"a character above U+FFFF", u"\U0001F600", u"\uF600\uF600", u"\uF600\uF600"},
      {"one whose low 16 bits are a letter", u"\U00010041", u"AA", u"AA"},
      {"one whose low 16 bits are a percent sign", u"\U00010025", u"%%", u"%%"},
      {"the first half of a pair", u"\xD800", u"uD800", u"uD800"},
      {"the second half of a pair", u"\xDFFF", u"uDFFF", u"uDFFF"},
      {"the first of those that are never characters", u"\xFDD0", u"uFDD0", u"uFDD0"},
      {"the last but one", u"\xFFFE", u"uFFFE", u"uFFFE"},
      {"the last", u"\xFFFF", u"uFFFF", u"uFFFF"},
      {"leading spaces", u"  x ", u"  x ", u"x "},
  });
  for (const Row& row : rowsOf(rows)) {
    ExtendedProperties properties;
    properties.putProperty(unicode(row.saved), unicode(row.saved));
    const std::string bytes = saved(properties);
    ExtendedProperties again;
    again.load(bytes.data(), bytes.size(), false);
    EXPECT_EQ(contents(again), (PropertiesModel{{row.asKey, row.asValue}})) << row.why;
  }
}

TEST(PropertiesText, CanReplaceAnotherPropertyWhenACraftedKeyIsReadBack) {
  ExtendedProperties properties;
  properties.putProperty(u"AA", u"trusted");
  properties.putProperty(u"\U00010041", u"crafted");
  const std::string bytes = saved(properties);
  ExtendedProperties again;
  again.load(bytes.data(), bytes.size());
  EXPECT_EQ(contents(again), (PropertiesModel{{u"AA", u"crafted"}}));
}

// --- listing

/// A stream buffer that counts its flushes.
class FlushCountingBuffer : public std::stringbuf {
 public:
  int flushes = 0;

 protected:
  int sync() override {
    ++flushes;
    return std::stringbuf::sync();
  }
};

TEST(PropertiesText, IsListedUnescaped) {
  ExtendedProperties properties;
  properties.addInclude(u"not listed");
  properties.putProperty(u"b \\", u"=\u00E9\t!");
  properties.putProperty(u"a", icu::UnicodeString(1000, u'x', 1000));
  properties.putProperty(u"", u"");
  FlushCountingBuffer buffer;
  std::ostream out(&buffer);
  properties.list(out);
  EXPECT_EQ(buffer.str(), "-- listing properties --\n=\na=" + std::string(1000, 'x') + "\n" +
                              inDefaultCodePage(u"b \\==\u00E9\t!") + "\n");
  EXPECT_EQ(buffer.flushes, 4);
}

// --- against the model

/// Whether the library loads, resolves and saves like the model.
::testing::AssertionResult agrees(const std::string& bytes) {
  ExtendedProperties properties;
  PropertiesModel model;
  std::string rest = bytes;
  std::size_t position = 0;
  for (;;) {
    const bool taken = modelTakeLine(model, rest);
    if (properties.parseLine(position, bytes.data(), bytes.size()) != taken) {
      return ::testing::AssertionFailure() << shown(bytes) << ": is there one more line? at " << position;
    }
    if (position != bytes.size() - rest.size()) {
      return ::testing::AssertionFailure() << shown(bytes) << ": the line ends at " << position;
    }
    if (!taken) break;
  }
  ExtendedProperties atOnce;
  atOnce.load(bytes.data(), bytes.size(), false);
  if (contents(properties) != model || contents(atOnce) != model) {
    return ::testing::AssertionFailure() << shown(bytes) << ": read as " << saved(atOnce);
  }
  const auto error = modelResolve(model);
  if (resolve(properties) != error || contents(properties) != model) {
    return ::testing::AssertionFailure() << shown(bytes) << ": resolved to " << saved(properties);
  }
  if (saved(properties) != modelSave(model)) {
    return ::testing::AssertionFailure() << shown(bytes) << ": saved as " << shown(saved(properties));
  }
  return ::testing::AssertionSuccess();
}

/// Compares the library with the model on all texts that consist of `start` and up to `length` bytes of
/// `alphabet`.
void expectAgreement(const std::string& start, const std::string& alphabet, std::size_t length) {
  std::string bytes = start;
  std::vector<std::size_t> digits;
  for (;;) {
    ASSERT_TRUE(agrees(bytes));
    std::size_t at = digits.size();
    while (at > 0 && digits[at - 1] + 1 == alphabet.size()) --at;
    if (at == 0) {
      if (digits.size() == length) return;
      digits.assign(digits.size() + 1, 0);
    } else {
      ++digits[at - 1];
      std::fill(digits.begin() + static_cast<std::ptrdiff_t>(at), digits.end(), 0);
    }
    bytes = start;
    for (const std::size_t digit : digits) bytes += alphabet[digit];
  }
}

TEST(PropertiesText, IsReadLikeTheModelForEveryShortSequence) {
  expectAgreement("", std::string("\\\r\n \t=:#!%u0a\0\xE9", 15), 4);
}

TEST(PropertiesText, IsReadLikeTheModelForEverySequenceOfLinesAndContinuations) {
  expectAgreement("", "\\\r\n =#", 6);
}

TEST(PropertiesText, IsReadLikeTheModelForEverySequenceAfterAUnicodeEscape) {
  expectAgreement("k=\\u", "0dFg\\", 6);
}

TEST(PropertiesReferences, AreReplacedLikeTheModelForEveryShortSequence) {
  expectAgreement("", "%=\nab", 7);
  expectAgreement("a=x\nb=%\nc=", "%ab", 8);
}

class PropertiesWalks : public ::testing::TestWithParam<unsigned> {
 protected:
  std::size_t below(std::size_t limit) { return random_() % limit; }

  std::string randomBytes() {
    static const std::vector<std::string> pieces = {
        "\\",   "\\\n", "\\\r\n",  "\\\r",    "\n",    "\r", "\r\n", " ",  "\t",   "=",   ":",
        "#",    "!",    "\\u0041", "\\uD800", "\\u00", "u",  "n",    "a",  "b",    "c",   "ab",
        "\xE9", "%",    "%a%",     "%b%",     "%c%",   "a=", "b=",   "c=", "\na=", "\nb="};
    std::string bytes;
    for (std::size_t i = below(40); i > 0; --i) {
      if (below(8) == 0) {
        bytes += static_cast<char>(below(256));
      } else {
        bytes += pieces[below(pieces.size())];
      }
    }
    return bytes;
  }

  /// Random lines with references to each other, mostly without errors.
  std::string randomReferences() {
    std::string bytes;
    for (char key = 'a'; key < 'i'; ++key) {
      bytes += key;
      bytes += '=';
      for (std::size_t i = below(5); i > 0; --i) {
        const char earlier = static_cast<char>('a' + below(static_cast<std::size_t>(key - 'a' + 1)));
        if (below(10) == 0) bytes += '%';
        bytes += below(3) == 0 ? std::string(1, earlier) : std::string{'%', earlier, '%'};
      }
      bytes += '\n';
    }
    return bytes;
  }

  std::mt19937 random_{seeded(GetParam())};
};

TEST_P(PropertiesWalks, OverBytesAgreeWithTheModel) {
  for (int i = 0; i < 2500; ++i) {
    ROW("i", i);
    ASSERT_TRUE(agrees(randomBytes())) << "seed " << GetParam() << ", text " << i;
  }
}

TEST_P(PropertiesWalks, OverReferencesAgreeWithTheModel) {
  for (int i = 0; i < 1000; ++i) {
    ROW("i", i);
    ASSERT_TRUE(agrees(randomReferences())) << "seed " << GetParam() << ", text " << i;
  }
}

INSTANTIATE_TEST_SUITE_P(Seed, PropertiesWalks, ::testing::Range(1U, 17U));

}  // namespace
}  // namespace tarvo::test
