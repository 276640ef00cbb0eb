#include "infra/util/kelExtendedProperties.hpp"
#include "infra/util/kelPropertiesEditor.hpp"

#include "support/kelEditorLaws.hpp"
#include "support/kelRows.hpp"
#include "support/kelSeed.hpp"

#include <gtest/gtest.h>
#include <unicode/unistr.h>

#include <array>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace tarvo::test {
namespace {

using util::PropertiesEditor;

using std::string_literals::operator""s;

struct Setting {
  const char* why;
  std::string before;
  icu::UnicodeString key;
  icu::UnicodeString value;
  std::string after;
};

const std::vector<Setting>& settings() {
  static const std::vector<Setting> rows = {
      {"an empty text", "", u"a", u"b", "a=b\n"},
      {"separator, line end and comments stay", "#c\r\n a : b\r\nc=d", u"a", u"x", "#c\r\n a : x\r\nc=d"},
      {"the last line of a key counts", "a=1\na=2\n", u"a", u"3", "a=1\na=3\n"},
      {"a key without separator", "a\nb", u"a", u"x", "a=x\nb"},
      {"a key with a blank", "a \nb", u"a", u"x", "a x\nb"},
      {"a continued value", "a=1\\\n  2\nb=c\n", u"a", u"3", "a=3\nb=c\n"},
      {"a continuation before the value", "a=\\\n  2\n", u"a", u"3", "a=\\\n  3\n"},
      {"a key of two lines", "a\\\n b\nc", u"ab", u"x", "a\\\n b=x\nc"},
      {"a new key with LF", "a=1\n", u"b", u"2", "a=1\nb=2\n"},
      {"a new key with CR LF", "a=1\r\n", u"b", u"2", "a=1\r\nb=2\r\n"},
      {"a new key with CR", "a=1\r", u"b", u"2", "a=1\rb=2\r"},
      {"a new key after a line without line end", "x\r\na=1", u"b", u"2", "x\r\na=1\r\nb=2\r\n"},
      {"a new key after a comment", "#x", u"b", u"2", "#x\nb=2\n"},
      {"a new key after a continuation", "a=1\\\n", u"b", u"2", "a=1\\\n\nb=2\n"},
      {"a new key after a continuation with CR", "x\na=1\\\r", u"b", u"2", "x\na=1\\\r\rb=2\n"},
      {"a new key after a backslash", "a=1\\", u"b", u"2", "a=1\nb=2\n"},
      {"a new key after four digits", "a=\\u0041", u"b", u"2", "a=u0041\nb=2\n"},
      {"a backslash at the end of the value", "a : 1\\", u"a", u"2", "a : 2"},
      {"a backslash at the end of the key", "a\\", u"a", u"2", "a=2"},
      {"four digits at the end of the key", "a\\u0041", u"au0041", u"2", "au0041=2"},
      {"a value that ends in an escape", "a : 1", u"a", u"\u00E4", "a : \\u00E4\n"},
      {"a continuation that would take the line end", "a=\\\r1\nb", u"a", u"", "a=\nb"},
      {"an empty value", "a=1", u"a", u"", "a="},
      {"a space at the start of the value", "a=1\n", u"a", u"  x", "a=\\  x\n"},
      {"escapes", "", u"a b#", u"=\t\\", "a\\ b\\#=\\=\\t\\\\\n"},
      {"a NUL", "a=\0b\nc=d\n"s, u"c", u"x", "a=\0b\nc=x\n"s},
      {"the empty key", "=1\n", u"", u"2", "=2\n"},
      {"the same value, written otherwise", "a=\\u0062\\\n c", u"a", u"bc", "a=\\u0062\\\n c"},
      {"a value that cannot be written", "a=1\n", u"a", u"\U0001F600", "a=1\n"},
  };
  return rows;
}

TEST(PropertiesEditor, SetsTheLineThatCountsAndKeepsTheRest) {
  for (const Setting& row : rowsOf(settings())) {
    PropertiesEditor editor(row.before.data(), row.before.size());
    EXPECT_EQ(editor.set(row.key, row.value), row.value != u"\U0001F600");
    EXPECT_EQ(editor.bytes(), row.after);
    EXPECT_EQ(editor.edits().empty(), row.before == row.after);
  }
}

TEST(PropertiesEditor, KeepsTheLawsForTheseRows) {
  for (const Setting& row : rowsOf(settings())) {
    const std::u16string key(row.key.getBuffer(), static_cast<std::size_t>(row.key.length()));
    const std::u16string value(row.value.getBuffer(), static_cast<std::size_t>(row.value.length()));
    EXPECT_EQ(brokenEditorLaw(row.before, key, value), "");
  }
}

TEST(PropertiesEditor, RemovesAllLinesOfAKey) {
  struct Row {
    const char* why;
    std::string before;
    std::size_t lines;
    std::string after;
  };
  const auto rows = std::to_array<Row>({{"no such key", "b=1\n", 0, "b=1\n"},
                                        {"all lines", "a=1\n#c\na=2\nb=3\na\\\n=4", 3, "#c\nb=3\n"},
                                        {"the only line", "a", 1, ""},
                                        {"a CR and an LF become one line end", "b\ra\n\nc", 1, "b\r\nc"}});
  for (const Row& row : rowsOf(rows)) {
    PropertiesEditor editor(row.before.data(), row.before.size());
    EXPECT_EQ(editor.remove(u"a"), row.lines);
    EXPECT_EQ(editor.bytes(), row.after);
    EXPECT_EQ(editor.edits().size(), row.lines);
    EXPECT_EQ(brokenEditorLaw(row.before, u"a", u"x"), "");
  }
}

TEST(PropertiesEditor, FindsTheLineThatCountsAndTheOverriddenOnes) {
  const std::string text = "a=1\r\n# c\r  a : 2\n\\\n \ta = 3\\\n 4\nb=5";
  PropertiesEditor editor(text.data(), text.size());
  PropertiesEditor::Place place{};
  ASSERT_TRUE(editor.find(u"a", place));
  EXPECT_EQ(text.substr(place.offset, place.length), "\\\n \ta = 3\\\n 4\n");
  EXPECT_EQ(text.substr(place.valueOffset, place.valueLength), "3\\\n 4");
  EXPECT_EQ(place.line, 5U);
  EXPECT_EQ(place.column, 3U);
  EXPECT_EQ(place.overriddenLines, (std::vector<std::size_t>{1, 3}));
  ASSERT_TRUE(editor.find(u"b", place));
  EXPECT_EQ(place.line, 7U);
  EXPECT_TRUE(place.overriddenLines.empty());
  EXPECT_FALSE(editor.find(u"c", place));
  EXPECT_EQ(place.line, 7U) << "the place changed";
}

TEST(PropertiesEditor, ReportsTheSpanThatItReplaced) {
  const std::string text = "a = 12\nb=3";
  PropertiesEditor editor(text.data(), text.size());
  editor.set(u"a", u"x");
  ASSERT_EQ(editor.edits().size(), 1U);
  EXPECT_EQ(editor.edits()[0].offset, 4U);
  EXPECT_EQ(editor.edits()[0].removed, 2U);
  EXPECT_EQ(editor.edits()[0].inserted, 1U);
  editor.set(u"c", u"4");
  ASSERT_EQ(editor.edits().size(), 1U);
  EXPECT_EQ(editor.edits()[0].offset, 9U);
  EXPECT_EQ(editor.edits()[0].removed, 0U);
  EXPECT_EQ(editor.edits()[0].inserted, 5U);
  editor.set(u"c", u"4");
  EXPECT_TRUE(editor.edits().empty());
  editor.set(u"c", u"5");
  editor.set(u"c", u"\uFFFF");
  EXPECT_TRUE(editor.edits().empty());
}

TEST(PropertiesEditor, TakesNullAsEmptyData) {
  PropertiesEditor editor(nullptr, 5);
  EXPECT_EQ(editor.bytes(), "");
  EXPECT_TRUE(editor.set(u"a", u"b"));
  EXPECT_EQ(editor.bytes(), "a=b\n");
}

TEST(PropertiesEditor, RefusesABogusText) {
  icu::UnicodeString bogus;
  bogus.setToBogus();
  PropertiesEditor editor("a=b", 3);
  EXPECT_FALSE(editor.set(u"a", bogus));
  EXPECT_FALSE(editor.set(bogus, u"a"));
  EXPECT_EQ(editor.bytes(), "a=b");
}

TEST(PropertiesEditor, KeepsTheLawsForEveryShortText) {
  constexpr std::string_view alphabet = "a=\\\r\n #";
  std::vector<std::string> texts = {""};
  for (std::size_t i = 0; i < texts.size(); ++i) {
    const std::string text = texts[i];
    for (const std::u16string_view value : {u"", u" ", u"x", u"\u3042"}) {
      ROW("text", text);
      EXPECT_EQ(brokenEditorLaw(text, u"a", std::u16string(value)), "");
      EXPECT_EQ(brokenEditorLaw(text, u"", std::u16string(value)), "");
    }
    if (text.size() == 4 || testing::Test::HasFailure()) continue;
    for (const char byte : alphabet) texts.push_back(text + byte);
  }
}

std::string someText(std::mt19937& random) {
  static const std::vector<std::string> parts = {"a",    "b",       "=",      ":",     " ",   "\t",   "\\",
                                                 "\\\n", "\\\r",    "\\\r\n", "\r",    "\n",  "\r\n", "#",
                                                 "!",    "\\u0041", "\\u",    "u0041", "\0"s, "\xE4", "%"};
  std::string text;
  for (auto count = random() % 30; count > 0; --count) text += parts[random() % parts.size()];
  return text;
}

class PropertiesEditorWalks : public testing::TestWithParam<unsigned int> {};

TEST_P(PropertiesEditorWalks, KeepTheLawsAfterEachChange) {
  std::mt19937 random(seeded(GetParam()));
  for (int round = 0; round < 1500; ++round) {
    const std::string text = someText(random);
    std::string choices(8, '\0');
    for (char& choice : choices) choice = static_cast<char>(random() % 256);
    ROW("text", text, "choices", choices);
    ASSERT_EQ(brokenEditorWalk(text, choices), "");
    ASSERT_EQ(brokenEditorLaw(text, u"ab", u"\u00E4\uFFFD"), "");
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, PropertiesEditorWalks, testing::Values(41U, 42U, 43U));

TEST(PropertiesEditor, ChangesEachOfAHundredThousandKeys) {
  constexpr int count = 100'000;
  std::string text;
  for (int i = 0; i < count; ++i) text += "key." + std::to_string(i) + "=1\n";
  PropertiesEditor editor(text.data(), text.size());
  PropertiesEditor::Place place{};
  for (int i = 0; i < count; ++i) {
    const icu::UnicodeString key = icu::UnicodeString::fromUTF8("key." + std::to_string(i));
    ASSERT_TRUE(editor.set(key, u"22"));
    ASSERT_TRUE(editor.find(key, place));
    ASSERT_EQ(place.line, static_cast<std::size_t>(i) + 1);
  }
  EXPECT_EQ(editor.bytes().size(), text.size() + count);
  for (int i = 0; i < count; i += 2) {
    ASSERT_EQ(editor.remove(icu::UnicodeString::fromUTF8("key." + std::to_string(i))), 1U);
  }
  ASSERT_TRUE(editor.find(u"key.99999", place));
  EXPECT_EQ(place.line, 50'000U);
  EXPECT_EQ(place.offset + place.length, editor.bytes().size());
}

TEST(PropertiesEditor, RemovesAHundredThousandLinesOfOneKey) {
  std::string text;
  for (int i = 0; i < 100'000; ++i) text += "a=1\r\n\n";
  PropertiesEditor editor(text.data(), text.size());
  PropertiesEditor::Place place{};
  ASSERT_TRUE(editor.find(u"a", place));
  EXPECT_EQ(place.overriddenLines.size(), 99'999U);
  EXPECT_EQ(place.overriddenLines.back(), 199'997U);
  EXPECT_EQ(editor.remove(u"a"), 100'000U);
  EXPECT_EQ(editor.bytes(), std::string(100'000, '\n'));
}

TEST(PropertiesEditor, HandlesALineOfAMebibyteAndAMebibyteOfContinuations) {
  const std::string value(1U << 20U, 'x');
  const std::string text = "a=" + value + "\nb=1";
  EXPECT_EQ(brokenEditorLaw(text, u"a", u"1"), "");
  std::string continued = "a=";
  for (int i = 0; i < 1 << 19; ++i) continued += "\\\n";
  EXPECT_EQ(brokenEditorLaw(continued, u"b", u"1"), "");
}

}  // namespace
}  // namespace tarvo::test
