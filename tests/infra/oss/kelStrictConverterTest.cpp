#include "infra/oss/kelConverter.hpp"
#include "infra/oss/kelNLSException.hpp"
#include "infra/oss/kelStrictConverter.hpp"

#include "support/kelDefaultCodePage.hpp"
#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"

#include <gtest/gtest.h>
#include <unicode/ucnv.h>
#include <unicode/unistr.h>
#include <unicode/uset.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

namespace tarvo::test {
namespace {

using namespace std::string_literals;
using oss::Converter;
using oss::NLSException;
using oss::StrictConverter;
using Fault = StrictConverter::Fault;

std::string hex(const char* bytes, std::int32_t length) {
  std::string digits;
  for (std::int32_t i = 0; i < length; ++i) {
    std::array<char, 3> two{};
    std::snprintf(two.data(), two.size(), "%02X", static_cast<unsigned char>(bytes[i]));
    digits += two.data();
  }
  return digits;
}

/// A fault as text, such as "illegal @4 2:1 FF" and "unmappable @4 2:1 U+20AC".
std::string shown(const Fault& fault) {
  const char* const kind = fault.kind == Fault::ILLEGAL     ? "illegal"
                           : fault.kind == Fault::TRUNCATED ? "truncated"
                                                            : "unmappable";
  std::array<char, 16> character{};
  std::snprintf(character.data(), character.size(), "U+%04X", static_cast<unsigned>(fault.character));
  return kind + " @"s + std::to_string(fault.offset) + " " + std::to_string(fault.line) + ":" +
         std::to_string(fault.column) + " " +
         (fault.character >= 0 ? character.data() : hex(fault.bytes, fault.length));
}

struct Converted {
  std::string bytes;
  std::vector<std::string> faults;

  friend bool operator==(const Converted&, const Converted&) = default;
  friend std::ostream& operator<<(std::ostream& out, const Converted& converted) {
    out << testing::PrintToString(converted.bytes);
    for (const std::string& fault : converted.faults) out << ", " << fault;
    return out;
  }
};

/// The sizes of the windows in which a stream is given and taken.
struct Windows {
  std::size_t source;
  std::size_t target;
};

/// Converts a stream and skips its faults; each is replaced by `replacement` if that is not 0.
Converted convertedIn(Windows windows, const char* from, const char* to, const std::string& stream,
                      std::int32_t replacement = 0) {
  StrictConverter converter(from, to);
  Converted result;
  std::string room(windows.target, '\0');
  std::size_t at = 0;
  for (std::size_t calls = 0; calls < 40 * stream.size() + 400; ++calls) {
    const std::size_t size = std::min(windows.source, stream.size() - at);
    const bool last = at + size == stream.size();
    const char* source = stream.data() + at;
    char* target = room.data();
    const auto status = converter.convert(source, source + size, target, target + room.size(), last);
    at = static_cast<std::size_t>(source - stream.data());
    result.bytes.append(room.data(), target);
    if (status == StrictConverter::INPUT_EMPTY && last) return result;
    if (status != StrictConverter::FAULT) continue;
    result.faults.push_back(shown(converter.fault()));
    if (replacement != 0) converter.replaceFault(replacement);
  }
  ADD_FAILURE() << "the stream does not end";
  return result;
}

/// Converts a stream in one piece, and expects the same from other windows.
Converted converted(const char* from, const char* to, const std::string& stream,
                    std::int32_t replacement = 0) {
  constexpr std::size_t large = 100'000;
  Converted whole = convertedIn({large, large}, from, to, stream, replacement);
  for (const Windows windows : {Windows{1, 1}, {1, large}, {large, 1}, {3, 7}, {50, 40}, {2500, 999}}) {
    EXPECT_EQ(convertedIn(windows, from, to, stream, replacement), whole)
        << from << " to " << to << ", windows of " << windows.source << " and " << windows.target;
  }
  return whole;
}

Converted clean(std::string bytes) {
  return {std::move(bytes), {}};
}

// --- clean streams

TEST(StrictConverter, ConvertsACleanStream) {
  EXPECT_EQ(converted("UTF-8", "ISO-8859-1",
                      "Gr\xC3\xBC\xC3\x9F"
                      "e\n"),
            clean("Gr\xFC\xDF"
                  "e\n"));
  EXPECT_EQ(converted("Shift_JIS", "UTF-8", "\x93\xFA\x96\x7B"), clean("\xE6\x97\xA5\xE6\x9C\xAC"));
  EXPECT_EQ(converted("UTF-8", "UTF-8", "\xF0\x9F\x98\x80"), clean("\xF0\x9F\x98\x80"));
  EXPECT_EQ(converted("UTF-8", "UTF-16BE", ""), clean(""));
}

TEST(StrictConverter, KeepsZeroBytes) {
  EXPECT_EQ(converted("UTF-8", "ISO-8859-1", "a\0b"s), clean("a\0b"s));
}

TEST(StrictConverter, ConvertsCodePagesWithStates) {
  const std::string utf8 =
      "a\xE6\x97\xA5\xE6\x9C\xAC"
      "b";
  const std::string iso2022 = "a\x1B$BF|K\\\x1B(Bb";
  EXPECT_EQ(converted("ISO-2022-JP", "UTF-8", iso2022), clean(utf8));
  EXPECT_EQ(converted("UTF-8", "ISO-2022-JP", utf8), clean(iso2022));
  EXPECT_EQ(converted("UTF-7", "UTF-8", "a+ZeVnLA-b"), clean(utf8));
  EXPECT_EQ(converted("UTF-8", "UTF-7", utf8), clean("a+ZeVnLA-b"));
}

TEST(StrictConverter, ReturnsToTheFirstStateAtTheEndOfTheStream) {
  EXPECT_EQ(converted("UTF-8", "ISO-2022-JP", "\xE6\x97\xA5"), clean("\x1B$BF|\x1B(B"));
}

TEST(StrictConverter, ReadsAndWritesByteOrderMarks) {
  EXPECT_EQ(converted("UTF-16", "UTF-8",
                      "\xFF\xFE"
                      "a\0"s),
            clean("a"));
  EXPECT_EQ(converted("UTF-16", "UTF-8", "\xFE\xFF\0a"s), clean("a"));
  EXPECT_EQ(converted("UTF-32", "UTF-8", "\xFF\xFE\0\0a\0\0\0"s), clean("a"));
  EXPECT_EQ(converted("UTF-8", "UTF-16BE,version=1", "a"), clean("\xFE\xFF\0a"s));
  EXPECT_EQ(converted("UTF-8", "UTF-8",
                      "\xEF\xBB\xBF"
                      "a"),
            clean("\xEF\xBB\xBF"
                  "a"));
}

TEST(StrictConverter, TreatsAMarkOfUTF8AsACharacter) {
  EXPECT_EQ(converted("UTF-8", "ISO-8859-1",
                      "\xEF\xBB\xBF"
                      "a"),
            (Converted{"a", {"unmappable @0 1:1 U+FEFF"}}));
}

/// A text of all kinds of characters that the code page contains, longer than a block.
icu::UnicodeString textFor(const char* codePage) {
  UErrorCode status = U_ZERO_ERROR;
  UConverter* const converter = ucnv_open(codePage, &status);
  USet* const set = uset_openEmpty();
  ucnv_getUnicodeSet(converter, set, UCNV_ROUNDTRIP_SET, &status);
  ucnv_close(converter);
  icu::UnicodeString text;
  const std::int32_t size = uset_size(set);
  for (std::int32_t i = 0; i < 6000 && size > 0; ++i) {
    const UChar32 character = uset_charAt(set, static_cast<std::int32_t>(i * 7919LL % size));
    // These are also controls of some encodings.
    const bool isControl = character < 0x20 || character == 0xFEFF || character == u'~' || character == 0x7F;
    if (!isControl && (character < 0xD800 || character > 0xF8FF)) text.append(character);
    if (i % 61 == 0) text.append(u'\n');
  }
  uset_close(set);
  return text;
}

TEST(StrictConverter, ConvertsCleanTextAsConverterDoes) {
  for (const char* const page :
       rowsOf({"UTF-8",       "UTF-16LE",   "UTF-16BE",  "UTF-16", "UTF-32", "ISO-8859-1", "windows-1252",
               "KOI8-R",      "ibm-37",     "Shift_JIS", "EUC-JP", "Big5",   "GB18030",    "EUC-KR",
               "ISO-2022-JP", "HZ-GB-2312", "UTF-7",     "CESU-8", "BOCU-1", "ibm-930"})) {
    const icu::UnicodeString text = textFor(page);
    const std::int32_t size = Converter::convert(nullptr, 0, page, text);
    std::string bytes(static_cast<std::size_t>(size), '\0');
    Converter::convert(bytes.data(), size, page, text);
    bytes.pop_back();
    std::string utf8;
    text.toUTF8String(utf8);
    EXPECT_EQ(converted(page, "UTF-8", bytes), clean(utf8)) << page;
    EXPECT_EQ(converted("UTF-8", page, utf8), clean(bytes)) << page;
  }
}

// --- faults

struct FaultRow {
  const char* why;
  const char* from;
  const char* to;
  std::string stream;
  Converted result;
};

TEST(StrictConverter, ReportsEachFaultWithItsPlace) {
  const std::vector<FaultRow> rows = {
      {"a byte that begins no character",
       "UTF-8",
       "UTF-16BE",
       "a\xFF"
       "b",
       {"\0a\0b"s, {"illegal @1 1:2 FF"}}},
      {"an incomplete character",
       "UTF-8",
       "UTF-8",
       "a\xE2\x82"
       "b",
       {"ab", {"illegal @1 1:2 E282"}}},
      {"an overlong character",
       "UTF-8",
       "UTF-8",
       "\xC0\x80",
       {"", {"illegal @0 1:1 C0", "illegal @1 1:2 80"}}},
      {"half of a pair in UTF-8",
       "UTF-8",
       "UTF-8",
       "\xED\xA0\x80",
       {"", {"illegal @0 1:1 ED", "illegal @1 1:2 A0", "illegal @2 1:3 80"}}},
      {"the end inside a character",
       "UTF-8",
       "UTF-8",
       "a\n\xF0\x9F\x98",
       {"a\n", {"truncated @2 2:1 F09F98"}}},
      {"a character that is not in the target",
       "UTF-8",
       "ISO-8859-1",
       "ab\n\xE2\x82\xAC",
       {"ab\n", {"unmappable @3 2:1 U+20AC"}}},
      {"a supplementary character",
       "UTF-8",
       "windows-1252",
       "a\xF0\x9F\x98\x80z",
       {"az", {"unmappable @1 1:2 U+1F600"}}},
      {"an invisible character, which ICU drops",
       "UTF-8",
       "ISO-8859-1",
       "a\xE2\x80\x8D"
       "b",
       {"ab", {"unmappable @1 1:2 U+200D"}}},
      {"a byte above ASCII",
       "US-ASCII",
       "UTF-8",
       "a\x80\xFF",
       {"a", {"illegal @1 1:2 80", "illegal @2 1:3 FF"}}},
      {"a byte of no character",
       "ISO-8859-7",
       "UTF-8",
       "a\xD2"
       "b",
       {"ab", {"illegal @1 1:2 D2"}}},
      {"a wrong second byte", "Shift_JIS", "UTF-8", "\x93\x20", {" ", {"illegal @0 1:1 93"}}},
      {"the end inside a pair of bytes",
       "Shift_JIS",
       "UTF-8",
       "\x93\xFA\x96",
       {"\xE6\x97\xA5", {"truncated @2 1:2 96"}}},
      {"the end inside four bytes", "GB18030", "UTF-8", "a\x81\x30\x81", {"a", {"truncated @1 1:2 813081"}}},
      {"half of a pair in UTF-16", "UTF-16BE", "UTF-8", "\xD8\x00\x00\x41"s, {"A", {"illegal @0 1:1 D800"}}},
      {"a second half in UTF-16",
       "UTF-16LE",
       "UTF-8",
       "A\0\0\xDC"
       "B\0"s,
       {"AB", {"illegal @2 1:2 00DC"}}},
      {"the end inside a pair of UTF-16",
       "UTF-16LE",
       "UTF-8",
       "A\0\0\xD8"s,
       {"A", {"truncated @2 1:2 00D8"}}},
      {"half a unit at the end", "UTF-16", "UTF-8", "\xFE\xFF\0A\0"s, {"A", {"truncated @4 1:2 00"}}},
      {"a number above Unicode",
       "UTF-32BE",
       "UTF-8",
       "\0\x11\0\0\0\0\0A"s,
       {"A", {"illegal @0 1:1 00110000"}}},
      {"bytes after an escape",
       "ISO-2022-JP",
       "UTF-8",
       "\x1B$BF|\x1B(B\x80z",
       {"\xE6\x97\xA5z", {"illegal @8 1:2 80"}}},
      {"the end inside an escape", "ISO-2022-JP", "UTF-8", "a\x1B$", {"a", {"truncated @1 1:2 1B24"}}},
      {"a character that the states lack",
       "UTF-8",
       "ISO-2022-JP",
       "\xE6\x97\xA5\xF0\x9F\x98\x80\xE6\x9C\xAC",
       {"\x1B$BF|K\\\x1B(B", {"unmappable @3 1:2 U+1F600"}}},
      {"a byte above ASCII in UTF-7",
       "UTF-7",
       "UTF-8",
       "a+ZeU-\xE4z",
       {"a\xE6\x97\xA5z", {"illegal @6 1:3 E4"}}},
      {"half of a pair in UTF-7", "UTF-7", "UTF-8", "a+2D0-b", {"ab", {"illegal @2 1:2 U+D83D"}}},
  };
  for (const FaultRow& row : rowsOf(rows)) {
    EXPECT_EQ(converted(row.from, row.to, row.stream), row.result) << row.why;
  }
}

TEST(StrictConverter, ReportsAllFaultsInTheOrderOfTheStream) {
  EXPECT_EQ(converted("UTF-8", "ISO-8859-1",
                      "\xE2\x82\xAC\xFF\n\xE2\x82\xAC"
                      "a\xE2\x82"),
            (Converted{"\na",
                       {"unmappable @0 1:1 U+20AC", "illegal @3 1:2 FF", "unmappable @5 2:1 U+20AC",
                        "truncated @9 2:3 E282"}}));
}

TEST(StrictConverter, FindsAFaultAfterManyCleanBlocks) {
  for (const char* const from : rowsOf({"UTF-8", "ISO-8859-7", "Shift_JIS", "ISO-2022-JP"})) {
    std::string stream;
    for (int line = 0; line < 1000; ++line) stream += "a clean line\n";
    stream +=
        "bad \xFF"
        "end";
    const Converted result = converted(from, "UTF-16BE", stream);
    EXPECT_EQ(result.faults, std::vector<std::string>{"illegal @13004 1001:5 FF"}) << from;
    EXPECT_EQ(result.bytes.size(), 2 * (stream.size() - 1)) << from;
  }
}

TEST(StrictConverter, FindsFaultsAtEachDistanceFromTheEndOfABlock) {
  for (std::size_t before = 2030; before < 2070; ++before) {
    const std::string stream = std::string(before, 'x') + "\xE2\x82\xAC\xF0\x9F\x98" + std::string(50, 'y');
    const std::string place = std::to_string(before);
    const std::string next = std::to_string(before + 3);
    EXPECT_EQ(converted("UTF-8", "ISO-8859-15", stream),
              (Converted{std::string(before, 'x') + "\xA4" + std::string(50, 'y'),
                         {"illegal @" + next + " 1:" + std::to_string(before + 2) + " F09F98"}}));
    EXPECT_EQ(convertedIn({9999, 9999}, "UTF-8", "US-ASCII", stream).faults.front(),
              "unmappable @" + place + " 1:" + std::to_string(before + 1) + " U+20AC");
  }
}

TEST(StrictConverter, CountsColumnsInCodePoints) {
  EXPECT_EQ(converted("UTF-8", "UTF-8", "\xE2\x82\xAC\xF0\x9F\x98\x80\xFF\xFF").faults,
            (std::vector<std::string>{"illegal @7 1:3 FF", "illegal @8 1:4 FF"}));
  std::string line;
  for (int i = 0; i < 100; ++i) line += "\xF0\x9F\x98\x80";
  EXPECT_EQ(converted("UTF-8", "UTF-8", line + "\r" + line + "\n" + line + "\xFF").faults,
            (std::vector<std::string>{"illegal @1202 2:101 FF"}));
}

TEST(StrictConverter, DoesNotMistakeCharactersForSubstitutes) {
  const std::string all = "?\x1A\x7F\xEF\xBF\xBD" + std::string(100, '?') + std::string(100, '\x1A');
  EXPECT_EQ(converted("UTF-8", "UTF-8", all), clean(all));
  const std::string single = std::string(100, '?') + std::string(100, '\x1A');
  for (const char* const page : rowsOf({"US-ASCII", "ISO-8859-1", "windows-1252", "ISO-8859-7", "ibm-437"})) {
    EXPECT_EQ(converted("UTF-8", page, single).faults.size(), 0U) << page;
  }
  EXPECT_EQ(converted("UTF-8", "windows-1252", single + "\xEF\xBF\xBD").faults,
            std::vector<std::string>{"unmappable @200 1:201 U+FFFD"});
}

TEST(StrictConverter, WritesNothingOfAFaultOrAfterIt) {
  StrictConverter converter("UTF-8", "ISO-8859-1");
  const std::string stream = std::string(5000, 'a') + "\xE2\x82\xAC" + std::string(5000, 'b');
  std::string room(20000, '\0');
  const char* source = stream.data();
  char* target = room.data();
  EXPECT_EQ(converter.convert(source, source + stream.size(), target, target + room.size(), true),
            StrictConverter::FAULT);
  EXPECT_EQ(std::string(room.data(), target), std::string(5000, 'a'));
}

TEST(StrictConverter, WritesTheReplacementInPlaceOfAFault) {
  EXPECT_EQ(converted("UTF-8", "ISO-2022-JP", "\xE6\x97\xA5\xFF\xF0\x9F\x98\x80z", 0x3013).bytes,
            "\x1B$BF|\".\".\x1B(Bz");
  EXPECT_EQ(converted("UTF-8", "UTF-16BE",
                      "a\xFF\xFE"
                      "b",
                      0x1F600)
                .bytes,
            "\0a\xD8\x3D\xDE\x00\xD8\x3D\xDE\x00\0b"s);
}

TEST(StrictConverter, ReportsAReplacementThatIsNotInTheTarget) {
  StrictConverter converter("UTF-8", "US-ASCII");
  const std::string stream = "a\xFF";
  std::array<char, 8> room{};
  const char* source = stream.data();
  char* target = room.data();
  const auto next = [&] {
    return converter.convert(source, stream.data() + stream.size(), target, room.data() + room.size(), true);
  };
  EXPECT_EQ(next(), StrictConverter::FAULT);
  for (int repeated = 0; repeated < 1000; ++repeated) {
    converter.replaceFault(repeated % 2 == 0 ? 0xFFFD : 0x1F600);
    ASSERT_EQ(next(), StrictConverter::FAULT);
    ASSERT_EQ(shown(converter.fault()),
              repeated % 2 == 0 ? "unmappable @1 1:2 U+FFFD" : "unmappable @1 1:2 U+1F600");
  }
  converter.replaceFault(U'?');
  EXPECT_EQ(next(), StrictConverter::INPUT_EMPTY);
  EXPECT_EQ(std::string(room.data(), target), "a?");
}

// --- the end, windows, and wrong use

TEST(StrictConverter, DoesNothingAfterTheEndOfTheStream) {
  StrictConverter converter("UTF-8", "UTF-16BE,version=1");
  std::array<char, 8> room{};
  char* target = room.data();
  const char* source = "a";
  const char* const end = source + 1;
  EXPECT_EQ(converter.convert(source, end, target, room.data() + 8, true), StrictConverter::INPUT_EMPTY);
  EXPECT_EQ(target, room.data() + 4);
  source = "b";
  const char* const before = source;
  EXPECT_EQ(converter.convert(source, source + 1, target, room.data() + 8, true),
            StrictConverter::INPUT_EMPTY);
  EXPECT_EQ(source, before);
  EXPECT_EQ(target, room.data() + 4);
}

TEST(StrictConverter, TakesEmptyWindows) {
  StrictConverter converter("UTF-8", "UTF-8");
  const char* source = nullptr;
  char* target = nullptr;
  EXPECT_EQ(converter.convert(source, nullptr, target, nullptr, false), StrictConverter::INPUT_EMPTY);
  source = "a";
  EXPECT_EQ(converter.convert(source, source + 1, target, nullptr, true), StrictConverter::OUTPUT_FULL);
  EXPECT_EQ(converter.convert(source, source, target, nullptr, true), StrictConverter::OUTPUT_FULL);
  char byte = '\0';
  target = &byte;
  EXPECT_EQ(converter.convert(source, source, target, &byte + 1, true), StrictConverter::INPUT_EMPTY);
  EXPECT_EQ(byte, 'a');
}

TEST(StrictConverter, RaisesTheErrorOfConverterForAnUnknownCodePage) {
  const auto raised = [](const char* to, const char* from) {
    return Raises<NLSException>("ERR_CONV_CONVERSION_ERROR", to, from).from("kelStrictConverter.cpp");
  };
  EXPECT_THAT([] { StrictConverter("no-such-page", "UTF-8"); }, raised("UTF-8", "no-such-page"));
  EXPECT_THAT([] { StrictConverter("UTF-8", "no-such-page"); }, raised("no-such-page", "UTF-8"));
  EXPECT_THAT([] { StrictConverter(nullptr, "no-such-page"); },
              raised("no-such-page", ucnv_getDefaultName()));
  EXPECT_THAT([] { StrictConverter("no-such-page", ""); }, raised(ucnv_getDefaultName(), "no-such-page"));
}

TEST(StrictConverter, UsesTheDefaultConverterForNullAndTheEmptyName) {
  const std::string bytes = inDefaultCodePage(u"text");
  EXPECT_EQ(converted(nullptr, "UTF-8", bytes), clean("text"));
  EXPECT_EQ(converted("UTF-8", "", "text"), clean(bytes));
}

// --- Unicode text

TEST(StrictConverter, AppendsToAText) {
  StrictConverter converter("Shift_JIS", StrictConverter::unicode());
  icu::UnicodeString text(u"before ");
  for (const std::string piece : {"\x93", "\xFA\x96", "\x7B"}) {
    const char* source = piece.data();
    EXPECT_EQ(converter.convert(source, source + piece.size(), text, false), StrictConverter::INPUT_EMPTY);
    EXPECT_EQ(source, piece.data() + piece.size());
  }
  const char* source = nullptr;
  EXPECT_EQ(converter.convert(source, nullptr, text, true), StrictConverter::INPUT_EMPTY);
  EXPECT_EQ(text, icu::UnicodeString(u"before 日本"));
}

TEST(StrictConverter, AppendsWhatIsBeforeAFaultToAText) {
  StrictConverter converter("UTF-8", StrictConverter::unicode());
  icu::UnicodeString text;
  const std::string stream = std::string(3'000'000, 'a') +
                             "\xFF"
                             "b";
  const char* source = stream.data();
  const char* const end = source + stream.size();
  EXPECT_EQ(converter.convert(source, end, text, true), StrictConverter::FAULT);
  EXPECT_EQ(text.length(), 3'000'000);
  EXPECT_EQ(converter.fault().offset, 3'000'000U);
  EXPECT_EQ(converter.convert(source, end, text, true), StrictConverter::INPUT_EMPTY);
  EXPECT_EQ(text.length(), 3'000'001);
}

TEST(StrictConverter, ConvertsAText) {
  StrictConverter converter(StrictConverter::unicode(), "windows-1252");
  const icu::UnicodeString text = u"5 €, 1 ₤, \xD83D";
  std::string room(100, '\0');
  char* target = room.data();
  char* const end = room.data() + room.size();
  std::int32_t start = 0;
  EXPECT_EQ(converter.convert(text, start, target, end, true), StrictConverter::FAULT);
  EXPECT_EQ(shown(converter.fault()), "unmappable @14 1:8 U+20A4");
  EXPECT_EQ(converter.convert(text, start, target, end, true), StrictConverter::FAULT);
  EXPECT_EQ(shown(converter.fault()).substr(0, 19), "truncated @20 1:11 ");
  EXPECT_EQ(converter.convert(text, start, target, end, true), StrictConverter::INPUT_EMPTY);
  EXPECT_EQ(start, text.length());
  EXPECT_EQ(std::string(room.data(), target), "5 \x80, 1 , ");
}

TEST(StrictConverter, RefusesATextIfTheCodePageIsNotUnicode) {
  StrictConverter converter("UTF-8", "UTF-8");
  icu::UnicodeString text;
  const char* source = "a";
  std::int32_t start = 0;
  char* target = nullptr;
  const auto refused =
      Raises<NLSException>("ERR_CONV_CONVERSION_ERROR", "UTF-8", "UTF-8").from("kelStrictConverter.cpp");
  EXPECT_THAT([&] { converter.convert(source, source + 1, text, true); }, refused);
  EXPECT_THAT([&] { converter.convert(text, start, target, nullptr, true); }, refused);
}

TEST(StrictConverter, ConvertsInSeveralThreadsAtOnce) {
  std::vector<std::thread> threads;
  std::array<bool, 4> equal{};
  for (bool& result : equal) {
    threads.emplace_back([&result] {
      const std::string stream = std::string(5000, 'a') + "\xC3\xBC\xE2\x82\xAC";
      const Converted expected{std::string(5000, 'a') + "\xFC", {"unmappable @5002 1:5002 U+20AC"}};
      result = true;
      for (int i = 0; i < 50; ++i) {
        result = result && convertedIn({700, 300}, "UTF-8", "ISO-8859-1", stream) == expected;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(equal, (std::array<bool, 4>{true, true, true, true}));
}

TEST(StrictConverter, CanBeUsedInAnotherThreadThanTheOneThatMadeIt) {
  StrictConverter converter("UTF-8", "KOI8-R");
  std::string bytes;
  std::thread([&] {
    std::string stream;
    for (int i = 0; i < 100; ++i) stream += "\xD0\xB0\xE2\x94\x80";
    std::string room(1000, '\0');
    const char* source = stream.data();
    char* target = room.data();
    converter.convert(source, source + stream.size(), target, target + room.size(), true);
    bytes.assign(room.data(), target);
  }).join();
  std::string expected;
  for (int i = 0; i < 100; ++i) expected += "\xC1\x80";
  EXPECT_EQ(bytes, expected);
}

// --- findMalformed

TEST(StrictConverter, FindsTheFirstMalformedSequence) {
  struct Row {
    const char* why;
    std::string bytes;
    std::size_t offset;
  };
  const std::vector<Row> rows = {
      {"empty", "", 0},
      {"ASCII", "abc", 3},
      {"all sizes", "a\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80", 10},
      {"a continuation byte", "a\x80", 1},
      {"FF", "ab\xFF", 2},
      {"overlong", "\xC0\x80", 0},
      {"half of a pair", "a\xED\xA0\x80", 1},
      {"above U+10FFFF", "\xF4\x90\x80\x80", 0},
      {"cut", "ab\xF0\x9F\x98", 2},
  };
  for (const Row& row : rowsOf(rows)) {
    EXPECT_EQ(StrictConverter::findMalformed(row.bytes.data(), row.bytes.size()), row.offset) << row.why;
    for (const std::size_t before : {100U, 4090U, 4095U, 4096U, 9000U}) {
      const std::string longer = std::string(before, 'x') + row.bytes;
      EXPECT_EQ(StrictConverter::findMalformed(longer.data(), longer.size()), before + row.offset) << row.why;
    }
  }
  EXPECT_EQ(StrictConverter::findMalformed(nullptr, 0), 0U);
}

TEST(StrictConverter, FindsTheMalformedSequenceAtEachPlace) {
  std::string text;
  while (text.size() < 10'000) text += "a\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80";
  EXPECT_EQ(StrictConverter::findMalformed(text.data(), text.size()), text.size());
  for (std::size_t at = 4000; at < 4200; ++at) {
    std::string damaged = text;
    damaged[at] = '\xFF';
    std::size_t begin = at;  // of the character that is damaged
    while ((text[begin] & 0xC0) == 0x80) --begin;
    EXPECT_EQ(StrictConverter::findMalformed(damaged.data(), damaged.size()), begin);
  }
}

TEST(StrictConverter, FindsNothingInMemoryOfContinuationBytesBeyondTheFirst) {
  const std::string bytes(20'000, '\x80');
  EXPECT_EQ(StrictConverter::findMalformed(bytes.data(), bytes.size()), 0U);
}

}  // namespace
}  // namespace tarvo::test
