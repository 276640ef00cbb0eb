#include "infra/oss/kelFrameWriter.hpp"
#include "infra/oss/kelSocket.hpp"

#include "support/kelConnection.hpp"
#include "support/kelRows.hpp"

#include <gtest/gtest.h>

#include <string>
#include <thread>

namespace tarvo::test {
namespace {

using oss::FrameWriter;

std::string waiting(const FrameWriter& writer) {
  return {writer.bytes(), static_cast<std::size_t>(writer.length())};
}

TEST(FrameWriter, QueuesFrames) {
  FrameWriter writer(100);
  EXPECT_EQ(writer.length(), 0U);
  EXPECT_TRUE(writer.add("xhello", 1, 5));
  EXPECT_TRUE(writer.add(nullptr, 0, 0));
  EXPECT_EQ(waiting(writer), std::string("\0\0\0\5hello\0\0\0\0", 13));
}

TEST(FrameWriter, RemovesWhatWasSent) {
  FrameWriter writer(100);
  writer.add("hello", 0, 5);
  writer.remove(6);
  EXPECT_EQ(waiting(writer), "llo");
  writer.add("x", 0, 1);
  EXPECT_EQ(waiting(writer), std::string("llo\0\0\0\1x", 8));
  writer.remove(0);
  EXPECT_EQ(writer.length(), 8U);
  writer.remove(1000);
  EXPECT_EQ(waiting(writer), "");
  EXPECT_TRUE(writer.add("y", 0, 1));
  EXPECT_EQ(waiting(writer), std::string("\0\0\0\1y", 5));
}

TEST(FrameWriter, RefusesAFrameAboveTheLimitAndQueuesNothingOfIt) {
  FrameWriter writer(9);
  EXPECT_FALSE(writer.add("hello!", 0, 6));
  EXPECT_EQ(writer.length(), 0U);
  EXPECT_TRUE(writer.add("hello", 0, 5));
  EXPECT_FALSE(writer.add("", 0, 0));
  EXPECT_EQ(writer.length(), 9U);
  writer.remove(3);
  EXPECT_FALSE(writer.add("", 0, 0));
  writer.remove(1);
  EXPECT_TRUE(writer.add("", 0, 0));
}

// The range need not exist: it is refused by its length.
TEST(FrameWriter, RefusesALengthThatNoFrameCanHave) {
  FrameWriter writer(~0ULL);
  for (const unsigned long long length : rowsOf({0x100000000ULL, ~0ULL, ~0ULL - 3}))
    EXPECT_FALSE(writer.add("x", 0, length));
  FrameWriter none(3);
  EXPECT_FALSE(none.add("", 0, 0));
}

TEST(FrameWriter, SendsInPiecesWhatReadMessageReads) {
  Connection connection;
  const std::string large = pattern(0, 1 << 22);
  FrameWriter writer(1 << 23);
  ASSERT_TRUE(writer.add("hello", 0, 5));
  ASSERT_TRUE(writer.add(large.data(), 0, large.size()));
  std::string got;
  std::thread reading([&] { got = connection.peer.receives(4 + 5 + 4 + large.size()); });
  while (writer.length() > 0) writer.remove(connection.socket.writeOnce(writer.bytes(), 0, writer.length()));
  reading.join();
  EXPECT_TRUE(got == std::string("\0\0\0\5hello\0\x40\0\0", 13) + large);
}

}  // namespace
}  // namespace tarvo::test
