#include "infra/oss/kelDataBuffer.hpp"
#include "infra/oss/kelNLSException.hpp"

#include "support/kelAddresses64.hpp"
#include "support/kelCommaLocale.hpp"
#include "support/kelCutCharacters.hpp"
#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"
#include "support/kelTraceRecorder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unicode/ucnv.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace tarvo::test {
namespace {

using oss::DataBuffer;
using oss::NLSException;
using std::string_literals::operator""s;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int largest = std::numeric_limits<int>::max();

static_assert(std::has_virtual_destructor_v<DataBuffer>);
static_assert(!std::is_copy_assignable_v<DataBuffer> && !std::is_move_assignable_v<DataBuffer>);
static_assert(!std::is_convertible_v<int, DataBuffer>);

std::string text(const DataBuffer& buffer) {
  return {buffer.getString(), static_cast<std::size_t>(buffer.length())};
}

/// The bytes from the end of the text to the end of the storage.
std::string bytesAfter(const DataBuffer& buffer) {
  return {buffer.getString() + buffer.length(), buffer.getString() + buffer.capacity() + 1};
}

/// A short text in ICU's default code page, converted by ICU.
std::string inDefaultCodePage(const icu::UnicodeString& given) {
  std::string bytes(100, '\0');
  bytes.resize(static_cast<std::size_t>(given.extract(0, given.length(), bytes.data(), 100U, nullptr)));
  return bytes;
}

void expectHolds(const DataBuffer& buffer, const std::string& expected, int capacity) {
  EXPECT_EQ(text(buffer), expected);
  EXPECT_EQ(buffer.capacity(), capacity);
  EXPECT_EQ(buffer.getString()[buffer.length()], '\0');
}

// --- construction

TEST(DataBuffer, StartsEmptyWithTheRequestedCapacity) {
  struct Row {
    int size;
    int capacity;
  };
  const auto rows = std::to_array<Row>({{0, 4096},
                                        {1, 4096},
                                        {-1, 4096},
                                        {std::numeric_limits<int>::min(), 4096},
                                        {4096, 4096},
                                        {4097, 4097},
                                        {100000, 100000}});
  for (const auto& row : rowsOf(rows)) {
    ROW("size", row.size);
    const DataBuffer buffer(row.size);
    expectHolds(buffer, "", row.capacity);
    EXPECT_THAT(bytesAfter(buffer), Each('\0'));
  }
}

TEST(DataBuffer, FillsTheRequestedCapacityWithoutMoving) {
  DataBuffer buffer(5000);
  const char* const store = buffer.getString();
  const std::string full(5000, 'a');
  buffer.appendString(full.c_str());
  expectHolds(buffer, full, 5000);
  EXPECT_EQ(buffer.getString(), store);
  buffer.appendString("b");
  expectHolds(buffer, full + "b", 5001 + 4096);
}

TEST(DataBuffer, CanBeConstructedFromAText) {
  const std::string full(4096, 'f');
  const std::string tooLong(4097, 'l');
  struct Row {
    const char* given;
    std::string expected;
    int capacity;
  };
  const auto rows = std::to_array<Row>({{nullptr, "", 4096},
                                        {"", "", 4096},
                                        {"abc", "abc", 4096},
                                        {full.c_str(), full, 4096},
                                        {tooLong.c_str(), tooLong, 4097 + 4096}});
  for (const auto& row : rowsOf(rows)) {
    ROW(row.expected.size());
    expectHolds(DataBuffer(row.given), row.expected, row.capacity);
  }
}

TEST(DataBuffer, CanBeConstructedFromUnicodeInACodePage) {
  expectHolds(DataBuffer(u"stra\u00DFe", "ISO-8859-1"),
              "stra\xDF"
              "e",
              4096);
  expectHolds(DataBuffer(u"stra\u00DFe", "UTF-8"),
              "stra\xC3\x9F"
              "e",
              4096);
  expectHolds(DataBuffer(icu::UnicodeString(u"\u00DF")), inDefaultCodePage(u"\u00DF"), 4096);
  expectHolds(DataBuffer(u"\u00DF", nullptr), inDefaultCodePage(u"\u00DF"), 4096);
  expectHolds(DataBuffer(u"\u00DF", ""), inDefaultCodePage(u"\u00DF"), 4096);
}

TEST(DataBuffer, RaisesInItsConstructorForARefusedCodePage) {
  EXPECT_THAT(
      [] { DataBuffer(u"a", "UTF-16"); },
      Raises<NLSException>("ERR_CONV_CONVERSION_ERROR", "UTF-16"s, "UTF-16"s).from("kelDataBuffer.cpp"));
}

TEST(DataBuffer, IsDestroyedThroughItsBase) {
  struct Derived : DataBuffer {
    explicit Derived(bool& gone) : DataBuffer(10000), gone_(gone) {}
    Derived(const Derived&) = delete;
    Derived& operator=(const Derived&) = delete;
    ~Derived() override { gone_ = true; }
    bool& gone_;
  };
  bool gone = false;
  { const std::unique_ptr<DataBuffer> base = std::make_unique<Derived>(gone); }
  EXPECT_TRUE(gone);
}

// --- copies

TEST(DataBuffer, IsCopiedWithItsCapacityFromTheHeap) {
  DataBuffer large(10000);
  large.appendString("abc");
  const DataBuffer copy(large);
  expectHolds(copy, "abc", 10000);
  EXPECT_THAT(bytesAfter(copy), Each('\0'));
  large.appendString("d");
  expectHolds(copy, "abc", 10000);
}

TEST(DataBuffer, IsCopiedInsideTheObjectWithItsZeros) {
  DataBuffer small(0);
  small.appendString("ab\0cd", 5);
  expectHolds(DataBuffer(small), "ab\0cd"s, 4096);
}

// The copy has the length of the original, although only the bytes up to the zero byte are copied.
TEST(DataBuffer, IsCopiedFromTheHeapUpToTheFirstZero) {
  DataBuffer large(5000);
  large.appendString("ab\0cd", 5);
  const DataBuffer copy(large);
  expectHolds(copy, "ab\0\0\0"s, 5000);
}

TEST(DataBuffer, IsCopiedWithoutOldBytesAfterTheText) {
  DataBuffer buffer("abcdef");
  buffer.clear(true);
  buffer.appendString("x");
  const DataBuffer copy(buffer);
  expectHolds(copy, "x", 4096);
  EXPECT_THAT(bytesAfter(copy), Each('\0'));
}

// --- append and insert

TEST(DataBuffer, IsUnchangedByNullAndEmptyTexts) {
  const std::vector<std::pair<const char*, std::function<void(DataBuffer&)>>> rows = {
      {"append null", [](DataBuffer& b) { b.appendString(static_cast<const char*>(nullptr)); }},
      {"append empty", [](DataBuffer& b) { b.appendString(""); }},
      {"append null, count", [](DataBuffer& b) { b.appendString(nullptr, 5); }},
      {"append count 0", [](DataBuffer& b) { b.appendString("xyz", 0); }},
      {"append count -1", [](DataBuffer& b) { b.appendString("xyz", -1); }},
      {"append empty Unicode", [](DataBuffer& b) { b.appendString(u"", "UTF-8"); }},
      {"append empty buffer", [](DataBuffer& b) { b.appendString(DataBuffer(0)); }},
      {"append unknown code page", [](DataBuffer& b) { b.appendString(u"xyz", "no-such-page"); }},
      {"append overlong code page",
       [](DataBuffer& b) { b.appendString(u"xyz", std::string(500, 'u').c_str()); }},
      {"insert null", [](DataBuffer& b) { b.insertString(1, static_cast<const char*>(nullptr)); }},
      {"insert empty", [](DataBuffer& b) { b.insertString(1, ""); }},
      {"insert null, count", [](DataBuffer& b) { b.insertString(1, nullptr, 5); }},
      {"insert count 0", [](DataBuffer& b) { b.insertString(1, "xyz", 0); }},
      {"insert count -1", [](DataBuffer& b) { b.insertString(1, "xyz", -1); }},
      {"insert smallest count",
       [](DataBuffer& b) { b.insertString(1, "x", std::numeric_limits<int>::min()); }},
      {"insert empty Unicode", [](DataBuffer& b) { b.insertString(1, u"", "UTF-8"); }},
      {"insert empty buffer", [](DataBuffer& b) { b.insertString(1, DataBuffer(0)); }},
      {"insert unknown code page", [](DataBuffer& b) { b.insertString(1, u"xyz", "no-such-page"); }},
      {"binary null", [](DataBuffer& b) { b.appendBinary(nullptr, 3, false); }},
      {"binary count 0", [](DataBuffer& b) { b.appendBinary("xyz", 0, false); }},
      {"binary count -1", [](DataBuffer& b) { b.appendBinary("xyz", -1, false); }},
  };
  for (const auto& [what, change] : rowsOf(rows)) {
    ROW(what);
    DataBuffer buffer("abc");
    change(buffer);
    expectHolds(buffer, "abc", 4096);
    EXPECT_THAT(bytesAfter(buffer), Each('\0'));
  }
}

TEST(DataBuffer, ClampsThePositionOfAnInsert) {
  struct Row {
    int position;
    const char* expected;
  };
  const auto rows = std::to_array<Row>({{std::numeric_limits<int>::min(), "XYabc"},
                                        {-1, "XYabc"},
                                        {0, "XYabc"},
                                        {1, "aXYbc"},
                                        {3, "abcXY"},
                                        {4, "abcXY"},
                                        {largest, "abcXY"}});
  const DataBuffer other("XY");
  for (const auto& row : rowsOf(rows)) {
    ROW("position", row.position);
    std::array<DataBuffer, 4> buffers = {DataBuffer("abc"), DataBuffer("abc"), DataBuffer("abc"),
                                         DataBuffer("abc")};
    buffers[0].insertString(row.position, "XY");
    buffers[1].insertString(row.position, "XYZ", 2);
    buffers[2].insertString(row.position, u"XY", "UTF-8");
    buffers[3].insertString(row.position, other);
    for (const DataBuffer& buffer : rowsOf(buffers)) expectHolds(buffer, row.expected, 4096);
  }
}

TEST(DataBuffer, StaysInsideTheObjectUpTo4096Bytes) {
  DataBuffer buffer(0);
  const char* const inside = buffer.getString();
  std::string expected(4096, 'a');
  buffer.appendString(expected.c_str());
  expectHolds(buffer, expected, 4096);
  EXPECT_EQ(buffer.getString(), inside);
  buffer.appendString("b");
  expected += 'b';
  expectHolds(buffer, expected, 8193);
  EXPECT_NE(buffer.getString(), inside);
  EXPECT_THAT(bytesAfter(buffer), Each('\0'));
}

TEST(DataBuffer, ReportsNeedPlus4096WheneverItGrows) {
  DataBuffer buffer(0);
  std::string expected;
  int capacity = 4096;
  const std::vector<int> sizes = {4000, 97, 4096, 1, 5000, 3000, 50000, 1, 4095, 1, 1};
  for (const int size : rowsOf(sizes)) {
    ROW("after " + std::to_string(expected.size()) + " bytes, " + std::to_string(size) + " more");
    const std::string more(static_cast<std::size_t>(size), static_cast<char>('a' + size % 26));
    const int need = buffer.length() + size;
    if (need > capacity) capacity = need + 4096;
    buffer.appendString(more.c_str());
    expected += more;
    expectHolds(buffer, expected, capacity);
    EXPECT_THAT(bytesAfter(buffer), Each('\0'));
  }
}

TEST(DataBuffer, GrowsAtAnyPosition) {
  for (const int position : rowsOf({0, 1, 2000, 4095, 4096})) {
    std::string expected(4096, 'a');
    for (std::size_t i = 0; i < expected.size(); ++i) expected[i] = static_cast<char>('a' + i % 26);
    DataBuffer buffer(expected.c_str());
    buffer.insertString(position, "XYZ");
    expected.insert(static_cast<std::size_t>(position), "XYZ");
    expectHolds(buffer, expected, 4099 + 4096);
  }
}

TEST(DataBuffer, KeepsZeroBytesAsLongAsItDoesNotGrow) {
  DataBuffer buffer(0);
  buffer.appendString("ab\0cd", 5);
  expectHolds(buffer, "ab\0cd"s, 4096);
  buffer.appendString("ef");
  expectHolds(buffer, "ab\0cdef"s, 4096);
}

// The tail ends at the next zero byte: "b" moves and overwrites the zero byte, "cd" does not move.
TEST(DataBuffer, MovesOnlyTheTailBeforeAZero) {
  DataBuffer buffer(0);
  buffer.appendString("ab\0cd", 5);
  buffer.insertString(1, "XY");
  expectHolds(buffer, "aXYbd\0\0"s, 4096);
}

TEST(DataBuffer, IsCutAtAZeroWhenItGrows) {
  const std::string filler(4096, 'z');
  struct Row {
    const char* what;
    std::string held;
    int position;
    std::string added;
    std::string expected;
  };
  const auto rows = std::to_array<Row>({
      {"a 0 before the position", "ab\0cd"s, 5, filler, "ab" + filler},
      {"a 0 behind the position", "ab\0cd"s, 1, filler, "a" + filler + "b"},
      {"a 0 in the new text", "abcd", 2, "x\0"s + filler, "abxcd"},
      {"a new text that is a 0 first", "abcd", 2, "\0x"s + filler, "abcd"},
      {"everywhere", "a\0bc\0d"s, 3, "x\0"s + filler, "axc"},
  });
  for (const auto& row : rowsOf(rows)) {
    DataBuffer buffer(0);
    buffer.appendString(row.held.data(), static_cast<int>(row.held.size()));
    buffer.insertString(row.position, row.added.data(), static_cast<int>(row.added.size()));
    expectHolds(buffer, row.expected, static_cast<int>(row.held.size() + row.added.size()) + 4096);
    EXPECT_THAT(bytesAfter(buffer), Each('\0'));
  }
}

// If the count is far above the text's length, the free space is cleared by another code path.
TEST(DataBuffer, IsCutAtAZeroFarBeforeTheEndOfTheCount) {
  const std::string added = "def" + std::string(300'000, '\0');
  for (const std::size_t held :
       rowsOf({std::size_t{6}, std::size_t{4096}, std::size_t{5000}, std::size_t{200'000}})) {
    std::string expected(held, 'a');
    DataBuffer buffer(expected.c_str());
    buffer.insertString(4, added.data(), static_cast<int>(added.size()));
    expected.insert(4, "def");
    expectHolds(buffer, expected, static_cast<int>(held + added.size()) + 4096);
    EXPECT_THAT(bytesAfter(buffer), Each('\0'));
    buffer.clear(false);
    EXPECT_THAT(bytesAfter(buffer), Each('\0'));
  }
}

TEST(DataBuffer, CanInsertItself) {
  DataBuffer appended("abc");
  appended.appendString(appended);
  expectHolds(appended, "abcabc", 4096);
  DataBuffer inserted("abc");
  inserted.insertString(1, inserted);
  expectHolds(inserted, "aabcbc", 4096);
  DataBuffer text("abc");
  text.insertString(2, text.getString());
  expectHolds(text, "ababcc", 4096);
}

TEST(DataBuffer, CanInsertAPieceOfItself) {
  struct Row {
    int position, start, count;
    const char* expected;
  };
  const auto rows = std::to_array<Row>(
      {{0, 2, 2, "cdabcdef"}, {6, 0, 3, "abcdefabc"}, {3, 1, 4, "abcbcdedef"}, {2, 3, 3, "abdefcdef"}});
  for (const auto& row : rowsOf(rows)) {
    ROW("expected", row.expected);
    DataBuffer buffer("abcdef");
    buffer.insertString(row.position, buffer.getString() + row.start, row.count);
    expectHolds(buffer, row.expected, 4096);
  }
  DataBuffer buffer("abcdef");
  buffer.appendBinary(buffer.getString() + 4, 3, false);  // the third byte is the terminator
  expectHolds(buffer, "abcdefX'656600'", 4096);
}

// The piece overlaps the position of its copy, partly or completely.
TEST(DataBuffer, CanInsertAPieceOfItselfThatOverlapsTheGap) {
  for (const int count : rowsOf({1, 2, 3, 5, 9, 17, 32, 33, 100})) {
    for (int start = 0; start <= 50; ++start) {
      ROW(std::to_string(count) + " bytes from " + std::to_string(start));
      DataBuffer buffer(0);
      std::string before;
      while (before.size() < 40) before += static_cast<char>('0' + before.size());
      buffer.appendString(before.c_str());
      const std::string piece = (before + std::string(200, '\0'))
                                    .substr(static_cast<std::size_t>(start), static_cast<std::size_t>(count));
      buffer.appendString(buffer.getString() + start, count);
      ASSERT_EQ(text(buffer), before + piece);
      ASSERT_THAT(bytesAfter(buffer), Each('\0'));
    }
  }
}

TEST(DataBuffer, CanInsertItselfWhileGrowing) {
  std::string expected(3000, 'a');
  for (std::size_t i = 0; i < expected.size(); ++i) expected[i] = static_cast<char>('a' + i % 26);
  DataBuffer buffer(expected.c_str());
  for (int times = 0; times < 4; ++times) {
    ROW("times", times);
    buffer.insertString(7, buffer);
    const std::string copy = expected;
    expected.insert(7, copy);
    EXPECT_EQ(text(buffer), expected);
  }
}

// --- sizes near the largest int

TEST(DataBuffer, IsUnchangedByTextsThatExceedEveryCapacity) {
  const std::vector<std::pair<const char*, std::function<void(DataBuffer&)>>> rows = {
      {"append the largest count", [](DataBuffer& b) { b.appendString("xyz", largest); }},
      {"append just too much", [](DataBuffer& b) { b.appendString("xyz", largest - 4096 - 3 + 1); }},
      {"insert the largest count", [](DataBuffer& b) { b.insertString(1, "xyz", largest); }},
      {"insert own text, too much", [](DataBuffer& b) { b.insertString(1, b.getString(), largest - 4096); }},
      {"binary whose size wraps", [](DataBuffer& b) { b.appendBinary("xyz", largest, false); }},
      {"binary, double the largest", [](DataBuffer& b) { b.appendBinary("xyz", largest / 2 + 1, false); }},
      {"binary just too much",
       [](DataBuffer& b) { b.appendBinary("xyz", (largest - 4096 - 6) / 2 + 1, true); }},
  };
  for (const auto& [what, change] : rowsOf(rows)) {
    ROW(what);
    DataBuffer buffer("abc");
    change(buffer);
    expectHolds(buffer, "abc", 4096);
    EXPECT_THAT(bytesAfter(buffer), Each('\0'));
  }
}

TEST(DataBuffer, CanGrowToTheLargestCapacity) {
  if (!longRangesFit) GTEST_SKIP() << noLongRanges;
  DataBuffer buffer("abc");
  buffer.appendString("def", largest - 4096 - 3);  // an insert that grows copies only up to the terminator
  expectHolds(buffer, "abcdef", largest);
  buffer.insertString(0, "x");
  expectHolds(buffer, "xabcdef", largest);
  buffer.appendString("y", largest);
  buffer.appendString("y", largest - 6);
  expectHolds(buffer, "xabcdef", largest);
  buffer.clear(true);
  expectHolds(buffer, "", 4096);
}

TEST(DataBuffer, CanBeConstructedWithTheLargestCapacity) {
  if (!longRangesFit) GTEST_SKIP() << noLongRanges;
  DataBuffer buffer(largest);
  buffer.appendString("abc");
  expectHolds(buffer, "abc", largest);
  buffer.appendString("y", largest - 2);
  expectHolds(buffer, "abc", largest);
}

// --- growth costs linear time

/// The number of bytes that are copied to new storage while a text grows by ten bytes at a time. A new block
/// is allocated before the old one is released, so each move changes the address.
std::size_t bytesMoved(std::size_t length) {
  DataBuffer buffer(0);
  std::size_t moved = 0;
  for (std::size_t held = 0; held < length; held += 10) {
    const char* const before = buffer.getString();
    buffer.appendString("0123456789");
    if (buffer.getString() != before) moved += held;
  }
  EXPECT_EQ(static_cast<std::size_t>(buffer.length()), length);
  return moved;
}

TEST(DataBuffer, CopiesNoMoreThanTwiceItsTextWhileItGrows) {
  for (const std::size_t length :
       rowsOf({std::size_t{10'000}, std::size_t{1'000'000}, std::size_t{16'000'000}})) {
    const std::size_t moved = bytesMoved(length);
    EXPECT_GT(moved, 0U) << length;
    EXPECT_LE(moved, 2 * length) << length;
  }
}

// --- code pages

TEST(DataBuffer, AppendsTextInACodePage) {
  struct Row {
    const char* encoding;
    const char16_t* given;
    std::string expected;
  };
  const auto rows = std::to_array<Row>({
      {"UTF-8", u"a\u00E9\u20AC\U0001F600", "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"},
      {"UTF-8", u"\xD800", "\xEF\xBF\xBD"},
      {"ISO-8859-1", u"\u00E9\u20AC", "\xE9\x1A"},
      {"windows-1252", u"\u20AC", "\x80"},
      {"Shift_JIS", u"\u65E5\u672C", "\x93\xFA\x96\x7B"},
      {"UTF-16BE", u"ab", "\0a\0b"s},
      {"UTF-16LE", u"ab", "a\0b\0"s},
      {"utf-16le", u"ab", "a\0b\0"s},
      {"UTF-32BE", u"a", "\0\0\0a"s},
  });
  for (const auto& row : rowsOf(rows)) {
    ROW("encoding", row.encoding);
    DataBuffer buffer("-");
    buffer.appendString(row.given, row.encoding);
    buffer.appendString(row.given, row.encoding);  // the first call must not affect the second
    expectHolds(buffer, "-" + row.expected + row.expected, 4096);
    DataBuffer inserted("-+");
    inserted.insertString(1, row.given, row.encoding);
    EXPECT_EQ(text(inserted).substr(0, row.expected.size() + 1), "-" + row.expected);
  }
}

TEST(DataBuffer, AppendsTheWholeTextIfIcuUnderReportsItsSize) {
  for (const CutCharacters& cut : rowsOf(cutCharacters())) {
    ROW("codePage", cut.codePage);
    for (int padding = 0; padding < 30; ++padding) {
      ROW("padding", padding);
      const icu::UnicodeString given = icu::UnicodeString(padding, 'x', padding) + cut.times(700);
      DataBuffer buffer(0);
      buffer.appendString(given, cut.codePage);
      ASSERT_EQ(text(buffer), allBytes(given, cut.codePage)) << padding;
    }
  }
}

TEST(DataBuffer, AppendsLongTextInACodePage) {
  for (const int units : rowsOf({4095, 4096, 4097, 100'000})) {
    icu::UnicodeString given;
    std::string expected;
    for (int i = 0; i < units; ++i) {
      given.append(i % 7 == 0 ? u'\u00E9' : static_cast<char16_t>(u'a' + i % 26));
      expected += i % 7 == 0 ? "\xC3\xA9" : std::string(1, static_cast<char>('a' + i % 26));
    }
    DataBuffer buffer(0);
    buffer.appendString(given, "UTF-8");
    EXPECT_EQ(text(buffer), expected);
  }
}

// Only exactly these names are refused. "utf-16" is accepted: a byte order mark and zero bytes are appended.
TEST(DataBuffer, RefusesOnlyTwoCodePageNames) {
  for (const char* const encoding : rowsOf({"UTF-16", "UTF-32"})) {
    for (const char16_t* const given : rowsOf({u"abc", u""})) {
      ROW("encoding", encoding);
      DataBuffer buffer("xyz");
      const auto error =
          Raises<NLSException>("ERR_CONV_CONVERSION_ERROR", std::string(encoding), std::string(encoding));
      EXPECT_THAT([&] { buffer.appendString(given, encoding); }, error.from("kelDataBuffer.cpp"));
      EXPECT_THAT([&] { buffer.insertString(1, given, encoding); }, error.from("kelDataBuffer.cpp"));
      expectHolds(buffer, "xyz", 4096);
    }
  }
  for (const char* const encoding : rowsOf({"utf-16", "utf-32", "UTF16", "Utf-16"})) {
    DataBuffer buffer(0);
    buffer.appendString(u"a", encoding);
    const icu::UnicodeString given(u"a");
    std::string expected(20, '\0');
    expected.resize(static_cast<std::size_t>(given.extract(0, 1, expected.data(), 20U, encoding)));
    EXPECT_GE(expected.size(), 4U);
    EXPECT_EQ(text(buffer), expected);
  }
}

// 2^29 units of 4 bytes each. The text is untouched zero pages, so it takes no memory.
TEST(DataBuffer, RaisesIfTheConvertedSizeIsAboveTheLargestInt) {
  constexpr std::int32_t units = 1 << 29;
  const std::unique_ptr<void, decltype(&std::free)> zeros(std::calloc(units, sizeof(char16_t)), &std::free);
  ASSERT_NE(zeros, nullptr);
  const icu::UnicodeString huge(static_cast<UBool>(false), static_cast<const char16_t*>(zeros.get()), units);
  DataBuffer buffer("abc");
  EXPECT_THAT(
      [&] { buffer.appendString(huge, "UTF-32BE"); },
      Raises<NLSException>("ERR_CONV_CONVERSION_ERROR", "UTF-16"s, "UTF-32BE"s).from("kelDataBuffer.cpp"));
  EXPECT_EQ(buffer.length(), 3);
  EXPECT_STREQ(buffer.getString(), "abc");
}

// --- numbers

template <class Number>
std::string appended(Number value) {
  DataBuffer buffer("=");
  buffer.appendNumber(value);
  return text(buffer);
}

template <class Integer>
class DataBufferIntegers : public ::testing::Test {};
using Integers = ::testing::Types<unsigned char, unsigned short, unsigned int, unsigned long,
                                  unsigned long long, signed char, short, int, long, long long>;
TYPED_TEST_SUITE(DataBufferIntegers, Integers);

TYPED_TEST(DataBufferIntegers, AreWrittenInDecimal) {
  using Limits = std::numeric_limits<TypeParam>;
  const auto numbers =
      std::to_array<TypeParam>({Limits::min(), Limits::max(), TypeParam{0}, TypeParam{1}, TypeParam{'A'},
                                static_cast<TypeParam>(Limits::max() / 2), static_cast<TypeParam>(-5)});
  for (const TypeParam number : rowsOf(numbers)) EXPECT_EQ(appended(number), "=" + std::to_string(number));
}

TEST(DataBuffer, WritesTheLimitsOfEveryWidth) {
  EXPECT_EQ(appended(static_cast<signed char>(-5)), "=-5");
  EXPECT_EQ(appended(static_cast<unsigned char>(200)), "=200");
  EXPECT_EQ(appended(static_cast<unsigned short>(65535)), "=65535");
  EXPECT_EQ(appended(static_cast<short>(-32768)), "=-32768");
  EXPECT_EQ(appended(4294967295U), "=4294967295");
  EXPECT_EQ(appended(std::numeric_limits<int>::min()), "=-2147483648");
  EXPECT_EQ(appended(std::numeric_limits<long long>::min()), "=-9223372036854775808");
  EXPECT_EQ(appended(std::numeric_limits<unsigned long long>::max()), "=18446744073709551615");
}

TEST(DataBuffer, WritesNumbersUpToTheEndOfItsCapacity) {
  const std::string number = "-2147483648";
  for (int filled = 4096 - 2 * 11; filled <= 4096; ++filled) {
    ROW("filled", filled);
    const std::string before(static_cast<std::size_t>(filled), 'x');
    DataBuffer buffer(before.c_str());
    buffer.appendNumber(std::numeric_limits<int>::min());
    expectHolds(buffer, before + number, filled + 11 <= 4096 ? 4096 : filled + 11 + 4096);
    EXPECT_THAT(bytesAfter(buffer), Each('\0'));
  }
}

TEST(DataBuffer, WritesANumberBeforeOldBytes) {
  DataBuffer buffer("abcdefgh");
  buffer.clear(true);
  buffer.appendNumber(4711);
  buffer.appendNumber(-5);
  EXPECT_EQ(buffer.length(), 6);
  EXPECT_STREQ(buffer.getString(), "4711-5efgh");
}

TEST(DataBuffer, WritesDoublesWithAPointWhateverTheLocale) {
  for (const CommaLocale::For whom : rowsOf({CommaLocale::For::process, CommaLocale::For::thread})) {
    const CommaLocale comma(whom);
    EXPECT_EQ(appended(-1234567.25), "=-1234567.250000");
  }
}

TEST(DataBuffer, WritesDoublesWithSixDecimals) {
  const double infinite = std::numeric_limits<double>::infinity();
  const double noNumber = std::numeric_limits<double>::quiet_NaN();
  struct Row {
    double value;
    std::string expected;
  };
  const auto rows = std::to_array<Row>({{0.0, "0.000000"},
                                        {-0.0, "-0.000000"},
                                        {1.5, "1.500000"},
                                        {-2.25, "-2.250000"},
                                        {0.0000005, "0.000000"},  // slightly below the tie
                                        {0.0000015, "0.000002"},
                                        {0.5e-6 + 1e-12, "0.000001"},
                                        {1e15, "1000000000000000.000000"},
                                        {123456789.123456789, "123456789.123457"},
                                        {std::numeric_limits<double>::denorm_min(), "0.000000"},
                                        {infinite, "inf"},
                                        {-infinite, "-inf"},
                                        {noNumber, "nan"},
                                        {-noNumber, "nan"}});
  for (const auto& row : rowsOf(rows)) EXPECT_EQ(appended(row.value), "=" + row.expected);
}

TEST(DataBuffer, WritesTheLargestDoublesCompletely) {
  std::string printed(400, '\0');
  const int size = std::snprintf(printed.data(), printed.size(), "=%f", std::numeric_limits<double>::max());
  printed.resize(static_cast<std::size_t>(size));
  EXPECT_EQ(printed.size(), 1U + 309 + 7);
  EXPECT_EQ(appended(std::numeric_limits<double>::max()), printed);
  EXPECT_EQ(appended(std::numeric_limits<double>::lowest()), "=-" + printed.substr(1));
}

// --- binary literals

TEST(DataBuffer, WritesBytesAsALiteral) {
  struct Row {
    std::string bytes;
    bool upperCase;
    const char* expected;
  };
  const auto rows = std::to_array<Row>({{"\0\x7F\x80"s, false, "X'007f80'"},
                                        {"\x0A\xFF"s, false, "X'0aff'"},
                                        {"\x0A\xFF"s, true, "X'0AFF'"},
                                        {"a"s, true, "X'61'"}});
  for (const auto& row : rowsOf(rows)) {
    ROW("expected", row.expected);
    DataBuffer buffer("-");
    buffer.appendBinary(row.bytes.data(), static_cast<int>(row.bytes.size()), row.upperCase);
    expectHolds(buffer, "-"s + row.expected, 4096);
  }
}

TEST(DataBuffer, WritesEveryByteAtEveryPositionOfALiteral) {
  for (std::size_t count = 1; count <= 300; ++count) {
    ROW("count", count);
    std::string bytes;
    std::string lower;
    std::string upper;
    for (std::size_t i = 0; i < count; ++i) {
      bytes += static_cast<char>(i + count);
      std::array<char, 3> digits;
      std::snprintf(digits.data(), digits.size(), "%02x", static_cast<unsigned>((i + count) % 256));
      lower += digits.data();
      std::snprintf(digits.data(), digits.size(), "%02X", static_cast<unsigned>((i + count) % 256));
      upper += digits.data();
    }
    DataBuffer buffer(0);
    buffer.appendBinary(bytes.data(), static_cast<int>(count), false);
    buffer.appendBinary(bytes.data(), static_cast<int>(count), true);
    ASSERT_EQ(text(buffer), "X'" + lower + "'X'" + upper + "'") << count;
  }
}

TEST(DataBuffer, WritesALiteralThatMakesItGrow) {
  for (const int before : rowsOf({0, 1, 4096 - 6, 4096 - 5, 4096})) {
    const std::string held(static_cast<std::size_t>(before), 'h');
    DataBuffer buffer(held.c_str());
    buffer.appendBinary("\x5A", 1, false);
    expectHolds(buffer, held + "X'5a'", before <= 4096 - 5 ? 4096 : before + 5 + 4096);
    const std::string many(5000, '\x5A');
    const int capacity = buffer.length() + 10003 + 4096;
    buffer.appendBinary(many.data(), 5000, false);
    EXPECT_EQ(text(buffer).substr(held.size() + 5, 12), "X'5a5a5a5a5a");
    EXPECT_EQ(text(buffer).substr(held.size() + 5 + 10000), "5a'");
    EXPECT_EQ(buffer.capacity(), capacity);
    EXPECT_EQ(std::string(buffer.getString() + buffer.length(), 4097), std::string(4097, '\0'));
  }
}

// When the text moves to a larger block, the bytes after a zero byte are lost.
TEST(DataBuffer, WritesALiteralThatMakesItGrowAfterAZeroByte) {
  DataBuffer buffer(0);
  buffer.appendString("ab\0cd", 5);
  const std::string many(2050, '\x5A');
  buffer.appendBinary(many.data(), 2050, true);
  EXPECT_EQ(buffer.length(), 2 + 4103);
  EXPECT_EQ(buffer.capacity(), 5 + 4103 + 4096);
  EXPECT_EQ(text(buffer).substr(0, 6), "abX'5A");
}

TEST(DataBuffer, WritesALiteralBeforeOldBytes) {
  DataBuffer buffer(std::string(40, 'o').c_str());
  buffer.clear(true);
  buffer.appendBinary("\x5A", 1, false);
  EXPECT_EQ(buffer.length(), 5);
  EXPECT_EQ(std::string(buffer.getString(), 41), "X'5a'" + std::string(35, 'o') + '\0');
  buffer.appendBinary("\x5A", 1, false);
  EXPECT_EQ(buffer.length(), 10);
  EXPECT_EQ(std::string(buffer.getString(), 46), "X'5a'X'5a'" + std::string(35, 'o') + '\0');
}

TEST(DataBuffer, CanAppendItselfAsALiteral) {
  for (const int count : rowsOf({3, 40, 2100})) {
    const std::string held(static_cast<std::size_t>(count), 'h');
    DataBuffer buffer(held.c_str());
    buffer.appendBinary(buffer.getString(), count, true);
    std::string expected = held + "X'";
    for (int i = 0; i < count; ++i) expected += "68";
    EXPECT_EQ(text(buffer), expected + "'");
  }
}

TEST(DataBuffer, ReadsBackTheLiteralsItWrites) {
  std::string every(256, '\0');
  for (std::size_t i = 0; i < every.size(); ++i) every[i] = static_cast<char>(i);
  for (const int count :
       rowsOf({1, 2, 256, 2046, 2047, 2048, 50'000})) {  // 2 x 2046 + 3 is the largest size below 4096
    std::string bytes;
    while (static_cast<int>(bytes.size()) < count) bytes += every;
    bytes.resize(static_cast<std::size_t>(count));
    for (const bool upperCase : rowsOf({false, true})) {
      DataBuffer buffer(0);
      buffer.appendBinary(bytes.data(), count, upperCase);
      EXPECT_EQ(buffer.length(), 2 * count + 3);
      EXPECT_EQ(buffer.decodeBinary(nullptr, 0), count);
      std::string decoded(bytes.size(), '?');
      EXPECT_EQ(buffer.decodeBinary(decoded.data(), count), count);
      EXPECT_EQ(decoded, bytes);
    }
  }
}

TEST(DataBuffer, ReadsLiteralsOfEitherCase) {
  std::string target = "....";
  EXPECT_EQ(DataBuffer("X''").decodeBinary(target.data(), 4), 0);
  EXPECT_EQ(DataBuffer("X''").decodeBinary(target.data(), 0), 0);
  EXPECT_EQ(DataBuffer("X''").decodeBinary(nullptr, -1), 0);
  EXPECT_EQ(target, "....");
  EXPECT_EQ(DataBuffer("X'aFfA09'").decodeBinary(target.data(), 4), 3);
  EXPECT_EQ(target, "\xAF\xFA\x09.");
}

TEST(DataBuffer, RefusesToReadTextThatIsNotALiteral) {
  struct Row {
    const char* why;
    std::string held;
  };
  const auto rows = std::to_array<Row>({{"empty", ""},
                                        {"two bytes", "X'"},
                                        {"half a digit pair", "X'0'"},
                                        {"no digit", "X'0g'"},
                                        {"a digit's neighbours", "X'/0'"},
                                        {"a digit's neighbours", "X':0'"},
                                        {"a digit's neighbours", "X'@0'"},
                                        {"a digit's neighbours", "X'G0'"},
                                        {"a digit's neighbours", "X'`0'"},
                                        {"small x", "x'00'"},
                                        {"no opening quote", "X000'"},
                                        {"no closing quote", "X'000"},
                                        {"a byte behind the closing quote", "X'00' "},
                                        {"a quote inside", "X'0''"},
                                        {"a byte above 127", "X'\xB1\xB1'"},
                                        {"a byte 0", "X'0\0'"s},
                                        {"three bytes, none right", "abc"}});
  for (const auto& row : rowsOf(rows)) {
    DataBuffer buffer(0);
    buffer.appendString(row.held.data(), static_cast<int>(row.held.size()));
    std::string target = "-------";
    const auto error = Raises<NLSException>("ERR_DB_INVALID_BINARY_DATA").from("kelDataBuffer.cpp");
    EXPECT_THAT([&] { buffer.decodeBinary(target.data(), 7); }, error);
    EXPECT_THAT([&] { buffer.decodeBinary(nullptr, 0); }, error);
    EXPECT_EQ(target, "-------");
    EXPECT_EQ(text(buffer), row.held);
  }
}

TEST(DataBuffer, RaisesIfTheTargetIsTooSmall) {
  const DataBuffer buffer("X'010203'");
  for (const int capacity : rowsOf({2, 0, -1, std::numeric_limits<int>::min()})) {
    std::string target = "---";
    EXPECT_THAT([&] { buffer.decodeBinary(target.data(), capacity); },
                Raises<NLSException>("ERR_BUFFER_SIZE_TOO_SMALL", capacity).from("kelDataBuffer.cpp"));
    EXPECT_EQ(target, "---");
  }
}

// --- clear

TEST(DataBuffer, IsAllZeroAfterAClearWithoutKeepContents) {
  for (const char* const held : rowsOf({"", "a", "abcdef"})) {
    DataBuffer buffer(held);
    buffer.clear(false);
    expectHolds(buffer, "", 4096);
    EXPECT_THAT(bytesAfter(buffer), Each('\0'));
  }
  DataBuffer full(std::string(4096, 'x').c_str());
  full.clear(true);
  full.appendString("a");
  full.clear(false);
  EXPECT_THAT(bytesAfter(full), Each('\0'));
}

// The first byte is zeroed; the others stay after the text.
TEST(DataBuffer, KeepsOldBytesAfterTheTextIfKeepContentsIsTrue) {
  DataBuffer buffer("abcdef");
  buffer.clear(true);
  expectHolds(buffer, "", 4096);
  EXPECT_EQ(bytesAfter(buffer).substr(0, 8), "\0bcdef\0\0"s);
  buffer.appendString("x");
  EXPECT_EQ(buffer.length(), 1);
  EXPECT_STREQ(buffer.getString(), "xbcdef");
  buffer.appendString("y");  // the old bytes are its tail and move
  EXPECT_EQ(buffer.length(), 2);
  EXPECT_STREQ(buffer.getString(), "xybcdef");
}

TEST(DataBuffer, MovesOnlyAsManyOldBytesAsFit) {
  DataBuffer buffer(std::string(4096, 'o').c_str());
  buffer.clear(true);
  buffer.appendString("x");
  buffer.insertString(0, "abc");
  EXPECT_EQ(buffer.length(), 4);
  EXPECT_EQ(std::string(buffer.getString()), "abcx" + std::string(4092, 'o'));
}

TEST(DataBuffer, IncludesOldBytesInTheTextWhenItGrows) {
  DataBuffer buffer("abcdef");
  buffer.clear(true);
  buffer.appendString("x");
  const std::string filler(4096, 'z');
  buffer.appendString(filler.c_str());
  expectHolds(buffer, "x" + filler + "bcdef", 1 + 4096 + 4096);
}

TEST(DataBuffer, ReleasesHeapStorageWithAndWithoutKeepContents) {
  for (const bool keepContents : rowsOf({false, true})) {
    DataBuffer buffer("inside");
    const char* const inside = buffer.getString();
    buffer.appendString(std::string(5000, 'x').c_str());
    buffer.clear(keepContents);
    expectHolds(buffer, "", 4096);
    EXPECT_EQ(buffer.getString(), inside);
    EXPECT_THAT(bytesAfter(buffer), Each('\0'));
    buffer.appendString("again");
    expectHolds(buffer, "again", 4096);
  }
}

TEST(DataBuffer, ClearLeavesZerosOnlyWhateverWasWritten) {
  const std::string zeros(4097, '\0');
  for (const int length : rowsOf({0, 1, 5, 63, 64, 65, 100, 4095, 4096})) {
    DataBuffer buffer(std::string(static_cast<std::size_t>(length), 'c').c_str());
    buffer.clear(false);
    expectHolds(buffer, "", 4096);
    EXPECT_EQ(std::string(buffer.getString(), 4097), zeros);

    buffer.appendString(std::string(static_cast<std::size_t>(length), 'd').c_str());
    buffer.clear(true);
    buffer.appendString("abc");
    buffer.clear(false);
    EXPECT_EQ(std::string(buffer.getString(), 4097), zeros);

    buffer.appendString("abc");
    buffer.insertString(1, "x\0y", 3);
    expectHolds(buffer, "ax\0ybc"s, 4096);
  }
}

// --- trace hooks

std::vector<std::string> both(const std::string& number) {
  return {"traceEntry " + number, "traceExit " + number + " 0"};
}

TEST(DataBuffer, ReportsEveryOperation) {
  const std::vector<std::tuple<const char*, std::function<void(DataBuffer&)>, std::vector<std::string>>>
      rows = {
          {"append text", [](DataBuffer& b) { b.appendString("x"); }, both("5F3")},
          {"append count", [](DataBuffer& b) { b.appendString("x", 1); }, both("5F3")},
          {"append Unicode", [](DataBuffer& b) { b.appendString(u"x", "UTF-8"); }, both("5F3")},
          {"append empty Unicode", [](DataBuffer& b) { b.appendString(u"", "UTF-8"); }, both("5F3")},
          {"append itself", [](DataBuffer& b) { b.appendString(b); }, both("5F3")},
          {"append too much", [](DataBuffer& b) { b.appendString("x", largest); }, both("5F3")},
          {"insert text", [](DataBuffer& b) { b.insertString(0, "x"); }, both("5F4")},
          {"insert count", [](DataBuffer& b) { b.insertString(0, "x", 1); }, both("5F4")},
          {"insert Unicode", [](DataBuffer& b) { b.insertString(0, u"x", "UTF-8"); }, both("5F4")},
          {"insert itself", [](DataBuffer& b) { b.insertString(0, b); }, both("5F4")},
          {"integer", [](DataBuffer& b) { b.appendNumber(1); }, both("5F5")},
          {"double", [](DataBuffer& b) { b.appendNumber(1.0); }, both("5F5")},
          {"binary", [](DataBuffer& b) { b.appendBinary("x", 1, true); }, both("5F6")},
          {"decode", [](DataBuffer& b) { b.decodeBinary(nullptr, 0); }, both("5F7")},
          {"clear", [](DataBuffer& b) { b.clear(false); }, both("5F8")},
          {"clear, keeping", [](DataBuffer& b) { b.clear(true); }, both("5F8")},
          {"text", [](DataBuffer& b) { b.getString(); }, {}},
          {"length", [](DataBuffer& b) { b.length(); }, {}},
          {"capacity", [](DataBuffer& b) { b.capacity(); }, {}},
          {"append null", [](DataBuffer& b) { b.appendString(static_cast<const char*>(nullptr)); }, {}},
          {"append empty", [](DataBuffer& b) { b.appendString(""); }, {}},
          {"append count 0", [](DataBuffer& b) { b.appendString("x", 0); }, {}},
          {"insert null", [](DataBuffer& b) { b.insertString(0, static_cast<const char*>(nullptr)); }, {}},
          {"insert count 0", [](DataBuffer& b) { b.insertString(0, "x", 0); }, {}},
          {"binary count 0", [](DataBuffer& b) { b.appendBinary("x", 0, true); }, {}},
      };
  for (const auto& [what, operation, expected] : rowsOf(rows)) {
    ROW(what);
    DataBuffer buffer("X''");
    TraceRecorder trace(0x20000);
    operation(buffer);
    EXPECT_EQ(trace.calls(), expected);
  }
}

TEST(DataBuffer, ReportsOnlyTheExitsOfConstructorsAndTheDestructor) {
  const DataBuffer other("abc");
  const std::vector<std::pair<const char*, std::function<void()>>> rows = {
      {"size", [] { DataBuffer(5); }},
      {"text", [] { DataBuffer("abc"); }},
      {"null", [] { DataBuffer(nullptr); }},
      {"Unicode", [] { DataBuffer(u"abc", "UTF-8"); }},
      {"Unicode, default", [] { DataBuffer(icu::UnicodeString(u"abc")); }},
      {"copy", [&] { DataBuffer copy(other); }},
  };
  for (const auto& [what, build] : rowsOf(rows)) {
    ROW(what);
    TraceRecorder trace(0x20000);
    build();
    EXPECT_THAT(trace.calls(), ElementsAre("traceExit 5F1 0", "traceExit 5F2 0"));
  }
}

TEST(DataBuffer, ReportsNoExitIfItRaises) {
  DataBuffer buffer("abc");
  const auto refused = Raises<NLSException>("ERR_CONV_CONVERSION_ERROR", "UTF-16"s, "UTF-16"s);
  const auto invalid = Raises<NLSException>("ERR_DB_INVALID_BINARY_DATA");
  TraceRecorder trace(0x60083);
  const auto dataBufferCalls = [&] {
    std::vector<std::string> calls;
    for (std::string& call : trace.take()) {
      if (call.find(" 5F") != std::string::npos)
        calls.push_back(std::move(call));  // without the calls of the error
    }
    return calls;
  };
  EXPECT_THAT([&] { buffer.appendString(u"a", "UTF-16"); }, refused.from("kelDataBuffer.cpp"));
  EXPECT_THAT(dataBufferCalls(), ElementsAre("diagDispatchEntry 5F3", "traceEntry 5F3"));
  EXPECT_THAT([&] { buffer.insertString(0, u"a", "UTF-16"); }, refused.from("kelDataBuffer.cpp"));
  EXPECT_THAT(dataBufferCalls(), ElementsAre("diagDispatchEntry 5F4", "traceEntry 5F4"));
  EXPECT_THAT([&] { buffer.decodeBinary(nullptr, 0); }, invalid.from("kelDataBuffer.cpp"));
  EXPECT_THAT(dataBufferCalls(), ElementsAre("diagDispatchEntry 5F7", "traceEntry 5F7"));
  EXPECT_THAT([&] { DataBuffer(u"a", "UTF-16"); }, refused.from("kelDataBuffer.cpp"));
  EXPECT_THAT(dataBufferCalls(), IsEmpty());
}

}  // namespace
}  // namespace tarvo::test
