#include "support/kelAllocationsSeam.hpp"
#include "support/kelDefaultCodePageSeam.hpp"
#include "support/kelRows.hpp"
#include "support/kelSeed.hpp"
#include "text/kelTranscoding.hpp"

#include <gtest/gtest.h>
#include <unicode/ucnv.h>

#include <array>
#include <random>
#include <string>
#include <vector>

namespace tarvo::text {
namespace {

using test::DefaultCodePage;
using test::rowsOf;

/// The names of all converters that ICU lists, some aliases, and some unknown names.
std::vector<std::string> codePages() {
  std::vector<std::string> names;
  for (std::int32_t i = 0; i < ucnv_countAvailable(); ++i) names.emplace_back(ucnv_getAvailableName(i));
  for (const char* name : {"latin1", "utf8", "UTF-16,version=1", "ISO-8859-1,swaplfnl", "no-such-page", ""}) {
    names.emplace_back(name);
  }
  return names;
}

std::vector<icu::UnicodeString> texts() {
  icu::UnicodeString everyUnit;
  for (int unit = 0; unit < 0x10000; unit += 13) everyUnit.append(static_cast<char16_t>(unit));
  return {u"",
          u"plain",
          u"\u00E9t\u00E9 \u20AC \u65E5\u672C\u8A9E \u0416",
          u"half \xD83D",
          u"\xDE00 half",
          u"\U0001F600 whole",
          icu::UnicodeString(u"a\0b", 3),
          everyUnit};
}

/// The bytes and the size of a conversion into a buffer of the given size, which is followed by a mark.
template <class Convert>
std::string into(std::int32_t capacity, Convert convert) {
  std::string room(static_cast<std::size_t>(capacity) + 1, '#');
  const std::int32_t size = convert(room.data());
  return std::to_string(size) + ":" + room;
}

TEST(Transcoding, WritesTheSameAsIcu) {
  for (const std::string& name : rowsOf(codePages())) {
    for (const icu::UnicodeString& text : rowsOf(texts())) {
      for (const std::int32_t capacity : rowsOf({1, 7, 2000, 40000})) {
        const auto byName = [&](char* room) {
          return text.extract(0, text.length(), room, static_cast<std::uint32_t>(capacity), name.c_str());
        };
        const auto cached = [&](char* room) { return fromUnicode(text, room, capacity, name.c_str()); };
        const std::string expected = into(capacity, byName);
        ASSERT_EQ(into(capacity, cached), expected) << name << ", " << text.length() << " units";
        ASSERT_EQ(into(capacity, cached), expected) << name << ", the second time";
      }
    }
  }
}

TEST(Transcoding, ReadsTheSameAsIcu) {
  std::string everyByte;
  for (int i = 0; i < 1024; ++i) everyByte += static_cast<char>(i * 7 + i / 256);
  const auto bytes = std::to_array<std::string>(
      {"", "plain", "\x1B$B$\"\x1B(B", "\xE6\x97\xA5\xE6", "\xFF\xFE\x41\x00", "\x0E\x42\x41", everyByte});
  for (const std::string& name : rowsOf(codePages())) {
    for (const std::string& given : rowsOf(bytes)) {
      const auto length = static_cast<std::int32_t>(given.size());
      const icu::UnicodeString expected(given.data(), length, name.c_str());
      for (int time = 0; time < 2; ++time) {
        ROW("time", time);
        const icu::UnicodeString found = toUnicode(given.data(), length, name.c_str());
        ASSERT_EQ(found.isBogus(), expected.isBogus()) << name;
        ASSERT_EQ(found, expected) << name;
      }
      const icu::UnicodeString measured = toUnicode(given.c_str(), -1, name.c_str());
      const icu::UnicodeString expectedToo(given.c_str(), -1, name.c_str());
      ASSERT_EQ(measured.isBogus(), expectedToo.isBogus()) << name;
      ASSERT_EQ(measured, expectedToo) << name;
    }
  }
}

void expectWritesAsIcu(const icu::UnicodeString& text, std::int32_t capacity, const char* name) {
  const auto byName = [&](char* room) {
    return text.extract(0, text.length(), capacity == 0 ? nullptr : room,
                        static_cast<std::uint32_t>(capacity), name);
  };
  const auto cached = [&](char* room) {
    return fromUnicode(text, capacity == 0 ? nullptr : room, capacity, name);
  };
  ASSERT_EQ(into(capacity, cached), into(capacity, byName))
      << (name == nullptr ? "default" : name) << ", " << capacity << " bytes for "
      << testing::PrintToString(text);
}

/// Texts that are converted without ICU, and texts that are not because of one unit.
std::vector<icu::UnicodeString> shortTexts() {
  std::vector<icu::UnicodeString> all;
  for (const char16_t* const line :
       {u"plain words, more than a block of them", u"caf\u00E9, gar\u00E7on, \u00FCber",
        u"\u20AC 5 \u2013 \u201Cfive\u201D", u"\u0421\u044A\u0435\u0448\u044C \u0451\u0449\u0451",
        u"\u65E5\u672C\u8A9E\u306E\u6587\u5B57\u5217", u"\U0001F600\U00020000x"}) {
    const icu::UnicodeString text(line);
    all.push_back(text);
    for (const char16_t odd : {char16_t{0xD83D}, char16_t{0xDE00}, char16_t{0x00AD}, char16_t{0}}) {
      all.push_back(icu::UnicodeString(text).append(odd));
      all.push_back(icu::UnicodeString(odd).append(text));
      all.push_back(icu::UnicodeString(text).insert(5, odd));
    }
  }
  return all;
}

TEST(Transcoding, WritesTheSameAsIcuIntoBuffersOfEverySize) {
  for (const std::string& name : rowsOf(codePages())) {
    for (const icu::UnicodeString& text : rowsOf(shortTexts())) {
      const std::int32_t size = text.extract(0, text.length(), nullptr, 0U, name.c_str());
      for (std::int32_t capacity = 0; capacity <= size + 2; ++capacity) {
        ROW("capacity", capacity);
        ASSERT_NO_FATAL_FAILURE(expectWritesAsIcu(text, capacity, name.c_str()));
      }
      ASSERT_NO_FATAL_FAILURE(expectWritesAsIcu(text, 4 * size + 1, name.c_str()));
    }
  }
}

// ICU's default is UTF-8 in these programs, and ICU converts it by a separate path.
TEST(Transcoding, WritesTheSameAsIcuInTheDefaultCodePage) {
  for (const icu::UnicodeString& text : rowsOf(shortTexts())) {
    const std::int32_t size = text.extract(0, text.length(), nullptr, 0U, nullptr);
    for (std::int32_t capacity = 0; capacity <= 3 * size + 2; ++capacity) {
      ROW("capacity", capacity);
      ASSERT_NO_FATAL_FAILURE(expectWritesAsIcu(text, capacity, nullptr));
    }
  }
}

// After a unit for which a code page has a short substitute, ICU's converter uses that substitute for a lone
// surrogate too, even after a reset.
TEST(Transcoding, ForgetsTheSubstituteOfTheLastText) {
  for (const std::string& name : rowsOf(codePages())) {
    for (char16_t before = 0; before < 0x180; ++before) {
      ROW("before", before);
      std::array<char, 8> bytes;
      fromUnicode(icu::UnicodeString(before), bytes.data(), 8, name.c_str());
      ASSERT_NO_FATAL_FAILURE(expectWritesAsIcu(icu::UnicodeString(char16_t{0xDE00}), 8, name.c_str()));
    }
  }
}

/// A random text of few kinds of characters, so that some texts consist of one kind. It sometimes contains a
/// lone surrogate or a control character.
icu::UnicodeString randomText(std::mt19937& random) {
  const auto below = [&](unsigned count) { return static_cast<unsigned>(random() % count); };
  const unsigned kinds = 1 + below(4);
  icu::UnicodeString text;
  for (auto left = static_cast<int>(below(120)); left > 0; --left) {
    const unsigned kind = below(40) == 0 ? 4 + below(3) : below(kinds);
    switch (kind) {
      case 0:
        text.append(static_cast<char16_t>(' ' + below(95)));
        break;
      case 1:
        text.append(static_cast<char16_t>(0xA0 + below(96)));
        break;
      case 2:
        text.append(static_cast<char16_t>(0x0100 + below(0x2600)));
        break;
      case 3:
        text.append(static_cast<char16_t>(0x3000 + below(0x8000)));
        break;
      case 4:
        text.append(static_cast<UChar32>(0x10000 + below(0x100000)));
        break;
      case 5:
        text.append(static_cast<char16_t>(0xD800 + below(0x800)));
        break;
      default:
        text.append(static_cast<char16_t>(below(0x10000)));
        break;
    }
  }
  return text;
}

/// A text that was read through Unicode must be written as that Unicode text is.
void expectTranscodes(const std::string& bytes, const char* codePage, const icu::UnicodeString& text) {
  if (bytes.empty()) return;
  for (const char* const to : rowsOf({"UTF-8", "UTF-16BE", "windows-1252", "Shift_JIS"})) {
    for (const std::int32_t capacity : rowsOf({0, 7, 4000})) {
      const auto whole = [&](char* room) { return fromUnicode(text, room, capacity, to); };
      const auto direct = [&](char* room) { return transcode(bytes, codePage, room, capacity, to); };
      ASSERT_EQ(into(capacity, direct), into(capacity, whole)) << codePage << " to " << to;
    }
  }
}

TEST(Transcoding, ConvertsRandomTextsLikeIcu) {
  constexpr unsigned seed = 20;
  std::mt19937 random(test::seeded(seed));
  for (const std::string& name : rowsOf(codePages())) {
    for (int time = 0; time < 60; ++time) {
      ROW("time", time);
      const icu::UnicodeString text = randomText(random);
      std::string bytes(1000, '\0');
      const std::int32_t size = text.extract(0, text.length(), bytes.data(), 1000U, name.c_str());
      const auto capacity = static_cast<std::int32_t>(random() % (static_cast<unsigned>(size) * 2 + 3));
      ASSERT_NO_FATAL_FAILURE(expectWritesAsIcu(text, capacity, name.c_str())) << "seed " << seed;
      bytes.resize(static_cast<std::size_t>(size));
      for (const bool damaged : rowsOf({false, true})) {
        if (damaged && !bytes.empty()) bytes[random() % bytes.size()] = static_cast<char>(random());
        const icu::UnicodeString expected(bytes.data(), size, name.c_str());
        ASSERT_EQ(toUnicode(bytes.data(), size, name.c_str()), expected) << name << ", seed " << seed;
        ASSERT_NO_FATAL_FAILURE(expectTranscodes(bytes, name.c_str(), expected)) << "seed " << seed;
      }
    }
  }
}

/// The buffer is larger than any text here needs, because ICU's string constructor never returns for some of
/// them.
icu::UnicodeString readByIcu(const std::string& bytes, const char* codePage) {
  std::array<char16_t, 4096> units;
  UErrorCode status = U_ZERO_ERROR;
  UConverter* const converter = ucnv_open(codePage, &status);
  const std::int32_t count = ucnv_toUChars(converter, units.data(), static_cast<std::int32_t>(units.size()),
                                           bytes.data(), static_cast<std::int32_t>(bytes.size()), &status);
  ucnv_close(converter);
  EXPECT_TRUE(U_SUCCESS(status));
  return {units.data(), count};
}

TEST(Transcoding, ReturnsIfASurrogatePairCrossesTheEndOfTheBuffer) {
  struct Row {
    const char* codePage;
    std::string bytes;
  };
  const Row rows[] = {
      {"SCSU", "\x0B\x01\x01" + std::string(14, '\x80')},
      {"SCSU", "\x0B\x01\x01" + std::string(200, '\x80')},
      {"BOCU-1", "\xFC\x4E\x5F\x77\x5D\x5A\x43\x7B\x4D\x6C\x60\x69\x5F\x57\x3C\x63\x55\x57\x7B"},
  };
  for (const Row& row : rowsOf(rows)) {
    const icu::UnicodeString expected = readByIcu(row.bytes, row.codePage);
    EXPECT_EQ(toUnicode(row.bytes.data(), static_cast<std::int32_t>(row.bytes.size()), row.codePage),
              expected);
    EXPECT_EQ(toUnicode(row.bytes.c_str(), -1, row.codePage), expected);
  }
  std::mt19937 random(test::seeded(20261121));
  for (int i = 0; i < 20'000; ++i) {
    ROW("i", i);
    std::string bytes(1 + random() % 60, '\0');
    for (char& byte : bytes)
      byte = static_cast<char>(random() % 3 == 0 ? random() % 0x20 : 0x80 + random() % 0x80);
    for (const char* const codePage :
         rowsOf({"SCSU", "BOCU-1", "UTF-7", "GB18030", "HZ", "LMBCS-1", "ISCII,version=0"})) {
      ASSERT_EQ(toUnicode(bytes.data(), static_cast<std::int32_t>(bytes.size()), codePage),
                readByIcu(bytes, codePage))
          << codePage << ", text " << i;
    }
  }
}

TEST(Transcoding, AllocatesNothingForAKnownCodePage) {
  const icu::UnicodeString text(512, u'\u00E9', 512);
  for (const char* const name :
       rowsOf({"windows-1252", "ISO-8859-1", "UTF-8", "UTF-16LE", "UTF-16BE", "Shift_JIS"})) {
    std::array<char, 2048> bytes;
    std::array<char, 2048> latin;
    fromUnicode(text, bytes.data(), 2048, name);
    transcode({bytes.data(), 512}, name, latin.data(), 2048, "ISO-8859-15");
    const test::AllocationCount count;
    const std::int32_t size = fromUnicode(text, bytes.data(), 2048, name);
    EXPECT_EQ(fromUnicode(text, nullptr, 0, name), size);
    EXPECT_GT(transcode({bytes.data(), 512}, name, latin.data(), 2048, "ISO-8859-15"), 0);
    EXPECT_EQ(count.made(), 0U) << name;
  }
}

TEST(Transcoding, TreatsANullNameAsTheDefault) {
  const icu::UnicodeString text(u"\u00E9\xD800");
  const auto byDefault = [&](char* room) { return text.extract(0, text.length(), room, 20U, nullptr); };
  EXPECT_EQ(into(20, [&](char* room) { return fromUnicode(text, room, 20, nullptr); }), into(20, byDefault));
  EXPECT_EQ(toUnicode("\xC3\xA9\xFF", 3, nullptr), icu::UnicodeString("\xC3\xA9\xFF", 3, nullptr));
  EXPECT_EQ(toUnicode(nullptr, 3, "UTF-8"), u"");
}

TEST(Transcoding, ReadsAnEmptyTextForEmptyData) {
  for (const char* const name : rowsOf({"ISO-8859-1", "UTF-8", "no-such-page", ""})) {
    for (const std::int32_t length : rowsOf({0, -2})) {
      EXPECT_EQ(toUnicode("abc", length, name), icu::UnicodeString("abc", length, name));
    }
    EXPECT_EQ(toUnicode(nullptr, 3, name), u"");
  }
}

TEST(Transcoding, WritesNothingIfTheTargetHasNoRoom) {
  for (const char* const name : rowsOf({"ISO-8859-1", "no-such-page"})) {
    char mark = '#';
    EXPECT_EQ(fromUnicode(u"abc", &mark, 0, name), fromUnicode(u"abc", nullptr, 0, name));
    EXPECT_EQ(mark, '#');
  }
}

TEST(Transcoding, WritesNothingToANullTargetForAnyCapacity) {
  const DefaultCodePage utf8("UTF-8");
  for (const char* const name :
       rowsOf({"ISO-8859-1", "UTF-8", "Shift_JIS", "", static_cast<const char*>(nullptr)})) {
    ROW(name == nullptr ? "the default" : name);
    const icu::UnicodeString text(u"abc");
    EXPECT_EQ(fromUnicode(text, nullptr, 5, name), text.extract(0, 3, nullptr, 5, name));
  }
}

}  // namespace
}  // namespace tarvo::text
