#include "infra/oss/kelByteBuffer.hpp"

#include "support/kelCutCharacters.hpp"
#include "support/kelDefaultCodePage.hpp"
#include "support/kelRows.hpp"
#include "support/kelTraceRecorder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace tarvo::test {
namespace {

using oss::ByteBuffer;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace std::string_literals;
using namespace std::string_view_literals;

constexpr unsigned long long GiB = 1ULL << 30;
constexpr unsigned long long greatest = std::numeric_limits<unsigned long long>::max();

static_assert(std::has_virtual_destructor_v<ByteBuffer>);
static_assert(sizeof(ByteBuffer) == 2 * sizeof(void*), "the table of virtual functions and the storage");
static_assert(!std::is_convertible_v<unsigned long long, ByteBuffer>);
static_assert(std::is_same_v<decltype(std::declval<const ByteBuffer&>().length()), unsigned long long>);
static_assert(std::is_same_v<decltype(std::declval<const ByteBuffer&>().getSize()), unsigned long long>);
static_assert(std::is_same_v<decltype(std::declval<const ByteBuffer&>().get()), const char*>);

ByteBuffer holding(std::string_view bytes) {
  return {bytes.data(), bytes.size()};
}

std::string bytesOf(const ByteBuffer& buffer) {
  return {buffer.get(), static_cast<std::size_t>(buffer.length())};
}

void expectHolds(const ByteBuffer& buffer, std::string_view bytes, unsigned long long capacity) {
  ASSERT_NE(buffer.get(), nullptr);
  EXPECT_EQ(buffer.length(), bytes.size());
  EXPECT_EQ(buffer.getSize(), bytes.size());
  EXPECT_EQ(bytesOf(buffer), bytes);
  EXPECT_EQ(buffer.get()[bytes.size()], '\0');
  EXPECT_EQ(buffer.capacity(), capacity);
}

void expectNoStorage(const ByteBuffer& buffer) {
  EXPECT_EQ(buffer.get(), nullptr);
  EXPECT_EQ(buffer.length(), 0U);
  EXPECT_EQ(buffer.getSize(), 0U);
  EXPECT_EQ(buffer.capacity(), 0U);
}

/// Makes a buffer lose its storage: a set() of a length that is too large fails after releasing it.
void loseStorage(ByteBuffer& buffer) {
  EXPECT_THROW(buffer.set("x", GiB), std::bad_alloc);
  expectNoStorage(buffer);
}

// --- construction

TEST(ByteBuffer, AllocatesTheSizeAndOneByteForTheTerminator) {
  struct Row {
    unsigned long long size, capacity;
  };
  for (const Row row :
       rowsOf({Row{0, 4}, Row{1, 4}, Row{3, 4}, Row{4, 8}, Row{7, 8}, Row{8, 16}, Row{100, 128},
               Row{127, 128}, Row{128, 256}, Row{65535, 65536}, Row{65536, 131072}})) {
    ROW("size", row.size);
    const ByteBuffer buffer(row.size);
    expectHolds(buffer, "", row.capacity);
    const auto size = static_cast<std::size_t>(row.size) + 1;
    EXPECT_EQ(std::string(buffer.get(), size), std::string(size, '\0'));
  }
}

TEST(ByteBuffer, CopiesBytesAtEveryPowerOfTwo) {
  for (int k = 2; k <= 20; ++k) {
    ROW("k", k);
    const std::size_t power = std::size_t{1} << k;
    ROW("power", power);
    const std::string bytes(power + 1, 'b');
    expectHolds(ByteBuffer(bytes.data(), power - 2), bytes.substr(0, power - 2), power);
    expectHolds(ByteBuffer(bytes.data(), power - 1), bytes.substr(0, power - 1), power);
    expectHolds(ByteBuffer(bytes.data(), power), bytes.substr(0, power), 2 * power);
  }
}

TEST(ByteBuffer, KeepsZeroBytesInItsContents) {
  expectHolds(holding("\0a\0\0b\0"sv), "\0a\0\0b\0"sv, 8);
}

TEST(ByteBuffer, IsEmptyIfTheLengthIsZero) {
  expectHolds(ByteBuffer("abc", 0), "", 4);
  expectHolds(ByteBuffer(nullptr, 0), "", 4);
}

TEST(ByteBuffer, WritesOnlyTheTerminatorIfTheDataIsNull) {
  for (const unsigned long long length : rowsOf({1ULL, 3ULL, 4ULL, 1000ULL})) {
    const ByteBuffer buffer(nullptr, length);
    ASSERT_NE(buffer.get(), nullptr);
    EXPECT_EQ(buffer.length(), length);
    EXPECT_EQ(buffer.get()[length], '\0');
  }
}

TEST(ByteBuffer, AcceptsUpToOneGiBIncludingTheTerminator) {
  const ByteBuffer buffer(nullptr, GiB - 1);
  EXPECT_EQ(buffer.length(), GiB - 1);
  EXPECT_EQ(buffer.capacity(), GiB);
  EXPECT_EQ(buffer.get()[GiB - 1], '\0');
}

TEST(ByteBuffer, RaisesInItsConstructorAboveOneGiB) {
  for (const unsigned long long length : rowsOf(
           {GiB, GiB + 1, 2 * GiB - 1, 2 * GiB, 4 * GiB - 1, 4 * GiB, 1ULL << 63, greatest - 1, greatest})) {
    EXPECT_THROW(ByteBuffer{length}, std::bad_alloc);
    EXPECT_THROW(ByteBuffer("x", length), std::bad_alloc);
    EXPECT_THROW(ByteBuffer(nullptr, length), std::bad_alloc);
  }
}

TEST(ByteBuffer, CopyHasTheCapacityThatItsContentsNeed) {
  ByteBuffer large(1000);
  expectHolds(ByteBuffer(large), "", 4);
  large.append("abcde", 5);
  const ByteBuffer copy(large);
  expectHolds(copy, "abcde", 8);
  EXPECT_NE(copy.get(), large.get());
  large.set("other", 5);
  expectHolds(copy, "abcde", 8);
  expectHolds(ByteBuffer(holding("a\0b\0"sv)), "a\0b\0"sv, 8);
}

TEST(ByteBuffer, CopyOfABufferWithoutStorageIsEmpty) {
  ByteBuffer lost(10);
  loseStorage(lost);
  expectHolds(ByteBuffer(lost), "", 4);
}

// --- text in a code page

struct TextRow {
  const char* what;
  icu::UnicodeString text;
  const char* codePage;
  std::string bytes;
};

std::vector<TextRow> textRows() {
  return {
      {"one byte each", u"Gr\u00FC\u00DFe", "ISO-8859-1", "Gr\xFC\xDF"s + "e"},
      {"the euro sign has a place here", u"5 \u20AC", "windows-1252", "5 \x80"},
      {"and none here", u"5 \u20AC", "ISO-8859-1", "5 \x1A"},
      {"one to four bytes", u"a\u00E9\u20AC\U0001F600", "UTF-8", "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"},
      {"half a surrogate pair", icu::UnicodeString(u'a').append(char16_t{0xD800}), "UTF-8", "a\xEF\xBF\xBD"},
      {"one and two bytes", u"A\u65E5\u672C", "Shift_JIS", "A\x93\xFA\x96\x7B"},
      {"states", u"A\u65E5", "ISO-2022-JP", "A\x1B$BF|\x1B(B"},
      {"bytes that are zero", u"ab", "UTF-16BE", "\0a\0b"s},
      {"a unit that is zero", icu::UnicodeString(u"a\0b", 3), "UTF-8", "a\0b"s},
      {"the invariant characters", u"abc", "", "abc"},
      {"unknown code page", u"abc", "no such page", ""},
      {"no text", u"", "UTF-8", ""},
      {"three bytes and the terminator", u"abc", "UTF-8", "abc"},
      {"four bytes and the terminator", u"abcd", "UTF-8", "abcd"},
  };
}

unsigned long long capacityFor(unsigned long long need) {
  int k = 2;
  while ((1ULL << k) < need) ++k;
  return 1ULL << k;
}

TEST(ByteBuffer, ConvertsTextToACodePage) {
  for (const TextRow& row : rowsOf(textRows())) {
    expectHolds(ByteBuffer(row.text, row.codePage), row.bytes, capacityFor(row.bytes.size() + 1));
  }
}

TEST(ByteBuffer, ConvertsTextsWithLengthsNextToPowersOfTwo) {
  icu::UnicodeString text;
  std::string utf8;
  std::string wide;
  for (int units = 0; units <= 300; ++units) {
    ROW("units", units);
    expectHolds(ByteBuffer(text, "UTF-8"), utf8, capacityFor(utf8.size() + 1));
    expectHolds(ByteBuffer(text, "UTF-16LE"), wide, capacityFor(wide.size() + 1));
    const bool euro = units % 3 == 0;
    text.append(euro ? u'\u20AC' : u'x');
    utf8 += euro ? "\xE2\x82\xAC" : "x";
    wide += euro ? "\xAC\x20"s : "x\0"s;
  }
}

TEST(ByteBuffer, ConvertsTheWholeTextIfIcuUnderReportsItsSize) {
  for (const CutCharacters& cut : rowsOf(cutCharacters())) {
    ROW("codePage", cut.codePage);
    for (int times = 1; times < 120; ++times) {
      ROW("times", times);
      const ByteBuffer buffer(cut.times(times), cut.codePage);
      ASSERT_EQ(bytesOf(buffer), allBytes(cut.times(times), cut.codePage)) << times;
      ASSERT_EQ(buffer.get()[buffer.length()], '\0') << times;
    }
  }
}

TEST(ByteBuffer, ThrowsBadAllocForATextWhoseSizeIsAboveTheLargestInt) {
  constexpr std::int32_t units = 1 << 29;
  const std::unique_ptr<void, decltype(&std::free)> zeros(std::calloc(units, sizeof(char16_t)), &std::free);
  ASSERT_NE(zeros, nullptr);
  const icu::UnicodeString huge(static_cast<UBool>(false), static_cast<const char16_t*>(zeros.get()), units);
  EXPECT_THROW(ByteBuffer(huge, "UTF-32BE"), std::bad_alloc);
}

TEST(ByteBuffer, KeepsOnlyInvariantCharactersIfTheCodePageNameIsEmpty) {
  const std::string variant = "\n!#$@[\\]^`{|}~";
  for (unsigned int unit = 0; unit < 0x300; ++unit) {
    ROW("unit", unit);
    const bool kept = unit < 0x80 && variant.find(static_cast<char>(unit)) == std::string::npos;
    const ByteBuffer buffer(icu::UnicodeString(static_cast<char16_t>(unit)), "");
    ASSERT_EQ(bytesOf(buffer), std::string(1, kept ? static_cast<char>(unit) : '\0'))
        << "U+" << std::hex << unit;
  }
  EXPECT_EQ(bytesOf(ByteBuffer(u"a\U0001F600b", "")), "a\0\0b"s);
}

TEST(ByteBuffer, UsesIcusDefaultConverterForANullCodePage) {
  const icu::UnicodeString text(u"a\u00E9\u20AC");
  const std::string bytes = inDefaultCodePage(text);
  ASSERT_FALSE(bytes.empty());
  expectHolds(ByteBuffer(text, nullptr), bytes, capacityFor(bytes.size() + 1));
}

// --- append

TEST(ByteBuffer, AppendOfFiveBytesGrowsAnEmptyBufferToEight) {
  ByteBuffer buffer(0);
  buffer.append("abcde", 5);
  expectHolds(buffer, "abcde", 8);
}

TEST(ByteBuffer, AppendGrowsOnlyAtThePowersOfTwo) {
  ByteBuffer buffer(0);
  std::string bytes;
  for (int i = 0; i < 5000; ++i) {
    ROW("i", i);
    const char byte = static_cast<char>(i);
    const char* const block = buffer.get();
    const unsigned long long capacity = buffer.capacity();
    buffer.append(&byte, 1);
    bytes += byte;
    ASSERT_EQ(buffer.capacity(), capacityFor(bytes.size() + 1)) << "after byte " << i;
    ASSERT_EQ(buffer.get()[buffer.length()], '\0') << "after byte " << i;
    if (buffer.capacity() == capacity) {
      ASSERT_EQ(buffer.get(), block) << "at byte " << i;
    }
  }
  EXPECT_EQ(bytesOf(buffer), bytes);
}

TEST(ByteBuffer, AppendsEveryLengthToEveryLength) {
  std::string source;
  for (int i = 0; i < 70; ++i) source += static_cast<char>(200 + i);
  for (std::size_t first = 0; first < source.size(); ++first) {
    ROW("first", first);
    for (std::size_t second = 1; second < source.size(); ++second) {
      ROW("second", second);
      ByteBuffer buffer(source.data(), first);
      buffer.append(source.data(), second);
      const std::string whole = source.substr(0, first) + source.substr(0, second);
      ASSERT_EQ(bytesOf(buffer), whole) << first << " and " << second;
      ASSERT_EQ(buffer.get()[whole.size()], '\0') << first << " and " << second;
      ASSERT_EQ(buffer.capacity(), capacityFor(whole.size() + 1)) << first << " and " << second;
    }
  }
}

TEST(ByteBuffer, AppendWithinTheCapacityDoesNotAllocate) {
  ByteBuffer buffer(100);
  const char* const block = buffer.get();
  buffer.append(std::string(127, 'x').data(), 127);
  EXPECT_EQ(buffer.get(), block);
  expectHolds(buffer, std::string(127, 'x'), 128);
}

TEST(ByteBuffer, AppendOfNullOrZeroBytesChangesNothing) {
  ByteBuffer buffer(holding("ab\0"sv));
  const char* const block = buffer.get();
  buffer.append(nullptr, 10);
  buffer.append(nullptr, greatest);
  buffer.append("xyz", 0);
  EXPECT_EQ(buffer.get(), block);
  expectHolds(buffer, "ab\0"sv, 4);
}

TEST(ByteBuffer, AppendThatCannotFitLeavesTheBufferIntact) {
  ByteBuffer buffer(holding("abc"));
  const char* const block = buffer.get();
  // Four bytes are in use; each sum is above 2^30 or wraps, to 3 at the end.
  for (const unsigned long long length :
       rowsOf({GiB - 3, GiB, 2 * GiB - 4, 2 * GiB, 4 * GiB - 4, 4 * GiB - 3, 4 * GiB, 1ULL << 62, 1ULL << 63,
               greatest - 7, greatest - 4, greatest - 3, greatest - 2, greatest - 1, greatest})) {
    EXPECT_THROW(buffer.append("x", length), std::bad_alloc);
    EXPECT_EQ(buffer.get(), block);
    expectHolds(buffer, "abc", 4);
  }
  buffer.append("d", 1);
  expectHolds(buffer, "abcd", 8);
}

TEST(ByteBuffer, AppendToABufferWithoutStorageAllocatesIt) {
  ByteBuffer buffer(100);
  loseStorage(buffer);
  buffer.append(nullptr, 3);
  buffer.append("abc", 0);
  expectNoStorage(buffer);
  EXPECT_THROW(buffer.append("x", GiB), std::bad_alloc);
  EXPECT_THROW(buffer.append("x", greatest), std::bad_alloc);
  expectNoStorage(buffer);
  buffer.append("abc", 3);
  expectHolds(buffer, "abc", 4);
}

TEST(ByteBuffer, AppendsPiecesOfItselfWithAndWithoutGrowth) {
  const std::string bytes = "0123456789abcdefghijklmnopqrstuvwxyzABCDE";
  const std::string stored = bytes + '\0';
  for (const unsigned long long room : rowsOf({7ULL, 100ULL})) {
    for (std::size_t start = 0; start <= bytes.size(); ++start) {
      ROW("start", start);
      for (std::size_t length = 1; start + length <= stored.size(); ++length) {
        ROW("length", length);
        ByteBuffer buffer(room);
        buffer.append(bytes.data(), bytes.size());
        buffer.append(buffer.get() + start, length);
        ASSERT_EQ(bytesOf(buffer), bytes + stored.substr(start, length))
            << room << ' ' << start << ' ' << length;
        ASSERT_EQ(buffer.get()[buffer.length()], '\0') << room << ' ' << start << ' ' << length;
      }
    }
  }
}

TEST(ByteBuffer, AppendsAllOfItself) {
  ByteBuffer buffer(holding("ab"));
  for (int i = 0; i < 16; ++i) buffer.append(buffer.get(), buffer.length());
  std::string doubled = "ab";
  for (int i = 0; i < 16; ++i) doubled += doubled;
  expectHolds(buffer, doubled, 262144);
}

// --- set and clear

TEST(ByteBuffer, SetReplacesTheContentsAndKeepsTheCapacity) {
  ByteBuffer buffer(100);
  const char* const block = buffer.get();
  buffer.set("abcdef", 6);
  expectHolds(buffer, "abcdef", 128);
  buffer.set("x\0y"s.data(), 3);
  expectHolds(buffer, "x\0y"sv, 128);
  buffer.set("z", 0);
  expectHolds(buffer, "", 128);
  EXPECT_EQ(buffer.get(), block);
}

TEST(ByteBuffer, SetGrowsToTheNextPowerOfTwo) {
  const std::string bytes(1025, 's');
  for (const std::size_t length : rowsOf(std::vector<std::size_t>{3, 4, 7, 8, 1023, 1024, 1025})) {
    ByteBuffer buffer(0);
    buffer.set(bytes.data(), length);
    expectHolds(buffer, bytes.substr(0, length), capacityFor(length + 1));
  }
}

TEST(ByteBuffer, SetOfNullChangesNothing) {
  ByteBuffer buffer(holding("abc"));
  const char* const block = buffer.get();
  for (const unsigned long long length : rowsOf({0ULL, 5ULL, GiB, greatest})) {
    buffer.set(nullptr, length);
    EXPECT_EQ(buffer.get(), block);
    expectHolds(buffer, "abc", 4);
  }
}

TEST(ByteBuffer, SetThatIsTooLargeReleasesTheStorageAndALaterSetWorks) {
  for (const unsigned long long length : rowsOf({GiB, GiB + 1, 2 * GiB - 1, 2 * GiB, 4 * GiB - 1, 4 * GiB,
                                                 1ULL << 62, 1ULL << 63, greatest - 1, greatest})) {
    ByteBuffer buffer(holding("abc"));
    EXPECT_THROW(buffer.set("x", length), std::bad_alloc);
    expectNoStorage(buffer);
    EXPECT_THROW(buffer.set("x", length), std::bad_alloc);
    expectNoStorage(buffer);
    buffer.set("abcd", 4);
    expectHolds(buffer, "abcd", 8);
  }
}

TEST(ByteBuffer, SetToAPieceOfItselfKeepsThatPiece) {
  const std::string bytes = "0123456";
  const std::string stored = bytes + '\0';
  for (std::size_t start = 0; start <= bytes.size(); ++start) {
    ROW("start", start);
    for (std::size_t length = 0; start + length <= stored.size(); ++length) {
      ROW(std::to_string(start) + ' ' + std::to_string(length));
      ByteBuffer buffer(bytes.data(), bytes.size());
      buffer.set(buffer.get() + start, length);
      // The contents and terminator of a full block, together with a new terminator, need one byte more than
      // the block.
      expectHolds(buffer, stored.substr(start, length), length == 8 ? 16 : 8);
    }
  }
}

TEST(ByteBuffer, SetToItsWholeBlockKeepsAllBytes) {
  // All 128 bytes are zero, only the first is in use.
  ByteBuffer buffer(127);
  buffer.set(buffer.get(), 128);
  expectHolds(buffer, std::string(128, '\0'), 256);
}

TEST(ByteBuffer, ClearKeepsTheCapacity) {
  ByteBuffer buffer(holding("abcdefgh"));
  const char* const block = buffer.get();
  buffer.clear();
  expectHolds(buffer, "", 16);
  EXPECT_EQ(buffer.get(), block);
  buffer.clear();
  expectHolds(buffer, "", 16);
}

TEST(ByteBuffer, ClearAllocatesFourBytesIfThereIsNoStorage) {
  ByteBuffer buffer(100);
  loseStorage(buffer);
  buffer.clear();
  expectHolds(buffer, "", 4);
}

// --- assignment

TEST(ByteBuffer, AssignmentCopiesTheContentsAndKeepsTheCapacity) {
  ByteBuffer target(100);
  const char* const block = target.get();
  const ByteBuffer source(holding("a\0b\0"sv));
  EXPECT_EQ(&(target = source), &target);
  expectHolds(target, "a\0b\0"sv, 128);
  EXPECT_EQ(target.get(), block);
  expectHolds(source, "a\0b\0"sv, 8);
}

TEST(ByteBuffer, AssignmentGrowsToTheOthersContentsNotItsCapacity) {
  ByteBuffer source(1000);
  source.append("abcde", 5);
  ByteBuffer target(0);
  target = source;
  expectHolds(target, "abcde", 8);
}

TEST(ByteBuffer, AssignmentToItselfChangesNothing) {
  ByteBuffer buffer(holding("a\0b"sv));
  const ByteBuffer& itself = buffer;
  const char* const block = buffer.get();
  EXPECT_EQ(&(buffer = itself), &buffer);
  expectHolds(buffer, "a\0b"sv, 4);
  EXPECT_EQ(buffer.get(), block);
}

TEST(ByteBuffer, AssignmentOfABufferWithoutStorageChangesNothing) {
  ByteBuffer lost(0);
  loseStorage(lost);
  ByteBuffer buffer(holding("abc"));
  EXPECT_EQ(&(buffer = lost), &buffer);
  expectHolds(buffer, "abc", 4);
  const ByteBuffer& itself = lost;
  lost = itself;
  expectNoStorage(lost);
}

TEST(ByteBuffer, AssignmentToABufferWithoutStorageAllocatesIt) {
  ByteBuffer lost(100);
  loseStorage(lost);
  lost = holding("abcd");
  expectHolds(lost, "abcd", 8);
}

TEST(ByteBuffer, CanBeDestroyedWithoutStorage) {
  const auto lost = std::make_unique<ByteBuffer>(100);
  loseStorage(*lost);
}

// --- comparison

TEST(ByteBuffer, ComparesLengthAndBytes) {
  struct Row {
    const char* what;
    std::string_view left, right;
    bool equal;
  };
  for (const Row& row : rowsOf({
           Row{"equal", "abc", "abc", true},
           Row{"empty", "", "", true},
           Row{"the last byte", "abc", "abd", false},
           Row{"the first byte", "abc", "bbc", false},
           Row{"a beginning", "abc", "ab", false},
           Row{"longer by a zero", "abc", "abc\0"sv, false},
           Row{"equal after a zero", "a\0b"sv, "a\0b"sv, true},
           Row{"different after a zero", "a\0b"sv, "a\0c"sv, false},
           Row{"nothing and a zero", "", "\0"sv, false},
           Row{"high bytes", "\xFF\x80", "\xFF\x80", true},
           Row{"bytes, not letters", "a", "A", false},
       })) {
    ByteBuffer left(holding(row.left));
    ByteBuffer right(500);
    right.set(row.right.data(), row.right.size());
    EXPECT_EQ(left.compare(row.right.data(), row.right.size()), row.equal);
    EXPECT_EQ(right.compare(row.left.data(), row.left.size()), row.equal);
    EXPECT_EQ(left == right, row.equal);
    EXPECT_EQ(right == left, row.equal);
    EXPECT_TRUE(std::as_const(left) == left);
  }
}

TEST(ByteBuffer, IsNotEqualToNull) {
  EXPECT_FALSE(ByteBuffer(0).compare(nullptr, 0));
  EXPECT_FALSE(holding("abc").compare(nullptr, 3));
}

TEST(ByteBuffer, ComparisonReadsNoBytesIfTheLengthsDiffer) {
  const ByteBuffer buffer(holding("abc"));
  EXPECT_FALSE(buffer.compare("abc", greatest));
  EXPECT_FALSE(buffer.compare("abc", 4 * GiB + 3));
}

TEST(ByteBuffer, WithoutStorageEqualsOnlyAnEmptyBufferOnItsRight) {
  ByteBuffer lost(0);
  loseStorage(lost);
  EXPECT_FALSE(ByteBuffer(0) == lost);
  EXPECT_FALSE(std::as_const(lost) == lost);
  // Without storage the length is 0, so there are no bytes to compare.
  EXPECT_TRUE(lost == ByteBuffer(0));
  EXPECT_TRUE(lost.compare("", 0));
  EXPECT_FALSE(lost.compare(nullptr, 0));
  EXPECT_FALSE(lost == holding("a"));
}

// --- trace hooks

std::vector<std::string> bracket(const std::string& number) {
  return {"traceEntry " + number, "traceExit " + number + " 0"};
}

TEST(ByteBufferTrace, ReportsOnlyTheExitsOfConstructorsAndTheDestructor) {
  const ByteBuffer other(holding("abc"));
  const icu::UnicodeString text(u"abc");
  const std::vector<std::pair<const char*, std::function<std::unique_ptr<ByteBuffer>()>>> rows = {
      {"size", [] { return std::make_unique<ByteBuffer>(10ULL); }},
      {"bytes", [] { return std::make_unique<ByteBuffer>("abc", 3ULL); }},
      {"null", [] { return std::make_unique<ByteBuffer>(nullptr, 3ULL); }},
      {"text", [&] { return std::make_unique<ByteBuffer>(text, "UTF-8"); }},
      {"no text", [] { return std::make_unique<ByteBuffer>(icu::UnicodeString(), "UTF-8"); }},
      {"unknown code page", [&] { return std::make_unique<ByteBuffer>(text, "no such page"); }},
      {"copy", [&] { return std::make_unique<ByteBuffer>(other); }},
  };
  for (const auto& [what, make] : rowsOf(rows)) {
    ROW(what);
    TraceRecorder trace(0x20000);
    std::unique_ptr<ByteBuffer> buffer = make();
    EXPECT_THAT(trace.take(), ElementsAre("traceExit 5E8 0"));
    buffer.reset();
    EXPECT_THAT(trace.take(), ElementsAre("traceExit 5EB 0"));
  }
}

struct TraceRow {
  const char* what;
  std::function<void(ByteBuffer&)> act;
  std::vector<std::string> calls;
};

std::vector<TraceRow> traceRows(const ByteBuffer& other, const ByteBuffer& lost) {
  return {
      {"append", [](ByteBuffer& b) { b.append("x", 1); }, bracket("5E9")},
      {"append that grows", [](ByteBuffer& b) { b.append("0123456789", 10); }, bracket("5E9")},
      {"append of itself", [](ByteBuffer& b) { b.append(b.get(), b.length()); }, bracket("5E9")},
      {"append of null", [](ByteBuffer& b) { b.append(nullptr, 1); }, {}},
      {"append of nothing", [](ByteBuffer& b) { b.append("x", 0); }, {}},
      {"append too long",
       [](ByteBuffer& b) { EXPECT_THROW(b.append("x", GiB), std::bad_alloc); },
       {"traceEntry 5E9"}},
      {"append that wraps",
       [](ByteBuffer& b) { EXPECT_THROW(b.append("x", greatest), std::bad_alloc); },
       {"traceEntry 5E9"}},
      {"set", [](ByteBuffer& b) { b.set("x", 1); }, bracket("5EA")},
      {"set that grows", [](ByteBuffer& b) { b.set("0123456789", 10); }, bracket("5EA")},
      {"set to nothing", [](ByteBuffer& b) { b.set("x", 0); }, bracket("5EA")},
      {"set of null", [](ByteBuffer& b) { b.set(nullptr, 1); }, {}},
      {"set too long",
       [](ByteBuffer& b) { EXPECT_THROW(b.set("x", GiB), std::bad_alloc); },
       {"traceEntry 5EA"}},
      {"clear", [](ByteBuffer& b) { b.clear(); }, bracket("5EB")},
      {"assignment", [&](ByteBuffer& b) { b = other; }, bracket("5EC")},
      {"assignment to itself", [](ByteBuffer& b) { b = std::as_const(b); }, bracket("5EC")},
      {"assignment of a buffer without storage", [&](ByteBuffer& b) { b = lost; }, {}},
      {"the questions",
       [&](ByteBuffer& b) {
         EXPECT_NE(b.get(), nullptr);
         EXPECT_EQ(b.length(), b.getSize());
         EXPECT_EQ(b.capacity(), 4U);
         EXPECT_FALSE(b.compare("x", 1));
         EXPECT_FALSE(b == other);
       },
       {}},
  };
}

TEST(ByteBufferTrace, ReportsTheCallsThatChangeTheBuffer) {
  const ByteBuffer other(holding("other contents"));
  ByteBuffer lost(0);
  loseStorage(lost);
  for (const TraceRow& row : rowsOf(traceRows(other, lost))) {
    ByteBuffer buffer(holding("ab"));
    TraceRecorder trace(0x20000);
    row.act(buffer);
    EXPECT_EQ(trace.calls(), row.calls);
  }
}

TEST(ByteBufferTrace, ReportsNoCallForAConstructorThatFails) {
  TraceRecorder trace(0x60083);
  EXPECT_THROW(ByteBuffer{GiB}, std::bad_alloc);
  EXPECT_THROW(ByteBuffer("x", greatest), std::bad_alloc);
  EXPECT_THAT(trace.calls(), IsEmpty());
}

TEST(ByteBufferTrace, ReportsTheExitOfAnAppendWithoutItsEntry) {
  const std::string bytes(100, 'x');
  for (const std::size_t length : rowsOf(std::vector<std::size_t>{1, 16, 32, 33, 100})) {
    ByteBuffer buffer(200);
    TraceRecorder trace(0x82);
    buffer.append(bytes.data(), length);
    EXPECT_THAT(trace.take(), ElementsAre("traceExit 5E9 0", "traceFlightRecord 5E9 0 0 0"));
    trace.setFlags(0x1);
    buffer.append(bytes.data(), length);
    EXPECT_THAT(trace.take(), ElementsAre("traceEntry 5E9"));
    trace.setFlags(0);
    buffer.append(bytes.data(), length);
    EXPECT_THAT(trace.take(), IsEmpty());
    EXPECT_EQ(buffer.length(), 3 * length);
  }
}

TEST(ByteBufferTrace, CallsEveryHookInOrder) {
  ByteBuffer buffer(0);
  TraceRecorder trace(0x60080);
  buffer.append("x", 1);
  EXPECT_THAT(trace.take(), ElementsAre("diagDispatchEntry 5E9", "traceEntry 5E9", "diagDispatchExit 5E9",
                                        "traceExit 5E9 0", "traceFlightRecord 5E9 0 0 0"));
  const ByteBuffer made(0);
  EXPECT_THAT(trace.take(),
              ElementsAre("diagDispatchExit 5E8", "traceExit 5E8 0", "traceFlightRecord 5E8 0 0 0"));
}

}  // namespace
}  // namespace tarvo::test
