#include "infra/oss/kelNLSException.hpp"
#include "infra/oss/kelStringTokenizer.hpp"

#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"
#include "support/kelSeed.hpp"
#include "support/kelTokenizerModel.hpp"
#include "support/kelTraceRecorder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace tarvo::test {
namespace {

using oss::NLSException;
using oss::StringTokenizer;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Texts = std::vector<icu::UnicodeString>;

static_assert(!std::is_copy_constructible_v<StringTokenizer> && !std::is_copy_assignable_v<StringTokenizer>);
static_assert(!std::is_polymorphic_v<StringTokenizer>);
static_assert(std::is_same_v<decltype(std::declval<StringTokenizer&>().getNextTokenString()),
                             const icu::UnicodeString>);

// --- the model

TEST(StringTokenizerModel, GivesAnEmptyTokenOnlyForLeadingDelimiters) {
  using Tokens = std::vector<std::u16string>;
  EXPECT_EQ(modelTokens(u"", u","), Tokens{});
  EXPECT_EQ(modelTokens(u",,,", u","), Tokens{u""});
  EXPECT_EQ(modelTokens(u",a", u","), (Tokens{u"", u"a"}));
  EXPECT_EQ(modelTokens(u"a,", u","), Tokens{u"a"});
  EXPECT_EQ(modelTokens(u"a,,b", u","), (Tokens{u"a", u"b"}));
  EXPECT_EQ(modelTokens(u"a\r\nb", u"\r\n"), (Tokens{u"a", u"b"}));
}

icu::UnicodeString unicode(const std::u16string& text) {
  return {text.data(), static_cast<std::int32_t>(text.size())};
}

Texts allTokens(StringTokenizer& tokenizer) {
  Texts tokens;
  while (tokenizer.hasMoreTokens()) tokens.push_back(tokenizer.getNextTokenString());
  return tokens;
}

Texts tokensOf(const icu::UnicodeString& text, const char* delimiters) {
  StringTokenizer tokenizer(text, delimiters);
  return allTokens(tokenizer);
}

// --- splitting

TEST(StringTokenizer, SplitsAtRunsOfDelimiters) {
  struct Row {
    const char* why;
    const char16_t* text;
    const char* delimiters;
    Texts expected;
  };
  const auto rows = std::to_array<Row>({
      {"empty", u"", ",", {}},
      {"no delimiter", u"abc", ",", {u"abc"}},
      {"two in a row", u"a,,b", ",", {u"a", u"b"}},
      {"different ones in a row", u"a, ;b", ";, ", {u"a", u"b"}},
      {"at the end: no token", u"a,", ",", {u"a"}},
      {"at the start: an empty token", u",a", ",", {u"", u"a"}},
      {"several at the start: one empty token", u",,,a", ",", {u"", u"a"}},
      {"nothing else: one empty token", u",,,", ",", {u""}},
      {"one alone", u",", ",", {u""}},
      {"blank at the start", u" a b", nullptr, {u"", u"a", u"b"}},
      {"blank at the end", u"a b ", nullptr, {u"a", u"b"}},
      {"CR LF, both delimiters", u"x\r\ny", nullptr, {u"x", u"y"}},
      {"CR LF at the start", u"\r\nx", nullptr, {u"", u"x"}},
      {"CR LF, only LF is a delimiter", u"x\r\ny", "\n", {u"x\r", u"y"}},
      {"CR LF, only CR is a delimiter", u"x\r\ny", "\r", {u"x", u"\ny"}},
      {"the four defaults", u"a b\rc\nd\te\vf", nullptr, {u"a", u"b", u"c", u"d", u"e\vf"}},
      {"empty means the defaults", u"a b\rc\nd\te\vf", "", {u"a", u"b", u"c", u"d", u"e\vf"}},
      {"a delimiter given twice", u"a,b", ",,", {u"a", u"b"}},
      {"U+FFFF is a unit as any other", u"a\xFFFF,b", ",", {u"a\xFFFF", u"b"}},
      {"delimiter 127",
       u"a\x7F"
       u"b\xFF",
       "\x7F",
       {u"a", u"b\xFF"}},
      {"a byte above 7F is the unit of its number", u"a\xE9_\xE8", "\xE9", {u"a", u"_\xE8"}},
      {"a delimiter in UTF-8 is two units", u"a\xE9_\xC3_\xA9", "\xC3\xA9", {u"a\xE9_", u"_"}},
  });
  for (const auto& row : rowsOf(rows)) {
    StringTokenizer tokenizer(row.text, row.delimiters);
    EXPECT_EQ(tokenizer.countTokens(), static_cast<int>(row.expected.size()));
    EXPECT_EQ(tokenizer.hasMoreTokens(), !row.expected.empty());
    EXPECT_EQ(allTokens(tokenizer), row.expected);
    EXPECT_EQ(tokenizer.countTokens(), static_cast<int>(row.expected.size()));
  }
}

TEST(StringTokenizer, HasFourDefaultDelimiters) {
  const std::u16string_view defaults = u" \r\n\t";
  for (unsigned int unit = 1; unit <= 0xFFFF; ++unit) {
    ROW("unit", unit);
    if (U_IS_SURROGATE(unit)) continue;
    icu::UnicodeString text(u"a");
    text.append(static_cast<char16_t>(unit)).append(u'b');
    const int tokens = defaults.find(static_cast<char16_t>(unit)) == defaults.npos ? 1 : 2;
    for (const char* const delimiters : rowsOf({static_cast<const char*>(nullptr), ""})) {
      ASSERT_EQ(StringTokenizer(text, delimiters).countTokens(), tokens) << std::hex << "U+" << unit;
      ASSERT_EQ(StringTokenizer(utf8(text).c_str(), "UTF-8", delimiters).countTokens(), tokens)
          << std::hex << "U+" << unit << " in UTF-8";
    }
  }
}

TEST(StringTokenizer, SplitsEveryShortTextAsTheModelDoes) {
  const std::u16string alphabet = u"a,\r\n";
  const auto sets = std::to_array<std::pair<const char*, std::u16string>>({{",", u","},
                                                                           {"\r\n", u"\r\n"},
                                                                           {",\n", u",\n"},
                                                                           {",\r", u",\r"},
                                                                           {",\n\r", u",\n\r"},
                                                                           {nullptr, u" \r\n\t"}});
  std::vector<std::u16string> texts = {u""};
  for (std::size_t i = 0; i < texts.size() && texts[i].size() < 6; ++i) {
    for (const char16_t unit : alphabet) texts.push_back(texts[i] + unit);
  }
  for (const auto& [delimiters, set] : rowsOf(sets)) {
    for (const std::u16string& text : rowsOf(texts)) {
      Texts expected;
      for (const std::u16string& token : modelTokens(text, set)) expected.push_back(unicode(token));
      ASSERT_EQ(tokensOf(unicode(text), delimiters), expected)
          << utf8(unicode(text)) << " at " << utf8(unicode(set));
    }
  }
}

TEST(StringTokenizer, DistinguishesTheSurrogatesOfASupplementaryCharacter) {
  // U+1F600 is D83D DE00, U+1F601 is D83D DE01, U+1F300 is D83C DF00.
  StringTokenizer tokenizer(
      "a\xF0\x9F\x98\x81"
      "b\xF0\x9F\x8C\x80"
      "c",
      "UTF-8", "\xF0\x9F\x98\x80");
  EXPECT_EQ(allTokens(tokenizer), (Texts{u"a",
                                         u"\xDE01"
                                         u"b\xD83C\xDF00"
                                         u"c"}));
}

TEST(StringTokenizer, KeepsItsOwnCopyOfTheText) {
  icu::UnicodeString text(u"a fairly long first token,second");
  StringTokenizer tokenizer(text, ",");
  text.setTo(u"changed,changed,changed");
  EXPECT_EQ(allTokens(tokenizer), (Texts{u"a fairly long first token", u"second"}));
}

TEST(StringTokenizer, KeepsItsOwnCopyOfAnAliasedText) {
  std::u16string units = u"first,second";
  const icu::UnicodeString alias(static_cast<UBool>(false), units.data(),
                                 static_cast<std::int32_t>(units.size()));
  StringTokenizer tokenizer(alias, ",");
  units.assign(units.size(), u',');
  EXPECT_EQ(allTokens(tokenizer), (Texts{u"first", u"second"}));
}

TEST(StringTokenizer, TreatsABogusTextAsEmpty) {
  icu::UnicodeString bogus;
  bogus.setToBogus();
  StringTokenizer tokenizer(bogus, ",");
  EXPECT_EQ(tokenizer.countTokens(), 0);
  EXPECT_FALSE(tokenizer.getNextTokenString().isBogus());
}

// --- bytes; NOLINTBEGIN(modernize-raw-string-literal): bytes of a code page, some of which are backslashes

TEST(StringTokenizer, ReadsAndReturnsBytesInItsCodePage) {
  struct Row {
    const char* why;
    const char* text;
    const char* codePage;
    const char* delimiters;
    std::vector<std::string> expected;
  };
  const auto rows = std::to_array<Row>({
      {"null text", nullptr, "UTF-8", ",", {}},
      {"empty text", "", "UTF-8", ",", {}},
      {"ASCII", "a,b", "UTF-8", ",", {"a", "b"}},
      {"default delimiters, null", "a b\r\nc", "UTF-8", nullptr, {"a", "b", "c"}},
      {"default delimiters, empty", "a\tb", "UTF-8", "", {"a", "b"}},
      {"UTF-8 delimiter", "x\xC3\x9Fy\xC3\xA9", "UTF-8", "\xC3\x9F", {"x", "y\xC3\xA9"}},
      {"Latin-1 delimiter", "x\xDFy\xE9", "ISO-8859-1", "\xDF", {"x", "y\xE9"}},
      {"a trail byte that looks like the delimiter",
       "\x83\x5C\x5C\x83\x5C",
       "Shift_JIS",
       "\x5C",
       {"\x83\x5C", "\x83\x5C"}},
      {"EBCDIC text, the default delimiters as ever", "\x81\x40\x82", "IBM037", nullptr, {"\x81", "\x82"}},
      {"unknown code page", "a,b", "no-such-page", ",", {}},
      {"null code page", "a,b", nullptr, ",", {"a", "b"}},
      {"empty code page", "a,b", "", ",", {"a", "b"}},
  });
  for (const auto& row : rowsOf(rows)) {
    StringTokenizer tokenizer(row.text, row.codePage, row.delimiters);
    std::vector<std::string> tokens;
    while (tokenizer.hasMoreTokens()) tokens.emplace_back(tokenizer.getNextToken());
    EXPECT_EQ(tokens, row.expected);
    EXPECT_EQ(tokenizer.countTokens(), static_cast<int>(row.expected.size()));
  }
}

TEST(StringTokenizer, DoesNotSplitIfTheDelimitersAreOnlyAByteOrderMark) {
  StringTokenizer tokenizer("\x4E\x2D\x65\x87", "UTF-16", "\xFE\xFF");
  EXPECT_EQ(tokenizer.countTokens(), 1);
  EXPECT_EQ(tokenizer.getNextTokenString(), icu::UnicodeString(u"\u4E2D\u6587"));
}

/// A text in a code page, converted by ICU.
std::string inCodePage(const icu::UnicodeString& given, const char* codePage) {
  std::string bytes(2000, '\0');
  const auto room = static_cast<std::uint32_t>(bytes.size());
  bytes.resize(static_cast<std::size_t>(given.extract(0, given.length(), bytes.data(), room, codePage)));
  return bytes;
}

// Some of these code pages have other bytes for some or all ASCII characters. In some, the bytes depend on
// the preceding characters.
TEST(StringTokenizer, ReturnsTokensInTheSameBytesAsIcu) {
  icu::UnicodeString text;
  for (char16_t unit = 1; unit < 128; ++unit) {
    if (std::u16string_view(u" \r\n\t").find(unit) != std::u16string_view::npos) continue;
    text.append(unit).append(u'A').append(unit).append(u' ').append(unit).append(u"\u00E9~ \u65E5 ");
  }
  for (const char* const codePage :
       rowsOf({"UTF-8", "US-ASCII", "ISO-8859-1", "windows-1252", "IBM437", "IBM037", "ibm-1047", "Shift_JIS",
               "ISO-2022-JP", "ISO-2022-KR", "HZ-GB-2312", "UTF-7", "IMAP-mailbox-name", "SCSU", "BOCU-1",
               "CESU-8", "GB18030", "UTF-16LE", "x11-compound-text"})) {
    StringTokenizer tokens(inCodePage(text, codePage).c_str(), codePage, nullptr);
    StringTokenizer texts(inCodePage(text, codePage).c_str(), codePage, nullptr);
    ASSERT_EQ(tokens.countTokens(), texts.countTokens());
    while (tokens.hasMoreTokens()) {
      const std::string expected = inCodePage(texts.getNextTokenString(), codePage);
      ASSERT_STREQ(tokens.getNextToken(), expected.c_str());
    }
  }
}

TEST(StringTokenizer, ReturnsBytesOfUnicodeInTheDefaultCodePage) {
  const icu::UnicodeString word(u"stra\u00DFe");
  std::string expected(100, '\0');
  expected.resize(static_cast<std::size_t>(word.extract(0, word.length(), expected.data(), 100U, nullptr)));
  StringTokenizer tokenizer(word + u",b", ",");
  EXPECT_EQ(tokenizer.getNextToken(), expected);
}

/// A code page name of the given length. Its last bytes are an option that swaps line feed (byte 0x25) and
/// next line (0x15). The bytes before are options that ICU does not know and ignores.
std::string swappingName(std::size_t length) {
  const std::string last = ",swaplfnl";
  std::string name = "ibm-1047_P100-1995,";
  name.resize(length - last.size(), 'o');
  return name + last;
}

// Byte 0x15 is read as a line feed. It is written as 0x15 only if the stored name still contains the option
// at its end.
TEST(StringTokenizer, UsesOnlyTheFirst64BytesOfTheCodePageNameForWriting) {
  struct Row {
    std::size_t length;
    const char* written;
  };
  const auto rows = std::to_array<Row>(
      {{40, "\x15"}, {63, "\x15"}, {64, "\x15"}, {65, "\x25"}, {70, "\x25"}, {5000, "\x25"}});
  for (const auto& row : rowsOf(rows)) {
    ROW("length", row.length);
    StringTokenizer tokenizer("\x15", swappingName(row.length).c_str(), "\x6B");
    EXPECT_STREQ(tokenizer.getFirstToken(), row.written);
    EXPECT_EQ(tokenizer.getFirstTokenString(), u"\n");
  }
}

// NOLINTEND(modernize-raw-string-literal)

TEST(StringTokenizer, ReturnsLongTokens) {
  const std::string longToken(20'000, 'x');
  StringTokenizer tokenizer((longToken + " b " + longToken).c_str(), "UTF-8", nullptr);
  EXPECT_EQ(tokenizer.getNextToken(), longToken);
  EXPECT_STREQ(tokenizer.getNextToken(), "b");
  EXPECT_EQ(tokenizer.getNextTokenString().length(), 20'000);
}

TEST(StringTokenizer, ReturnsALongTokenThatStartsWithANulAsEmpty) {
  icu::UnicodeString text(5000, u'x', 5000);
  text.setCharAt(0, u'\0').append(u",next");
  StringTokenizer tokens(text, ",");
  EXPECT_STREQ(tokens.getNextToken(), "");
  EXPECT_STREQ(tokens.getNextToken(), "next");
}

TEST(StringTokenizer, KeepsNoBytesOfAFormerTokenAfterAShorterOne) {
  StringTokenizer tokenizer("abcdefghij k", "UTF-8", nullptr);
  tokenizer.getNextToken();
  const char* const token = tokenizer.getNextToken();
  EXPECT_EQ(std::string(token, token + 4097), "k" + std::string(4096, '\0'));
}

// --- the cursor

TEST(StringTokenizer, UsesOneCursorForBytesAndUnicode) {
  StringTokenizer tokenizer(u"a,b,c,d", ",");
  EXPECT_EQ(tokenizer.getNextTokenString(), u"a");
  EXPECT_STREQ(tokenizer.getNextToken(), "b");
  EXPECT_EQ(tokenizer.getNextTokenString(), u"c");
  EXPECT_STREQ(tokenizer.getFirstToken(), "a");
  EXPECT_EQ(tokenizer.getNextTokenString(), u"b");
  EXPECT_EQ(tokenizer.getFirstTokenString(), u"a");
  EXPECT_STREQ(tokenizer.getNextToken(), "b");
}

TEST(StringTokenizer, ReturnsEmptyTextsAtTheEndAndCanRestart) {
  StringTokenizer tokenizer(u"a,b", ",");
  tokenizer.getNextToken();
  tokenizer.getNextToken();
  for (int i = 0; i < 3; ++i) {
    ROW("i", i);
    EXPECT_FALSE(tokenizer.hasMoreTokens());
    EXPECT_STREQ(tokenizer.getNextToken(), "");
    EXPECT_EQ(tokenizer.getNextTokenString(), u"");
  }
  EXPECT_STREQ(tokenizer.getFirstToken(), "a");
  EXPECT_TRUE(tokenizer.hasMoreTokens());
}

TEST(StringTokenizer, WithoutTokensReturnsEmptyTexts) {
  StringTokenizer tokenizer(u"", ",");
  EXPECT_STREQ(tokenizer.getFirstToken(), "");
  EXPECT_STREQ(tokenizer.getNextToken(), "");
  EXPECT_EQ(tokenizer.getFirstTokenString(), u"");
  EXPECT_EQ(tokenizer.getNextTokenString(), u"");
  EXPECT_FALSE(tokenizer.hasMoreTokens());
}

TEST(StringTokenizer, WithOneTokenHasNoMoreAfterTheFirst) {
  StringTokenizer tokenizer(u"a", ",");
  EXPECT_STREQ(tokenizer.getFirstToken(), "a");
  EXPECT_FALSE(tokenizer.hasMoreTokens());
}

// "\xFE\xFF" is the byte order mark of UTF-16BE. The letters are chosen so that the text contains no zero
// byte.
TEST(StringTokenizer, KeepsItsCursorWhenAConversionFails) {
  const char* const text = "\xFE\xFF\x4E\x2D\x20\x10\x65\x87\x20\x10\x5B\x57";
  StringTokenizer tokenizer(text, "UTF-16", "\xFE\xFF\x20\x10");
  ASSERT_EQ(tokenizer.countTokens(), 3);
  const auto refused =
      Raises<NLSException>("ERR_CONV_CONVERSION_ERROR", std::string("UTF-16"), std::string("UTF-16"))
          .from("kelDataBuffer.cpp");
  EXPECT_THAT([&] { tokenizer.getNextToken(); }, refused);
  EXPECT_EQ(tokenizer.getNextTokenString(), u"\u4E2D");
  EXPECT_THAT([&] { tokenizer.getNextToken(); }, refused);
  EXPECT_EQ(tokenizer.getNextTokenString(), u"\u6587");
  EXPECT_THAT([&] { tokenizer.getFirstToken(); }, refused);
  EXPECT_EQ(tokenizer.getNextTokenString(), u"\u4E2D");
  EXPECT_TRUE(tokenizer.hasMoreTokens());
}

TEST(StringTokenizer, RaisesNothingAtTheEndWithAnUnknownCodePage) {
  StringTokenizer tokenizer("\xFE\xFF\x4E\x2D", "UTF-16", "\xFE\xFF\x20\x10");
  EXPECT_EQ(tokenizer.getNextTokenString(), u"\u4E2D");
  EXPECT_STREQ(tokenizer.getNextToken(), "");
}

// --- random operations, compared with the model

/// The parameter is the seed. To repeat a failure, run the test of that seed by its name.
class StringTokenizerWalks : public ::testing::TestWithParam<unsigned> {
 protected:
  unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }

  std::u16string randomUnits(unsigned most, const std::u16string& alphabet) {
    std::u16string text;
    for (unsigned i = below(most + 1); i > 0; --i) {
      text += below(3) == 0 ? u'x' : alphabet[below(static_cast<unsigned>(alphabet.size()))];
    }
    return text;
  }

  /// Calls random operations and compares the results with `tokens` and a cursor into them.
  void walk(StringTokenizer& tokenizer, const std::vector<std::u16string>& tokens) {
    ASSERT_EQ(tokenizer.countTokens(), static_cast<int>(tokens.size()));
    std::size_t cursor = 0;
    for (int i = 0; i < 40; ++i) {
      ROW("i", i);
      const bool first = below(8) == 0;
      if (first) cursor = 0;
      const std::u16string expected = cursor < tokens.size() ? tokens[cursor++] : std::u16string();
      if (below(2) == 0) {
        ASSERT_EQ(first ? tokenizer.getFirstTokenString() : tokenizer.getNextTokenString(),
                  unicode(expected));
      } else {
        const std::string bytes = first ? tokenizer.getFirstToken() : tokenizer.getNextToken();
        ASSERT_EQ(bytes, utf8(unicode(expected)));
      }
      ASSERT_EQ(tokenizer.hasMoreTokens(), cursor < tokens.size());
    }
  }

  std::mt19937 random_{seeded(GetParam())};
};

TEST_P(StringTokenizerWalks, OverBytesAgreeWithTheModel) {
  ROW("seed", GetParam());
  const std::u16string alphabet = u"ab,; \r\n\t\u00E9\u4E2D\uFFFD";
  for (int i = 0; i < 200; ++i) {
    ROW("text", i);
    const std::u16string text = randomUnits(60, alphabet);
    const std::u16string set = randomUnits(5, alphabet);
    StringTokenizer tokenizer(utf8(unicode(text)).c_str(), "UTF-8", utf8(unicode(set)).c_str());
    walk(tokenizer, modelTokens(text, set.empty() ? u" \r\n\t" : set));
    if (HasFatalFailure()) return;
  }
}

TEST_P(StringTokenizerWalks, OverUnicodeAgreeWithTheModel) {
  ROW("seed", GetParam());
  for (int i = 0; i < 200; ++i) {
    ROW("text", i);
    const std::u16string text = randomUnits(400, u"ab,; \r\n\t\u00E9\u4E2D\uFFFF");
    const std::u16string set = randomUnits(4, u"b,; \r\n\t");
    StringTokenizer tokenizer(unicode(text), utf8(unicode(set)).c_str());
    Texts expected;
    for (const std::u16string& token : modelTokens(text, set.empty() ? u" \r\n\t" : set)) {
      expected.push_back(unicode(token));
    }
    ASSERT_EQ(allTokens(tokenizer), expected);
  }
}

// One to eight delimiters of any kind, in texts of every length up to several blocks of code units.
TEST_P(StringTokenizerWalks, OverTextsOfAnyLengthAgreeWithTheModel) {
  ROW("seed", GetParam());
  const std::u16string alphabet = u"ab,;:.! \u00E9\u4E2D";
  for (std::size_t length = 1; length <= 200; ++length) {
    ROW("length", length);
    std::u16string text;
    while (text.size() < length) text += alphabet[below(below(2) == 0 ? 2 : 10)];
    const std::u16string set = alphabet.substr(1 + below(9), 1 + below(8));
    StringTokenizer tokenizer(utf8(unicode(text)).c_str(), "UTF-8", utf8(unicode(set)).c_str());
    Texts expected;
    for (const std::u16string& token : modelTokens(text, set)) expected.push_back(unicode(token));
    ASSERT_EQ(allTokens(tokenizer), expected);
  }
}

INSTANTIATE_TEST_SUITE_P(Seed, StringTokenizerWalks, ::testing::Range(1U, 17U));

// --- trace hooks

/// The trace calls of the tokenizer without those of its buffer.
std::vector<std::string> tokenizerCalls(TraceRecorder& trace) {
  std::vector<std::string> calls = trace.take();
  calls.erase(std::remove_if(calls.begin(), calls.end(),
                             [](const std::string& call) { return call.find(" 60") == std::string::npos; }),
              calls.end());
  return calls;
}

TEST(StringTokenizer, TracesTheExitsOfConstructorsAndCursorCalls) {
  TraceRecorder trace(0x20000);
  {
    StringTokenizer tokenizer(u"a", ",");
    EXPECT_THAT(tokenizerCalls(trace), ElementsAre("traceEntry 606", "traceExit 606 0", "traceExit 604 0"));
    const StringTokenizer bytes("a", "UTF-8", ",");
    EXPECT_THAT(tokenizerCalls(trace), ElementsAre("traceEntry 606", "traceExit 606 0", "traceExit 604 0"));
    const auto rows = std::to_array<std::pair<const char*, std::function<void()>>>({
        {"traceExit 607 0", [&] { tokenizer.getFirstToken(); }},
        {"traceExit 608 0", [&] { tokenizer.getNextToken(); }},  // at the end, too
        {"traceExit 609 0", [&] { static_cast<void>(tokenizer.getFirstTokenString()); }},
        {"traceExit 60A 0", [&] { static_cast<void>(tokenizer.getNextTokenString()); }},
    });
    for (const auto& [expected, step] : rowsOf(rows)) {
      step();
      EXPECT_THAT(tokenizerCalls(trace), ElementsAre(expected));
    }
    tokenizer.countTokens();
    tokenizer.hasMoreTokens();
    EXPECT_THAT(tokenizerCalls(trace), IsEmpty());
  }
  EXPECT_THAT(tokenizerCalls(trace), ElementsAre("traceExit 605 0", "traceExit 605 0"));
}

TEST(StringTokenizer, TracesAnExitForEveryEntryOfItsBuffer) {
  StringTokenizer tokenizer("a b", "UTF-8", nullptr);
  TraceRecorder trace(0x20000);
  tokenizer.getNextToken();
  EXPECT_THAT(trace.calls(), ElementsAre("traceEntry 5F8", "traceExit 5F8 0", "traceEntry 5F3",
                                         "traceExit 5F3 0", "traceExit 608 0"));
}

TEST(StringTokenizer, TracesNoExitIfItRaises) {
  StringTokenizer tokenizer("\xFE\xFF\x4E\x2D", "UTF-16", "\xFE\xFF\x20\x10");
  ASSERT_EQ(tokenizer.countTokens(), 1);
  TraceRecorder trace(0x20000);
  EXPECT_THROW(tokenizer.getNextToken(), NLSException);
  EXPECT_THAT(tokenizerCalls(trace), IsEmpty());
}

}  // namespace
}  // namespace tarvo::test
