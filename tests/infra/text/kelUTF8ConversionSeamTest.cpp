#include "support/kelRows.hpp"
#include "support/kelSeed.hpp"
#include "text/kelUTF8Conversion.hpp"

#include <gtest/gtest.h>
#include <unicode/unistr.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <array>
#include <random>
#include <string>
#include <vector>

namespace tarvo::text {
namespace {

using test::rowsOf;

using namespace std::string_literals;

/// The result of ICU's strict conversion: whether the text is valid, and its UTF-16 code units.
struct Units {
  bool valid;
  icu::UnicodeString text;
};

Units icuUnits(const std::string& bytes) {
  std::vector<char16_t> units(bytes.size() + 1);
  std::int32_t count = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strFromUTF8(units.data(), static_cast<std::int32_t>(units.size()), &count, bytes.data(),
                static_cast<std::int32_t>(bytes.size()), &status);
  return {U_SUCCESS(status) != 0, icu::UnicodeString(units.data(), U_SUCCESS(status) ? count : 0)};
}

void expectReads(const std::string& bytes) {
  const Units expected = icuUnits(bytes);
  std::vector<char16_t> units(bytes.size() + 1, u'#');
  const std::ptrdiff_t count = utf16FromUtf8(bytes.data(), bytes.size(), units.data());
  ASSERT_EQ(count, expected.valid ? expected.text.length() : -1) << testing::PrintToString(bytes);
  if (expected.valid) {
    ASSERT_TRUE(std::equal(units.data(), units.data() + count, expected.text.getBuffer()))
        << testing::PrintToString(bytes);
  }
  ASSERT_EQ(units.back(), u'#');
}

std::string utf8(const icu::UnicodeString& text) {
  std::string bytes;
  return text.toUTF8String(bytes);
}

/// Converts into buffers of all sizes, from `mostMissing` bytes too small to larger than needed.
void expectWrites(const icu::UnicodeString& text, std::size_t mostMissing) {
  const auto count = static_cast<std::size_t>(text.length());
  const std::string expected = utf8(text);
  const std::size_t least = expected.size() - std::min(expected.size(), mostMissing);
  for (std::size_t room = least; room <= std::max(expected.size() + 2, 3 * count + 1); ++room) {
    ROW("room", room);
    std::string bytes(room + 1, '#');
    ASSERT_EQ(utf8FromUtf16(text.getBuffer(), count, bytes.data(), room),
              static_cast<std::int64_t>(expected.size()));
    const std::size_t written = std::min(room, expected.size());
    ASSERT_EQ(bytes.substr(0, written), expected.substr(0, written)) << room;
    ASSERT_EQ(bytes.substr(written), std::string(room + 1 - written, '#')) << room;
  }
}

std::vector<icu::UnicodeString> alphabets() {
  return {
      u"a", u"\u00E9", u"\u20AC", u"\U0001F600", u"a\u00E9", u"abcdefgh\u65E5", u"\u07FFx\U00010000\uFFFF"};
}

icu::UnicodeString repeated(const icu::UnicodeString& piece, int characters) {
  icu::UnicodeString text;
  while (text.countChar32() < characters) text.append(icu::UnicodeString(text)).append(piece);
  text.truncate(text.moveIndex32(0, characters));
  return text;
}

TEST(UTF8Conversion, ConvertsEveryCharacterInBothDirections) {
  for (UChar32 character = 0; character <= 0x10FFFF; ++character) {
    ROW("character", character);
    if (character == 0xD800) character = 0xE000;
    const icu::UnicodeString text(character);
    const std::string bytes = utf8(text);
    std::array<char16_t, 4> units{};
    std::array<char, 12> back{};
    ASSERT_EQ(utf16FromUtf8(bytes.data(), bytes.size(), units.data()), text.length()) << character;
    ASSERT_EQ(icu::UnicodeString(units.data(), text.length()), text) << character;
    ASSERT_EQ(utf8FromUtf16(units.data(), static_cast<std::size_t>(text.length()), back.data(), back.size()),
              static_cast<std::int64_t>(bytes.size()))
        << character;
    ASSERT_EQ(std::string(back.data()), std::string(bytes.c_str())) << character;
  }
}

TEST(UTF8Conversion, WritesAsManyBytesAsFit) {
  for (const icu::UnicodeString& alphabet : rowsOf(alphabets())) {
    for (int characters = 0; characters < 50; ++characters) {
      ROW("characters", characters);
      expectWrites(repeated(alphabet, characters), 200);
    }
  }
}

TEST(UTF8Conversion, ReturnsTheSizeOfLongTexts) {
  for (const icu::UnicodeString& alphabet : rowsOf(alphabets())) {
    for (const int characters : rowsOf({4095, 4096, 4097, 8192, 70000})) {
      const icu::UnicodeString text = repeated(alphabet, characters);
      EXPECT_EQ(utf8FromUtf16(text.getBuffer(), static_cast<std::size_t>(text.length()), nullptr, 0),
                static_cast<std::int64_t>(utf8(text).size()));
    }
  }
}

TEST(UTF8Conversion, RefusesUnpairedSurrogates) {
  for (const icu::UnicodeString& halves : rowsOf(
           {icu::UnicodeString(u"\xD83D"), icu::UnicodeString(u"\xDE00"), icu::UnicodeString(u"\xDE00\xD83D"),
            icu::UnicodeString(u"\xD83D\xD83D\xDE00"), icu::UnicodeString(u"\xD83D\xDE00\xDE00"),
            icu::UnicodeString(u"\xD800\xE000"), icu::UnicodeString(u"\xDBFF\xDBFF")})) {
    for (const icu::UnicodeString& alphabet : rowsOf(alphabets())) {
      for (int before = 0; before < 36; ++before) {
        ROW("before", before);
        for (const int after : rowsOf({0, 1, 20})) {
          icu::UnicodeString text = repeated(alphabet, before);
          const std::string head = utf8(text);
          text.append(halves).append(repeated(alphabet, after));
          const auto count = static_cast<std::size_t>(text.length());
          for (const std::size_t room : rowsOf({std::size_t{0}, count, 3 * count})) {
            std::string bytes(room + 1, '#');
            ASSERT_EQ(utf8FromUtf16(text.getBuffer(), count, bytes.data(), room), -1);
            const std::size_t written = bytes.find('#');
            // A surrogate pair before the unpaired surrogate may have been written.
            ASSERT_LE(written, head.size() + 4);
            ASSERT_EQ(bytes.substr(0, std::min(written, head.size())), head.substr(0, written));
          }
        }
      }
    }
  }
}

TEST(UTF8Conversion, ReadsValidTextsOfEveryLength) {
  for (const icu::UnicodeString& alphabet : rowsOf(alphabets())) {
    for (int characters = 0; characters < 100; ++characters) {
      ROW("characters", characters);
      expectReads(utf8(repeated(alphabet, characters)));
    }
  }
}

// Every sequence of up to four bytes that are limits in the table of well-formed sequences.
TEST(UTF8Conversion, AcceptsOnlyWellFormedSequences) {
  const std::string limits =
      "\x01\x7F\x80\x8F\x90\x9F\xA0\xBF\xC0\xC1\xC2\xDF\xE0\xE1\xEC\xED\xEE\xEF\xF0\xF1\xF3\xF4\xF5\xFF";
  for (int first = 0; first < 256; ++first) {
    ROW("first", first);
    const std::string one(1, static_cast<char>(first));
    expectReads(one);
    for (int second = 0; second < 256; ++second) {
      ROW("second", second);
      expectReads(one + static_cast<char>(second));
    }
  }
  for (const char first : rowsOf(limits.substr(2))) {
    for (const char second : rowsOf(limits)) {
      for (const char third : rowsOf(limits)) {
        expectReads({first, second, third});
        for (const char fourth : rowsOf(limits)) expectReads({first, second, third, fourth});
      }
    }
  }
}

TEST(UTF8Conversion, DetectsAnInvalidByteAtEveryPosition) {
  std::mt19937 random(test::seeded(82));
  const icu::UnicodeString piece(u"plain words and more, caf\u00E9 \u65E5\u672C\u8A9E \U0001F600; ");
  const std::string text = utf8(repeated(piece, 120));
  for (std::size_t at = 0; at < text.size(); ++at) {
    ROW("at", at);
    for (int time = 0; time < 8; ++time) {
      ROW("time", time);
      std::string damaged = text;
      damaged[at] = static_cast<char>(random());
      expectReads(damaged);
    }
    expectReads(text.substr(0, at));
    expectReads(text.substr(at));
  }
}

}  // namespace
}  // namespace tarvo::text
