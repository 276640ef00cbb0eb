#include "infra/util/kelExtendedProperties.hpp"

#include "support/kelAllocationsSeam.hpp"
#include "support/kelRows.hpp"
#include "support/kelSeed.hpp"
#include "text/kelTextUnits.hpp"
#include "util/kelPropertyLines.hpp"
#include "util/kelPropertyMap.hpp"

#include <gtest/gtest.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <map>
#include <new>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

/// Tests of the allocations, the index and the sorting inside of properties.
namespace tarvo::test {
namespace {

using util::ExtendedProperties;
using util::PropertyIndex;
using util::PropertyLine;

icu::UnicodeString unicode(std::u16string_view units) {
  return text::textOf(units);
}

std::string numbered(const char* before, std::size_t number, const char* after = "") {
  return before + std::to_string(number) + after;
}

// --- memory

/// Whether the entries come from a pool. In checked containers the type of an iterator depends on the
/// allocator; then the library allocates each entry separately.
using Pooled = std::map<int, int, std::less<>, util::NodeAllocator<std::pair<const int, int>>>;
constexpr bool usesPool =
    std::is_same_v<std::map<int, int, std::less<>>::const_iterator, Pooled::const_iterator>;

TEST(PropertiesAllocation, HappensOnceForManyLoadedEntries) {
  if (!usesPool) GTEST_SKIP() << "checked containers";
  constexpr std::size_t entries = 2000;
  std::string lines;
  for (std::size_t i = 0; i < entries; ++i)
    lines += numbered("a.setting.", i * 7919 % entries, "=27 units of text at most\n");
  ExtendedProperties properties;
  const AllocationCount count;
  properties.load(lines.data(), lines.size(), true);
  EXPECT_LE(count.made(), entries / 40);
  EXPECT_EQ(std::distance(properties.begin(), properties.end()), entries);
}

TEST(PropertiesAllocation, ReusesTheMemoryOfRemovedEntries) {
  ExtendedProperties properties;
  const auto turn = [&] {
    for (const char* const key : {"one", "two", "three"}) properties.putPropertyAsInt32(key, 1);
    for (const char* const key : rowsOf({"two", "one", "three"}))
      EXPECT_EQ(properties.removeProperty(key), 1);
  };
  turn();
  const AllocationCount count;
  for (int i = 0; i < 1000; ++i) turn();
  // Only the index is sometimes allocated again.
  EXPECT_EQ(count.outstanding(), 0);
  EXPECT_EQ(properties.begin(), properties.end());
}

TEST(PropertiesAllocation, DoesNotGrowIfTheSameLinesAreLoadedAgain) {
  const std::string lines = "one=1\ntwo=2\nthree=3\n";
  ExtendedProperties properties;
  properties.load(lines.data(), lines.size());
  const AllocationCount count;
  properties.load(lines.data(), lines.size());
  EXPECT_EQ(count.outstanding(), 0);
}

// While loading, memory is needed for the lines and for the text. An index for 100,000 properties would need
// more.
TEST(PropertiesAllocation, OfAnIndexDoesNotHappenForLinesWithOneKey) {
  constexpr std::size_t lines = 100'000;
  std::string text;
  for (std::size_t i = 0; i < lines; ++i) text += "a\n";
  ExtendedProperties properties;
  const AllocationCount count;
  properties.load(text.data(), text.size(), false);
  constexpr std::size_t storedLines = std::size_t{2} << 17U;  // all sizes of a vector that doubles up to 2^17
  EXPECT_LE(count.bytes(), storedLines * sizeof(PropertyLine) + 2 * text.size() + 10'000);
  EXPECT_EQ(std::distance(properties.begin(), properties.end()), 1);
}

TEST(PropertiesAllocation, DoesNotHappenInGetters) {
  const icu::UnicodeString longKey(100, u'k', 100);
  ExtendedProperties properties;
  properties.putProperty(longKey, u"4711");
  properties.putProperty(u"blanks", u"  12 ");
  properties.putProperty(u"yes", u"on");
  const icu::UnicodeString blanks(u"blanks");
  const icu::UnicodeString yes(u"yes");
  const icu::UnicodeString absent(200, u'a', 200);
  const AllocationCount count;
  EXPECT_EQ(properties.getPropertyAsInt32(longKey, 0), 4711);
  EXPECT_EQ(properties.getPropertyAsInt32(blanks, 0), 12);
  EXPECT_EQ(properties.getPropertyAsUint64(longKey, 0), 4711U);
  EXPECT_TRUE(properties.getPropertyAsBoolean(yes, false));
  EXPECT_EQ(properties.getPropertyAsInt32(absent, 7), 7);
  EXPECT_EQ(&properties.getProperty(absent, absent), &absent);
  EXPECT_EQ(properties.requireProperty(longKey).length(), 4);
  EXPECT_EQ(count.made(), 0U);
}

// A key whose allocation failed looks like the empty key, which may exist.
TEST(PropertiesAllocation, ThatFailsForAKeyOrAValueKeepsAllOtherProperties) {
  const std::string longText(100, 'x');
  for (const std::string& line : rowsOf({longText + "=short", "short=" + longText})) {
    for (const bool withEmptyKey : rowsOf({false, true})) {
      bool happened = true;
      for (std::size_t nth = 1; happened; ++nth) {
        ROW(line.substr(0, 5) + (withEmptyKey ? ", empty key, " : ", ") + std::to_string(nth));
        ExtendedProperties properties;
        if (withEmptyKey) properties.putProperty(u"", u"of the empty key");
        properties.putProperty(u"other", u"value");
        bool loaded = false;
        try {
          const FailingAllocation failing(nth, Shortage::fromThenOn);  // ICU tries twice
          properties.load(line.data(), line.size(), false);
          happened = failing.happened();
          loaded = true;
        } catch (const std::bad_alloc&) {
        }
        EXPECT_EQ(std::distance(properties.begin(), properties.end()),
                  1 + (withEmptyKey ? 1 : 0) + (loaded ? 1 : 0));
        EXPECT_EQ(properties.requireProperty(u"other"), u"value");
        if (withEmptyKey) {
          EXPECT_EQ(properties.requireProperty(u""), u"of the empty key");
        }
      }
    }
  }
}

// --- the index: keys with nearly equal hashes

/// `count` keys whose hashes give neighbouring slots in any table of up to some thousand slots.
std::vector<std::u16string> crowdedKeys(std::size_t count) {
  std::vector<std::u16string> keys;
  for (unsigned int i = 0; keys.size() < count; ++i) {
    std::u16string key = u"key ";
    for (const char digit : std::to_string(i)) key += static_cast<char16_t>(digit);
    if (PropertyIndex::hashOf(key) >> 20U == 0x7A5) keys.push_back(key);
  }
  return keys;
}

TEST(PropertyIndex, LeavesOutKeysWithoutANearFreeSlotAndReportsIt) {
  const std::vector<std::u16string> keys = crowdedKeys(PropertyIndex::reach + 3);
  std::vector<PropertyIndex::Property> properties;
  for (const std::u16string& key : keys) properties.emplace_back(unicode(key), u"");
  PropertyIndex index(keys.size());
  const auto place = [&](std::size_t i) { return index.find(PropertyIndex::hashOf(keys[i]), keys[i]); };
  for (std::size_t i = 0; i < PropertyIndex::reach; ++i) {
    ROW("i", i);
    EXPECT_TRUE(place(i).place == nullptr && place(i).certain) << i;
    index.add(PropertyIndex::hashOf(keys[i]), properties[i], false);
    ASSERT_NE(place(i).place, nullptr) << i;
    EXPECT_EQ(place(i).place->property, &properties[i]);
  }
  EXPECT_TRUE(index.isComplete());
  for (std::size_t i = PropertyIndex::reach; i < keys.size(); ++i) {
    ROW("i", i);
    index.add(PropertyIndex::hashOf(keys[i]), properties[i], false);
    EXPECT_EQ(place(i).place, nullptr) << i;
    EXPECT_FALSE(place(i).certain) << i;
  }
  EXPECT_FALSE(index.isComplete());
  // After a removal, a search still reaches the slots after the free one, and the free slot is reused.
  index.remove(*place(0).place);
  EXPECT_EQ(place(0).place, nullptr);
  EXPECT_FALSE(place(0).certain);
  EXPECT_NE(place(PropertyIndex::reach - 1).place, nullptr);
  index.add(PropertyIndex::hashOf(keys.back()), properties.back(), false);
  EXPECT_EQ(place(keys.size() - 1).place->property, &properties.back());
}

TEST(PropertyIndex, IsCertainThatAnEmptyIndexHasNoKey) {
  const PropertyIndex none;
  EXPECT_EQ(none.find(PropertyIndex::hashOf(u""), u"").place, nullptr);
  EXPECT_TRUE(none.find(PropertyIndex::hashOf(u""), u"").certain);
  EXPECT_FALSE(none.hasRoom(1));
  EXPECT_TRUE(PropertyIndex(1000).hasRoom(1000));
}

TEST(PropertyIndex, HasRoomForHalfOfItsSlots) {
  constexpr std::size_t count = 100;  // the index has three times as many slots
  PropertyIndex::Property property(u"", u"");
  PropertyIndex index(count);
  for (unsigned int i = 0; i < 150; ++i) {
    ROW("i", i);
    EXPECT_TRUE(index.hasRoom(150 - i)) << i;
    EXPECT_FALSE(index.hasRoom(151 - i)) << i;
    index.add(PropertyIndex::Hash{i} << 24U, property, false);
  }
  EXPECT_FALSE(index.hasRoom(1));
}

TEST(PropertyIndex, HasASlotForEachKeyOfCommonPatterns) {
  using Key = std::string (*)(std::size_t);
  constexpr std::array<Key, 4> patterns = {
      [](std::size_t i) { return std::to_string(i); },
      [](std::size_t i) { return numbered("component", i % 97, ".setting") + std::to_string(i); },
      [](std::size_t i) { return numbered("", i, ".a.name.that.goes.on.for.long.enough"); },
      [](std::size_t i) { return std::string(i % 1000, ' ') + std::to_string(i / 1000); }};
  for (const Key keyOf : rowsOf(patterns)) {
    constexpr std::size_t count = 50'000;
    PropertyIndex::Property property(u"", u"");
    PropertyIndex index(count);
    for (std::size_t i = 0; i < count; ++i) {
      const std::string key = keyOf(i);
      index.add(PropertyIndex::hashOf(std::u16string(key.begin(), key.end())), property, false);
    }
    EXPECT_TRUE(index.isComplete()) << keyOf(0);
  }
}

TEST(PropertyIndex, HashesEveryUnit) {
  for (std::size_t length = 1; length < 40; ++length) {
    ROW("length", length);
    const std::u16string key(length, u'x');
    std::set<PropertyIndex::Hash> hashes = {PropertyIndex::hashOf(key), PropertyIndex::hashOf(key + u'\0')};
    for (std::size_t i = 0; i < length; ++i) {
      for (const char16_t unit : {u'y', u'\0', u'\u0178'}) {
        std::u16string other = key;
        other[i] = unit;
        hashes.insert(PropertyIndex::hashOf(other));
      }
    }
    EXPECT_EQ(hashes.size(), 2 + 3 * length) << length;
  }
}

/// Two keys with the same hash; their lengths are equal if `ofOneLength`.
std::pair<std::u16string, std::u16string> keysOfOneHash(bool ofOneLength) {
  std::unordered_map<PropertyIndex::Hash, std::u16string> seen;
  for (unsigned int i = 0;; ++i) {
    std::u16string key = {static_cast<char16_t>(i), static_cast<char16_t>(i >> 16U), u'x'};
    if (i % 2 == 1) key += u'y';
    const auto [former, isNew] = seen.try_emplace(PropertyIndex::hashOf(key), key);
    if (!isNew && (former->second.size() == key.size()) == ofOneLength) return {former->second, key};
  }
}

TEST(PropertyIndex, DistinguishesKeysWithTheSameHash) {
  for (const bool ofOneLength : rowsOf({true, false})) {
    const auto [one, other] = keysOfOneHash(ofOneLength);
    PropertyIndex::Property property(unicode(one), u"");
    PropertyIndex index(1);
    index.add(PropertyIndex::hashOf(one), property, false);
    EXPECT_NE(index.find(PropertyIndex::hashOf(one), one).place, nullptr);
    EXPECT_EQ(index.find(PropertyIndex::hashOf(other), other).place, nullptr);
    EXPECT_TRUE(index.find(PropertyIndex::hashOf(other), other).certain);

    ExtendedProperties properties;
    properties.putProperty(unicode(one), u"one");
    properties.putProperty(unicode(other), u"other");
    EXPECT_EQ(properties.requireProperty(unicode(one)), u"one");
    EXPECT_EQ(properties.requireProperty(unicode(other)), u"other");
  }
}

TEST(ExtendedPropertiesIndex, LoadsLinesWhoseKeysWereLeftOut) {
  const std::vector<std::u16string> keys = crowdedKeys(2 * PropertyIndex::reach);
  ExtendedProperties properties;
  icu::UnicodeString lines;
  for (const std::u16string& key : keys) {
    properties.putProperty(unicode(key), u"former");
    icu::UnicodeString escaped = unicode(key);
    lines += escaped.findAndReplace(u" ", u"\\ ") + u"=%new%\n";
  }
  properties.load(lines + u"new=value\n");
  for (const std::u16string& key : rowsOf(keys))
    ASSERT_EQ(properties.requireProperty(unicode(key)), u"value");
  for (const std::u16string& key : rowsOf(keys)) ASSERT_EQ(properties.removeProperty(unicode(key)), 1);
  EXPECT_EQ(std::distance(properties.begin(), properties.end()), 1);
}

TEST(ExtendedPropertiesIndex, FindsKeysThatWereLeftOut) {
  const std::vector<std::u16string> keys = crowdedKeys(3 * PropertyIndex::reach);
  ExtendedProperties properties;
  for (const std::u16string& key : keys) properties.putProperty(unicode(key), unicode(u"%target%" + key));
  properties.putProperty(u"target", u"to ");
  properties.putProperty(unicode(keys.back()), u"changed");
  EXPECT_EQ(properties.removeProperty(unicode(keys.front())), 1);
  EXPECT_EQ(properties.removeProperty(unicode(keys.front())), 0);
  properties.resolveReferences();
  const ExtendedProperties copy(properties);
  for (const ExtendedProperties* const each : rowsOf({&std::as_const(properties), &copy})) {
    const icu::UnicodeString none;
    EXPECT_EQ(&each->getProperty(unicode(keys.front()), none), &none);
    for (std::size_t i = 1; i + 1 < keys.size(); ++i) {
      ROW("i", i);
      EXPECT_EQ(each->requireProperty(unicode(keys[i])), unicode(u"to " + keys[i])) << i;
    }
    EXPECT_EQ(each->requireProperty(unicode(keys.back())), u"changed");
  }
}

/// Few values with references are found with the index, many by searching the tree. Both must find all of
/// them.
TEST(ExtendedPropertiesIndex, FindsAllValuesWithReferences) {
  for (const std::size_t referring : rowsOf({0U, 1U, 10U, 62U, 63U, 64U, 500U})) {
    ExtendedProperties properties;
    for (std::size_t i = 0; i < 1000; ++i) {
      icu::UnicodeString key = unicode(std::u16string(1 + i % 7, u'x'));
      properties.putProperty(key.append(static_cast<UChar32>(0x100 + i)), u"%");
    }
    std::vector<icu::UnicodeString> keys;
    for (const auto& [key, value] : properties) keys.push_back(key);
    std::shuffle(keys.begin(), keys.end(), std::mt19937(seeded(static_cast<unsigned int>(referring))));
    for (std::size_t i = 0; i < keys.size(); ++i) {
      properties.putProperty(keys[i], i < referring ? u"%t%" : u"plain");
    }
    properties.putProperty(u"t", u"done");
    properties.resolveReferences();
    for (std::size_t i = 0; i < keys.size(); ++i) {
      ROW("i", i);
      ASSERT_EQ(properties.requireProperty(keys[i]), i < referring ? u"done" : u"plain")
          << referring << ' ' << i;
    }
  }
}

// --- sorting

TEST(PropertyLines, AreSortedByCodeUnitsAndKeepTheirOrderForOneKey) {
  for (unsigned int seed = 0; seed < 400; ++seed) {
    ROW("seed", seed);
    std::mt19937 random(seeded(seed));
    const std::u16string common(random() % 11, u'c');
    std::vector<std::u16string> keys;
    for (std::size_t i = random() % 200; i > 0; --i) {
      std::u16string key = common;
      for (std::size_t rest = random() % 20; rest > 0; --rest)
        key += u"ab\0\u00FE\u00FF\u0100\xD800\xFFFF"[random() % (seed % 8 + 1)];
      keys.push_back(std::move(key));
    }
    std::vector<PropertyLine> lines;
    for (const std::u16string& key : keys)
      lines.push_back({key, key, static_cast<std::uint32_t>(lines.size()), false});
    std::vector<PropertyLine> expected = lines;
    std::stable_sort(expected.begin(), expected.end(),
                     [](const auto& left, const auto& right) { return left.key < right.key; });
    util::sortByKey(lines);
    ASSERT_EQ(lines.size(), expected.size());
    for (std::size_t i = 0; i < lines.size(); ++i) {
      ROW("i", i);
      ASSERT_EQ(lines[i].hash, expected[i].hash) << "seed " << seed << ", line " << i;
    }
  }
}

TEST(PropertyLines, WithOneKeyAreReducedToTheLast) {
  const std::vector<PropertyLine> lines = {{u"a", u"1", 7, false}, {u"a", u"2", 7, true},
                                           {u"b", u"3", 7, false}, {u"c", u"4", 8, true},
                                           {u"c", u"5", 8, false}, {u"c", u"6", 8, false}};
  for (std::size_t first = 0; first <= lines.size(); ++first) {
    ROW("first", first);
    std::vector<PropertyLine> kept(lines.begin() + static_cast<std::ptrdiff_t>(first), lines.end());
    std::vector<std::u16string_view> expected = {u"2", u"3", u"6"};
    expected.erase(expected.begin(), expected.begin() + (first < 2 ? 0 : first < 3 ? 1 : first < 6 ? 2 : 3));
    util::keepLastOfEachKey(kept);
    std::vector<std::u16string_view> values;
    for (const PropertyLine& line : kept) values.push_back(line.value);
    EXPECT_EQ(values, expected) << "from line " << first;
  }
}

/// More lines than the loader stores at a time.
TEST(PropertyLines, OfALongTextAreStoredLikeThoseOfAShortText) {
  constexpr std::size_t lines = 300'000;
  constexpr std::size_t keys = 1000;
  std::string text;
  for (std::size_t i = 0; i < lines; ++i) text += numbered("", i % keys, "=") + std::to_string(i) + '\n';
  ExtendedProperties properties;
  properties.load(text.data(), text.size(), false);
  ASSERT_EQ(std::distance(properties.begin(), properties.end()), keys);
  for (std::size_t key = 0; key < keys; ++key) {
    ROW("key", key);
    const icu::UnicodeString name = icu::UnicodeString::fromUTF8(std::to_string(key));
    EXPECT_EQ(properties.getPropertyAsUint64(name, 0), lines - keys + key);
  }
}

TEST(PropertyLines, WithLongCommonPrefixesAreSorted) {
  std::vector<std::u16string> keys;
  for (std::size_t length = 2000; length > 0; --length) keys.emplace_back(length, u'k');
  std::vector<PropertyLine> lines;
  for (const std::u16string& key : keys) lines.push_back({key, {}, 0, false});
  util::sortByKey(lines);
  for (std::size_t i = 0; i < lines.size(); ++i) {
    ROW("i", i);
    ASSERT_EQ(lines[i].key.size(), i + 1);
  }
}

}  // namespace
}  // namespace tarvo::test
