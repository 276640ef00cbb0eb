#include "infra/oss/kelConverter.hpp"
#include "infra/oss/kelDataBuffer.hpp"
#include "infra/oss/kelStringTokenizer.hpp"
#include "infra/oss/kelUTF8Iterator.hpp"
#include "infra/oss/kelUTF8String.hpp"

#include "support/kelAllocationsSeam.hpp"
#include "support/kelRows.hpp"

#include <gtest/gtest.h>
#include <unicode/unistr.h>

#include <array>
#include <string>

namespace tarvo::test {
namespace {

using oss::Converter;
using oss::DataBuffer;
using oss::StringTokenizer;
using oss::UTF8Iterator;
using oss::UTF8String;

TEST(AllocationCount, CountsEveryAllocation) {
  const AllocationCount count;
  const std::string text(1000, 'x');
  EXPECT_EQ(count.made(), 1U);
  EXPECT_GE(count.bytes(), 1000U);
}

TEST(DataBufferAllocation, DoesNotHappenUpTo4096Bytes) {
  const icu::UnicodeString word(u"stra\u00DFe");
  DataBuffer(word, "UTF-8").clear(false);  // opens the code page's converter
  const AllocationCount count;
  DataBuffer buffer("text");
  for (int i = 0; i < 50; ++i) {
    buffer.appendString("more text");
    buffer.insertString(3, buffer.getString(), 5);
    buffer.appendNumber(i);
    buffer.appendNumber(0.5 + i);
    buffer.appendBinary("abc", 3, true);
    buffer.appendString(word, "UTF-8");
  }
  ASSERT_LE(buffer.length(), 4096);
  const DataBuffer copy(buffer);
  buffer.clear(false);
  EXPECT_EQ(count.made(), 0U);
}

/// The number of bytes that a buffer allocates while it grows by ten bytes at a time.
std::size_t bytesAllocated(int length) {
  const AllocationCount count;
  DataBuffer buffer(0);
  while (buffer.length() < length) buffer.appendString("0123456789");
  return count.bytes();
}

TEST(DataBufferAllocation, IsLinearInTheLengthOfAGrowingText) {
  const std::size_t one = bytesAllocated(1 << 20);
  const std::size_t sixteen = bytesAllocated(1 << 24);
  EXPECT_GT(one, std::size_t{1} << 20);
  EXPECT_LE(one, 4U * (std::size_t{1} << 20));
  EXPECT_LE(sixteen, 4U * (std::size_t{1} << 24));
}

TEST(ConversionAllocation, HappensOnceForEachCodePage) {
  const icu::UnicodeString word(u"caf\u00E9");
  for (const char* const page : rowsOf({"ISO-8859-1", "windows-1252", "Shift_JIS", "GB18030"})) {
    DataBuffer buffer(word, page);
    const AllocationCount count;
    for (int i = 0; i < 100; ++i) buffer.appendString(word, page);
    EXPECT_EQ(count.made(), 0U);
  }
}

std::string words(int number) {
  std::string text;
  for (int i = 0; i < number; ++i) text += "words ";
  return text;
}

TEST(StringTokenizerAllocation, DoesNotDependOnTheNumberOfTokens) {
  StringTokenizer("known", "ISO-8859-1", nullptr).getFirstToken();
  for (const int number : rowsOf({1, 100, 100'000})) {
    const std::string bytes = words(number);
    const AllocationCount count;
    const StringTokenizer tokenizer(bytes.c_str(), "ISO-8859-1", nullptr);
    EXPECT_LE(count.made(), 6U);
    EXPECT_EQ(tokenizer.countTokens(), number);
  }
}

TEST(StringTokenizerAllocation, HappensAtMostThreeTimesForUnicode) {
  for (const int number : rowsOf({1, 100, 100'000})) {
    const icu::UnicodeString text = icu::UnicodeString::fromUTF8(words(number));
    const AllocationCount count;
    const StringTokenizer tokenizer(text, nullptr);
    EXPECT_LE(count.made(), 3U);
  }
}

TEST(StringTokenizerAllocation, DoesNotHappenWhenTokensAreFetched) {
  const std::string bytes = words(10'000);
  StringTokenizer tokenizer(bytes.c_str(), "ISO-8859-1", nullptr);
  tokenizer.getFirstToken();
  const AllocationCount count;
  int fetched = 0;
  for (tokenizer.getFirstToken(); tokenizer.hasMoreTokens(); ++fetched) tokenizer.getNextToken();
  for (static_cast<void>(tokenizer.getFirstTokenString()); tokenizer.hasMoreTokens(); ++fetched) {
    static_cast<void>(tokenizer.getNextTokenString());
  }
  EXPECT_EQ(fetched, 2 * 9'999);
  EXPECT_EQ(count.made(), 0U);
}

/// The number of allocations while an iterator takes a text of `size` bytes and visits its characters.
std::size_t allocationsToWalk(std::size_t size) {
  const std::string text(size, 'x');
  const AllocationCount count;
  UTF8Iterator iterator(text.c_str());
  int characters = 0;
  while (iterator.hasMoreChars()) characters += static_cast<int>(*iterator.getNextChar() == 'x');
  EXPECT_EQ(characters, static_cast<int>(size));
  return count.made();
}

TEST(UTF8IteratorAllocation, DoesNotHappenUpTo4096BytesAndOnceAbove) {
  EXPECT_EQ(allocationsToWalk(0), 0U);
  EXPECT_EQ(allocationsToWalk(4096), 0U);
  EXPECT_EQ(allocationsToWalk(4097), 1U);
  EXPECT_EQ(allocationsToWalk(1'000'000), 1U);
}

TEST(UTF8IteratorAllocation, DoesNotHappenForUnicodeUpTo4096Bytes) {
  const icu::UnicodeString text(4096, u'x', 4096);
  static_cast<void>(UTF8Iterator(text));  // opens the code page's converter
  const AllocationCount count;
  const UTF8Iterator iterator(text);
  EXPECT_EQ(iterator.length(), 4096);
  EXPECT_EQ(count.made(), 0U);
}

TEST(UTF8StringAllocation, DoesNotHappenUpTo4096Bytes) {
  const icu::UnicodeString text(4000, u'x', 4000);
  static_cast<void>(UTF8String(text));
  const AllocationCount count;
  UTF8String string(text);
  string.insertString(4, "more");
  string.appendString(UTF8String("text"));
  EXPECT_EQ(string.numChars(), 4008);
  EXPECT_EQ(string.compare(string), 0);
  string = text;
  string = "bytes";
  string = string.getString() + 1;
  EXPECT_EQ(count.made(), 0U);
}

TEST(ConverterAllocation, DoesNotHappenUpTo1024BytesOnceTheCodePagesAreOpen) {
  const std::string bytes(1024, '\xE4');
  const icu::UnicodeString text(512, u'\u00E4', 512);
  std::array<char, 8192> room;
  const auto convert = [&](const char* from, const char* to) {
    Converter::convert(nullptr, 0, from, bytes.c_str(), to);
    Converter::convert(room.data(), 8192, from, bytes.c_str(), to);
    Converter::convert(nullptr, 0, to, text);
    Converter::convert(room.data(), 8192, to, text);
  };
  for (const char* const to : rowsOf({"UTF-8", "windows-1252", "GB18030", "ISO-8859-1"})) {
    convert("ISO-8859-1", to);
    const AllocationCount count;
    convert("ISO-8859-1", to);
    EXPECT_EQ(count.made(), 0U);
  }
}

}  // namespace
}  // namespace tarvo::test
