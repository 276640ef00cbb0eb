#include "support/kelAllocationsSeam.hpp"
#include "support/kelDefaultCodePageSeam.hpp"
#include "support/kelReporting.hpp"
#include "support/kelRows.hpp"
#include "support/kelThreadEnd.hpp"
#include "text/kelConverterCache.hpp"
#include "text/kelTranscoding.hpp"

#include <gtest/gtest.h>
#include <unicode/ucnv.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace tarvo::text {
namespace {

using test::atThreadEnd;
using test::DefaultCodePage;
using test::reporting;
using test::rowsOf;

std::string nameOf(const CachedConverter& converter) {
  UErrorCode status = U_ZERO_ERROR;
  return converter.get() == nullptr ? "(none)" : ucnv_getName(converter.get(), &status);
}

TEST(ConverterCache, ReadsTheDefaultNameOnEveryCall) {
  const auto names = std::to_array<const char*>({"ISO-8859-1", "UTF-8", "ISO-8859-1", "US-ASCII"});
  for (const char* const name : rowsOf(names)) {
    const DefaultCodePage other(name);
    EXPECT_EQ(nameOf(CachedConverter(nullptr)), name);
  }
}

TEST(ConverterCache, KeepsAnOpenConverter) {
  const UConverter* first = nullptr;
  {
    const CachedConverter converter("windows-1252");
    first = converter.get();
  }
  const CachedConverter again("windows-1252");
  EXPECT_NE(first, nullptr);
  EXPECT_EQ(again.get(), first);
}

TEST(ConverterCache, KeepsNoConverterWhoseNameIsTooLong) {
  const std::string options = "windows-1252," + std::string(100, 'o');
  const CachedConverter converter(options.c_str());
  EXPECT_NE(converter.get(), nullptr);
  EXPECT_EQ(toUnicode("\x80", 1, options.c_str()), u"\u20AC");
}

TEST(ConverterCache, KeepsAConverterForEachSpellingOfAName) {
  const UConverter* lower = nullptr;
  {
    const CachedConverter converter("windows-1251");
    lower = converter.get();
  }
  const CachedConverter upper("WINDOWS-1251");
  EXPECT_NE(upper.get(), lower);
  const CachedConverter again("windows-1251");
  EXPECT_EQ(again.get(), lower) << "the lower-case name has lost its converter";
  EXPECT_EQ(nameOf(upper), nameOf(again));
}

TEST(ConverterCache, ForgetsAnIncompleteCharacterOfTheLastText) {
  UErrorCode status = U_ZERO_ERROR;
  std::array<char16_t, 8> units;
  {
    const CachedConverter converter("Shift_JIS");
    const char* source = "\x93";
    char16_t* target = units.data();
    ucnv_toUnicode(converter.get(), &target, units.data() + units.size(), &source, source + 1, nullptr, 0,
                   &status);
    ASSERT_EQ(target, units.data());
    ASSERT_EQ(ucnv_toUCountPending(converter.get(), &status), 1);
  }
  const CachedConverter converter("Shift_JIS");
  EXPECT_EQ(ucnv_toUCountPending(converter.get(), &status), 0);
}

TEST(ConverterCache, ReturnsASecondConverterWhileTheFirstIsInUse) {
  const CachedConverter outer("ISO-2022-JP");
  const CachedConverter inner("ISO-2022-JP");
  ASSERT_NE(outer.get(), nullptr);
  ASSERT_NE(inner.get(), nullptr);
  EXPECT_NE(outer.get(), inner.get());
}

TEST(ConverterCache, ConvertsWithMoreNamesThanItKeeps) {
  const icu::UnicodeString text(u"\u00E9");
  for (int round = 0; round < 3; ++round) {
    ROW("round", round);
    for (int page = 1; page <= 15; ++page) {
      ROW("page", page);
      if (page == 12) continue;  // there is no such page
      const std::string name = "ISO-8859-" + std::to_string(page);
      std::string found(4, '\0');
      std::string expected(4, '\0');
      EXPECT_EQ(fromUnicode(text, found.data(), 4, name.c_str()),
                text.extract(0, 1, expected.data(), 4U, name.c_str()))
          << name;
      EXPECT_EQ(found, expected) << name;
    }
  }
}

TEST(ConverterCache, OpensMoreConvertersAtOnceThanItKeeps) {
  std::vector<std::unique_ptr<CachedConverter>> held;
  std::vector<const UConverter*> open;
  for (int page = 1; page <= 11; ++page) {
    ROW("page", page);
    held.push_back(std::make_unique<CachedConverter>(("ISO-8859-" + std::to_string(page)).c_str()));
    ASSERT_NE(held.back()->get(), nullptr) << page;
    open.push_back(held.back()->get());
  }
  std::sort(open.begin(), open.end());
  EXPECT_EQ(std::unique(open.begin(), open.end()), open.end());
  EXPECT_EQ(nameOf(*held.front()), "ISO-8859-1");
}

TEST(ConverterCache, OpensNothingForUnknownNames) {
  const std::string overlong(500, 'x');
  for (const char* const name : rowsOf({"no-such-page", overlong.c_str()})) {
    EXPECT_EQ(CachedConverter(name).get(), nullptr);
    EXPECT_TRUE(toUnicode("a", 1, name).isBogus());
    std::string room = "####";
    EXPECT_EQ(fromUnicode(u"a", room.data(), 3, name), 0);
    EXPECT_EQ(room, std::string("\0###", 4));
  }
}

TEST(ConverterCache, SharesNothingBetweenThreads) {
  const CachedConverter here("KOI8-R");
  const UConverter* there = here.get();
  std::thread(reporting([&] { there = CachedConverter("KOI8-R").get(); })).join();
  EXPECT_NE(there, here.get());
}

// The kept converters are closed by then, so each conversion opens a converter and closes it.
TEST(ConverterCache, OpensAConverterForEachConversionAfterTheThreadsBlockHasEnded) {
  const auto convert = [] {
    std::array<char, 4> bytes{};
    fromUnicode(u"\u00E9", bytes.data(), 4, "ISO-8859-2");
    return std::string(bytes.data());
  };
  std::thread(reporting([&] {
    convert();
  })).join();  // creates the system's slot for blocks before the slot of `atThreadEnd`
  struct {
    std::string bytes;
    std::size_t made;
    std::ptrdiff_t outstanding;
  } during{}, first{}, second{};
  const auto note = [&](auto& found) {
    const test::AllocationCount count;
    found.bytes = convert();
    found.made = count.made();
    found.outstanding = count.outstanding();
  };
  std::thread(reporting([&] {
    atThreadEnd([&] {
      note(first);
      note(second);
    });
    convert();
    note(during);
  })).join();
  EXPECT_EQ(during.made, 0U);
  for (const auto& found : rowsOf({first, second})) {
    EXPECT_EQ(found.bytes, "\xE9");
    EXPECT_GT(found.made, 0U) << "a converter that was closed is used";
    EXPECT_EQ(found.outstanding, 0);
  }
}

// Unused entries of the cache have the empty name, too.
TEST(ConverterCache, OpensTheConverterAgainForTheEmptyName) {
  UErrorCode status = U_ZERO_ERROR;
  UConverter* const expected = ucnv_open("", &status);
  std::thread(reporting([&] {
    const CachedConverter converter("");
    EXPECT_EQ(nameOf(converter), expected == nullptr ? "(none)" : ucnv_getName(expected, &status));
  })).join();
  ucnv_close(expected);
}

}  // namespace
}  // namespace tarvo::text
