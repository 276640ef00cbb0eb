#include "infra/oss/kelDataBuffer.hpp"
#include "infra/oss/kelNLSException.hpp"
#include "infra/oss/kelStringTokenizer.hpp"
#include "infra/oss/kelUTF8Iterator.hpp"

#include "support/kelAllocationsSeam.hpp"
#include "support/kelRows.hpp"

#include <gtest/gtest.h>
#include <unicode/unistr.h>

#include <array>
#include <functional>
#include <new>
#include <optional>
#include <string>
#include <utility>

namespace tarvo::test {
namespace {

using oss::DataBuffer;
using oss::NLSException;
using oss::StringTokenizer;
using oss::UTF8Iterator;

TEST(DataBufferWithoutMemory, IsUnchangedIfItCannotGrow) {
  const std::string longText(5000, 'x');
  const icu::UnicodeString longUnicode = icu::UnicodeString::fromUTF8(longText);
  const DataBuffer longBuffer(longText.c_str());
  const auto rows = std::to_array<std::pair<const char*, std::function<void(DataBuffer&)>>>({
      {"append", [&](DataBuffer& b) { b.appendString(longText.c_str()); }},
      {"insert", [&](DataBuffer& b) { b.insertString(1, longText.c_str()); }},
      {"append a buffer", [&](DataBuffer& b) { b.appendString(longBuffer); }},
      {"append Unicode", [&](DataBuffer& b) { b.appendString(longUnicode, "UTF-8"); }},
      {"append a literal", [&](DataBuffer& b) { b.appendBinary(longText.data(), 5000, false); }},
      {"append what fits on the stack, but not in the buffer",
       [&](DataBuffer& b) { b.appendBinary(longText.data(), 2046, false); }},
      {"append with a count far after the text's end",
       [&](DataBuffer& b) { b.appendString(longText.c_str(), 200'000); }},
  });
  for (const auto& [what, change] : rowsOf(rows)) {
    ROW(what);
    DataBuffer buffer("0123456789");
    {
      const AllocationLimit limit(4000);
      change(buffer);
    }
    EXPECT_EQ(buffer.length(), 10);
    EXPECT_EQ(buffer.capacity(), 4096);
    EXPECT_EQ(std::string(buffer.getString()), "0123456789");
    change(buffer);
    EXPECT_GT(buffer.length(), 4096);
  }
}

TEST(DataBufferWithoutMemory, IsUnchangedIfAPieceOfItselfCannotBeCopied) {
  DataBuffer buffer(std::string(5000, 'x').c_str());
  const int capacity = buffer.capacity();
  {
    const AllocationLimit limit(4000);
    buffer.insertString(7, buffer);
    buffer.insertString(7, buffer.getString(), 4500);
    buffer.appendBinary(buffer.getString(), 4500, false);
  }
  EXPECT_EQ(std::string(buffer.getString()), std::string(5000, 'x'));
  EXPECT_EQ(buffer.length(), 5000);
  EXPECT_EQ(buffer.capacity(), capacity);
}

// The buffer first requests more memory than needed, for later growth. If that fails, it requests the
// required size.
TEST(DataBufferWithoutMemory, SucceedsWhenOnlyTheRequiredSizeCanBeAllocated) {
  std::string text(100'000, 'a');
  text.reserve(140'000);
  DataBuffer buffer(text.c_str());
  const AllocationLimit limit(150'000);
  for (int i = 0; i < 4; ++i) {
    ROW("i", i);
    const std::string more(5000, static_cast<char>('b' + i));
    buffer.appendString(more.c_str());
    text += more;
    EXPECT_EQ(buffer.capacity(), static_cast<int>(text.size()) + 4096);
    EXPECT_EQ(std::string(buffer.getString()), text);
  }
}

TEST(DataBufferWithoutMemory, ThrowsInItsConstructor) {
  const DataBuffer large(100'000);
  const AllocationLimit limit(5000);
  EXPECT_THROW(DataBuffer(5000), std::bad_alloc);
  EXPECT_THROW(DataBuffer copy(large), std::bad_alloc);
  EXPECT_NO_THROW(DataBuffer(4096));
}

TEST(StringTokenizerWithoutMemory, ThrowsInItsConstructor) {
  const icu::UnicodeString text(1000, u'x', 1000);
  const AllocationLimit limit(1000);
  EXPECT_THROW(StringTokenizer(text, ","), std::bad_alloc);
}

/// Expects an iterator that has no text, which differs from an empty text. No call raises an error.
void expectWithoutText(UTF8Iterator& iterator) {
  EXPECT_TRUE(iterator.isEmpty());
  EXPECT_FALSE(iterator.hasMoreChars());
  EXPECT_EQ(iterator.getString(), nullptr);
  EXPECT_EQ(iterator.getFirstChar(), nullptr);
  EXPECT_EQ(iterator.getNextChar(), nullptr);
  EXPECT_EQ(iterator.length(), 0);
  EXPECT_EQ(iterator.numChars(), 0);
}

TEST(UTF8IteratorWithoutMemory, HasNoText) {
  const std::string text(5000, 'x');
  const icu::UnicodeString unicode = icu::UnicodeString::fromUTF8(text);
  const oss::UTF8String bytes(text.c_str());
  static_cast<void>(UTF8Iterator(icu::UnicodeString(u"x")));  // opens the code page's converter
  const AllocationLimit limit(4000);
  UTF8Iterator ofText(text.c_str());
  UTF8Iterator ofUnicode(unicode);
  UTF8Iterator ofBytes(bytes);
  expectWithoutText(ofText);
  expectWithoutText(ofUnicode);
  expectWithoutText(ofBytes);
}

TEST(UTF8IteratorWithoutMemory, HasNoTextIfTheConvertedTextCannotBeCopied) {
  const icu::UnicodeString text(6000, u'x', 6000);
  const AllocationLimit limit(6002);  // the converted text takes 6001 bytes, its copy more than 6002
  UTF8Iterator iterator(text);
  expectWithoutText(iterator);
}

TEST(UTF8IteratorWithoutMemory, CanTakeATextLater) {
  const std::string text(5000, 'x');
  std::optional<UTF8Iterator> iterator;
  {
    const AllocationLimit limit(4000);
    iterator.emplace(text.c_str());
    EXPECT_FALSE(iterator->takeText(text.c_str()));
  }
  expectWithoutText(*iterator);
  EXPECT_THROW(iterator->takeText("\xFF"), NLSException);
  expectWithoutText(*iterator);
  EXPECT_TRUE(iterator->takeText("ab"));
  EXPECT_EQ(std::string(iterator->getString(), 4), std::string("ab\0\0", 4));
  EXPECT_EQ(iterator->numChars(), 2);
  EXPECT_STREQ(iterator->getNextChar(), "a");
  EXPECT_FALSE(iterator->takeText("c"));
}

}  // namespace
}  // namespace tarvo::test
