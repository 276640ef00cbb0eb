#include "infra/oss/kelConverter.hpp"
#include "infra/oss/kelMessage.hpp"
#include "infra/oss/kelNLSException.hpp"
#include "infra/oss/kelUTF8Iterator.hpp"

#include "support/kelRaises.hpp"
#include "support/kelRepeatedMemory.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <new>
#include <string>

/// Texts above the largest int.
namespace tarvo::test {
namespace {

using oss::Converter;
using oss::Message;
using oss::NLSException;
using oss::UTF8Iterator;

constexpr int largestInt = std::numeric_limits<int>::max();

TEST(TextAboveTheLargestInt, IsHandledByNone) {
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
  for (const char* const codePage : {"UTF-8", "latin1", "Shift_JIS", static_cast<const char*>(nullptr)}) {
    EXPECT_THROW(message.addArgument(text, codePage), std::bad_alloc);
  }
  EXPECT_EQ(message.getMessageArgsCount(), 0);
  EXPECT_THROW(message.setFileName(text), std::bad_alloc);
  EXPECT_TRUE(message.getFileName().isEmpty());
}

}  // namespace
}  // namespace tarvo::test
