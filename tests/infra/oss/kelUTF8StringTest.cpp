#include "infra/oss/kelNLSException.hpp"
#include "infra/oss/kelUTF8String.hpp"

#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"
#include "support/kelSeed.hpp"
#include "support/kelTraceRecorder.hpp"
#include "support/kelUTF8Model.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace tarvo::test {
namespace {

using oss::DataBuffer;
using oss::NLSException;
using oss::UTF8String;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace std::string_literals;

static_assert(std::is_base_of_v<DataBuffer, UTF8String> && std::has_virtual_destructor_v<UTF8String>);
static_assert(sizeof(UTF8String) == sizeof(DataBuffer));
static_assert(!std::is_assignable_v<UTF8String&, const UTF8String&>);
static_assert(std::is_same_v<decltype(std::declval<UTF8String&>().compare("")), signed char>);
static_assert(std::is_same_v<decltype(std::declval<UTF8String&>() = icu::UnicodeString()), UTF8String&>);

UTF8String holding(const std::string& bytes) {
  UTF8String string(0);
  string.appendString(bytes.data(), static_cast<int>(bytes.size()));
  return string;
}

// --- construction

TEST(UTF8String, StoresBytesUnchanged) {
  for (const char* const bytes : rowsOf({"", "text", "\xC3\xA9", "\xFF\x80 not UTF-8"})) {
    const UTF8String string(bytes);
    EXPECT_STREQ(string.getString(), bytes);
    EXPECT_EQ(string.length(), static_cast<int>(std::string(bytes).size()));
  }
  const UTF8String null(nullptr);
  EXPECT_STREQ(null.getString(), "");
}

TEST(UTF8String, ConvertsUnicodeToUtf8) {
  const UTF8String string(icu::UnicodeString(u"a\u00E9\u20AC\U0001F600\xD800"));
  EXPECT_STREQ(string.getString(), "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xEF\xBF\xBD");
}

TEST(UTF8String, IsEmptyIfALongTextStartsWithANul) {
  for (const std::int32_t units : rowsOf({4097, 100'000})) {
    icu::UnicodeString text(units, u'x', units);
    text.setCharAt(0, u'\0');
    EXPECT_EQ(UTF8String(text).length(), 0) << units;
  }
}

TEST(UTF8String, AcceptsASizeLikeItsBase) {
  EXPECT_EQ(UTF8String(100).capacity(), 4096);
  EXPECT_EQ(UTF8String(5000).capacity(), 5000);
  EXPECT_EQ(UTF8String(-1).length(), 0);
}

TEST(UTF8String, CanBeCopied) {
  for (const std::string& text : rowsOf({"short"s, std::string(5000, 'x')})) {
    const UTF8String string(text.c_str());
    const UTF8String copy(string);
    EXPECT_EQ(copy.getString(), text);
    EXPECT_EQ(copy.capacity(), string.capacity());
    EXPECT_NE(copy.getString(), string.getString());
  }
}

TEST(UTF8String, IsDestroyedThroughItsBase) {
  const std::unique_ptr<DataBuffer> buffer = std::make_unique<UTF8String>(std::string(5000, 'x').c_str());
  EXPECT_EQ(buffer->length(), 5000);
}

TEST(UTF8String, CanBeAssigned) {
  UTF8String string(std::string(5000, 'x').c_str());
  EXPECT_EQ(&(string = icu::UnicodeString(u"\u00E9")), &string);
  EXPECT_STREQ(string.getString(), "\xC3\xA9");
  EXPECT_EQ(string.length(), 2);
  EXPECT_EQ(string.capacity(), 4096);
  EXPECT_EQ(std::string(string.getString(), 4097), "\xC3\xA9" + std::string(4095, '\0'));
  string = icu::UnicodeString();
  EXPECT_EQ(string.length(), 0);
}

TEST(UTF8String, StoresAssignedBytesUnchanged) {
  UTF8String string(std::string(5000, 'x').c_str());
  for (const char* const bytes : rowsOf({"text", "", "\xC3\xA9", "\xFF\x80 not UTF-8"})) {
    EXPECT_EQ(&(string = bytes), &string);
    EXPECT_STREQ(string.getString(), bytes);
    EXPECT_EQ(string.length(), static_cast<int>(std::string(bytes).size()));
    EXPECT_EQ(string.capacity(), 4096);
  }
  string = std::string(5000, '\xFF').c_str();
  EXPECT_EQ(string.getString(), std::string(5000, '\xFF'));
  string = static_cast<const char*>(nullptr);
  EXPECT_STREQ(string.getString(), "");
  string = nullptr;
  EXPECT_STREQ(string.getString(), "");
}

TEST(UTF8String, CanBeAssignedItsOwnBytes) {
  for (const int length : rowsOf({0, 1, 4, 100, 4096, 4097, 20'000})) {
    for (const int from : rowsOf({0, length / 2, length})) {
      const std::string text = std::string(static_cast<std::size_t>(length), 'x') + "\xFF";
      UTF8String string(text.c_str());
      string = string.getString() + from;
      EXPECT_EQ(string.getString(), text.substr(static_cast<std::size_t>(from)))
          << "from byte " << from << " of " << length;
    }
  }
}

TEST(UTF8String, KeepsNoOldBytesAfterAnAssignment) {
  UTF8String string("a longer text");
  string = icu::UnicodeString(u"b");
  EXPECT_EQ(std::string(string.getString(), 14), "b" + std::string(13, '\0')) << "of Unicode";
  string = "a longer text";
  string = "b";
  EXPECT_EQ(std::string(string.getString(), 14), "b" + std::string(13, '\0')) << "of bytes";
}

// --- appending and inserting

TEST(UTF8String, AppendsEveryKindOfText) {
  UTF8String string("a");
  string.appendString("\xC3\xA9");
  string.appendString("bcd", 2);
  string.appendString(u"\u20AC");
  string.appendString(UTF8String("e"));
  string.appendString(static_cast<const char*>(nullptr));
  string.appendString("");
  string.appendString("f", 0);
  string.appendString(icu::UnicodeString());
  EXPECT_STREQ(string.getString(),
               "a\xC3\xA9"
               "bc\xE2\x82\xAC"
               "e");
  EXPECT_EQ(string.length(), 9);
}

TEST(UTF8String, InsertsEveryKindOfTextAtAByte) {
  UTF8String string("ab");
  string.insertString(1, "\xC3\xA9");
  string.insertString(0, "cde", 2);
  string.insertString(100, u"\u20AC");
  string.insertString(-100, UTF8String("f"));
  EXPECT_STREQ(string.getString(),
               "fcda\xC3\xA9"
               "b\xE2\x82\xAC");
}

TEST(UTF8String, InsertsBetweenTheBytesOfACharacter) {
  UTF8String string("\xC3\xA9");
  string.insertString(1, "x");
  EXPECT_STREQ(string.getString(), "\xC3x\xA9");
}

TEST(UTF8String, CopiesAnotherUpToItsTerminator) {
  const UTF8String other = holding("ab\0cd"s);
  ASSERT_EQ(other.length(), 5);
  UTF8String string("x");
  string.appendString(other);
  string.insertString(0, other);
  EXPECT_EQ(std::string(string.getString(), 6), "abxab\0"s);
  EXPECT_EQ(string.length(), 5);
}

TEST(UTF8String, CanAppendAndInsertItself) {
  UTF8String string("ab");
  string.appendString(string);
  string.insertString(1, string);
  EXPECT_STREQ(string.getString(), "aababbab");
}

// --- converting

TEST(UTF8String, AppendsItsTextToTheCallersUnicode) {
  icu::UnicodeString text(u"a");
  UTF8String("b").getString(text);
  EXPECT_EQ(text, u"ab");
  UTF8String("\xC3\xA9\xFF").getString(text);
  EXPECT_EQ(text, u"ab\u00E9\uFFFD");
  holding("c\0d"s).getString(text);
  UTF8String("").getString(text);
  EXPECT_EQ(text,
            u"ab\u00E9\uFFFD"
            u"c");
}

TEST(UTF8String, ConvertsItsTextIntoACodePage) {
  struct Row {
    const char* text;
    const char* codePage;
    std::string bytes;
  };
  const auto rows = std::to_array<Row>({
      {"Gr\xC3\xBC\xC3\x9F"
       "e",
       "ISO-8859-1",
       "Gr\xFC\xDF"
       "e"},
      {"\xE2\x82\xAC", "windows-1252", "\x80"},
      {"\xE2\x82\xAC", "ISO-8859-1", "\x1A"},
      {"\xE6\x97\xA5", "Shift_JIS", "\x93\xFA"},
      {"\xFF not looked at", "UTF-8", "\xFF not looked at"},
      {"", "no such page", ""},
  });
  for (const Row& row : rowsOf(rows)) {
    ROW("codePage", row.codePage);
    const UTF8String string(row.text);
    const int size = static_cast<int>(row.bytes.size()) + 1;
    EXPECT_EQ(string.getString(nullptr, 0, row.codePage), size);
    std::string target(row.bytes.size() + 1, '#');
    EXPECT_EQ(string.getString(target.data(), size, row.codePage), size);
    EXPECT_EQ(target, row.bytes + '\0');
  }
}

TEST(UTF8String, ConvertsUpToItsTerminator) {
  std::array<char, 8> target{};
  EXPECT_EQ(holding("ab\0cd"s).getString(target.data(), 8, "ISO-8859-1"), 3);
  EXPECT_STREQ(target.data(), "ab");
}

TEST(UTF8String, RaisesTheErrorOfTheConversion) {
  const UTF8String string("abc");
  std::array<char, 3> target{};
  EXPECT_THAT([&] { string.getString(target.data(), 3, "ISO-8859-1"); },
              Raises<NLSException>("ERR_BUFFER_SIZE_TOO_SMALL", 3).from("kelConverter.cpp"));
  EXPECT_THAT(
      [&] { string.getString(nullptr, 0, "no-such-page"); },
      Raises<NLSException>("ERR_CONV_CONVERSION_ERROR", "no-such-page", "UTF-8").from("kelConverter.cpp"));
}

// --- comparing: the argument is the left operand

TEST(UTF8String, ComparesTheArgumentWithItself) {
  struct Row {
    const char* string;
    const char* argument;
    int expected;
  };
  const auto rows = std::to_array<Row>({
      {"abc", "abd", 1},
      {"abc", "abb", -1},
      {"abc", "abc", 0},
      {"b", "a", -1},
      {"", "", 0},
      {"", "a", 1},
      {"a", "", -1},
      {"a", "ab", 1},
      {"ab", "a", -1},
      {"a", "\xC3\xA9", 1},  // bytes are unsigned
      {"\x7F", "\x80", 1},
      {"\xFF", "\x01", -1},
      {"\xEF\xBF\xBF", "\xF0\x90\x80\x80", 1},  // U+FFFF before U+10000
      {"a", nullptr, -1},
      {"", nullptr, -1},
  });
  for (const Row& row : rowsOf(rows)) {
    ROW(testing::PrintToString(row.string) + " with " + testing::PrintToString(row.argument));
    EXPECT_EQ(UTF8String(row.string).compare(row.argument), row.expected);
    if (row.argument == nullptr) continue;
    EXPECT_EQ(UTF8String(row.string).compare(UTF8String(row.argument)), row.expected);
    EXPECT_EQ(UTF8String(row.argument).compare(UTF8String(row.string)), -row.expected);
  }
}

TEST(UTF8String, ComparesUpToTheTerminator) {
  EXPECT_EQ(holding("ab\0c"s).compare("ab"), 0);
  EXPECT_EQ(holding("ab\0c"s).compare(holding("ab\0d"s)), 0);
}

TEST(UTF8String, IsOrderedByCodePoints) {
  const auto codePoints = std::to_array<UChar32>(
      {1, 'A', 0x7F, 0x80, 0x7FF, 0x800, 0xD7FF, 0xE000, 0xFFFF, 0x10000, 0x1F600, 0x10FFFF});
  for (const UChar32 one : rowsOf(codePoints)) {
    for (const UChar32 other : rowsOf(codePoints)) {
      const UTF8String string{icu::UnicodeString(one)};
      EXPECT_EQ(string.compare(UTF8String(icu::UnicodeString(other))), (other > one) - (other < one));
    }
  }
}

// --- counting

TEST(UTF8String, CountsCharactersByTheirLeadBytes) {
  struct Row {
    const char* why;
    std::string bytes;
    int expected;
  };
  const auto rows = std::to_array<Row>({
      {"empty", "", 0},
      {"two bytes and one", "\xC3\xA9\x41", 2},
      {"three bytes", "\xE2\x82\xAC", 1},
      {"four bytes", "\xF0\x9F\x98\x80", 1},
      {"cut short after one", "\xC3", 1},
      {"cut short after three", "\xF0\x9F\x98", 1},
      {"a surrogate", "\xED\xA0\x80", 1},
      {"overlong", "\xC0\x80", 1},
      {"above U+10FFFF", "\xF7\xBF\xBF\xBF", 1},
      {"skipped bytes are not checked", "\xC3xx", 2},
      {"a lead byte is skipped, too", "\xE2\xFF\xFF", 1},
      {"bytes 0 count", "a\0b\0"s, 4},
      {"a byte 0 is skipped, too", "\xC3\0b"s, 2},
      {"sixteen at once", "0123456789ABCDEF", 16},
  });
  for (const Row& row : rowsOf(rows)) {
    EXPECT_EQ(holding(row.bytes).numChars(), row.expected);
  }
}

TEST(UTF8String, RefusesToCountIfAByteStartsNoCharacter) {
  const auto malformed = Raises<NLSException>("ERR_MALFORMED_UTF8_STRING").from("kelUTF8String.cpp");
  for (int byte = 0x80; byte < 0x100; ++byte) {
    ROW("byte", byte);
    const bool leads = byte >= 0xC0 && byte < 0xF8;
    for (const std::size_t before : rowsOf(std::vector<std::size_t>{0, 1, 7, 8, 20})) {
      const UTF8String string = holding(std::string(before, 'x') + static_cast<char>(byte));
      if (leads) {
        EXPECT_EQ(string.numChars(), static_cast<int>(before) + 1) << byte;
      } else {
        EXPECT_THAT([&] { string.numChars(); }, malformed) << byte;
      }
    }
  }
}

TEST(UTF8String, CountsRandomTextsAsTheModelDoes) {
  for (unsigned int seed = 0; seed < 1000; ++seed) {
    ROW("seed", seed);
    std::mt19937 engine(seeded(seed));
    const std::string text = randomUtf8(engine, engine() % 100, seed % 3);
    const auto expected = modelLenientCount(text);
    const UTF8String string(text.c_str());
    if (expected) {
      EXPECT_EQ(string.numChars(), *expected) << "seed " << seed;
    } else {
      EXPECT_THROW(static_cast<void>(string.numChars()), NLSException) << "seed " << seed;
    }
  }
}

TEST(UTF8String, CountsTheCharactersOfAFullInlineStorage) {
  EXPECT_EQ(holding(std::string(4096, 'x')).numChars(), 4096);
  EXPECT_EQ(holding(std::string(4095, 'x') + '\xC3').numChars(), 4096);
  EXPECT_EQ(holding(std::string(100'000, 'x')).numChars(), 100'000);
}

// --- trace hooks: the class calls only those of its buffer

TEST(UTF8StringTrace, ReportsOnlyTheHooksOfItsBuffer) {
  TraceRecorder trace(0x20000);
  {
    UTF8String string("a");
    EXPECT_THAT(trace.take(), ElementsAre("traceExit 5F1 0"));
    string.appendString(u"b");
    EXPECT_THAT(trace.take(), ElementsAre("traceEntry 5F3", "traceExit 5F3 0"));
    string.insertString(0, "c");
    EXPECT_THAT(trace.take(), ElementsAre("traceEntry 5F4", "traceExit 5F4 0"));
    icu::UnicodeString text;
    string.getString(text);
    EXPECT_EQ(string.numChars(), 3);
    EXPECT_EQ(string.compare("x"), 1);
    EXPECT_THAT(trace.take(), IsEmpty());
    string.getString(nullptr, 0, "UTF-8");
    EXPECT_THAT(trace.take(),
                ElementsAre("traceEntry 5ED", "traceEntry 5EE", "traceExit 5EE 0", "traceExit 5ED 0"));
  }
  EXPECT_THAT(trace.take(), ElementsAre("traceExit 5F2 0"));
}

TEST(UTF8String, IsEmptyForANullText) {
  EXPECT_EQ(UTF8String(icu::UnicodeString()).length(), 0);
  icu::UnicodeString bogus;
  bogus.setToBogus();
  EXPECT_EQ(UTF8String(bogus).length(), 0);
}

TEST(UTF8String, AppendsItsTextToABogusString) {
  icu::UnicodeString text;
  text.setToBogus();
  UTF8String("abc").getString(text);
  EXPECT_FALSE(text.isBogus());
  EXPECT_EQ(text, u"abc");
  text.setToBogus();
  UTF8String("").getString(text);
  EXPECT_FALSE(text.isBogus());
  EXPECT_TRUE(text.isEmpty());
}

TEST(UTF8String, AppendsItsTextToAStringWithFreeCapacity) {
  icu::UnicodeString text(100, 0, 0);
  text.append(u"ab");
  UTF8String("cd").getString(text);
  UTF8String("ef").getString(text);
  EXPECT_EQ(text, u"abcdef");
}

TEST(UTF8String, AppendsLikeIcuForEveryFreeCapacity) {
  for (unsigned int seed = 0; seed < 600; ++seed) {
    ROW("seed", seed);
    std::mt19937 engine(seeded(seed));
    const std::string bytes = randomUtf8(engine, engine() % 200, seed % 3 == 0 ? 2 : 0);
    const icu::UnicodeString before(u"before");
    const icu::UnicodeString expected = before + icu::UnicodeString::fromUTF8(bytes);
    const auto most = before.length() + static_cast<std::int32_t>(bytes.size());
    for (const std::int32_t room : rowsOf({0, most / 2, most - 1, most, most + 1, 4 * most})) {
      icu::UnicodeString text(room, 0, 0);
      text.append(before);
      UTF8String(bytes.c_str()).getString(text);
      ASSERT_EQ(text, expected) << room;
    }
  }
}

TEST(UTF8String, DoesNotChangeCopiesOfTheCallersString) {
  icu::UnicodeString text(1000, 0, 0);
  text.append(u"a text too long for the string's inline storage");
  const icu::UnicodeString copy(text);
  const icu::UnicodeString expected(copy.getBuffer(), copy.length());
  UTF8String(" and more").getString(text);
  EXPECT_EQ(copy, expected);
  EXPECT_EQ(text, expected + u" and more");
}

TEST(UTF8String, DoesNotChangeAStringWhoseBufferIsHeldOpen) {
  for (const int length : rowsOf({0, 1, 20, 100, 5000})) {
    icu::UnicodeString text(u"xy");
    const char16_t* const buffer = text.getBuffer(20);
    ASSERT_NE(buffer, nullptr);
    UTF8String(std::string(static_cast<std::size_t>(length), 'b').c_str()).getString(text);
    text.releaseBuffer(2);
    EXPECT_EQ(text, u"xy") << length << " bytes";
    EXPECT_EQ(text.getBuffer(), buffer) << length << " bytes";
  }
}

TEST(UTF8String, AppendsToAStringThatAliasesAnArray) {
  std::array<char16_t, 20> units;
  units.fill(u'.');
  icu::UnicodeString text(units.data(), 0, 16);
  UTF8String("ab").getString(text);
  UTF8String("cd").getString(text);
  EXPECT_EQ(text.getBuffer(), units.data());
  EXPECT_EQ(std::u16string(units.data(), units.size()), u"abcd................");
  UTF8String("as many as sixteen and some more").getString(text);
  EXPECT_NE(text.getBuffer(), units.data());
  EXPECT_EQ(text, u"abcdas many as sixteen and some more");
  EXPECT_EQ(std::u16string(units.data() + 4, 16), std::u16string(16, u'.'));
}

}  // namespace
}  // namespace tarvo::test
