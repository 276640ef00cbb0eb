#include "infra/util/kelExtendedProperties.hpp"
#include "infra/util/kelPropertiesException.hpp"

#include "support/kelRows.hpp"
#include "support/kelSaved.hpp"
#include "support/kelSeed.hpp"

#include <gtest/gtest.h>
#include <unicode/unistr.h>

#include <array>
#include <random>
#include <string>
#include <vector>

namespace tarvo::test {
namespace {

using util::ExtendedProperties;

icu::UnicodeString textOf(std::u16string_view units) {
  return {units.data(), static_cast<std::int32_t>(units.size())};
}

/// Whether the saved pair is read back as it was, with or without references.
bool isReadBack(const icu::UnicodeString& key, const icu::UnicodeString& value, bool resolveReferences) {
  ExtendedProperties properties;
  properties.putProperty(key, value);
  const std::string bytes = savedBytes(properties);
  ExtendedProperties again;
  try {
    again.load(bytes.data(), bytes.size(), resolveReferences);
  } catch (const util::PropertiesException&) {
    return false;
  }
  return std::distance(again.begin(), again.end()) == 1 && again.begin()->first == key &&
         again.begin()->second == value;
}

void expectTruth(const icu::UnicodeString& key, const icu::UnicodeString& value) {
  ROW("key", key, "value", value);
  EXPECT_EQ(ExtendedProperties::roundTrips(key, value, false), isReadBack(key, value, false));
  EXPECT_EQ(ExtendedProperties::roundTrips(key, value, true), isReadBack(key, value, true));
  EXPECT_EQ(ExtendedProperties::roundTrips(key, value), isReadBack(key, value, true));
}

void expectRestored(const icu::UnicodeString& text) {
  ROW("text", text);
  const icu::UnicodeString stored = ExtendedProperties::escapeText(text);
  EXPECT_TRUE(ExtendedProperties::roundTrips(stored, stored));
  EXPECT_TRUE(isReadBack(stored, stored, true));
  icu::UnicodeString restored = u"something else";
  EXPECT_TRUE(ExtendedProperties::unescapeText(stored, restored));
  EXPECT_EQ(restored, text);
}

std::u16string someUnits(std::mt19937& random) {
  static constexpr std::u16string_view chosen =
      u" \t\r\n\\=:#!%~u0aA\u0000\u0080\u00FF\u0100\u3042\uFDCF\uFDD0\uFDEF\uFDF0\uFFFD\uFFFE\uFFFF"
      u"\U0001F600\U00010025";
  std::u16string text;
  for (auto length = random() % 6; length > 0; --length) {
    text += random() % 4 == 0 ? static_cast<char16_t>(random()) : chosen[random() % chosen.size()];
  }
  return text;
}

TEST(PropertiesRoundTrip, IsKnownForEveryCodeUnitAtTheStartAndInside) {
  for (unsigned int unit = 0; unit <= 0xFFFF; ++unit) {
    const char16_t one = static_cast<char16_t>(unit);
    // Most units are alike, and saving takes time.
    const bool isSpecial = unit < 0x180 || (unit >= 0xD7FE && unit <= 0xE001) || unit >= 0xFDC0;
    if (!isSpecial && unit % 17 != 0) continue;
    for (const std::u16string& text : {std::u16string{one}, std::u16string{u'x', one, u'x'}}) {
      expectTruth(textOf(text), u"value");
      expectTruth(u"key", textOf(text));
    }
  }
}

TEST(PropertiesRoundTrip, IsKnownForRandomTexts) {
  std::mt19937 random(seeded(20'250'612));
  for (int round = 0; round < 20'000; ++round) {
    const std::u16string key = someUnits(random);
    expectTruth(textOf(key), textOf(someUnits(random)));
  }
}

TEST(PropertiesRoundTrip, FailsForBogusTexts) {
  icu::UnicodeString bogus;
  bogus.setToBogus();
  EXPECT_FALSE(ExtendedProperties::roundTrips(bogus, u"value"));
  EXPECT_FALSE(ExtendedProperties::roundTrips(u"key", bogus));
}

TEST(PropertiesRoundTrip, HoldsForAValueWithOnePercentSignAmongOthers) {
  ExtendedProperties properties;
  properties.putProperty(u"a", u"50%");
  properties.putProperty(u"b", u"%a");
  const std::string bytes = savedBytes(properties);
  ExtendedProperties again;
  again.load(bytes.data(), bytes.size());
  EXPECT_EQ(again.requireProperty(u"a"), u"50%");
  EXPECT_EQ(again.requireProperty(u"b"), u"%a");
}

TEST(EscapedText, RestoresEveryCodeUnit) {
  for (unsigned int unit = 0; unit <= 0xFFFF; ++unit) {
    const char16_t one = static_cast<char16_t>(unit);
    icu::UnicodeString restored;
    const icu::UnicodeString text(one);
    EXPECT_TRUE(ExtendedProperties::unescapeText(ExtendedProperties::escapeText(text), restored));
    EXPECT_EQ(restored, text) << unit;
  }
}

TEST(EscapedText, RestoresRandomTextsAndRoundTrips) {
  std::mt19937 random(seeded(20'250'613));
  for (int round = 0; round < 20'000; ++round) expectRestored(textOf(someUnits(random)));
  expectRestored(u"");
  expectRestored(u"   ");
}

TEST(EscapedText, ChangesOnlyWhatIsNotReadBack) {
  struct Row {
    const char* why;
    icu::UnicodeString text;
    icu::UnicodeString stored;
  };
  const auto rows = std::to_array<Row>({{"a plain text", u"a b=c#\u3042\n", u"a b=c#\u3042\n"},
                                        {"spaces at the start", u"  x ", u"~0020 x "},
                                        {"a space after an escape", u"% x", u"~0025 x"},
                                        {"percent signs", u"%a%", u"~0025a~0025"},
                                        {"the mark itself", u"~007E", u"~007E007E"},
                                        {"a character above U+FFFF", u"\U0001F600", u"~D83D~DE00"}});
  for (const Row& row : rowsOf(rows)) EXPECT_EQ(ExtendedProperties::escapeText(row.text), row.stored);
}

TEST(EscapedText, OfABogusTextIsEmpty) {
  icu::UnicodeString bogus;
  bogus.setToBogus();
  EXPECT_EQ(ExtendedProperties::escapeText(bogus), u"");
  EXPECT_FALSE(ExtendedProperties::escapeText(bogus).isBogus());
}

TEST(EscapedText, IsRefusedIfFourDigitsDoNotFollowTheMark) {
  for (const char16_t* const refused : rowsOf({u"~", u"a~", u"~002", u"~00g5", u"~~0025", u"x~0025~1"})) {
    icu::UnicodeString text = u"before";
    EXPECT_FALSE(ExtendedProperties::unescapeText(refused, text));
    EXPECT_EQ(text, u"before");
  }
}

TEST(EscapedText, IsRestoredIntoTheSameObjectAndFromDigitsOfEitherCase) {
  icu::UnicodeString text = u"~00e4~00E4";
  EXPECT_TRUE(ExtendedProperties::unescapeText(text, text));
  EXPECT_EQ(text, u"\u00E4\u00E4");
}

}  // namespace
}  // namespace tarvo::test
