#include "infra/oss/kelNLSException.hpp"
#include "infra/oss/kelUTF8Iterator.hpp"

#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"
#include "support/kelSeed.hpp"
#include "support/kelTraceRecorder.hpp"
#include "support/kelUTF8Model.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

namespace tarvo::test {
namespace {

using oss::NLSException;
using oss::UTF8Iterator;
using oss::UTF8String;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Characters = std::vector<std::string>;

static_assert(!std::is_polymorphic_v<UTF8Iterator>);
static_assert(!std::is_copy_constructible_v<UTF8Iterator> && !std::is_copy_assignable_v<UTF8Iterator>);
static_assert(std::is_constructible_v<UTF8Iterator, std::nullptr_t>);

RaisesMatcher<NLSException> malformed() {
  return Raises<NLSException>("ERR_MALFORMED_UTF8_STRING").from("kelUTF8Iterator.cpp");
}

Characters allCharacters(UTF8Iterator& iterator) {
  Characters characters;
  while (iterator.hasMoreChars()) characters.emplace_back(iterator.getNextChar());
  return characters;
}

bool standsInside(const UTF8Iterator& iterator, const char* text) {
  const auto* const first = reinterpret_cast<const char*>(&iterator);
  return std::less_equal<>()(first, text) && std::less<>()(text, first + sizeof iterator);
}

/// Expects that the iterator returns the model's characters, or refuses the text if the model does.
void expectAsTheModel(const std::string& text) {
  const auto expected = modelCharacters(text);
  if (!expected) {
    EXPECT_THAT([&] { UTF8Iterator(text.c_str()); }, malformed()) << testing::PrintToString(text);
    return;
  }
  UTF8Iterator iterator(text.c_str());
  EXPECT_EQ(iterator.length(), static_cast<int>(text.size()));
  EXPECT_EQ(iterator.numChars(), static_cast<int>(expected->size()));
  EXPECT_EQ(iterator.getString(), text);
  EXPECT_EQ(allCharacters(iterator), *expected);
  EXPECT_EQ(iterator.getNextChar(), nullptr);
}

// --- iterating

TEST(UTF8Iterator, ReturnsTheBytesOfEachCharacter) {
  UTF8Iterator iterator("\xC3\xA9\x41");
  EXPECT_EQ(iterator.length(), 3);
  EXPECT_EQ(iterator.numChars(), 2);
  EXPECT_TRUE(iterator.hasMoreChars());
  EXPECT_STREQ(iterator.getNextChar(), "\xC3\xA9");
  EXPECT_TRUE(iterator.hasMoreChars());
  EXPECT_STREQ(iterator.getNextChar(), "A");
  EXPECT_FALSE(iterator.hasMoreChars());
  EXPECT_EQ(iterator.getNextChar(), nullptr);
  EXPECT_EQ(iterator.getNextChar(), nullptr);
}

TEST(UTF8Iterator, ReturnsCharactersOfEverySizeInAnyOrder) {
  const auto characters = std::to_array<std::string>({"A", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80"});
  for (const std::string& first : rowsOf(characters)) {
    for (const std::string& second : rowsOf(characters)) {
      for (const std::string& third : rowsOf(characters)) {
        const std::string text = first + second + third;
        UTF8Iterator iterator(text.c_str());
        EXPECT_THAT(allCharacters(iterator), ElementsAre(first, second, third));
      }
    }
  }
}

TEST(UTF8Iterator, FillsTheBytesAfterACharacterWithZeros) {
  UTF8Iterator iterator(
      "\xF0\x9F\x98\x80\xE2\x82\xAC\xC3\xA9"
      "AB");
  for (const std::string expected : rowsOf({"\xF0\x9F\x98\x80", "\xE2\x82\xAC", "\xC3\xA9", "A", "B"})) {
    const char* const bytes = iterator.getNextChar();
    EXPECT_EQ(std::string(bytes, 5), expected + std::string(5 - expected.size(), '\0'));
  }
}

TEST(UTF8Iterator, GoesBackToTheFirstCharacter) {
  UTF8Iterator iterator(
      "\xE2\x82\xAC"
      "bc");
  EXPECT_STREQ(iterator.getFirstChar(), "\xE2\x82\xAC");
  EXPECT_STREQ(iterator.getNextChar(), "b");
  EXPECT_STREQ(iterator.getFirstChar(), "\xE2\x82\xAC");
  EXPECT_STREQ(iterator.getFirstChar(), "\xE2\x82\xAC");
  EXPECT_THAT(allCharacters(iterator), ElementsAre("b", "c"));
  EXPECT_STREQ(iterator.getFirstChar(), "\xE2\x82\xAC");
  EXPECT_TRUE(iterator.hasMoreChars());
}

TEST(UTF8Iterator, GoesBackFromAnywhere) {
  for (unsigned int seed = 0; seed < 60; ++seed) {
    ROW("seed", seed);
    std::mt19937 engine(seeded(seed));
    const std::string text = randomUtf8(engine, seed % 2 == 0 ? 3000 : 1 + engine() % 400, 0);
    const Characters expected = modelCharacters(text).value();
    UTF8Iterator iterator(text.c_str());
    std::size_t cursor = 0;
    for (int step = 0; step < 4000; ++step) {
      ROW("step", step);
      const bool atEnd = cursor == expected.size();
      ASSERT_EQ(iterator.hasMoreChars(), !atEnd);
      if (atEnd) {
        ASSERT_EQ(iterator.getNextChar(), nullptr);
      }
      const bool back = atEnd || engine() % 700 == 0;
      if (back) cursor = 0;
      ASSERT_STREQ(back ? iterator.getFirstChar() : iterator.getNextChar(), expected[cursor++].c_str());
    }
  }
}

// The iterator processes some hundred bytes at a time. A character may cross the boundary between two such
// blocks.
TEST(UTF8Iterator, ReturnsCharactersAtEveryPosition) {
  for (const std::string character : rowsOf({"\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80"})) {
    for (std::size_t before = 0; before < 600; ++before) {
      ROW("before", before);
      expectAsTheModel(std::string(before, 'x') + character);
      if (before < 8) {
        std::string many(before, 'x');
        for (int i = 0; i < 700; ++i) many += character;
        expectAsTheModel(many);
      }
      if (HasFailure()) return;
    }
  }
}

TEST(UTF8Iterator, CanTakeAnEmptyText) {
  const auto iterators = std::to_array<std::function<void(const std::function<void(UTF8Iterator&)>&)>>({
      [](const auto& look) { look(*std::make_unique<UTF8Iterator>("")); },
      [](const auto& look) { look(*std::make_unique<UTF8Iterator>(nullptr)); },
      [](const auto& look) { look(*std::make_unique<UTF8Iterator>(icu::UnicodeString())); },
      [](const auto& look) { look(*std::make_unique<UTF8Iterator>(UTF8String(0))); },
      [](const auto& look) {
        icu::UnicodeString bogus;
        bogus.setToBogus();
        look(*std::make_unique<UTF8Iterator>(bogus));
      },
  });
  for (std::size_t row = 0; row < iterators.size(); ++row) {
    ROW(row);
    iterators.at(row)([](UTF8Iterator& iterator) {
      EXPECT_FALSE(iterator.isEmpty());  // it has no characters, but it has a text
      EXPECT_FALSE(iterator.hasMoreChars());
      EXPECT_EQ(iterator.getNextChar(), nullptr);
      EXPECT_EQ(iterator.getFirstChar(), nullptr);
      EXPECT_STREQ(iterator.getString(), "");
      EXPECT_TRUE(standsInside(iterator, iterator.getString()));
      EXPECT_EQ(iterator.length(), 0);
      EXPECT_EQ(iterator.numChars(), 0);
      EXPECT_FALSE(iterator.takeText("a second text"));
      EXPECT_STREQ(iterator.getString(), "");
    });
  }
}

// --- taking a text

TEST(UTF8Iterator, ConvertsUnicodeToUtf8) {
  UTF8Iterator iterator(icu::UnicodeString(u"a\u00E9\u20AC\U0001F600"));
  EXPECT_FALSE(iterator.isEmpty());
  EXPECT_EQ(iterator.length(), 10);
  EXPECT_THAT(allCharacters(iterator), ElementsAre("a", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80"));
}

TEST(UTF8Iterator, ReplacesAnUnpairedSurrogate) {
  UTF8Iterator iterator(icu::UnicodeString(u'a').append(char16_t{0xDC00}));
  EXPECT_THAT(allCharacters(iterator), ElementsAre("a", "\xEF\xBF\xBD"));
}

TEST(UTF8Iterator, TakesTheBytesOfAUTF8String) {
  UTF8Iterator iterator(UTF8String("x\xC3\xA9"));
  EXPECT_THAT(allCharacters(iterator), ElementsAre("x", "\xC3\xA9"));
  EXPECT_THAT([] { UTF8Iterator(UTF8String("x\xC3")); }, malformed());
}

TEST(UTF8Iterator, EndsATextAtItsTerminator) {
  UTF8String bytes(0);
  bytes.appendString("ab\0\xFF", 4);
  EXPECT_EQ(UTF8Iterator(bytes).length(), 2);
  EXPECT_EQ(UTF8Iterator(icu::UnicodeString(u"ab\0c", 4)).length(), 2);
  const icu::UnicodeString longText = icu::UnicodeString(5000, u'x', 5000).setCharAt(4999, 0);
  EXPECT_EQ(UTF8Iterator(longText).length(), 4999);
}

TEST(UTF8Iterator, CopiesTheText) {
  for (const std::size_t size : rowsOf({std::size_t{5}, std::size_t{5000}})) {
    std::string text(size, 'x');
    UTF8Iterator iterator(text.c_str());
    text.assign(size, 'y');
    EXPECT_EQ(iterator.getString(), std::string(size, 'x'));
    EXPECT_STREQ(iterator.getFirstChar(), "x");
  }
}

TEST(UTF8Iterator, StoresUpTo4096BytesInTheObject) {
  for (const std::size_t size : rowsOf(std::vector<std::size_t>{1, 4095, 4096, 4097, 5000, 100'000})) {
    const std::string text(size, 'x');
    const UTF8Iterator bytes(text.c_str());
    const UTF8Iterator unicode(icu::UnicodeString::fromUTF8(text));
    for (const UTF8Iterator* iterator : rowsOf({&bytes, &unicode})) {
      EXPECT_EQ(iterator->getString(), text);
      EXPECT_EQ(iterator->length(), static_cast<int>(size));
      EXPECT_EQ(iterator->numChars(), static_cast<int>(size));
      EXPECT_EQ(standsInside(*iterator, iterator->getString()), size <= 4096);
    }
  }
}

TEST(UTF8Iterator, FillsTheBytesAfterAStoredTextWithZeros) {
  const UTF8Iterator iterator("text");
  EXPECT_EQ(std::string(iterator.getString(), 4097), "text" + std::string(4093, '\0'));
}

TEST(UTF8Iterator, TakesOnlyOneText) {
  UTF8Iterator iterator("first");
  iterator.getNextChar();
  for (const char* const second : rowsOf({"second", "", "\xFF", static_cast<const char*>(nullptr)})) {
    EXPECT_FALSE(iterator.takeText(second));
    EXPECT_STREQ(iterator.getString(), "first");
    EXPECT_EQ(iterator.length(), 5);
    EXPECT_EQ(iterator.numChars(), 5);
  }
  EXPECT_STREQ(iterator.getNextChar(), "i");
}

// --- the strict check

TEST(UTF8Iterator, AgreesWithTheModelOnEveryTextOfTwoBytes) {
  for (int first = 1; first < 256; ++first) {
    ROW("first", first);
    expectAsTheModel(std::string(1, static_cast<char>(first)));
    for (int second = 1; second < 256; ++second) {
      ROW("second", second);
      expectAsTheModel({static_cast<char>(first), static_cast<char>(second)});
    }
  }
}

TEST(UTF8Iterator, AgreesWithTheModelOnBothSidesOfEachBoundary) {
  const auto edges = std::to_array<unsigned char>({0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC0});
  const auto others = std::to_array<unsigned char>({0x7F, 0x80, 0xBF, 0xC0});
  for (int first = 0xE0; first < 0x100; ++first) {
    ROW("first", first);
    for (const unsigned char second : rowsOf(edges)) {
      for (const unsigned char third : rowsOf(others)) {
        const std::string three = {static_cast<char>(first), static_cast<char>(second),
                                   static_cast<char>(third)};
        expectAsTheModel(three);
        for (const unsigned char fourth : rowsOf(others)) {
          expectAsTheModel(three + static_cast<char>(fourth));
        }
      }
    }
  }
}

TEST(UTF8Iterator, RefusesTextThatIsNotWellFormed) {
  struct Row {
    const char* why;
    const char* text;
  };
  const auto rows = std::to_array<Row>({
      {"a surrogate", "\xED\xA0\x80"},
      {"the last surrogate", "\xED\xBF\xBF"},
      {"a pair of surrogates", "\xED\xA0\xBD\xED\xB8\x80"},
      {"an overlong NUL", "\xC0\x80"},
      {"overlong in two bytes", "\xC1\xBF"},
      {"overlong in three bytes", "\xE0\x9F\xBF"},
      {"overlong in four bytes", "\xF0\x8F\xBF\xBF"},
      {"above U+10FFFF", "\xF4\x90\x80\x80"},
      {"a lead byte above any", "\xF5\x80\x80\x80"},
      {"five bytes", "\xF8\x88\x80\x80\x80"},
      {"a byte that never occurs", "\xFF"},
      {"only a continuation", "\x80"},
      {"a continuation too many", "\xC3\xA9\xA9"},
      {"two bytes cut short", "\xC3"},
      {"three bytes cut short", "\xE2\x82"},
      {"four bytes cut short", "\xF0\x9F\x98"},
      {"cut short by a letter", "\xE2\x82x"},
      {"cut short by another character", "\xE2\xC3\xA9"},
  });
  for (const Row& row : rowsOf(rows)) {
    for (const std::size_t before : rowsOf(std::vector<std::size_t>{0, 1, 7, 8, 9, 4094, 4095, 4096, 5000})) {
      const std::string text = std::string(before, 'x') + row.text;
      EXPECT_THAT([&] { UTF8Iterator(text.c_str()); }, malformed()) << before;
      EXPECT_THAT([&] { UTF8Iterator((text + "yyyyyyyyy").c_str()); }, malformed()) << before;
    }
  }
}

TEST(UTF8Iterator, AgreesWithTheModelOnRandomTexts) {
  for (unsigned int seed = 0; seed < 400; ++seed) {
    ROW("seed", seed);
    std::mt19937 engine(seeded(seed));
    const std::size_t pieces = seed % 10 == 0 ? 2500 : engine() % 50;
    expectAsTheModel(randomUtf8(engine, pieces, seed % 3 == 0 ? 2 : 0));
  }
}

TEST(UTF8Iterator, AgreesWithTheModelOnCharactersOfEveryKind) {
  icu::UnicodeString text;
  for (UChar32 c = 1; c <= 0x10FFFF; c += c < 0x3000 ? 1 : 37) {
    if (c < 0xD800 || c > 0xDFFF) text.append(c);
  }
  std::string bytes;
  expectAsTheModel(text.toUTF8String(bytes));
}

// --- trace hooks

TEST(UTF8IteratorTrace, ReportsTheExitsOfConstructionAndDestruction) {
  TraceRecorder trace(0x20000);
  { const UTF8Iterator iterator("ab"); }
  EXPECT_THAT(trace.take(),
              ElementsAre("traceEntry 601", "traceExit 601 0", "traceExit 5FF 0", "traceExit 600 0"));
  { const UTF8Iterator iterator(icu::UnicodeString(u"ab")); }
  EXPECT_THAT(trace.take(),
              ElementsAre("traceEntry 601", "traceExit 601 0", "traceExit 5FF 0", "traceExit 600 0"));
}

TEST(UTF8IteratorTrace, ReportsNoExitIfATextIsRefused) {
  TraceRecorder trace(0x20000);
  EXPECT_THROW(UTF8Iterator("\xFF"), NLSException);
  std::vector<std::string> own;
  for (const std::string& call : trace.take()) {
    if (call.find(" 5F") != std::string::npos || call.find(" 60") != std::string::npos) own.push_back(call);
  }
  EXPECT_THAT(own, ElementsAre("traceEntry 601"));
}

TEST(UTF8IteratorTrace, ReportsTheExitsOfCursorCalls) {
  struct Row {
    std::uint32_t flags;
    std::vector<std::string> calls;
  };
  const auto rows =
      std::to_array<Row>({{0x40000, {"diagDispatchExit 60"}},
                          {0x20000, {"traceExit 60"}},
                          {0x2, {"traceExit 60"}},
                          {0x80, {"traceFlightRecord 60"}},
                          {0x40082, {"diagDispatchExit 60", "traceExit 60", "traceFlightRecord 60"}},
                          {0x1, {}},
                          {0, {}}});
  for (const Row& row : rowsOf(rows)) {
    ROW("flags", row.flags);
    UTF8Iterator iterator("ab");
    TraceRecorder trace(row.flags);
    EXPECT_STREQ(iterator.getNextChar(), "a");
    EXPECT_STREQ(iterator.getNextChar(), "b");
    const std::vector<std::string> next = trace.take();
    EXPECT_STREQ(iterator.getFirstChar(), "a");
    const std::vector<std::string> first = trace.take();
    ASSERT_EQ(next.size(), 2 * row.calls.size());
    ASSERT_EQ(first.size(), row.calls.size());
    for (std::size_t i = 0; i < row.calls.size(); ++i) {
      ROW("i", i);
      EXPECT_THAT(next[i], ::testing::StartsWith(row.calls[i] + "3"));
      EXPECT_EQ(next[i + row.calls.size()], next[i]);
      EXPECT_THAT(first[i], ::testing::StartsWith(row.calls[i] + "2"));
    }
  }
}

TEST(UTF8IteratorTrace, ReportsNothingForCallsThatDoNothing) {
  UTF8Iterator iterator("");
  TraceRecorder trace(0x60083);
  EXPECT_EQ(iterator.getNextChar(), nullptr);
  EXPECT_EQ(iterator.getFirstChar(), nullptr);
  EXPECT_FALSE(iterator.takeText("x"));
  EXPECT_FALSE(iterator.isEmpty() || iterator.hasMoreChars());
  EXPECT_EQ(iterator.length() + iterator.numChars(), 0);
  EXPECT_STREQ(iterator.getString(), "");
  EXPECT_THAT(trace.take(), IsEmpty());
}

}  // namespace
}  // namespace tarvo::test
