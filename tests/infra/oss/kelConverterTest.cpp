#include "infra/oss/kelConverter.hpp"
#include "infra/oss/kelNLSException.hpp"

#include "support/kelCutCharacters.hpp"
#include "support/kelDefaultCodePage.hpp"
#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"
#include "support/kelTraceRecorder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <new>
#include <string>
#include <string_view>
#include <vector>

namespace tarvo::test {
namespace {

using oss::Converter;
using oss::NLSException;
using oss::SizeableBuffer;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace std::string_literals;

template <std::size_t N>
bool staysInline(const SizeableBuffer<char, N>& bytes) {
  const auto* const first = reinterpret_cast<const char*>(&bytes);
  return std::less_equal<>()(first, bytes.data()) && std::less<>()(bytes.data(), first + sizeof bytes);
}

std::string repeated(std::string_view piece, std::size_t times) {
  std::string all;
  for (std::size_t i = 0; i < times; ++i) all += piece;
  return all;
}

icu::UnicodeString repeatedText(const icu::UnicodeString& piece, std::size_t times) {
  icu::UnicodeString all;
  for (std::size_t i = 0; i < times; ++i) all.append(piece);
  return all;
}

/// The bytes after a conversion, and their storage: inside the object with capacity N, or on the heap.
template <std::size_t N>
void expectConverts(const icu::UnicodeString& text, const char* codePage, const std::string& expected,
                    unsigned long long capacity) {
  SizeableBuffer<char, N> bytes;
  const std::size_t count = Converter::convertToBytes(text, codePage, bytes);
  ASSERT_EQ(count, expected.size());
  EXPECT_EQ(std::string(bytes.data(), count), expected);
  EXPECT_EQ(bytes.capacity(), capacity);
  EXPECT_EQ(staysInline(bytes), capacity == N);
  EXPECT_EQ(bytes.size(), capacity == N ? N : count);
}

struct Row {
  const char* what;
  icu::UnicodeString text;
  const char* codePage;
  std::string bytes;
};

std::vector<Row> rows() {
  return {
      {"one byte each", u"Gr\u00FC\u00DFe", "ISO-8859-1", "Gr\xFC\xDF"s + "e"},
      {"an alias", u"\u00E9", "ISO8859_1", "\xE9"},
      {"the euro sign has a place here", u"5 \u20AC", "windows-1252", "5 \x80"},
      {"one to four bytes", u"a\u00E9\u20AC\U0001F600", "UTF-8", "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"},
      {"one and two bytes", u"A\u65E5\u672C", "Shift_JIS", "A\x93\xFA\x96\x7B"},
      {"one to four bytes by pages", u"A\u4E2D\u00FF", "GB18030", "A\xD6\xD0\x81\x30\x8B\x37"},
      {"states, back to ASCII at the end", u"A\u65E5", "ISO-2022-JP", "A\x1B$BF|\x1B(B"},
      {"bytes that are zero", u"ab", "UTF-16BE", "\0a\0b"s},
      {"a unit that is zero", icu::UnicodeString(u"a\0b", 3), "UTF-8", "a\0b"s},
      {"substitution by one byte", u"5 \u20AC\u4E2D!", "ISO-8859-1", "5 \x1A\x1A!"},
      {"substitution in ASCII", u"\u00E9", "US-ASCII", "\x1A"},
      {"substitution by two bytes", u"A\u0E01", "Shift_JIS", "A\xFC\xFC"},
      {"half a surrogate pair", icu::UnicodeString(u'a').append(char16_t{0xDC00}), "UTF-8", "a\xEF\xBF\xBD"},
      {"one place for a whole pair", u"\U0001F600", "ISO-8859-1", "\x1A"},
      {"unknown code page", u"abc", "no such page", ""},
      {"empty text", u"", "UTF-8", ""},
      {"empty text and unknown code page", u"", "no such page", ""},
  };
}

TEST(ConvertToBytes, ReturnsTheBytesOfTheCodePage) {
  for (const Row& row : rowsOf(rows())) {
    expectConverts<512>(row.text, row.codePage, row.bytes, 512);
  }
}

TEST(ConvertToBytes, ReturnsTheSameBytesOnTheHeap) {
  for (const Row& row : rowsOf(rows())) {
    if (row.bytes.size() <= 1) continue;
    unsigned long long capacity = 4;
    while (capacity < row.bytes.size()) capacity *= 2;
    expectConverts<1>(row.text, row.codePage, row.bytes, capacity);
  }
}

TEST(ConvertToBytes, ReturnsZeroForABogusText) {
  icu::UnicodeString bogus;
  bogus.setToBogus();
  expectConverts<16>(bogus, "UTF-8", "", 16);
}

template <std::size_t N>
void movesToTheHeapAbove(unsigned long long capacity) {
  ROW("N", N);
  const icu::UnicodeString unit(u'x');
  expectConverts<N>(repeatedText(unit, N - 1), "ISO8859_1", std::string(N - 1, 'x'), N);
  expectConverts<N>(repeatedText(unit, N), "ISO8859_1", std::string(N, 'x'), N);
  expectConverts<N>(repeatedText(unit, N + 1), "ISO8859_1", std::string(N + 1, 'x'), capacity);
}

TEST(ConvertToBytes, StaysInlineUpToNBytesAndThenGrowsToAPowerOfTwo) {
  movesToTheHeapAbove<1>(4);
  movesToTheHeapAbove<3>(4);
  movesToTheHeapAbove<4>(8);
  movesToTheHeapAbove<5>(8);
  movesToTheHeapAbove<7>(8);
  movesToTheHeapAbove<16>(32);
  movesToTheHeapAbove<512>(1024);
  movesToTheHeapAbove<1026>(2048);
}

TEST(ConvertToBytes, CountsBytesNotUnits) {
  struct Unit {
    const char* codePage;
    icu::UnicodeString text;
    std::string bytes;
  };
  for (const Unit& unit :
       rowsOf({Unit{"UTF-8", u"\u20AC", "\xE2\x82\xAC"}, Unit{"UTF-16LE", u"x", "x\0"s},
               Unit{"Shift_JIS", u"\u65E5", "\x93\xFA"}, Unit{"UTF-8", u"\U0001F600", "\xF0\x9F\x98\x80"}})) {
    for (std::size_t times = 0; times <= 40; ++times) {
      ROW(unit.codePage + " times "s + std::to_string(times));
      const std::string bytes = repeated(unit.bytes, times);
      unsigned long long capacity = 32;
      while (capacity < bytes.size()) capacity *= 2;
      expectConverts<16>(repeatedText(unit.text, times), unit.codePage, bytes,
                         bytes.size() <= 16 ? 16 : capacity);
    }
  }
}

TEST(ConvertToBytes, ConvertsLongTexts) {
  const icu::UnicodeString text = repeatedText(icu::UnicodeString(u"x\u20AC"), 100000);
  expectConverts<512>(text, "UTF-8", repeated("x\xE2\x82\xAC", 100000), 524288);
  expectConverts<512>(text, "windows-1252", repeated("x\x80", 100000), 262144);
}

TEST(ConvertToBytes, UsesIcusDefaultConverterForANullOrEmptyCodePage) {
  const icu::UnicodeString text(u"a\u00E9\u20AC");
  const std::string bytes = inDefaultCodePage(text);
  ASSERT_FALSE(bytes.empty());
  expectConverts<16>(text, nullptr, bytes, 16);
  expectConverts<16>(text, "", bytes, 16);
}

TEST(ConvertToBytes, CanRepeatWithTheSameBuffer) {
  SizeableBuffer<char, 4> bytes;
  std::size_t largest = 4;
  for (const std::size_t length : rowsOf(std::vector<std::size_t>{3, 4, 5, 2, 9, 30, 33, 0, 12, 32})) {
    const std::size_t count =
        Converter::convertToBytes(repeatedText(icu::UnicodeString(u'x'), length), "UTF-8", bytes);
    ASSERT_EQ(count, length);
    EXPECT_EQ(std::string(bytes.data(), count), std::string(length, 'x'));
    while (largest < length) largest *= 2;
    EXPECT_EQ(bytes.capacity(), largest);
  }
}

TEST(ConvertToBytes, CanReuseABufferWhoseGrowthFailed) {
  for (const std::size_t length : rowsOf(std::vector<std::size_t>{0, 1, 4, 5, 100})) {
    SizeableBuffer<char, 4> bytes;
    EXPECT_THROW(bytes.resize((1ULL << 30) + 1), std::bad_alloc);
    const std::size_t count =
        Converter::convertToBytes(repeatedText(icu::UnicodeString(u'x'), length), "UTF-8", bytes);
    ASSERT_EQ(count, length);
    EXPECT_EQ(std::string_view(bytes.data(), count), std::string(length, 'x'));
  }
}

// --- the part that does not depend on the buffer's size

char* mustNotGrow(void* /*buffer*/, std::size_t size) {
  ADD_FAILURE() << "asked for " << size;
  throw std::bad_alloc();
}

char* noMemory(void* /*buffer*/, std::size_t /*size*/) {
  throw std::bad_alloc();
}

struct Growth {
  std::vector<std::size_t> asked;
  std::string room;

  static char* grow(void* buffer, std::size_t size) {
    auto& growth = *static_cast<Growth*>(buffer);
    growth.asked.push_back(size);
    if (size > 1000) throw std::bad_alloc();
    growth.room.assign(size, '?');
    return growth.room.data();
  }
};

TEST(ConvertToBytes, WritesNoTerminatorIfTheBytesFillTheStorage) {
  char store[] = "?????????";
  EXPECT_EQ(Converter::convertToBytes(u"abcd", "UTF-8", store, 4, &mustNotGrow, nullptr), 4U);
  EXPECT_STREQ(store, "abcd?????");
}

TEST(ConvertToBytes, WritesNothingAfterStorageThatIsTooSmall) {
  for (std::size_t capacity = 1; capacity < 5; ++capacity) {
    ROW("capacity", capacity);
    std::string store(9, '?');
    Growth growth;
    EXPECT_EQ(Converter::convertToBytes(u"\u20ACxy", "UTF-8", store.data(), capacity, &Growth::grow, &growth),
              5U);
    EXPECT_EQ(store.substr(capacity), std::string(9 - capacity, '?'));
    EXPECT_THAT(growth.asked, ElementsAre(5U));
    EXPECT_EQ(growth.room, "\xE2\x82\xACxy");
  }
}

TEST(ConvertToBytes, GrowsAtOnceIfThereIsNoStorage) {
  char store[] = "?";
  for (char* const target : rowsOf({static_cast<char*>(nullptr), store})) {
    ROW(target == nullptr ? "null" : "no room");
    Growth growth;
    EXPECT_EQ(Converter::convertToBytes(u"abc", "UTF-8", target, 0, &Growth::grow, &growth), 3U);
    EXPECT_THAT(growth.asked, ElementsAre(3U));
    EXPECT_EQ(growth.room, "abc");
    EXPECT_EQ(Converter::convertToBytes(u"", "UTF-8", target, 0, &mustNotGrow, nullptr), 0U);
    EXPECT_EQ(Converter::convertToBytes(u"abc", "no such page", target, 0, &mustNotGrow, nullptr), 0U);
  }
  EXPECT_STREQ(store, "?");
}

TEST(ConvertToBytes, ReturnsAtMostTheCapacityIfIcuUnderReportsTheSize) {
  for (const CutCharacters& cut : rowsOf(cutCharacters())) {
    const std::string expected = allBytes(cut.piece, cut.codePage);
    for (std::size_t capacity = 0; capacity <= expected.size(); ++capacity) {
      ROW(cut.codePage + " "s + std::to_string(capacity));
      std::string store(capacity, '?');
      Growth growth;
      const std::size_t count =
          Converter::convertToBytes(cut.piece, cut.codePage, store.data(), capacity, &Growth::grow, &growth);
      ASSERT_LE(count, growth.asked.empty() ? capacity : growth.asked.back());
      EXPECT_EQ((growth.asked.empty() ? store : growth.room).substr(0, count), expected);
    }
  }
}

/// The number, or the largest size if it is above that.
std::size_t upToSize(unsigned long long number) {
  return static_cast<std::size_t>(
      std::min<unsigned long long>(number, std::numeric_limits<std::size_t>::max()));
}

TEST(ConvertToBytes, DoesNotTruncateTheCapacity) {
  for (const std::size_t capacity :
       rowsOf({std::size_t{1} << 31, upToSize(1ULL << 32), upToSize((1ULL << 32) + 1),
               std::numeric_limits<std::size_t>::max()})) {
    char store[16] = {};
    EXPECT_EQ(Converter::convertToBytes(u"abc", "UTF-8", store, capacity, &mustNotGrow, nullptr), 3U);
    EXPECT_STREQ(store, "abc");
  }
}

TEST(ConvertToBytes, RaisesOutOfMemoryIfItCannotGrow) {
  char store[4];
  EXPECT_THAT(
      [&] { Converter::convertToBytes(u"abcde", "UTF-8", store, 4, &noMemory, nullptr); },
      Raises<NLSException>("QN_ERR_OUT_OF_MEMORY", "Converter::convertToBytes()"s).from("kelConverter.cpp"));
}

class Limited : public SizeableBuffer<char, 4> {
 public:
  explicit Limited(unsigned long long maximumSize) { setMaximumSize(maximumSize); }
};

TEST(ConvertToBytes, RaisesOutOfMemoryAboveTheBuffersMaximum) {
  Limited bytes(8);
  EXPECT_EQ(Converter::convertToBytes(u"12345678", "UTF-8", bytes), 8U);
  EXPECT_THAT(
      [&] { Converter::convertToBytes(u"123456789", "UTF-8", bytes); },
      Raises<NLSException>("QN_ERR_OUT_OF_MEMORY", "Converter::convertToBytes()"s).from("kelConverter.cpp"));
  EXPECT_EQ(Converter::convertToBytes(u"abc", "UTF-8", bytes), 3U);
}

// --- trace hooks

TEST(ConvertToBytesTrace, ReportsEntryAndExitOnce) {
  for (const Row& row : rowsOf(rows())) {
    SizeableBuffer<char, 2> bytes;
    TraceRecorder trace(0x20000);
    Converter::convertToBytes(row.text, row.codePage, bytes);
    EXPECT_THAT(trace.calls(), ElementsAre("traceEntry 5F0", "traceExit 5F0 0"));
  }
}

TEST(ConvertToBytesTrace, ReportsNoExitWhenItRaises) {
  char store[4];
  TraceRecorder trace(0x60083);
  EXPECT_THROW(Converter::convertToBytes(u"abcde", "UTF-8", store, 4, &noMemory, nullptr), NLSException);
  std::vector<std::string> own;
  for (const std::string& call : trace.calls()) {
    if (call.find(" 5F0") != std::string::npos) own.push_back(call);
  }
  EXPECT_THAT(own, ElementsAre("diagDispatchEntry 5F0", "traceEntry 5F0"));
}

TEST(ConvertToBytesTrace, CallsNothingWithAllFlagsClear) {
  SizeableBuffer<char, 2> bytes;
  TraceRecorder trace(0);
  EXPECT_EQ(Converter::convertToBytes(u"abc", "UTF-8", bytes), 3U);
  EXPECT_THAT(trace.calls(), IsEmpty());
}

}  // namespace
}  // namespace tarvo::test
