#include "infra/util/kelPropertiesReport.hpp"

#include "support/kelRendered.hpp"
#include "support/kelRows.hpp"
#include "support/kelSeed.hpp"
#include "support/kelSettingsLaws.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace tarvo::test {
namespace {

using util::PropertiesReport;
using util::PropertyFinding;

/// "line:column rule [argument] [argument]"
std::string shown(const PropertyFinding& finding) {
  std::string text =
      std::to_string(finding.line) + ':' + std::to_string(finding.column) + ' ' + std::string(finding.rule);
  for (const icu::UnicodeString& argument : finding.arguments) text += " [" + utf8(argument) + ']';
  return text;
}

std::vector<std::string> findingsOf(const std::string& text) {
  const PropertiesReport report(text.data(), text.size());
  std::vector<std::string> all;
  for (const PropertyFinding& finding : report.findings()) all.push_back(shown(finding));
  return all;
}

struct Row {
  const char* why;
  std::string text;
  std::vector<std::string> findings;
};

const std::vector<Row>& rows() {
  static const std::vector<Row> all = {
      {"nothing to report", "# \\u\na = b\\u00E4\\\n c\n", {}},
      {"no data", "", {}},
      {"two duplicates",
       "a=1\r\n a=2\n\\\n  a=3",
       {"1:1 duplicate-key [a] [4] [3]", "2:2 duplicate-key [a] [4] [3]"}},
      {"no digits", "a=x\\u\n", {"1:4 escape-malformed [\\u]"}},
      {"three digits", "a=\\u12ez\n", {"1:3 escape-malformed [\\u12e]"}},
      {"a surrogate in a key", "\\uD800=1\n", {"1:1 escape-not-character [\\uD800]"}},
      {"a noncharacter", "a=b\\\n  c\\ufffe", {"2:4 escape-not-character [\\ufffe]"}},
      {"an escape at the end", "a=\\u0041", {"1:3 escape-at-end [\\u0041]"}},
      {"an escape in an overridden line",
       "a=\\u\na=1",
       {"1:1 duplicate-key [a] [2] [1]", "1:3 escape-malformed [\\u]"}},
      {"a backslash before a u that is escaped", "a=\\\\u\n", {}},
      {"a lone percent sign", "a=50% of\nb=%a%\n", {"1:5 lone-percent [a]"}},
      {"a lone percent sign after a reference", "a=%b%%\nb=1", {"1:6 lone-percent [a]"}},
      {"an escaped percent sign", "ab=x\\\n \\%y", {"2:2 lone-percent [ab]"}},
      {"a missing reference",
       "a=1%no%%a\\%2\n",
       {"1:4 reference-missing [a] [no]", "1:8 reference-cyclic [a] [a]"}},
      {"a missing reference in each value",
       "a=%x%\nb=%a%%y%\n",
       {"1:3 reference-missing [a] [x]", "2:6 reference-missing [b] [y]"}},
      {"a cycle of two", "a=%b%\nb=%a%\n", {"2:3 reference-cyclic [b] [a]"}},
      {"a percent sign that comes with a value", "a=%p%b%\np=x%\nb=1", {"2:4 lone-percent [p]"}},
      {"an overridden reference", "a=%x%\na=1\n", {"1:1 duplicate-key [a] [2] [1]"}},
      {"a space at the start of a value", "a=\\  x\nb =  c", {"1:3 value-not-saved [a]"}},
  };
  return all;
}

TEST(PropertiesReport, FindsWhatLoadAccepts) {
  for (const Row& row : rowsOf(rows())) EXPECT_EQ(findingsOf(row.text), row.findings);
}

TEST(PropertiesReport, AgreesWithTheLoadedPropertiesForTheseRows) {
  for (const Row& row : rowsOf(rows())) EXPECT_EQ(brokenReportLaw(row.text), "");
}

TEST(PropertiesReport, HasErrorsAndWarnings) {
  const std::string text = "a=%x%\nb=%\n";
  const PropertiesReport report(text.data(), text.size());
  ASSERT_EQ(report.findings().size(), 2U);
  EXPECT_EQ(report.findings()[0].level, oss::Message::LEVEL_ERROR);
  EXPECT_EQ(report.findings()[1].level, oss::Message::LEVEL_WARNING);
}

TEST(PropertiesReport, ListsLinesAndResolvedValues) {
  const std::string text = "a=1\nb : %a%2\na=3\nc=%x%%a%\nd=%c%\n";
  const PropertiesReport report(text.data(), text.size());
  const auto& properties = report.properties();
  ASSERT_EQ(properties.size(), 5U);
  EXPECT_FALSE(properties[0].counts);
  EXPECT_FALSE(properties[0].isResolved);
  EXPECT_EQ(properties[1].value, u"%a%2");
  EXPECT_EQ(properties[1].resolved, u"32");
  EXPECT_TRUE(properties[1].isResolved);
  EXPECT_EQ(properties[1].valueColumn, 5U);
  EXPECT_TRUE(properties[2].counts);
  EXPECT_FALSE(properties[3].isResolved);
  EXPECT_FALSE(properties[4].isResolved) << "it refers to a value that is not resolved";
}

TEST(PropertiesReport, TakesNullAsEmptyData) {
  const PropertiesReport report(nullptr, 7);
  EXPECT_TRUE(report.findings().empty());
  EXPECT_TRUE(report.properties().empty());
}

TEST(PropertiesReport, AgreesWithTheLoadedPropertiesForEveryShortText) {
  std::vector<std::string> texts = {""};
  for (std::size_t i = 0; i < texts.size(); ++i) {
    const std::string text = texts[i];
    ROW("text", text);
    ASSERT_EQ(brokenReportLaw(text), "");
    if (text.size() == 5) continue;
    for (const char byte : std::string_view("a=\\\n%u\r")) texts.push_back(text + byte);
  }
}

class PropertiesReportWalks : public testing::TestWithParam<unsigned int> {};

TEST_P(PropertiesReportWalks, AgreeWithTheLoadedProperties) {
  static const std::vector<std::string> parts = {"a",
                                                 "b",
                                                 "=",
                                                 "%",
                                                 "%a%",
                                                 "%b%",
                                                 "%ab%",
                                                 "\n",
                                                 "\n",
                                                 "\r\n",
                                                 "\r",
                                                 "\\\n",
                                                 "\\%",
                                                 " ",
                                                 "\\u",
                                                 "0041",
                                                 "\\uD800",
                                                 "#",
                                                 std::string(1, '\0')};
  std::mt19937 random(seeded(GetParam()));
  for (int round = 0; round < 8000; ++round) {
    std::string text;
    for (auto count = random() % 25; count > 0; --count) text += parts[random() % parts.size()];
    ROW("text", text);
    ASSERT_EQ(brokenReportLaw(text), "");
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, PropertiesReportWalks, testing::Values(51U, 52U, 53U));

TEST(PropertiesReport, StopsBeforeReferencesMultiplyWithoutLimit) {
  std::string text = "z=0123456789\n";
  for (char key = 'a'; key < 'z'; ++key) {
    const std::string next(1, static_cast<char>(key + 1));
    const std::string both = "%" + next + "%%" + next + "%";
    text += key + ("=" + both + both) + "\n";
  }
  const PropertiesReport report(text.data(), text.size());
  ASSERT_EQ(report.findings().size(), 1U);
  EXPECT_EQ(report.findings()[0].rule, std::string("references-too-long"));
  EXPECT_TRUE(report.properties()[0].isResolved);
  EXPECT_FALSE(report.properties()[1].isResolved);
}

TEST(PropertiesReport, HandlesAHundredThousandOfEachFinding) {
  constexpr int count = 100'000;
  std::string text;
  for (int i = 0; i < count; ++i) text += "a=1\n";
  text += "m=";
  for (int i = 0; i < count; ++i) text += "%x%\\u";
  text += "\n";
  for (int i = 0; i < count; ++i) text += "c" + std::to_string(i) + "=%c" + std::to_string(i + 1) + "%%y%\n";
  const PropertiesReport report(text.data(), text.size());
  const auto number = [&](std::string_view rule) {
    return std::count_if(report.findings().begin(), report.findings().end(),
                         [&](const PropertyFinding& finding) { return finding.rule == rule; });
  };
  EXPECT_EQ(number("duplicate-key"), count - 1);
  EXPECT_EQ(number("escape-malformed"), count);
  EXPECT_EQ(number("reference-missing"), 2 * count + 1);
}

TEST(PropertiesReport, HandlesACycleOfAHundredThousandKeys) {
  constexpr int count = 100'000;
  std::string text;
  for (int i = 0; i < count; ++i) text += std::to_string(i) + "=%" + std::to_string((i + 1) % count) + "%\n";
  const PropertiesReport report(text.data(), text.size());
  ASSERT_EQ(report.findings().size(), 1U);
  EXPECT_EQ(report.findings()[0].rule, std::string("reference-cyclic"));
}

}  // namespace
}  // namespace tarvo::test
