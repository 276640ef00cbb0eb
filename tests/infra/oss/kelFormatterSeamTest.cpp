#include "infra/oss/kelFormatter.hpp"
#include "infra/oss/kelNLSException.hpp"

#include "oss/kelFormatSettings.hpp"
#include "oss/kelLocaleCodes.hpp"
#include "platform/kelConsole.hpp"
#include "support/kelDefaultLocale.hpp"
#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unicode/locid.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tarvo::oss {
namespace {

using test::DefaultLocale;
using test::Raises;
using test::rowsOf;

// --- the tables

/// The 64-bit FNV-1a hash.
std::uint64_t digestOf(std::string_view text) {
  std::uint64_t value = 0xCBF2'9CE4'8422'2325U;
  for (const char c : text) value = (value ^ static_cast<unsigned char>(c)) * 0x100'0000'01B3U;
  return value;
}

TEST(LocaleTablesDigest, MatchesKnownFnv1aValues) {
  EXPECT_EQ(digestOf("a"), 0xAF63'DC4C'8601'EC8CU);
  EXPECT_EQ(digestOf("foobar"), 0x8594'4171'F739'67E8U);
}

bool isMadeOf(std::string_view text, int (*kind)(int)) {
  return std::all_of(text.begin(), text.end(),
                     [kind](char c) { return kind(static_cast<unsigned char>(c)) != 0; });
}

// Programs depend on these tables, so a digest guards them against accidental changes. The digested texts are
// "AR=arAA ARA=arSA ..." and "ENUS ENAU ...", with a blank after each entry.
TEST(LocaleTables, ContainEveryAliasUnchanged) {
  std::string text;
  for (const LocaleAlias& alias : localeAliases()) text += std::string(alias.key) + "=" + alias.code + " ";
  EXPECT_EQ(localeAliases().size(), 339U);
  EXPECT_EQ(digestOf(text), 0x96C3'FD2B'F7E6'3382U);
}

TEST(LocaleTables, ContainEverySupportedCodeInOrder) {
  std::string text;
  for (const char* const code : supportedLocales()) text += std::string(code) + " ";
  EXPECT_EQ(supportedLocales().size(), 118U);
  EXPECT_EQ(digestOf(text), 0x2690'9FF7'911A'1B86U);
}

TEST(LocaleTables, AreSortedAndUniform) {
  std::string_view before;
  for (const LocaleAlias& alias : rowsOf(localeAliases())) {
    const std::string_view key = alias.key;
    const std::string_view code = alias.code;
    ROW(key);
    EXPECT_LT(before, key);
    before = key;
    EXPECT_TRUE(isMadeOf(key, &std::isupper));
    EXPECT_TRUE((key.size() >= 2 && key.size() <= 4) || key == "DEFAULTLOCALE");
    ASSERT_EQ(code.size(), 4U);
    EXPECT_TRUE(isMadeOf(code.substr(0, 2), &std::islower) && isMadeOf(code.substr(2), &std::isupper));
  }
}

TEST(LocaleTables, ContainTheIrregularRows) {
  std::map<std::string, std::string> table;
  for (const LocaleAlias& alias : localeAliases()) table[alias.key] = alias.code;
  for (const auto& [key, code] : rowsOf(std::to_array<std::pair<const char*, const char*>>({
           {"ARA", "arSA"},
           {"NR", "shSP"},
           {"SRL", "shSP"},
           {"RUUA", "ruRU"},
           {"SVFI", "svSE"},
           {"DEBE", "deDE"},
           {"DELI", "deDE"},
           {"DEFAULTLOCALE", "enUS"},
       }))) {
    EXPECT_EQ(table[key], code) << key;
  }
}

TEST(LocaleTables, ListEverySupportedCodeAsAnAliasOfItself) {
  for (const char* const code : rowsOf(supportedLocales())) {
    if (std::string_view(code) == "DEFAULTLOCALE") continue;
    std::string found = localeCodeOf(code);
    std::transform(found.begin(), found.end(), found.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    EXPECT_EQ(found, code);
  }
}

// --- the search

std::string letters(const char* name) {
  std::string kept;
  for (; *name != '\0'; ++name) {
    if (std::isalnum(static_cast<unsigned char>(*name)) != 0)
      kept += static_cast<char>(std::toupper(static_cast<unsigned char>(*name)));
  }
  return kept;
}

TEST(LocaleCode, IsFoundForEveryAliasAsIcusDefaultLocale) {
  for (const LocaleAlias& alias : rowsOf(localeAliases())) {
    ROW("key", alias.key);
    const std::string key = alias.key;
    // ICU replaces some names by canonical ones, so at least one spelling of the row must stay unchanged.
    bool named = false;
    for (const std::string& name : rowsOf({key, key.substr(0, 2) + "_" + key.substr(2),
                                           key.substr(0, 1) + "_" + key.substr(1), "_" + key})) {
      const DefaultLocale standing(name.c_str());
      if (letters(icu::Locale::getDefault().getName()) != key) continue;
      named = true;
      EXPECT_STREQ(Formatter::localeCode(), alias.code) << name;
    }
    EXPECT_TRUE(named || key == "DEFAULTLOCALE");
  }
}

TEST(LocaleCode, DependsOnlyOnLettersAndDigitsInAnyCase) {
  struct Row {
    const char* why;
    std::string name;
    const char* code;
  };
  const std::vector<Row> rows = {
      {"as ICU writes it", "de_CH", "deCH"},
      {"capitals", "DECH", "deCH"},
      {"small letters", "dech", "deCH"},
      {"signs anywhere", "-d=e__C h@", "deCH"},
      {"a three-letter name", "sve", "svSE"},
      {"the fallback's own key", "Default_Locale", "enUS"},
      {"a digit is kept", "de_CH1", "enUS"},
      {"a digit after the point is not", "de_CH.1", "deCH"},
      {"the first point ends the name", "de_CH.A.T", "deCH"},
      {"the whole name goes before its front: DEA.T", "de_a.t", "deAT"},
      {"no digit before the point", ".de", "deDE"},
      {"nothing at all", "", "enUS"},
      {"no letter", "_.@", "enUS"},
      {"one letter", "d", "enUS"},
      {"a beginning of a key", "DEFAULTLOCAL", "enUS"},
      {"before all keys", "AA", "enUS"},
      {"after all keys", "ZZ", "enUS"},
      {"63 bytes count", std::string(59, '_') + "deCH", "deCH"},
      {"the 64th does not", std::string(60, '_') + "fiFI", "enUS"},
      {"the truncated rest does not affect the name", std::string(61, '_') + "deCH", "deDE"},
      {"a name as long as can be", std::string(1000, 'x'), "enUS"},
  };
  for (const Row& row : rowsOf(rows)) EXPECT_STREQ(localeCodeOf(row.name), row.code) << row.why;
}

// --- the console

struct OemCodePage {
  explicit OemCodePage(platform::OemCodePage other)
      : former(std::exchange(platform::currentOemCodePage, other)) {}
  OemCodePage(const OemCodePage&) = delete;
  OemCodePage& operator=(const OemCodePage&) = delete;
  ~OemCodePage() { platform::currentOemCodePage = former; }

  platform::OemCodePage former;
};

template <unsigned int number>
unsigned int answers() noexcept {
  return number;
}

struct ConsoleRow {
  platform::OemCodePage system;
  const char* name;
};

class ConsoleCodePage : public testing::TestWithParam<ConsoleRow> {};

/// The name is requested once per process, so each row runs in a separate process.
TEST_P(ConsoleCodePage, IsRequestedOnceAndKept) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        const OemCodePage standing(GetParam().system);
        const std::string first = Formatter::consoleCodePageName();
        const OemCodePage later(&answers<1>);
        const std::string second = Formatter::consoleCodePageName();
        std::fprintf(stderr, "<%s|%s>", first.c_str(), second.c_str());
        std::_Exit(0);
      },
      testing::ExitedWithCode(0),
      testing::HasSubstr("<" + std::string(GetParam().name) + "|" + GetParam().name + ">"));
}

INSTANTIATE_TEST_SUITE_P(
    Pages, ConsoleCodePage,
    testing::Values(ConsoleRow{&answers<720>, "ibm-864"}, ConsoleRow{&answers<737>, "ibm-869"},
                    ConsoleRow{&answers<775>, "ibm-901"}, ConsoleRow{&answers<855>, "ibm-855"},
                    ConsoleRow{&answers<858>, "ibm-858"}, ConsoleRow{&answers<850>, "windows-850"},
                    ConsoleRow{&answers<437>, "windows-437"}, ConsoleRow{&answers<0>, "windows-0"},
                    ConsoleRow{&answers<864>, "windows-864"}, ConsoleRow{&answers<65001>, "windows-65001"},
                    ConsoleRow{&answers<4'294'967'295U>, "windows-4294967295"}),
    [](const auto& row) { return "Page" + std::to_string(row.param.system()); });

TEST(ConsoleCodePageSeam, CallsThePlatformUnlessATestReplacesIt) {
  EXPECT_EQ(platform::currentOemCodePage, &platform::systemOemCodePage);
  EXPECT_GT(platform::systemOemCodePage(), 0U);
}

// --- the settings

/// A fixed point in time, formatted.
icu::UnicodeString written(const icu::DateFormat& format) {
  icu::UnicodeString text;
  return format.format(86'400'000.0 * 19'000, text);
}

TEST(FormatSettings, AreThoseOfTheDefaultLocale) {
  const DefaultLocale standing("fr_CA.UTF-8");
  Formatter::setSettings();
  const FormatSettings& settings = formatSettings();
  EXPECT_STREQ(settings.locale.getName(), "fr_CA");
  icu::UnicodeString number;
  EXPECT_EQ(settings.number->format(1234.5, number), icu::UnicodeString(u"1\u00A0234,5"));
  constexpr auto style = icu::DateFormat::kDefault;
  using Made = std::unique_ptr<icu::DateFormat>;
  const icu::Locale canada("fr", "CA");
  EXPECT_EQ(written(*settings.date), written(*Made(icu::DateFormat::createDateInstance(style, canada))));
  EXPECT_EQ(written(*settings.time), written(*Made(icu::DateFormat::createTimeInstance(style, canada))));
  EXPECT_EQ(written(*settings.dateAndTime),
            written(*Made(icu::DateFormat::createDateTimeInstance(style, style, canada))));
  EXPECT_NE(written(*settings.date), written(*settings.time));
}

TEST(FormatSettings, AreCreatedAgainForAnotherLocale) {
  const DefaultLocale first("de_DE");
  Formatter::setSettings();
  const DefaultLocale second("ja_JP");
  Formatter::setSettings();
  EXPECT_STREQ(formatSettings().locale.getName(), "ja_JP");
  EXPECT_EQ(written(*formatSettings().date),
            written(*std::unique_ptr<icu::DateFormat>(
                icu::DateFormat::createDateInstance(icu::DateFormat::kDefault, icu::Locale("ja", "JP")))));
}

struct FactoriesRestored {
  FactoriesRestored() = default;
  FactoriesRestored(const FactoriesRestored&) = delete;
  FactoriesRestored& operator=(const FactoriesRestored&) = delete;
  ~FactoriesRestored() { formatFactories = former; }

  FormatFactories former = formatFactories;
};

icu::NumberFormat* noNumberFormat(const icu::Locale&) {
  return nullptr;
}
icu::DateFormat* noDateFormat(const icu::Locale&) {
  return nullptr;
}

TEST(FormatSettings, RaiseOutOfMemoryIfAFormatCannotBeCreatedAndStayUnchanged) {
  const DefaultLocale first("de_AT");
  Formatter::setSettings();
  const icu::NumberFormat* const number = formatSettings().number.get();
  const DefaultLocale second("en_US");
  const auto breakers = std::to_array<std::pair<const char*, void (*)()>>({
      {"number", [] { formatFactories.number = &noNumberFormat; }},
      {"date", [] { formatFactories.date = &noDateFormat; }},
      {"time", [] { formatFactories.time = &noDateFormat; }},
      {"date and time", [] { formatFactories.dateAndTime = &noDateFormat; }},
  });
  for (const auto& [which, breakOne] : rowsOf(breakers)) {
    const FactoriesRestored restored;
    breakOne();
    EXPECT_THAT(
        [] { Formatter::setSettings(); },
        Raises<NLSException>("ERR_OUT_OF_MEMORY", "Formatter::setSettings()").from("kelFormatter.cpp"))
        << which;
    EXPECT_STREQ(formatSettings().locale.getName(), "de_AT") << which;
    EXPECT_EQ(formatSettings().number.get(), number) << which;
  }
  Formatter::setSettings();
  EXPECT_STREQ(formatSettings().locale.getName(), "en_US");
}

}  // namespace
}  // namespace tarvo::oss
