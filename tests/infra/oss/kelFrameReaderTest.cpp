#include "infra/oss/kelFrameReader.hpp"
#include "infra/oss/kelSocket.hpp"

#include "support/kelConnection.hpp"
#include "support/kelRows.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tarvo::test {
namespace {

using oss::FrameReader;

std::string lengthWord(unsigned long long length) {
  std::string word;
  for (int shift = 24; shift >= 0; shift -= 8) word += static_cast<char>(length >> shift & 0xFF);
  return word;
}

std::string frame(const std::string& payload) {
  return lengthWord(payload.size()) + payload;
}

void append(FrameReader& reader, std::string_view bytes) {
  reader.append(bytes.data(), 0, bytes.size());
}

std::string payloadOf(const FrameReader& reader) {
  return {reader.payload(), static_cast<std::size_t>(reader.length())};
}

/// A frame as text, or the name of the state with its numbers.
std::string shown(FrameReader& reader) {
  const FrameReader::State state = reader.next();
  const std::string length = std::to_string(reader.length());
  const std::string received = std::to_string(reader.received());
  switch (state) {
    case FrameReader::FRAME:
      return payloadOf(reader);
    case FrameReader::TOO_LARGE:
      return "too large " + length;
    case FrameReader::CLOSED_BETWEEN:
      return "between " + length + " " + received;
    case FrameReader::CLOSED_INSIDE:
      return "inside " + length + " " + received;
    default:
      return "more " + length + " " + received;
  }
}

TEST(FrameReader, NeedsMoreUntilAFrameIsWhole) {
  FrameReader reader(100);
  const std::string all = frame("hello");
  EXPECT_EQ(shown(reader), "more 0 0");
  for (std::size_t i = 0; i + 1 < all.size(); ++i) {
    append(reader, all.substr(i, 1));
    EXPECT_EQ(shown(reader), "more 0 0") << i;
    EXPECT_EQ(payloadOf(reader), "") << i;
  }
  append(reader, "o");
  EXPECT_EQ(shown(reader), "hello");
  EXPECT_EQ(shown(reader), "more 0 0");
}

TEST(FrameReader, ReturnsEachOfTheFramesThatCameTogether) {
  FrameReader reader(100);
  append(reader, frame("a") + frame("") + frame("bc") + lengthWord(3));
  EXPECT_EQ(shown(reader), "a");
  EXPECT_EQ(shown(reader), "");
  EXPECT_EQ(shown(reader), "bc");
  EXPECT_EQ(shown(reader), "more 0 0");
  append(reader, "def");
  EXPECT_EQ(shown(reader), "def");
}

TEST(FrameReader, TakesTheRangeOfTheBuffer) {
  FrameReader reader(100);
  const std::string bytes = "xx" + frame("hello") + "yy";
  reader.append(bytes.data(), 2, 9);
  EXPECT_EQ(shown(reader), "hello");
  EXPECT_EQ(shown(reader), "more 0 0");
  reader.append(nullptr, 0, 0);
  EXPECT_EQ(shown(reader), "more 0 0");
}

TEST(FrameReader, AcceptsAPayloadOfTheLimitAndRefusesALongerOne) {
  FrameReader reader(5);
  append(reader, frame("hello") + frame("hello!") + frame("next"));
  EXPECT_EQ(shown(reader), "hello");
  EXPECT_EQ(shown(reader), "too large 6");
  EXPECT_STREQ(reader.payload(), "");
  EXPECT_EQ(shown(reader), "next");
}

TEST(FrameReader, ReportsAPayloadAboveTheLimitOnceAsSoonAsItsLengthIsKnown) {
  FrameReader reader(5);
  append(reader, lengthWord(7));
  EXPECT_EQ(shown(reader), "too large 7");
  EXPECT_EQ(shown(reader), "more 0 0");
  append(reader, "123");
  EXPECT_EQ(shown(reader), "more 0 0");
  append(reader, "4567" + frame("next"));
  EXPECT_EQ(shown(reader), "next");
}

TEST(FrameReader, WithALimitOfZeroAcceptsEmptyFramesOnly) {
  FrameReader reader(0);
  append(reader, frame("") + frame("x") + frame(""));
  EXPECT_EQ(shown(reader), "");
  EXPECT_EQ(shown(reader), "too large 1");
  EXPECT_EQ(shown(reader), "");
}

// A peer announces 4 GiB - 1 and sends little. With memory for what it announced, the program would end.
TEST(FrameReader, NeedsMemoryOnlyForWhatHasArrived) {
  std::vector<std::unique_ptr<FrameReader>> readers;
  for (int i = 0; i < 1000; ++i) {
    readers.push_back(std::make_unique<FrameReader>(0xFFFFFFFF));
    FrameReader& reader = *readers.back();
    append(reader, lengthWord(0xFFFFFFFF) + "x");
    EXPECT_EQ(shown(reader), "more 0 0");
    reader.close();
    EXPECT_EQ(shown(reader), "inside 4294967295 1");
  }
}

TEST(FrameReader, HoldsNothingOfAPayloadThatIsDropped) {
  FrameReader reader(10);
  append(reader, lengthWord(0xFFFFFFFF));
  EXPECT_EQ(shown(reader), "too large 4294967295");
  const std::string block(1 << 20, 'd');
  for (int i = 0; i < 100; ++i) append(reader, block);
  EXPECT_EQ(reader.takeRest(), "");
  reader.close();
  EXPECT_EQ(shown(reader), "inside 4294967295 104857600");
}

TEST(FrameReader, DistinguishesTheEndBetweenFramesFromTheEndInsideOne) {
  struct Row {
    std::string bytes;
    const char* end;
  };
  const Row rows[] = {
      {"", "between 0 0"},
      {frame("ok"), "between 0 0"},
      {frame("ok") + lengthWord(9), "inside 9 0"},
      {frame("ok") + lengthWord(9) + "abc", "inside 9 3"},
      // The missing bytes of a length word count as 0.
      {std::string("\0\0", 2), "inside 0 0"},
      {std::string("\0\0\1", 3), "inside 256 0"},
  };
  for (const Row& row : rowsOf(rows)) {
    FrameReader reader(1000);
    append(reader, row.bytes);
    reader.close();
    if (row.bytes.substr(0, 6) == frame("ok")) {
      EXPECT_EQ(shown(reader), "ok");
    }
    EXPECT_EQ(shown(reader), row.end);
    EXPECT_EQ(shown(reader), row.end) << "again";
  }
}

TEST(FrameReader, ReportsACutLengthWordAboveTheLimitAsTooLargeAndThenAsClosedInside) {
  FrameReader reader(1000);
  append(reader, "\1");
  EXPECT_EQ(shown(reader), "more 0 0");
  reader.close();
  EXPECT_EQ(shown(reader), "too large 16777216");
  EXPECT_EQ(shown(reader), "inside 16777216 0");
}

TEST(FrameReader, TakesNothingAfterTheEnd) {
  FrameReader reader(1000);
  reader.close();
  append(reader, frame("late"));
  EXPECT_EQ(shown(reader), "between 0 0");
}

TEST(FrameReader, ReturnsTheBytesAfterTheLastFrame) {
  FrameReader reader(1000);
  append(reader, frame("upgrade") + "other protocol");
  EXPECT_EQ(shown(reader), "upgrade");
  EXPECT_EQ(reader.takeRest(), "other protocol");
  EXPECT_EQ(payloadOf(reader), "");
  EXPECT_EQ(reader.takeRest(), "");
  append(reader, frame("again"));
  EXPECT_EQ(shown(reader), "again");
}

TEST(FrameReader, ReturnsThePartOfAFrameThatHasBegun) {
  FrameReader reader(1000);
  const std::string cut = frame("hello").substr(0, 7);
  append(reader, cut);
  EXPECT_EQ(shown(reader), "more 0 0");
  EXPECT_EQ(reader.takeRest(), cut);
}

TEST(FrameReader, ReadsManyFramesOfOneAppend) {
  constexpr int count = 20'000;
  std::string all;
  for (int i = 0; i < count; ++i) all += frame(std::to_string(i));
  FrameReader reader(10);
  append(reader, all);
  for (int i = 0; i < count; ++i) ASSERT_EQ(shown(reader), std::to_string(i));
  EXPECT_EQ(shown(reader), "more 0 0");
}

TEST(FrameReader, ReadsWhatWriteMessageSends) {
  Connection connection;
  const std::string large = pattern(0, 100'000);
  connection.socket.writeMessage("hello", 0, 5);
  connection.socket.writeMessage(large.data(), 0, large.size());
  connection.socket.shutdownSend();
  FrameReader reader(100'000);
  append(reader, connection.peer.receivesAll());
  reader.close();
  EXPECT_EQ(shown(reader), "hello");
  EXPECT_EQ(shown(reader), large);
  EXPECT_EQ(shown(reader), "between 0 0");
}

}  // namespace
}  // namespace tarvo::test
