#include "infra/oss/kelFormatter.hpp"

#include "support/kelDefaultLocale.hpp"
#include "support/kelReporting.hpp"
#include "support/kelRows.hpp"

#include <gtest/gtest.h>
#include <unicode/locid.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <set>
#include <string>
#include <thread>

namespace tarvo::test {
namespace {

using oss::Formatter;

TEST(FormatterLocale, CodeIsFoundByTheNameOfIcusDefaultLocale) {
  struct Row {
    const char* name;
    const char* code;
  };
  const auto rows = std::to_array<Row>({
      {"de", "deDE"},
      {"de_CH", "deCH"},
      {"fr_CA", "frCA"},
      {"pt_BR", "ptBR"},
      {"iw_IL", "heIL"},
      {"no_NY", "noNO"},
      {"ru_UA", "ruRU"},
      {"ar_LY", "arAA"},
      {"xx_YY", "enUS"},
      {"en_US", "enUS"},
      {"en_US_POSIX", "enUS"},
      {"ja_JP_TRADITIONAL", "enUS"},
      {"zh_Hant_TW", "enUS"},
      {"", "enUS"},
      // The letters and digits of the whole name are searched first, then those before the point.
      {"de_AT.UTF-8", "deAT"},
      {"de_AT.ISO8859-1@euro", "deAT"},
      {"xx_YY.UTF-8", "enUS"},
      {"de_AT@collation=phonebook", "enUS"},
      {"de_A.T", "deAT"},
  });
  for (const Row& row : rowsOf(rows)) {
    const DefaultLocale standing(row.name);
    EXPECT_STREQ(Formatter::localeCode(), row.code)
        << row.name << ", which ICU calls " << icu::Locale::getDefault().getName();
  }
}

TEST(FormatterLocale, CodeFollowsTheDefaultLocale) {
  const DefaultLocale first("de_CH");
  const char* const former = Formatter::localeCode();
  const DefaultLocale second("fr_CA");
  EXPECT_STREQ(Formatter::localeCode(), "frCA");
  EXPECT_STREQ(former, "deCH");
}

TEST(FormatterLocale, CodeIsTheFallbackIfTheDefaultLocaleIsBogus) {
  const DefaultLocale standing("a_name_that_is_far_too_long_for_a_language_and_a_territory");
  EXPECT_STREQ(Formatter::localeCode(), "enUS");
}

TEST(FormatterLocale, ListsTheSupportedCodesInCapitals) {
  const oss::TextList codes = Formatter::supportedLocaleCodes();
  ASSERT_EQ(codes.size(), 118U);
  EXPECT_STREQ(codes[0], "ENUS");
  EXPECT_STREQ(codes[116], "VIVN");
  EXPECT_STREQ(codes[117], "DEFAULTLOCALE");
  EXPECT_EQ(codes.end() - codes.begin(), 118);
  EXPECT_EQ(std::set<std::string>(codes.begin(), codes.end()).size(), 118U);
  for (const std::string code : rowsOf(codes)) {
    EXPECT_TRUE(std::all_of(code.begin(), code.end(), [](char c) { return 'A' <= c && c <= 'Z'; })) << code;
    EXPECT_TRUE(code.size() == 4 || code == "DEFAULTLOCALE") << code;
  }
}

TEST(FormatterLocale, HasACodeForEverySupportedLocale) {
  for (const std::string code : rowsOf(Formatter::supportedLocaleCodes())) {
    if (code == "DEFAULTLOCALE") continue;
    const std::string name = code.substr(0, 2) + "_" + code.substr(2);
    const DefaultLocale standing(name.c_str());
    std::string found = Formatter::localeCode();
    EXPECT_EQ(found.size(), 4U);
    std::transform(found.begin(), found.end(), found.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    EXPECT_EQ(found, code);
  }
}

TEST(FormatterLocale, SettingsCanBeBuiltForEverySupportedLocaleAgainAndAgain) {
  for (const std::string code : rowsOf(Formatter::supportedLocaleCodes())) {
    const DefaultLocale standing((code.substr(0, 2) + "_" + code.substr(2)).c_str());
    EXPECT_NO_THROW(Formatter::setSettings()) << code;
  }
  EXPECT_NO_THROW(Formatter::setSettings());
}

TEST(FormatterLocale, DoesNotAffectNumbers) {
  const DefaultLocale standing("de_DE");
  Formatter::setSettings();
  EXPECT_EQ(Formatter::stringToDouble("1.5"), 1.5);
  icu::UnicodeString out;
  Formatter::int32ToString(out, -1'234'567);
  EXPECT_EQ(out, icu::UnicodeString(u"-1234567"));
}

TEST(FormatterLocale, NameOfTheConsolesCodePageStaysTheSame) {
  const char* const name = Formatter::consoleCodePageName();
  EXPECT_TRUE(std::string(name).starts_with("windows-") || std::string(name).starts_with("ibm-")) << name;
  EXPECT_EQ(Formatter::consoleCodePageName(), name);
  const char* elsewhere = nullptr;
  std::thread(reporting([&] { elsewhere = Formatter::consoleCodePageName(); })).join();
  EXPECT_EQ(elsewhere, name);
}

}  // namespace
}  // namespace tarvo::test
