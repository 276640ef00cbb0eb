#include "infra/util/kelExtendedProperties.hpp"
#include "infra/util/kelPropertiesException.hpp"

#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"
#include "support/kelSeed.hpp"
#include "support/kelTraceRecorder.hpp"

#include <gtest/gtest.h>
#include <unicode/unistr.h>

#include <array>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace tarvo::test {
namespace {

using ::testing::IsEmpty;
using util::ExtendedProperties;
using util::PropertiesException;

constexpr const char* sourceFile = "src/infra/oss/../util/kelExtendedProperties.cpp";

static_assert(std::has_virtual_destructor_v<ExtendedProperties>);
static_assert(std::is_same_v<ExtendedProperties::iterator, ExtendedProperties::const_iterator>);
static_assert(std::is_same_v<decltype(*std::declval<ExtendedProperties::iterator>()),
                             const std::pair<const icu::UnicodeString, icu::UnicodeString>&>);

auto raisesMissing(const icu::UnicodeString& key) {
  return Raises<PropertiesException>("ERR_PROPERTY_MISSING", key).from(sourceFile);
}

auto raisesWrongType(const icu::UnicodeString& key, const icu::UnicodeString& text, const std::string& word) {
  return Raises<PropertiesException>("ERR_PROPERTY_WRONG_TYPE", key, text, word).from(sourceFile);
}

icu::UnicodeString unicode(const std::u16string& text) {
  return {text.data(), static_cast<std::int32_t>(text.size())};
}

using Pairs = std::vector<std::pair<icu::UnicodeString, icu::UnicodeString>>;

Pairs pairsOf(const ExtendedProperties& properties) {
  return {properties.begin(), properties.end()};
}

// --- the map

TEST(ExtendedProperties, StartsEmpty) {
  const ExtendedProperties properties;
  EXPECT_EQ(properties.begin(), properties.end());
}

TEST(ExtendedProperties, ReturnsTheStoredTextUntrimmedOrTheDefaultItself) {
  ExtendedProperties properties;
  properties.putProperty(u"key", u"  value\t");
  const icu::UnicodeString other(u"other");
  EXPECT_EQ(properties.getProperty(u"key", other), u"  value\t");
  EXPECT_EQ(&properties.getProperty(u"none", other), &other);
  EXPECT_EQ(&properties.getProperty(u"key", other), &properties.begin()->second);
  EXPECT_EQ(&properties.requireProperty(u"key"), &properties.begin()->second);
  EXPECT_THAT([&] { properties.requireProperty(u"none"); }, raisesMissing(u"none"));
  EXPECT_THAT([&] { properties.requireProperty(u""); }, raisesMissing(u""));
}

TEST(ExtendedProperties, StoresOneValueForEachKey) {
  ExtendedProperties properties;
  properties.putProperty(u"key", u"first");
  const icu::UnicodeString& stored = properties.requireProperty(u"key");
  properties.putProperty(u"key", u"second");
  EXPECT_EQ(pairsOf(properties), (Pairs{{u"key", u"second"}}));
  EXPECT_EQ(stored, u"second");
}

TEST(ExtendedProperties, StoresKeysUnchanged) {
  ExtendedProperties properties;
  const auto keys = std::to_array<const char16_t*>(
      {u"", u" ", u" a", u"A", u"a", u"a ", u"ab", u"\u00C4", u"a\u0308", u"\u00E4"});
  for (const char16_t* const key : keys) properties.putProperty(key, icu::UnicodeString(u"of ") + key);
  EXPECT_EQ(pairsOf(properties).size(), keys.size());
  for (const char16_t* const key : rowsOf(keys)) {
    EXPECT_EQ(properties.requireProperty(key), icu::UnicodeString(u"of ") + key);
  }
}

TEST(ExtendedProperties, OrdersKeysByTheirCodeUnits) {
  // In code point order U+FFFF would come before U+10000, and in alphabetical order "a" before "B".
  const Pairs expected = {{u"", u"0"},
                          {u"B", u"1"},
                          {u"Ba", u"2"},
                          {u"a", u"3"},
                          {unicode(std::u16string(u"a\0", 2)), u"4"},
                          {u"\u00E9", u"5"},
                          {u"\U00010000", u"6"},
                          {u"\uFFFF", u"7"}};
  ExtendedProperties properties;
  for (const std::size_t i : {3U, 7U, 0U, 6U, 4U, 1U, 5U, 2U}) {
    properties.putProperty(expected[i].first, expected[i].second);
  }
  EXPECT_EQ(pairsOf(properties), expected);
  for (std::size_t i = 0; i + 1 < expected.size(); ++i) {
    ROW("i", i);
    EXPECT_TRUE(expected[i].first < expected[i + 1].first) << "the text class itself, row " << i;
  }
}

TEST(ExtendedProperties, IteratesInKeyOrder) {
  ExtendedProperties properties;
  properties.putProperty(u"b", u"2");
  properties.putProperty(u"a", u"1");
  ExtendedProperties::iterator it = properties.begin();
  EXPECT_EQ(properties.get(it), u"a");
  EXPECT_EQ(&properties.get(it), &it->first);
  ++it;
  EXPECT_EQ(properties.get(it), u"b");
  EXPECT_EQ(it->second, u"2");
  EXPECT_EQ(++it, properties.end());
}

TEST(ExtendedProperties, ReturnsTheNumberOfRemovedProperties) {
  ExtendedProperties properties;
  properties.putProperty(u"a", u"1");
  properties.putProperty(u"b", u"2");
  EXPECT_EQ(properties.removeProperty(u"A"), 0);
  EXPECT_EQ(properties.removeProperty(u"a"), 1);
  EXPECT_EQ(properties.removeProperty(u"a"), 0);
  EXPECT_EQ(pairsOf(properties), (Pairs{{u"b", u"2"}}));
  EXPECT_EQ(properties.removeProperty(properties.begin()->first), 1);
  EXPECT_THAT(pairsOf(properties), IsEmpty());
}

TEST(ExtendedProperties, CanStoreItsOwnKeysAndValues) {
  const icu::UnicodeString longText(200, u'x', 200);
  ExtendedProperties properties;
  properties.putProperty(u"a", longText);
  properties.putProperty(properties.begin()->first, properties.requireProperty(u"a"));
  properties.putProperty(properties.requireProperty(u"a"), properties.begin()->first);
  properties.putProperty(properties.begin()->first, u"1");
  EXPECT_EQ(pairsOf(properties), (Pairs{{u"a", u"1"}, {longText, u"a"}}));
  properties.putProperty(u"b", properties.begin()->second);
  properties.putProperty(properties.begin()->second, properties.begin()->second);
  EXPECT_EQ(pairsOf(properties), (Pairs{{u"1", u"1"}, {u"a", u"1"}, {u"b", u"1"}, {longText, u"a"}}));
}

TEST(ExtendedProperties, KeepsItsOwnCopiesOfAliasedTexts) {
  std::u16string units = u"a text that is longer than the inline storage of a string object";
  const auto length = static_cast<std::int32_t>(units.size());
  ExtendedProperties properties;
  {
    const icu::UnicodeString alias(static_cast<UBool>(false), units.data(), length);
    properties.putProperty(alias, alias);
    properties.addInclude(alias);
  }
  const icu::UnicodeString before(units.data(), length);
  units.assign(units.size(), u'-');
  EXPECT_EQ(pairsOf(properties), (Pairs{{before, before}}));
}

TEST(ExtendedProperties, TreatsABogusKeyAsEmpty) {
  icu::UnicodeString bogus;
  bogus.setToBogus();
  ExtendedProperties properties;
  properties.putProperty(u"", u"1");
  properties.putProperty(bogus, u"2");
  properties.putProperty(bogus, u"3");
  EXPECT_EQ(pairsOf(properties), (Pairs{{u"", u"3"}}));
  EXPECT_EQ(properties.removeProperty(bogus), 1);
}

TEST(ExtendedProperties, KeepsReferencesAndIteratorsValidWhileOthersAreAddedAndRemoved) {
  ExtendedProperties properties;
  properties.putProperty(u"key 500", u"stays");
  const icu::UnicodeString& value = properties.requireProperty(u"key 500");
  const ExtendedProperties::iterator it = properties.begin();
  for (int round = 0; round < 2; ++round) {
    ROW("round", round);
    for (int i = 0; i < 1000; ++i) {
      ROW("i", i);
      const icu::UnicodeString key =
          icu::UnicodeString(u"key ") + icu::UnicodeString::fromUTF8(std::to_string(i));
      if (i == 500) continue;
      if (round == 0) {
        properties.putProperty(key, u"goes");
      } else {
        EXPECT_EQ(properties.removeProperty(key), 1);
      }
    }
  }
  EXPECT_EQ(&properties.requireProperty(u"key 500"), &value);
  EXPECT_EQ(properties.get(it), u"key 500");
  EXPECT_EQ(value, u"stays");
}

TEST(ExtendedProperties, AgreesWithAModelUnderRandomChanges) {
  std::mt19937 random(seeded(20'240'501));
  ExtendedProperties properties;
  std::map<std::u16string, std::u16string> model;
  const auto randomText = [&](std::size_t most) {
    std::u16string text;
    for (std::size_t i = random() % (most + 1); i > 0; --i) text += u"ab\u00E9\xD83D\xFFFF"[random() % 5];
    return text;
  };
  for (int step = 0; step < 20'000; ++step) {
    ROW("step", step);
    const std::u16string key = randomText(4);
    if (random() % 3 == 0) {
      ASSERT_EQ(properties.removeProperty(unicode(key)), static_cast<int>(model.erase(key))) << step;
    } else {
      const std::u16string value = randomText(40);
      properties.putProperty(unicode(key), unicode(value));
      model[key] = value;
    }
    if (step % 100 != 0) continue;
    Pairs expected;
    for (const auto& [name, value] : model) expected.emplace_back(unicode(name), unicode(value));
    ASSERT_EQ(pairsOf(properties), expected) << step;
  }
}

// --- copies

struct Copying {
  const char* how;
  void (*copy)(ExtendedProperties& to, const ExtendedProperties& from);
};

class ExtendedPropertiesCopies : public ::testing::TestWithParam<Copying> {};

TEST_P(ExtendedPropertiesCopies, AreIndependent) {
  ExtendedProperties from;
  from.putProperty(u"a", u"1");
  from.putProperty(u"b", icu::UnicodeString(100, u'x', 100));
  ExtendedProperties to;
  to.putProperty(u"c", u"former");
  GetParam().copy(to, from);
  EXPECT_EQ(pairsOf(to), pairsOf(from));
  from.putProperty(u"a", u"changed");
  to.putProperty(u"b", u"changed");
  EXPECT_EQ(to.requireProperty(u"a"), u"1");
  EXPECT_EQ(from.requireProperty(u"b"), icu::UnicodeString(100, u'x', 100));
}

TEST_P(ExtendedPropertiesCopies, ToTheSameObjectChangeNothing) {
  ExtendedProperties properties;
  properties.putProperty(u"a", u"1");
  const icu::UnicodeString& value = properties.requireProperty(u"a");
  GetParam().copy(properties, properties);
  EXPECT_EQ(pairsOf(properties), (Pairs{{u"a", u"1"}}));
  EXPECT_EQ(&properties.requireProperty(u"a"), &value);
}

INSTANTIATE_TEST_SUITE_P(
    How, ExtendedPropertiesCopies,
    ::testing::Values(
        Copying{"copy", [](ExtendedProperties& to, const ExtendedProperties& from) { to.copy(from); }},
        Copying{"assignment", [](ExtendedProperties& to, const ExtendedProperties& from) { to = from; }}),
    [](const auto& copying) { return copying.param.how; });

TEST(ExtendedProperties, IsCopiedAtConstruction) {
  ExtendedProperties from;
  from.putProperty(u"a", u"1");
  const ExtendedProperties to(from);
  from.putProperty(u"a", u"2");
  EXPECT_EQ(pairsOf(to), (Pairs{{u"a", u"1"}}));
}

// --- storing numbers

TEST(ExtendedProperties, StoresNumbersAsDecimalText) {
  ExtendedProperties properties;
  struct Row {
    std::function<void()> put;
    const char16_t* expected;
  };
  const auto rows = std::to_array<Row>({
      {[&] { properties.putPropertyAsInt32(u"n", -2147483647 - 1); }, u"-2147483648"},
      {[&] { properties.putPropertyAsInt32(u"n", -1); }, u"-1"},
      {[&] { properties.putPropertyAsInt32(u"n", 0); }, u"0"},
      {[&] { properties.putPropertyAsInt32(u"n", 2147483647); }, u"2147483647"},
      {[&] { properties.putPropertyAsUint32(u"n", 0); }, u"0"},
      {[&] { properties.putPropertyAsUint32(u"n", 4294967295U); }, u"4294967295"},
      {[&] { properties.putPropertyAsInt64(u"n", std::numeric_limits<std::int64_t>::min()); },
       u"-9223372036854775808"},
      {[&] { properties.putPropertyAsInt64(u"n", std::numeric_limits<std::int64_t>::max()); },
       u"9223372036854775807"},
      {[&] { properties.putPropertyAsUint64(u"n", 0); }, u"0"},
      {[&] { properties.putPropertyAsUint64(u"n", std::numeric_limits<std::uint64_t>::max()); },
       u"18446744073709551615"},
  });
  for (const Row& row : rowsOf(rows)) {
    row.put();
    EXPECT_EQ(pairsOf(properties), (Pairs{{u"n", row.expected}}));
  }
}

// --- typed values

/// The three forms of a getter: with a default value, required, and with a pointer to the default.
template <class Value>
struct Getter {
  Value (ExtendedProperties::*byValue)(const icu::UnicodeString&, Value) const;
  Value (ExtendedProperties::*required)(const icu::UnicodeString&) const;
  std::function<Value(const ExtendedProperties&, const icu::UnicodeString&, const Value*)> byPointer;
};

template <class Value>
struct Case {
  const char* why;
  icu::UnicodeString text;
  Value expected;
};

struct Refusal {
  const char* why;
  icu::UnicodeString text;
  icu::UnicodeString trimmed;
  const char* word;
};

const icu::UnicodeString key(u"the key");

template <class Value>
void expectReads(const Getter<Value>& getter, const std::vector<Case<Value>>& cases, Value other) {
  for (const auto& row : rowsOf(cases)) {
    ExtendedProperties properties;
    properties.putProperty(key, row.text);
    EXPECT_EQ((properties.*getter.byValue)(key, other), row.expected);
    EXPECT_EQ((properties.*getter.required)(key), row.expected);
    EXPECT_EQ(getter.byPointer(properties, key, &other), row.expected);
    EXPECT_EQ(getter.byPointer(properties, key, nullptr), row.expected);
    EXPECT_EQ(pairsOf(properties), (Pairs{{key, row.text}})) << "a getter changed the map";
  }
}

template <class Value>
void expectRefuses(const Getter<Value>& getter, const std::vector<Refusal>& refusals) {
  const Value other{};
  for (const Refusal& row : rowsOf(refusals)) {
    ExtendedProperties properties;
    properties.putProperty(key, row.text);
    const auto wrongType = raisesWrongType(key, row.trimmed, row.word);
    EXPECT_THAT([&] { (properties.*getter.byValue)(key, other); }, wrongType);
    EXPECT_THAT([&] { (properties.*getter.required)(key); }, wrongType);
    EXPECT_THAT([&] { getter.byPointer(properties, key, &other); }, wrongType);
    EXPECT_THAT([&] { getter.byPointer(properties, key, nullptr); }, wrongType);
    EXPECT_EQ(pairsOf(properties), (Pairs{{key, row.text}})) << "a getter changed the map";
  }
}

template <class Value>
void expectDefaults(const Getter<Value>& getter, Value other) {
  const ExtendedProperties properties;
  EXPECT_EQ((properties.*getter.byValue)(key, other), other);
  EXPECT_EQ(getter.byPointer(properties, key, &other), other);
  EXPECT_THAT([&] { (properties.*getter.required)(key); }, raisesMissing(key));
  EXPECT_THAT([&] { getter.byPointer(properties, key, nullptr); }, raisesMissing(key));
  EXPECT_THAT([&] { (properties.*getter.required)(u""); }, raisesMissing(u""));
}

TEST(ExtendedProperties, ReadsBooleans) {
  const Getter<bool> getter = {&ExtendedProperties::getPropertyAsBoolean,
                               &ExtendedProperties::requirePropertyAsBoolean,
                               [](const auto& properties, const auto& name, const bool* other) {
                                 return properties.getPropertyAsBoolean(name, other);
                               }};
  for (const bool other : {false, true}) {
    expectReads<bool>(getter,
                      {{"true", u"true", true},
                       {"yes", u"yes", true},
                       {"on", u"on", true},
                       {"1", u"1", true},
                       {"false", u"false", false},
                       {"no", u"no", false},
                       {"off", u"off", false},
                       {"0", u"0", false},
                       {"blanks around", u" \ton\r\n ", true},
                       {"white space of Unicode around", u"\u2003off\u3000", false}},
                      other);
    expectDefaults<bool>(getter, other);
  }
  expectRefuses<bool>(getter, {{"a capital", u"True", u"True", "boolean"},
                               {"capitals", u" TRUE ", u"TRUE", "boolean"},
                               {"Yes", u"Yes", u"Yes", "boolean"},
                               {"a word that begins one", u"tru", u"tru", "boolean"},
                               {"a word that one begins", u"truex", u"truex", "boolean"},
                               {"another number", u"2", u"2", "boolean"},
                               {"two digits", u"01", u"01", "boolean"},
                               {"a NUL after it", unicode(std::u16string(u"on\0", 3)),
                                unicode(std::u16string(u"on\0", 3)), "boolean"},
                               {"nothing", u"", u"", "boolean"},
                               {"blanks alone", u" \t ", u"", "boolean"}});
}

TEST(ExtendedProperties, ReadsInt32) {
  const Getter<std::int32_t> getter = {
      &ExtendedProperties::getPropertyAsInt32, &ExtendedProperties::requirePropertyAsInt32,
      [](const auto& properties, const auto& name, const std::int32_t* other) {
        return properties.getPropertyAsInt32(name, other);
      }};
  expectReads<std::int32_t>(getter,
                            {{"a number", u"42", 42},
                             {"blanks around", u"  42  ", 42},
                             {"negative", u"-5", -5},
                             {"the least", u"-2147483648", std::numeric_limits<std::int32_t>::min()},
                             {"the largest", u"2147483647", 2147483647},
                             {"too large, reduced", u"4294967295", -1}},
                            7);
  expectRefuses<std::int32_t>(getter, {{"letters", u" abc ", u"abc", "integer"},
                                       {"nothing", u"", u"", "integer"},
                                       {"a blank inside", u"4 2", u"4 2", "integer"},
                                       {"11 digits", u"10000000000", u"10000000000", "integer"},
                                       {"a fraction", u"1.5", u"1.5", "integer"}});
  expectDefaults<std::int32_t>(getter, -7);
}

TEST(ExtendedProperties, ReadsUInt32) {
  const Getter<unsigned int> getter = {
      &ExtendedProperties::getPropertyAsUInt32, &ExtendedProperties::requirePropertyAsUInt32,
      [](const auto& properties, const auto& name, const unsigned int* other) {
        return properties.getPropertyAsUInt32(name, other);
      }};
  expectReads<unsigned int>(getter,
                            {{"a number", u"42", 42},
                             {"blanks around", u"  42  ", 42},
                             {"the largest", u"4294967295", 4294967295U},
                             {"too large, reduced", u"4294967296", 0}},
                            7);
  expectRefuses<unsigned int>(getter,
                              {{"negative", u"-1", u"-1", "uint32"},
                               {"negative, blanks around", u" -1 ", u"-1", "uint32"},
                               {"a plus, only for signed types", u"+1", u"+1", "uint32"},
                               {"letters", u"abc", u"abc", "integer"},
                               {"nothing", u"", u"", "integer"},
                               {"11 digits", u"10000000000", u"10000000000", "integer"},
                               {"negative with 11 digits", u"-10000000000", u"-10000000000", "integer"}});
  expectDefaults<unsigned int>(getter, 4294967295U);
}

TEST(ExtendedProperties, ReadsInt64) {
  const Getter<std::int64_t> getter = {
      &ExtendedProperties::getPropertyAsInt64, &ExtendedProperties::requirePropertyAsInt64,
      [](const auto& properties, const auto& name, const std::int64_t* other) {
        return properties.getPropertyAsInt64(name, other);
      }};
  expectReads<std::int64_t>(
      getter,
      {{"a number", u"42", 42},
       {"blanks around", u"  42  ", 42},
       {"the least", u"-9223372036854775808", std::numeric_limits<std::int64_t>::min()},
       {"the largest", u"9223372036854775807", std::numeric_limits<std::int64_t>::max()},
       {"too large, reduced", u"9223372036854775808", std::numeric_limits<std::int64_t>::min()}},
      7);
  expectRefuses<std::int64_t>(getter,
                              {{"letters", u" x ", u"x", "int64"},
                               {"nothing", u" ", u"", "int64"},
                               {"20 digits", u"18446744073709551615", u"18446744073709551615", "int64"}});
  expectDefaults<std::int64_t>(getter, std::numeric_limits<std::int64_t>::min());
}

TEST(ExtendedProperties, ReadsUint64) {
  const Getter<std::uint64_t> getter = {
      &ExtendedProperties::getPropertyAsUint64, &ExtendedProperties::requirePropertyAsUint64,
      [](const auto& properties, const auto& name, const std::uint64_t* other) {
        return properties.getPropertyAsUint64(name, other);
      }};
  expectReads<std::uint64_t>(
      getter,
      {{"a number", u"42", 42},
       {"blanks around", u"  42  ", 42},
       {"the largest", u"18446744073709551615", std::numeric_limits<std::uint64_t>::max()},
       {"too large, reduced", u"18446744073709551617", 1}},
      7);
  expectRefuses<std::uint64_t>(
      getter, {{"negative", u"-5", u"-5", "uint64"},
               {"letters", u"x", u"x", "longint"},
               {"nothing", u"", u"", "longint"},
               {"21 digits", u"100000000000000000000", u"100000000000000000000", "longint"}});
  expectDefaults<std::uint64_t>(getter, std::numeric_limits<std::uint64_t>::max());
}

TEST(ExtendedProperties, ReadsDoubles) {
  const Getter<double> getter = {&ExtendedProperties::getPropertyAsDouble,
                                 &ExtendedProperties::requirePropertyAsDouble,
                                 [](const auto& properties, const auto& name, const double* other) {
                                   return properties.getPropertyAsDouble(name, other);
                                 }};
  expectReads<double>(getter,
                      {{"a fraction", u"1.5", 1.5},
                       {"an integer", u"-3", -3},
                       {"an exponent, blanks around", u" 25e-2 ", 0.25}},
                      7);
  expectRefuses<double>(getter, {{"a comma", u"1,5", u"1,5", "double"},
                                 {"letters", u" x ", u"x", "double"},
                                 {"nothing", u"", u"", "double"}});
  expectDefaults<double>(getter, 0.125);
}

/// Whether the decimal number is one of the type's, by its digits.
template <class Value>
bool isOfType(bool negative, const std::string& digits) {
  const std::size_t zeros = std::min(digits.find_first_not_of('0'), digits.size() - 1);
  const std::string number = digits.substr(zeros);
  std::string most = std::to_string(std::numeric_limits<Value>::max());
  if (negative)
    most = std::to_string(std::numeric_limits<Value>::min()).substr(std::is_signed_v<Value> ? 1 : 0);
  return number.size() < most.size() || (number.size() == most.size() && number <= most);
}

/// The two forms of a checked getter, and the required form that reduces.
template <class Value>
struct CheckedGetter {
  Value (ExtendedProperties::*byValue)(const icu::UnicodeString&, Value) const;
  Value (ExtendedProperties::*required)(const icu::UnicodeString&) const;
  Value (ExtendedProperties::*reducing)(const icu::UnicodeString&) const;
  const char* word;
};

template <class Value>
void expectChecked(const CheckedGetter<Value>& getter, bool negative, const std::string& digits) {
  ROW("negative", negative, "digits", digits);
  const icu::UnicodeString text = icu::UnicodeString::fromUTF8((negative ? "-" : "") + digits);
  ExtendedProperties properties;
  properties.putProperty(key, u" " + text + u"\t");
  if (isOfType<Value>(negative, digits)) {
    const Value value = (properties.*getter.reducing)(key);
    EXPECT_EQ((properties.*getter.byValue)(key, 7), value);
    EXPECT_EQ((properties.*getter.required)(key), value);
  } else {
    const auto wrongType = raisesWrongType(key, text, getter.word);
    EXPECT_THAT([&] { (properties.*getter.byValue)(key, 7); }, wrongType);
    EXPECT_THAT([&] { (properties.*getter.required)(key); }, wrongType);
  }
}

template <class Value>
void expectChecks(const CheckedGetter<Value>& getter) {
  const std::string largest = std::to_string(std::numeric_limits<Value>::max());
  for (const bool negative : {false, true}) {
    if (negative && !std::is_signed_v<Value>) continue;
    for (int last = 0; last < 10; ++last) {
      for (const char* const before : {"", "0", "000"}) {
        const std::string digits = before + largest.substr(0, largest.size() - 1) + std::to_string(last);
        if (digits.size() <= largest.size()) expectChecked(getter, negative, digits);
      }
    }
    std::mt19937 random(seeded(20'250'611));
    for (int round = 0; round < 2000; ++round) {
      std::string digits(1 + random() % largest.size(), '0');
      for (char& digit : digits) digit = static_cast<char>('0' + random() % 10);
      expectChecked(getter, negative, digits);
    }
  }
  const ExtendedProperties empty;
  EXPECT_EQ((empty.*getter.byValue)(key, 7), Value{7});
  EXPECT_THAT([&] { (empty.*getter.required)(key); }, raisesMissing(key));
}

TEST(ExtendedProperties, RefusesIntegersOutOfRangeInCheckedGetters) {
  using P = ExtendedProperties;
  expectChecks<std::int32_t>({&P::getPropertyAsCheckedInt32, &P::requirePropertyAsCheckedInt32,
                              &P::requirePropertyAsInt32, "integer"});
  expectChecks<unsigned int>({&P::getPropertyAsCheckedUInt32, &P::requirePropertyAsCheckedUInt32,
                              &P::requirePropertyAsUInt32, "uint32"});
  expectChecks<std::int64_t>({&P::getPropertyAsCheckedInt64, &P::requirePropertyAsCheckedInt64,
                              &P::requirePropertyAsInt64, "int64"});
}

TEST(ExtendedProperties, RefusesUint64OutOfRangeInCheckedGettersWithTheWordOfItsDigits) {
  using P = ExtendedProperties;
  // int64 reads 19 digits, so a number of 20 digits is not "uint64".
  expectChecks<std::uint64_t>({&P::getPropertyAsCheckedUint64, &P::requirePropertyAsCheckedUint64,
                               &P::requirePropertyAsUint64, "longint"});
}

TEST(ExtendedProperties, RefusesTheSameTextsInCheckedAndReducingGetters) {
  struct Row {
    const char* text;
    const char* int32Word;
    const char* uint32Word;
  };
  const auto rows = std::to_array<Row>({{"abc", "integer", "integer"},
                                        {"", "integer", "integer"},
                                        {"4 2", "integer", "integer"},
                                        {"10000000000", "integer", "integer"},
                                        {"-10000000000", "integer", "integer"},
                                        {"--1", "integer", "integer"}});
  for (const Row& row : rowsOf(rows)) {
    ExtendedProperties properties;
    properties.putProperty(key, row.text);
    const auto wrongInt32 = raisesWrongType(key, row.text, row.int32Word);
    const auto wrongUint32 = raisesWrongType(key, row.text, row.uint32Word);
    EXPECT_THAT([&] { properties.requirePropertyAsCheckedInt32(key); }, wrongInt32);
    EXPECT_THAT([&] { properties.requirePropertyAsCheckedUInt32(key); }, wrongUint32);
  }
}

TEST(ExtendedProperties, ReadsSignsAndZerosInCheckedGetters) {
  ExtendedProperties properties;
  properties.putProperty(u"plus", u"+0042");
  properties.putProperty(u"minus zero", u"-000");
  EXPECT_EQ(properties.requirePropertyAsCheckedInt32(u"plus"), 42);
  EXPECT_EQ(properties.requirePropertyAsCheckedInt64(u"plus"), 42);
  EXPECT_EQ(properties.requirePropertyAsCheckedInt32(u"minus zero"), 0);
  EXPECT_THAT([&] { properties.requirePropertyAsCheckedUInt32(u"plus"); },
              raisesWrongType(u"plus", u"+0042", "uint32"));
}

TEST(ExtendedProperties, TreatsALiteralZeroAsANumber) {
  const ExtendedProperties properties;
  EXPECT_EQ(properties.getPropertyAsBoolean(key, 0), false);
  EXPECT_EQ(properties.getPropertyAsInt32(key, 0), 0);
  EXPECT_EQ(properties.getPropertyAsUInt32(key, 0), 0U);
  EXPECT_EQ(properties.getPropertyAsInt64(key, 0), 0);
  EXPECT_EQ(properties.getPropertyAsUint64(key, 0), 0U);
  EXPECT_EQ(properties.getPropertyAsDouble(key, 0), 0.0);
}

TEST(ExtendedProperties, TreatsNullptrAsRequired) {
  ExtendedProperties properties;
  const auto missing = raisesMissing(key);
  EXPECT_THAT([&] { properties.getPropertyAsBoolean(key, nullptr); }, missing);
  EXPECT_THAT([&] { properties.getPropertyAsInt32(key, nullptr); }, missing);
  EXPECT_THAT([&] { properties.getPropertyAsUInt32(key, nullptr); }, missing);
  EXPECT_THAT([&] { properties.getPropertyAsInt64(key, nullptr); }, missing);
  EXPECT_THAT([&] { properties.getPropertyAsUint64(key, nullptr); }, missing);
  EXPECT_THAT([&] { properties.getPropertyAsDouble(key, nullptr); }, missing);
  properties.putProperty(key, u"1");
  EXPECT_EQ(properties.getPropertyAsBoolean(key, nullptr), true);
  EXPECT_EQ(properties.getPropertyAsInt32(key, nullptr), 1);
}

TEST(ExtendedProperties, AcceptsDefaultsOfEveryNamedIntegerType) {
  const ExtendedProperties properties;
  long asLong = -8;
  const long long asLongLong = -9;
  unsigned long asUnsignedLong = 8;
  const unsigned long long asUnsignedLongLong = 9;
  // The type long has 32 bits on some platforms and 64 bits on others.
  const auto byPointer = [&](const auto* value) -> std::int64_t {
    if constexpr (sizeof *value == 4) return properties.getPropertyAsInt32(key, value);
    if constexpr (sizeof *value == 8) return properties.getPropertyAsInt64(key, value);
  };
  const auto unsignedByPointer = [&](const auto* value) -> std::uint64_t {
    if constexpr (sizeof *value == 4) return properties.getPropertyAsUInt32(key, value);
    if constexpr (sizeof *value == 8) return properties.getPropertyAsUint64(key, value);
  };
  EXPECT_EQ(byPointer(&asLong), -8);
  EXPECT_EQ(properties.getPropertyAsInt64(key, &asLongLong), -9);
  EXPECT_EQ(unsignedByPointer(&asUnsignedLong), 8U);
  EXPECT_EQ(properties.getPropertyAsUint64(key, &asUnsignedLongLong), 9U);
  EXPECT_EQ(properties.getPropertyAsInt64(key, asLong), -8);
  EXPECT_EQ(properties.getPropertyAsInt64(key, asLongLong), -9);
  EXPECT_EQ(properties.getPropertyAsUint64(key, asUnsignedLong), 8U);
  EXPECT_EQ(properties.getPropertyAsUint64(key, asUnsignedLongLong), 9U);
}

TEST(ExtendedProperties, ReportsNothingToTheTraceHooks) {
  TraceRecorder trace(0x7FFFFFFF);
  ExtendedProperties properties;
  properties.putPropertyAsInt32(u"n", 1);
  properties.putProperty(u"a", u"%n%");
  properties.resolveReferences();
  ExtendedProperties copy;
  copy.copy(properties);
  copy.requireProperty(u"a");
  EXPECT_EQ(copy.removeProperty(u"b"), 0);
  EXPECT_EQ(copy.getPropertyAsBoolean(u"n", false), true);
  EXPECT_THAT(trace.calls(), IsEmpty());
}

TEST(ExtendedProperties, RefusesABogusValueAsANumber) {
  icu::UnicodeString bogus;
  bogus.setToBogus();
  ExtendedProperties properties;
  properties.putProperty(u"n", bogus);
  EXPECT_TRUE(properties.requireProperty(u"n").isBogus());
  EXPECT_THAT([&] { properties.getPropertyAsInt32(u"n", 1); },
              Raises<PropertiesException>("ERR_PROPERTY_WRONG_TYPE", "n", "", "integer")
                  .from("src/infra/oss/../util/kelExtendedProperties.cpp"));
}

}  // namespace
}  // namespace tarvo::test
