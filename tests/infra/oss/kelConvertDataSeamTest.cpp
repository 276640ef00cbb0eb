#include "infra/oss/kelConverter.hpp"
#include "infra/oss/kelNLSException.hpp"

#include "oss/kelConvertData.hpp"
#include "support/kelDefaultCodePageSeam.hpp"
#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <string>

/// Tests of convertData without a terminator, which no public overload uses.
namespace tarvo::test {
namespace {

using oss::ByteConversion;
using oss::convertData;
using oss::Converter;
using oss::NLSException;
using namespace std::string_literals;

constexpr int largestInt = std::numeric_limits<int>::max();

ByteConversion unterminated(const char* from, const std::string& data, const char* to) {
  return {.destination = nullptr,
          .destinationLength = 0,
          .fromCodePage = from,
          .data = data.data(),
          .length = static_cast<std::int64_t>(data.size()),
          .toCodePage = to,
          .text = false,
          .terminating = false};
}

ByteConversion into(std::string& room, int length, ByteConversion conversion) {
  conversion.destination = room.data();
  conversion.destinationLength = length;
  return conversion;
}

TEST(ConvertDataUnterminated, CountsNoTerminator) {
  EXPECT_EQ(convertData(unterminated("UTF-8", "abc", "UTF-8")), 3);
  EXPECT_EQ(convertData(unterminated("UTF-8", "\xC3\xBC!", "ISO-8859-1")), 2);
  EXPECT_EQ(convertData(unterminated("UTF-8", "", "ISO-8859-1")), 0);
}

// The capacity is compared with the length without the terminator, but the terminator is stored.
TEST(ConvertDataUnterminated, StoresATerminatorAfterCopiedBytes) {
  const std::string data = "abc";
  std::string room = "########";
  EXPECT_EQ(convertData(into(room, 3, unterminated("UTF-8", data, "UTF-8"))), 3);
  EXPECT_EQ(room, "abc\0####"s);
}

TEST(ConvertDataUnterminated, RefusesACopyWhoseLengthWithoutTerminatorExceedsTheCapacity) {
  const std::string data = "abc";
  std::string room = "########";
  EXPECT_THAT([&] { convertData(into(room, 2, unterminated("UTF-8", data, "UTF-8"))); },
              Raises<NLSException>("ERR_BUFFER_SIZE_TOO_SMALL", 2).from("kelConverter.cpp"));
  EXPECT_EQ(room, "########");
}

TEST(ConvertDataUnterminated, StoresNoTerminatorIfTheConvertedTextFillsTheCapacity) {
  const std::string data = "\xC3\xBC!";
  std::string room = "####";
  EXPECT_EQ(convertData(into(room, 2, unterminated("UTF-8", data, "ISO-8859-1"))), 2);
  EXPECT_EQ(room, "\xFC!##");
  EXPECT_EQ(convertData(into(room, 3, unterminated("UTF-8", data, "ISO-8859-1"))), 2);
  EXPECT_EQ(room, "\xFC!\0#"s);
  EXPECT_THAT([&] { convertData(into(room, 1, unterminated("UTF-8", data, "ISO-8859-1"))); },
              Raises<NLSException>("ERR_BUFFER_SIZE_TOO_SMALL", 1).from("kelConverter.cpp"));
}

TEST(ConvertDataUnterminated, WritesNothingForEmptyData) {
  std::string room = "####";
  EXPECT_EQ(convertData(into(room, 4, unterminated("UTF-8", "", "UTF-8"))), 0);
  EXPECT_EQ(convertData(into(room, 4, unterminated("UTF-8", "", "ISO-8859-1"))), 0);
  EXPECT_EQ(room, "####");
}

TEST(ConvertDataUnterminated, DebugOutputPrintsTextThatFillsItsBuffer) {
  const std::string data = "\xFC";
  ByteConversion conversion = unterminated("ISO-8859-1", data, "UTF-8");
  conversion.text = true;
  const std::unique_ptr<char[]> room(new char[2]);  // the address sanitizer detects a read after it
  conversion.destination = room.get();
  conversion.destinationLength = 2;
  convertData(conversion);
  Converter::setDebug(true);
  testing::internal::CaptureStdout();
  EXPECT_EQ(convertData(conversion), 2);
  const std::string lines = testing::internal::GetCapturedStdout();
  Converter::setDebug(false);
  EXPECT_TRUE(
      lines.ends_with("size: 2 destLength: 2 toCodePage: UTF-8.\nDEBUG: converted data: [\xC3\xBC]\n"))
      << lines;
}

// --- lengths above the largest int; the data is not read

ByteConversion ofLength(std::int64_t length, bool terminating, const char* to) {
  ByteConversion conversion = unterminated("UTF-8", "x", to);
  conversion.length = length;
  conversion.terminating = terminating;
  return conversion;
}

TEST(ConvertData, ReturnsSizesUpToTheLargestInt) {
  EXPECT_EQ(convertData(ofLength(largestInt, false, "UTF-8")), largestInt);
  EXPECT_EQ(convertData(ofLength(largestInt - 1, true, "UTF-8")), largestInt);
}

TEST(ConvertData, RaisesForSizesAboveTheLargestInt) {
  const auto noSize = [](const char* to) {
    return Raises<NLSException>("ERR_CONV_CONVERSION_ERROR", to, "UTF-8").from("kelConverter.cpp");
  };
  const std::int64_t more = std::int64_t{largestInt} + 1;
  for (const std::int64_t length :
       rowsOf({more, 2 * more + 3, std::numeric_limits<std::int64_t>::max() - 1})) {
    for (const bool terminating : rowsOf({false, true})) {
      EXPECT_THAT([&] { convertData(ofLength(length, terminating, "UTF-8")); }, noSize("UTF-8"));
      EXPECT_THAT([&] { convertData(ofLength(length, terminating, "ISO-8859-1")); }, noSize("ISO-8859-1"));
      std::string room = "##";
      EXPECT_THAT([&] { convertData(into(room, largestInt, ofLength(length, terminating, "UTF-8"))); },
                  Raises<NLSException>("ERR_BUFFER_SIZE_TOO_SMALL", largestInt).from("kelConverter.cpp"));
      EXPECT_EQ(room, "##");
    }
  }
}

// --- the name of the default converter

TEST(ConvertData, UsesTheDefaultConverterThatIsSetAtTheTimeOfTheCall) {
  const DefaultCodePage other("IBM037");
  const auto error = [](const char* to, const char* from) {
    return Raises<NLSException>("ERR_CONV_CONVERSION_ERROR", to, from).from("kelConverter.cpp");
  };
  EXPECT_THAT([] { Converter::convert(nullptr, 0, nullptr, "a", "no-such-page"); },
              error("no-such-page", "IBM037"));
  EXPECT_THAT([] { Converter::convert(nullptr, 0, "no-such-page", "a", ""); },
              error("IBM037", "no-such-page"));
  EXPECT_THAT([] { Converter::convert(nullptr, 0, "no-such-page", u"a"); }, error("no-such-page", "IBM037"));
}

}  // namespace
}  // namespace tarvo::test
