#include "support/kelAllocationsSeam.hpp"
#include "support/kelReporting.hpp"
#include "support/kelRows.hpp"
#include "support/kelSeed.hpp"
#include "text/kelSingleByteTable.hpp"

#include <gtest/gtest.h>
#include <unicode/ucnv.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

/// Compares the tables with all converters that ICU lists.
namespace tarvo::text {
namespace {

using test::reporting;
using test::rowsOf;

struct CloseConverter {
  void operator()(UConverter* converter) const { ucnv_close(converter); }
};
using Open = std::unique_ptr<UConverter, CloseConverter>;

Open openPage(const std::string& name) {
  UErrorCode status = U_ZERO_ERROR;
  return Open(ucnv_open(name.c_str(), &status));
}

/// ICU's names of the converters that write one byte for each code unit, or of all others.
std::vector<std::string> pages(bool singleByte) {
  std::vector<std::string> names;
  for (std::int32_t i = 0; i < ucnv_countAvailable(); ++i) {
    const Open page = openPage(ucnv_getAvailableName(i));
    if (page != nullptr && (ucnv_getMaxCharSize(page.get()) == 1) == singleByte)
      names.emplace_back(ucnv_getAvailableName(i));
  }
  return names;
}

std::string icuBytes(UConverter* converter, const icu::UnicodeString& text) {
  std::string bytes(static_cast<std::size_t>(text.length()) * 4 + 8, '\0');
  UErrorCode status = U_ZERO_ERROR;
  const std::int32_t size = ucnv_fromUChars(converter, bytes.data(), static_cast<std::int32_t>(bytes.size()),
                                            text.getBuffer(), text.length(), &status);
  bytes.resize(static_cast<std::size_t>(size));
  return bytes;
}

/// A conversion by the table: whether it converted the whole text, and its output buffer, in which '#' marks
/// bytes that were not written.
struct Given {
  bool whole;
  std::string bytes;
};

Given tableBytes(const SingleByteTable& table, UConverter* converter, const icu::UnicodeString& text) {
  const auto count = static_cast<std::size_t>(text.length());
  std::string bytes(count + 1, '#');
  const std::int64_t size = table.toBytes(text.getBuffer(), count, bytes.data(), count, converter);
  EXPECT_EQ(table.toBytes(text.getBuffer(), count, nullptr, 0, converter), size);
  const bool whole = size == text.length();
  EXPECT_TRUE(whole || size == icuHasTo) << size;
  EXPECT_EQ(bytes.back(), '#');
  bytes.pop_back();
  return {whole, bytes};
}

TEST(SingleByteTable, ExistsForEverySingleByteCodePage) {
  const std::vector<std::string> names = pages(true);
  EXPECT_GT(names.size(), 100U);
  for (const std::string& name : rowsOf(names))
    EXPECT_NE(SingleByteTable::of(openPage(name).get()), nullptr) << name;
}

TEST(SingleByteTable, DoesNotExistForOtherCodePages) {
  for (const std::string& name : rowsOf(pages(false)))
    EXPECT_EQ(SingleByteTable::of(openPage(name).get()), nullptr) << name;
}

TEST(SingleByteTable, IsSharedByAllNamesOfACodePage) {
  const SingleByteTable* const table = SingleByteTable::of(openPage("windows-1252").get());
  EXPECT_EQ(SingleByteTable::of(openPage("cp1252").get()), table);
  EXPECT_NE(SingleByteTable::of(openPage("windows-1254").get()), table);
  EXPECT_NE(SingleByteTable::of(openPage("ibm-37").get()),
            SingleByteTable::of(openPage("ibm-37-s390").get()));
}

TEST(SingleByteTable, ReadsEveryByte) {
  std::string everyByte;
  for (int byte = 0; byte < 256; ++byte) everyByte += static_cast<char>(byte);
  std::mt19937 random(test::seeded(81));
  std::string mixed = everyByte + everyByte;
  std::shuffle(mixed.begin(), mixed.end(), random);
  for (const std::string& name : rowsOf(pages(true))) {
    const Open page = openPage(name);
    const SingleByteTable& table = *SingleByteTable::of(page.get());
    const auto expectReads = [&](const std::string& bytes) {
      std::array<char16_t, 600> expected;
      std::array<char16_t, 600> found;
      UErrorCode status = U_ZERO_ERROR;
      const std::int32_t size = ucnv_toUChars(page.get(), expected.data(), 600, bytes.data(),
                                              static_cast<std::int32_t>(bytes.size()), &status);
      ASSERT_EQ(static_cast<std::size_t>(size), bytes.size()) << name;
      found[bytes.size()] = u'#';
      ASSERT_EQ(table.toUnits(bytes.data(), bytes.size(), found.data()), size);
      ASSERT_TRUE(std::equal(found.begin(), found.begin() + size, expected.begin())) << name;
      ASSERT_EQ(found[bytes.size()], u'#') << name;
    };
    for (const char byte : rowsOf(everyByte)) expectReads(std::string(1, byte));
    expectReads(everyByte);
    for (std::size_t size = 0; size <= 70; ++size) {
      ROW("size", size);
      expectReads(mixed.substr(size, size));
      expectReads(std::string(size, 'a') + '\xE9' + std::string(size, 'b'));
    }
    expectReads(mixed);
  }
}

// All units become one byte, a substitute included, except surrogates and units that ICU omits.
TEST(SingleByteTable, ConvertsExactlyTheUnitsThatBecomeOneByte) {
  for (const std::string& name : rowsOf(pages(true))) {
    const Open page = openPage(name);
    const SingleByteTable& table = *SingleByteTable::of(page.get());
    std::size_t others = 0;
    for (int unit = 0; unit < 0x10000; ++unit) {
      ROW("unit", unit);
      const icu::UnicodeString text(static_cast<char16_t>(unit));
      const std::string expected = icuBytes(page.get(), text);
      char byte = '#';
      const bool has = table.toBytes(text.getBuffer(), 1, &byte, 1, page.get()) == 1;
      if (0xD800 <= unit && unit < 0xE000) {
        ASSERT_FALSE(has) << name << ", " << unit;
      } else if (has) {
        ASSERT_EQ(std::string(1, byte), expected) << name << ", " << unit;
      } else {
        ASSERT_NE(expected.size(), 1U) << name << ", " << unit;
        ++others;
      }
    }
    EXPECT_LT(others, 100U) << name;
  }
}

// At every position of a block, in blocks that vector instructions process and in shorter ones.
TEST(SingleByteTable, ConvertsThoseUnitsAmongOthers) {
  for (const std::string& name : rowsOf(pages(true))) {
    const Open page = openPage(name);
    const SingleByteTable& table = *SingleByteTable::of(page.get());
    icu::UnicodeString text;
    for (int unit = 0; unit < 0x10000; ++unit) {
      const auto one = static_cast<char16_t>(unit);
      char byte = '\0';
      if (table.toBytes(&one, 1, &byte, 1, page.get()) == 1) text.append(one);
      if (unit % 37 == 0) text.append(u"plain words, more than a block of them");
    }
    const Given found = tableBytes(table, page.get(), text);
    ASSERT_TRUE(found.whole) << name;
    ASSERT_TRUE(found.bytes == icuBytes(page.get(), text)) << name;
  }
}

TEST(SingleByteTable, StopsAtAnyOtherUnitAtEveryPosition) {
  for (const char* const name : rowsOf({"windows-1252", "ISO-8859-1", "US-ASCII", "ibm-37", "KOI8-R"})) {
    const Open page = openPage(name);
    const SingleByteTable& table = *SingleByteTable::of(page.get());
    for (const char16_t filler : rowsOf({u'a', u'\u00E9', u'\u0416', u'\u65E5'})) {
      for (std::int32_t before = 0; before < 40; ++before) {
        ROW("before", before);
        for (const std::int32_t after : rowsOf({0, 1, 7, 8, 15, 16, 40})) {
          const icu::UnicodeString head(before, filler, before);
          icu::UnicodeString text = head;
          text.append(char16_t{0xD83D}).append(icu::UnicodeString(after, filler, after));
          const Given found = tableBytes(table, page.get(), text);
          ASSERT_FALSE(found.whole);
          ASSERT_EQ(found.bytes,
                    icuBytes(page.get(), head) + std::string(static_cast<std::size_t>(after) + 1, '#'));
        }
      }
    }
  }
}

TEST(SingleByteTable, IsTheSameTableInAllThreads) {
  const Open page = openPage("ibm-1125");
  icu::UnicodeString text;
  for (int unit = 0; unit < 0xD800; ++unit) {
    const auto one = static_cast<char16_t>(unit);
    if (icuBytes(page.get(), icu::UnicodeString(one)).size() == 1) text.append(one);
  }
  const std::string expected = icuBytes(page.get(), text);
  std::array<std::string, 4> found;
  std::array<const SingleByteTable*, 4> tables{};
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < found.size(); ++i) {
    threads.emplace_back(reporting([&, i] {
      const Open own = openPage("ibm-1125");
      tables.at(i) = SingleByteTable::of(own.get());
      found.at(i) = tableBytes(*tables.at(i), own.get(), text).bytes;
    }));
  }
  for (std::thread& thread : threads) thread.join();
  for (std::size_t i = 0; i < found.size(); ++i) {
    ROW("i", i);
    EXPECT_TRUE(found.at(i) == expected);
    EXPECT_EQ(tables.at(i), tables.front());
  }
}

// Runs in a separate process, in which no table exists yet.
TEST(SingleByteTableDeathTest, IsNotCreatedIfAllocationsFail) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        const Open page = openPage("windows-1252");
        const test::FailingAllocation failing(1);
        const bool there = SingleByteTable::of(page.get()) != nullptr;
        const bool later = SingleByteTable::of(page.get()) != nullptr;
        std::_Exit(failing.happened() && !there && later ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace tarvo::text
