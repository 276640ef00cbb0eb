#include "infra/oss/kelConverter.hpp"
#include "infra/oss/kelMessage.hpp"
#include "infra/oss/kelNLSException.hpp"
#include "infra/oss/kelUTF8Iterator.hpp"

#include "support/kelAddresses64.hpp"
#include "support/kelRaises.hpp"
#include "support/kelRepeatedMemory.hpp"
#include "support/kelRows.hpp"

#include <gtest/gtest.h>
#include <unicode/ucnv.h>
#include <unicode/unistr.h>

#include <array>
#include <cstdint>
#include <limits>
#include <new>
#include <string>

/// Texts whose length does not fit into an int.
namespace tarvo::test {
namespace {

using oss::Converter;
using oss::Message;
using oss::NLSException;
using oss::UTF8Iterator;

constexpr int largestInt = std::numeric_limits<int>::max();

TEST(TextAboveTheLargestInt, IsRefusedByEachClass) {
  if (!longRangesFit) GTEST_SKIP() << noLongRanges;
  constexpr std::size_t length = std::size_t{1} << 31;
  const RepeatedMemory memory(length / RepeatedMemory::pieceSize, 'x');
  const char* const text = memory.get();
  EXPECT_THAT([&] { Converter::convert(nullptr, 0, "UTF-8", text, "UTF-8"); },
              Raises<NLSException>("ERR_CONV_CONVERSION_ERROR", "UTF-8", "UTF-8").from("kelConverter.cpp"));
  EXPECT_THAT([&] { Converter::convert(nullptr, 0, "UTF-8", text, "latin1"); },
              Raises<NLSException>("ERR_CONV_CONVERSION_ERROR", "latin1", "UTF-8").from("kelConverter.cpp"));
  char room = '#';
  EXPECT_THAT([&] { Converter::convert(&room, largestInt, "UTF-8", text, "UTF-8"); },
              Raises<NLSException>("ERR_BUFFER_SIZE_TOO_SMALL", largestInt).from("kelConverter.cpp"));
  EXPECT_EQ(room, '#');
  const UTF8Iterator iterator(text);
  EXPECT_TRUE(iterator.isEmpty());
  Message message;
  for (const char* const codePage :
       rowsOf({"UTF-8", "latin1", "Shift_JIS", static_cast<const char*>(nullptr)})) {
    EXPECT_THROW(message.addArgument(text, codePage), std::bad_alloc);
  }
  EXPECT_EQ(message.getMessageArgsCount(), 0);
  EXPECT_THROW(message.setFileName(text), std::bad_alloc);
  EXPECT_TRUE(message.getFileName().isEmpty());
}

struct Pair {
  const char* from;
  const char* to;
};

/// Expects the error for a size query and for a conversion into a buffer, which the library implements
/// separately.
void expectNoSize(const RepeatedMemory& memory, int length, const Pair& pair) {
  const char* const fromName = pair.from == nullptr ? ucnv_getDefaultName() : pair.from;
  std::array<char, 8> room{};
  for (char* const destination : rowsOf({static_cast<char*>(nullptr), room.data()})) {
    const int capacity = destination == nullptr ? 0 : static_cast<int>(room.size());
    EXPECT_THAT([&] { Converter::convert(destination, capacity, pair.from, memory.get(), length, pair.to); },
                Raises<NLSException>("ERR_CONV_CONVERSION_ERROR", pair.to, fromName).from("kelConverter.cpp"))
        << fromName << " to " << pair.to << ", " << length << " bytes, "
        << (destination == nullptr ? "size only" : "into 8 bytes");
  }
}

// The library detects that the data or the result is too long before it allocates memory.
TEST(TextOfTheLargestInt, RaisesAConversionErrorInsteadOfBadAlloc) {
  if (!longRangesFit) GTEST_SKIP() << noLongRanges;
  const RepeatedMemory memory((std::size_t{1} << 31) / RepeatedMemory::pieceSize, 'x');
  const Pair pairs[] = {{"ISO-8859-1", "UTF-16LE"}, {"ISO-8859-1", "windows-1252"}, {"UTF-8", "UTF-16LE"},
                        {"Shift_JIS", "UTF-8"},     {nullptr, "UTF-16LE"},          {"UTF-16LE", "UTF-8"}};
  for (const Pair& pair : rowsOf(pairs)) {
    for (const int length : rowsOf({largestInt, largestInt - 9})) expectNoSize(memory, length, pair);
  }
  for (const char* const utf16 : rowsOf({"UTF-16LE", "UTF-16BE"})) {
    for (const int length : rowsOf({largestInt - 10, 1 << 30}))
      expectNoSize(memory, length, {"ISO-8859-1", utf16});
    EXPECT_EQ(Converter::convert(nullptr, 0, "ISO-8859-1", memory.get(), (1 << 30) - 1, utf16), largestInt)
        << utf16;
  }
}

TEST(TextWhoseUtf8IsAboveTheLargestInt, IsRefusedByUTF8Iterator) {
  constexpr std::int32_t length = largestInt / 3 + 1;  // each character takes three bytes in UTF-8
  constexpr std::size_t bytes = length * sizeof(char16_t);
  const RepeatedMemory memory(bytes / RepeatedMemory::pieceSize + 1, '\x65');
  const icu::UnicodeString text(false, reinterpret_cast<const char16_t*>(memory.get()), length);
  EXPECT_THAT(
      [&] { UTF8Iterator{text}; },
      Raises<NLSException>("ERR_CONV_CONVERSION_ERROR", "UTF-16", "UTF-8").from("kelUTF8Iterator.cpp"));
}

}  // namespace
}  // namespace tarvo::test
