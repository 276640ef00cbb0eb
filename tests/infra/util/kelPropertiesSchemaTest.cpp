#include "infra/util/kelExtendedProperties.hpp"
#include "infra/util/kelPropertiesReport.hpp"
#include "infra/util/kelPropertiesSchema.hpp"

#include "support/kelRendered.hpp"
#include "support/kelRows.hpp"
#include "support/kelSeed.hpp"
#include "support/kelSettingsLaws.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace tarvo::test {
namespace {

using util::ExtendedProperties;
using util::PropertiesReport;
using util::PropertiesSchema;
using util::PropertyFinding;

using Texts = std::vector<std::string>;

/// "line:column rule [argument] [argument]"
Texts shown(const std::vector<PropertyFinding>& findings) {
  Texts all;
  for (const PropertyFinding& finding : findings) {
    all.push_back(std::to_string(finding.line) + ':' + std::to_string(finding.column) + ' ' +
                  std::string(finding.rule));
    for (const icu::UnicodeString& argument : finding.arguments) all.back() += " [" + utf8(argument) + ']';
  }
  return all;
}

Texts checked(const std::string& schema, const std::string& text) {
  EXPECT_EQ(brokenSchemaLaw(schema, text), "");
  const PropertiesSchema read(schema.data(), schema.size());
  return shown(read.check(PropertiesReport(text.data(), text.size())));
}

struct Check {
  const char* why;
  std::string schema;
  std::string text;
  Texts findings;
};

TEST(PropertiesSchema, ChecksKeysAndValues) {
  const std::vector<Check> rows = {
      {"text without a range", "a@type=text", "a= anything\n", {}},
      {"a meaning makes a name known", "a@meaning=x", "a=1\n", {}},
      {"a boolean", "a@type=boolean", "a = maybe \n", {"1:5 wrong-type [a] [maybe] [boolean]"}},
      {"int32 out of its type", "a@type=int32", "a=3000000000", {"1:3 wrong-type [a] [3000000000] [int32]"}},
      {"uint32", "a@type=uint32", "a=-1", {"1:3 wrong-type [a] [-1] [uint32]"}},
      {"the least int64", "a@type=int64", "a=-9223372036854775808", {}},
      {"uint64 out of its type",
       "a@type=uint64",
       "a=18446744073709551616",
       {"1:3 wrong-type [a] [18446744073709551616] [uint64]"}},
      {"the largest uint64", "a@type=uint64\na@range=18446744073709551615..", "a=18446744073709551615", {}},
      {"an infinite double", "a@type=double", "a=1e999", {"1:3 wrong-type [a] [1e999] [double]"}},
      {"the bounds are included", "a@type=int32\na@range=-1..1\nb@type=int32\nb@range=1..1", "a=-1\nb=1", {}},
      {"below the range", "a@range= 1 .. 9 \na@type=int32", "a=0", {"1:3 out-of-range [a] [0] [1 .. 9]"}},
      {"above the range", "a@type=double\na@range=..1.5", "a=1.6", {"1:3 out-of-range [a] [1.6] [..1.5]"}},
      {"listed values", "a@values=low, high,", "a=high\nb=1", {"2:1 unknown-key [b]"}},
      {"a value that is not listed",
       "a@values=low, high",
       "a=high \n",
       {"1:3 unlisted-value [a] [high] [low, high]"}},
      {"listed numbers", "a@type=int32\na@values=1,2", "a= 2 \n", {}},
      {"a resolved value",
       "*@type=int32",
       "a=%b%\nb=x",
       {"1:3 wrong-type [a] [x] [int32]", "2:3 wrong-type [b] [x] [int32]"}},
      {"a value that is not resolved", "*@type=int32", "a=%b%", {}},
      {"the last line counts", "a@type=int32", "a=x\na=1", {}},
      {"a pattern", "log.*@type=boolean", "log.=on\nlog.a.b=1\nlog=x", {"3:1 unknown-key [log]"}},
      {"a pattern that needs both ends",
       "a*a@type=boolean",
       "a=x\naa=x",
       {"1:1 unknown-key [a]", "2:4 wrong-type [aa] [x] [boolean]"}},
      {"the name comes before the pattern", "l.*@type=int32\nl.a@type=text", "l.a=x", {}},
      {"the longest text before the star", "*@type=int32\nl.*@type=text\n*.a@type=int32", "l.a=x", {}},
      {"deprecated", "a@deprecated=b\nb@type=text", "a=1", {"1:1 deprecated-key [a] [b]"}},
      {"deprecated without a successor", "a@deprecated=", "a=1", {"1:1 obsolete-key [a]"}},
      {"an at sign in a name", "a@b@type=int32", "a@b=x", {"1:5 wrong-type [a@b] [x] [int32]"}},
      {"a misspelt key", "port@type=text", "\n prot=1", {"2:2 misspelt-key [prot] [port]"}},
      {"unknown keys are ignored", "@unknown=ignore", "a=1", {}},
  };
  for (const Check& row : rowsOf(rows)) EXPECT_EQ(checked(row.schema, row.text), row.findings);
}

TEST(PropertiesSchema, GivesUnknownKeysTheLevelThatItStates) {
  struct Row {
    std::string what;
    oss::Message::Level level;
  };
  const auto rows = std::to_array<Row>({{"", oss::Message::LEVEL_WARNING},
                                        {"@unknown=warning", oss::Message::LEVEL_WARNING},
                                        {"@unknown = error", oss::Message::LEVEL_ERROR}});
  for (const Row& row : rowsOf(rows)) {
    const PropertiesSchema schema(row.what.data(), row.what.size());
    const auto findings = schema.check(PropertiesReport("a", 1));
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].level, row.level);
  }
}

TEST(PropertiesSchema, ReportsItsOwnFaults) {
  struct Row {
    const char* why;
    std::string schema;
    Texts faults;
  };
  const auto rows = std::to_array<Row>({
      {"no fault", "a@meaning=100 %, really\na@default= x", {}},
      {"no facet", "a=1\n=2", {"1:1 schema-facet-unknown [a]", "2:1 schema-facet-unknown []"}},
      {"another facet", "a@typ=1", {"1:1 schema-facet-unknown [a@typ]"}},
      {"a facet of no name", "@type=text", {"1:1 schema-facet-unknown [@type]"}},
      {"two stars", "a*b*@type=text", {"1:1 schema-name-malformed [a*b*]"}},
      {"another type", "a@type=int", {"1:1 schema-type-unknown [a] [int]"}},
      {"no dots", "a@type=int32\na@range=1-2", {"2:1 schema-range-malformed [a] [1-2]"}},
      {"a bound of another type", "a@type=int32\na@range=1..x", {"2:1 schema-range-malformed [a] [1..x]"}},
      {"a range of texts", "a@range=1..2", {"1:1 schema-range-malformed [a] [1..2]"}},
      {"a default of another type", "a@default=x\na@type=int32", {"1:1 schema-default-refused [a] [x]"}},
      {"a default out of range",
       "a@type=int32\na@default=3\na@range=1..2",
       {"2:1 schema-default-refused [a] [3]"}},
      {"a default that is not listed", "a@values=b,c\na@default=d", {"2:1 schema-default-refused [a] [d]"}},
      {"no such successor", "a@deprecated=b", {"1:1 schema-successor-unknown [a] [b]"}},
      {"another level", "@unknown=fatal", {"1:1 schema-level-unknown [fatal]"}},
      {"a facet twice", "a@type=text\na@type=int32", {"1:1 duplicate-key [a@type] [2] [1]"}},
      {"an escape", "a@meaning=\\u\n", {"1:11 escape-malformed [\\u]"}},
  });
  for (const Row& row : rowsOf(rows)) {
    const PropertiesSchema schema(row.schema.data(), row.schema.size());
    EXPECT_EQ(shown(schema.faults()), row.faults);
    EXPECT_EQ(brokenSchemaLaw(row.schema, "a=1"), "");
  }
}

TEST(PropertiesSchema, SuggestsByCaseThenDistanceThenWords) {
  const std::string text =
      "port@type=text\nlog.level@type=text\nserver-name@type=text\nhost1@type=text\nhost2@type=text\n"
      "Mode@type=text\nmODE@type=text\nold.port@deprecated=port\nx.*@type=text\nab@type=text\n";
  const PropertiesSchema schema(text.data(), text.size());
  struct Row {
    const char* why;
    icu::UnicodeString key;
    icu::UnicodeString name;
  };
  const auto rows = std::to_array<Row>({{"case", u"PORT", u"port"},
                                        {"neighbours exchanged", u"prot", u"port"},
                                        {"a unit inserted", u"log.levvel", u"log.level"},
                                        {"a unit removed", u"log.leel", u"log.level"},
                                        {"another separator", u"log_level", u"log.level"},
                                        {"words in another order", u"name-server", u"server-name"},
                                        {"words in another order and case", u"Level_Log", u"log.level"},
                                        {"two names equally near", u"host3", u""},
                                        {"two names that differ in case", u"mode", u""},
                                        {"a third and more", u"pxxt", u""},
                                        {"a short key", u"xb", u""},
                                        {"a deprecated name", u"old.prt", u""},
                                        {"nothing near", u"timeout", u""},
                                        {"the empty key", u"", u""}});
  for (const Row& row : rowsOf(rows)) EXPECT_EQ(schema.suggest(row.key), row.name);
}

TEST(PropertiesSchema, DescribesItself) {
  const std::string text =
      "port@type=uint32\nport@range=1..65535\nport@default=4711\nport@meaning=The port.\\nOf TCP | UDP.\n"
      "log.*@values=on, off\nhost\\ name@deprecated=host\nhost@default=\\ db*\n";
  const PropertiesSchema schema(text.data(), text.size());
  EXPECT_EQ(schema.sample(),
            "# The port.\n# Of TCP | UDP.\n# Type: uint32, 1..65535\n#port=4711\n\n"
            "# Type: text\n# Values: on, off\n#log.*=\n\n"
            "# Type: text\n# Deprecated: use host\n#host\\ name=\n\n"
            "# Type: text\n#host=\\ db*\n");
  EXPECT_EQ(utf8(schema.markdown()),
            "| property | type | values | default | meaning |\n|---|---|---|---|---|\n"
            "| port | uint32 | 1..65535 | 4711 | The port. Of TCP \\| UDP. |\n"
            "| log.\\* | text | on, off | | |\n"
            "| host name | text | | | Deprecated: use host. |\n"
            "| host | text | |  db\\* | |\n");
}

TEST(PropertiesSchema, WritesNoLiveLineIntoASample) {
  const std::string text =
      "log@values=a,b\\nport\\=1\nn@type=int32\nn@range=1..\\n5\nold@deprecated=log\\nx\\=1\n"
      "d@default=1\\rport\\=1\ne\\nf\\=2@type=text\nm@meaning=one\\nport\\=1\n";
  const std::string sample = PropertiesSchema(text.data(), text.size()).sample();
  ExtendedProperties live;
  live.load(sample.data(), sample.size());
  EXPECT_EQ(live.begin(), live.end()) << sample;
}

TEST(PropertiesSchema, ChecksAHundredThousandKeysAgainstAHundredThousandNames) {
  constexpr int count = 100'000;
  std::string schema;
  std::string file;
  for (int i = 0; i < count; ++i) {
    schema += "name" + std::to_string(i) + "@type=int32\n";
    file += (i % 2 == 0 ? "name" : "mane") + std::to_string(i) + "=x\n";
  }
  const PropertiesSchema read(schema.data(), schema.size());
  const auto findings = read.check(PropertiesReport(file.data(), file.size()));
  EXPECT_EQ(findings.size(), static_cast<std::size_t>(count));
  const auto wrong = std::count_if(findings.begin(), findings.end(), [](const PropertyFinding& finding) {
    return std::string_view(finding.rule) == "wrong-type";
  });
  EXPECT_EQ(wrong, count / 2);
}

TEST(PropertiesSchema, SuggestsNothingForAKeyOfAMebibyte) {
  const std::string text = "port@type=text\n";
  const PropertiesSchema schema(text.data(), text.size());
  EXPECT_TRUE(schema.suggest(icu::UnicodeString(1 << 20, u'x', 1 << 20)).isEmpty());
}

TEST(PropertiesSchema, KeepsTheLawsForRandomSchemas) {
  static const std::vector<std::string> parts = {"a",
                                                 "b.",
                                                 "*",
                                                 "@type=",
                                                 "int32",
                                                 "double",
                                                 "text",
                                                 "@range=",
                                                 "1..2",
                                                 "..",
                                                 "@default=",
                                                 "1",
                                                 "x y",
                                                 "@values=",
                                                 "1,x",
                                                 "@deprecated=",
                                                 "a",
                                                 "@meaning=",
                                                 "@unknown=error",
                                                 "\n",
                                                 "\n",
                                                 "\n",
                                                 "\\",
                                                 " ",
                                                 "\\u00E4",
                                                 "#"};
  std::mt19937 random(seeded(61));
  const auto someText = [&] {
    std::string text;
    for (auto count = random() % 40; count > 0; --count) text += parts[random() % parts.size()];
    return text;
  };
  for (int round = 0; round < 10'000; ++round) {
    const std::string schema = someText();
    const std::string file = someText();
    ROW("schema", schema, "file", file);
    ASSERT_EQ(brokenSchemaLaw(schema, file), "");
  }
}

}  // namespace
}  // namespace tarvo::test
