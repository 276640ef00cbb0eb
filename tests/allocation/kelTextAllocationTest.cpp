#include "infra/oss/kelDataBuffer.hpp"
#include "infra/oss/kelStringTokenizer.hpp"

#include "support/kelAllocationCount.hpp"

#include <gtest/gtest.h>
#include <unicode/unistr.h>

#include <string>

namespace tarvo::test {
namespace {

using oss::DataBuffer;
using oss::StringTokenizer;

TEST(AllocationCount, SeesEveryAllocation) {
  const AllocationCount count;
  const std::string text(1000, 'x');
  EXPECT_EQ(count.calls(), 1U);
  EXPECT_GE(count.bytes(), 1000U);
}

TEST(DataBufferAllocation, NeedsNoHeapUpTo4096Bytes) {
  const icu::UnicodeString word(u"stra\u00DFe");
  DataBuffer(word, "UTF-8").clear(false);  // the code page is known from here on
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
  EXPECT_EQ(count.calls(), 0U);
}

/// Bytes that a buffer asks for while it grows by ten bytes at a time.
std::size_t bytesAllocated(int length) {
  const AllocationCount count;
  DataBuffer buffer(0);
  while (buffer.length() < length) buffer.appendString("0123456789");
  return count.bytes();
}

TEST(DataBufferAllocation, IsLinearInTheTextThatGrows) {
  const std::size_t one = bytesAllocated(1 << 20);
  const std::size_t sixteen = bytesAllocated(1 << 24);
  EXPECT_GT(one, std::size_t{1} << 20);
  EXPECT_LE(one, 4U * (std::size_t{1} << 20));
  EXPECT_LE(sixteen, 4U * (std::size_t{1} << 24));
}

TEST(ConversionAllocation, OpensACodePageOnce) {
  const icu::UnicodeString word(u"caf\u00E9");
  for (const char* const page : {"ISO-8859-1", "windows-1252", "Shift_JIS", "GB18030"}) {
    SCOPED_TRACE(page);
    DataBuffer buffer(word, page);
    const AllocationCount count;
    for (int i = 0; i < 100; ++i) buffer.appendString(word, page);
    EXPECT_EQ(count.calls(), 0U);
  }
}

std::string words(int number) {
  std::string text;
  for (int i = 0; i < number; ++i) text += "words ";
  return text;
}

TEST(StringTokenizerAllocation, DoesNotDependOnTheNumberOfTokens) {
  StringTokenizer("known", "ISO-8859-1", nullptr).getFirstToken();
  for (const int number : {1, 100, 100'000}) {
    SCOPED_TRACE(number);
    const std::string bytes = words(number);
    const AllocationCount count;
    const StringTokenizer tokenizer(bytes.c_str(), "ISO-8859-1", nullptr);
    EXPECT_LE(count.calls(), 6U);
    EXPECT_EQ(tokenizer.countTokens(), number);
  }
}

TEST(StringTokenizerAllocation, OfUnicodeIsAtMostThree) {
  for (const int number : {1, 100, 100'000}) {
    SCOPED_TRACE(number);
    const icu::UnicodeString text = icu::UnicodeString::fromUTF8(words(number));
    const AllocationCount count;
    const StringTokenizer tokenizer(text, nullptr);
    EXPECT_LE(count.calls(), 3U);
  }
}

TEST(StringTokenizerAllocation, IsNotNeededToFetchWords) {
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
  EXPECT_EQ(count.calls(), 0U);
}

}  // namespace
}  // namespace tarvo::test
