#include "infra/oss/kelSocket.hpp"
#include "infra/oss/kelSocketException.hpp"

#include "support/kelAddresses64.hpp"
#include "support/kelFakeWinsockSeam.hpp"
#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"
#include "support/kelSocketFixtureSeam.hpp"
#include "support/kelTraceRecorder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tarvo::test {
namespace {

using oss::Socket;
using oss::SocketException;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* host = "peer.example";
constexpr unsigned int port = 4711;
constexpr const char* file = "kelSocket.cpp";

char scratch[64];

// --- reading and writing

class SocketData : public SocketFixture {
 protected:
  SocketData() = default;
  void SetUp() override { connected(socket_.emplace()); }
  void TearDown() override {
    socket_.reset();
    SocketFixture::TearDown();
  }

  Socket& socket() { return *socket_; }

  /// Makes each receive return the next piece. After the last piece the peer has closed.
  void receives(std::vector<std::string> pieces) {
    fake.on.recv = [pieces = std::move(pieces), next = std::size_t{0}](auto, char* bytes,
                                                                       int length) mutable {
      if (next == pieces.size()) return 0;
      std::string& piece = pieces[next];
      const std::size_t taken = std::min(piece.size(), static_cast<std::size_t>(length));
      std::memcpy(bytes, piece.data(), taken);
      piece.erase(0, taken);
      if (piece.empty()) ++next;
      return static_cast<int>(taken);
    };
  }
  /// Makes each send accept at most the next count, and after the last count everything. Stores the bytes
  /// sent.
  void sendsAtMost(std::vector<int> counts) {
    fake.on.send = [this, counts = std::move(counts), next = std::size_t{0}](auto, const char* bytes,
                                                                             int length) mutable {
      const int taken = next < counts.size() ? std::min(counts[next++], length) : length;
      sent.append(bytes, static_cast<std::size_t>(taken));
      return taken;
    };
  }
  /// Makes receives and sends succeed without transferring bytes; only the lengths are recorded.
  void onlyCounts() {
    fake.on.recv = [this](auto, auto, int length) {
      counted += length;
      return length;
    };
    fake.on.send = [this](auto, auto, int length) {
      counted += length;
      return length;
    };
  }

  std::string sent;
  long long counted = 0;

 private:
  std::optional<Socket> socket_;
};

std::string frame(const std::string& payload) {
  const std::size_t n = payload.size();
  std::string bytes;
  for (const int shift : {24, 16, 8, 0}) bytes += static_cast<char>((n >> shift) & 0xFF);
  return bytes + payload;
}

std::string lengthWord(std::uint32_t length) {
  std::string bytes;
  for (const int shift : {24, 16, 8, 0}) bytes += static_cast<char>((length >> shift) & 0xFF);
  return bytes;
}

TEST_F(SocketData, ReadOnceIsOneReceive) {
  receives({"abc", "def"});
  char buffer[] = "----------";
  EXPECT_EQ(socket().readOnce(buffer, 2, 8), 3U);
  EXPECT_STREQ(buffer, "--abc-----");
  EXPECT_EQ(socket().readOnce(buffer, 0, 2), 2U);
  EXPECT_STREQ(buffer, "deabc-----");
  EXPECT_EQ(socket().readOnce(buffer, 0, 2), 1U);
  EXPECT_EQ(socket().readOnce(buffer, 0, 2), 0U) << "the peer has closed";
  EXPECT_THAT(fake.calls(), ElementsAre("recv(#1, 8)", "recv(#1, 2)", "recv(#1, 2)", "recv(#1, 2)"));
}

TEST_F(SocketData, ReadOnceOfLengthZeroCallsTheSystem) {
  receives({"abc"});
  char buffer[4];
  EXPECT_EQ(socket().readOnce(buffer, 0, 0), 0U);
  EXPECT_THAT(fake.calls(), ElementsAre("recv(#1, 0)"));
}

TEST_F(SocketData, ReadContinuesUntilAllBytesHaveArrived) {
  receives({"ab", "c", "defg"});
  char buffer[] = "----------";
  EXPECT_EQ(socket().read(buffer, 3, 6), 6U);
  EXPECT_STREQ(buffer, "---abcdef-");
  EXPECT_THAT(fake.calls(), ElementsAre("recv(#1, 6)", "recv(#1, 4)", "recv(#1, 3)"));
}

TEST_F(SocketData, ReadReturnsTheShortCountWhenThePeerClosesEarly) {
  receives({std::string(40, 'x')});
  char buffer[100] = {};
  EXPECT_EQ(socket().read(buffer, 0, 100), 40U);
  EXPECT_THAT(fake.calls(), ElementsAre("recv(#1, 100)", "recv(#1, 60)"));
}

TEST_F(SocketData, ReadAndWriteOfLengthZeroMakeNoSystemCall) {
  char buffer[1];
  EXPECT_EQ(socket().read(buffer, 0, 0), 0U);
  socket().write(buffer, 0, 0);
  EXPECT_THAT(fake.calls(), IsEmpty());
}

TEST_F(SocketData, ReadThatFailsKeepsTheBytesReceivedBefore) {
  receives({"abc"});
  fake.failing("recv", 2).with(10060);
  char buffer[] = "----------";
  EXPECT_THAT([&] { socket().read(buffer, 1, 8); }, RaisesMapped(10060, host, port).from(file));
  EXPECT_STREQ(buffer, "-abc------");
}

TEST_F(SocketData, WriteContinuesPartialSends) {
  sendsAtMost({1, 3, 2});
  socket().write("0123456789", 2, 8);
  EXPECT_EQ(sent, "23456789");
  EXPECT_THAT(fake.calls(), ElementsAre("send(#1, 8)", "send(#1, 7)", "send(#1, 4)", "send(#1, 2)"));
}

TEST_F(SocketData, CountsAboveTheLargestIntAreCappedCallByCall) {
  if (!longRangesFit) GTEST_SKIP() << noLongRanges;
  struct Row {
    unsigned long long length;
    std::vector<int> calls;
  };
  const std::vector<Row> rows = {
      {2147483646ULL, {2147483646}},
      {2147483647ULL, {2147483647}},
      {2147483648ULL, {2147483647, 1}},
      {4294967296ULL, {2147483647, 2147483647, 2}},
      {5368709120ULL, {2147483647, 2147483647, 1073741826}},
  };
  onlyCounts();
  char buffer[1] = {};
  for (const Row& row : rowsOf(rows)) {
    for (const bool reading : rowsOf({true, false})) {
      ROW(row.length, (reading ? " read" : " written"));
      fake.forget();
      counted = 0;
      if (reading) {
        EXPECT_EQ(socket().read(buffer, 0, row.length), row.length);
      } else {
        socket().write(buffer, 0, row.length);
      }
      std::vector<std::string> expected;
      expected.reserve(row.calls.size());
      for (const int call : row.calls)
        expected.push_back((reading ? "recv(#1, " : "send(#1, ") + std::to_string(call) + ")");
      EXPECT_EQ(fake.calls(), expected);
      EXPECT_EQ(counted, static_cast<long long>(row.length));
    }
  }
}

TEST_F(SocketData, ReadOnceAboveTheLargestIntIsOneCappedReceive) {
  if (!longRangesFit) GTEST_SKIP() << noLongRanges;
  onlyCounts();
  char buffer[1] = {};
  EXPECT_EQ(socket().readOnce(buffer, 0, 4294967296ULL), 2147483647U);
  EXPECT_EQ(socket().readOnce(buffer, 0, 2147483648ULL), 2147483647U);
  EXPECT_EQ(fake.countOf("recv"), 2);
}

TEST_F(SocketData, RangesThatWrapOrHaveNoBufferAreRefusedBeforeAnyCall) {
  char buffer[8] = {};
  struct Row {
    char* start;
    unsigned long long offset;
    unsigned long long length;
  };
  for (const Row& row : rowsOf({Row{nullptr, 0, 1}, Row{nullptr, 8, 8}, Row{buffer, ULLONG_MAX, 2},
                                Row{buffer, 2, ULLONG_MAX}, Row{buffer, 1ULL << 63U, 1ULL << 63U}})) {
    ROW(row.offset, row.length);
    EXPECT_THAT([&] { socket().readOnce(row.start, row.offset, row.length); },
                RaisesMapped(10014, host, port).from(file));
    EXPECT_THAT([&] { socket().read(row.start, row.offset, row.length); },
                RaisesMapped(10014, host, port).from(file));
    EXPECT_THAT([&] { socket().write(row.start, row.offset, row.length); },
                RaisesMapped(10014, host, port).from(file));
    EXPECT_THAT([&] { socket().writeMessage(row.start, row.offset, row.length); },
                RaisesMapped(10014, host, port).from(file));
  }
  EXPECT_THAT(fake.calls(), IsEmpty());
}

// --- frames

class SocketFrame : public SocketData {};

TEST_F(SocketFrame, WithASmallPayloadIsSentInOneCall) {
  for (const std::size_t length : rowsOf({0U, 1U, 2U, 3U, 100U, 1024U})) {
    sent.clear();
    fake.forget();
    sendsAtMost({});
    const std::string payload(length, 'p');
    socket().writeMessage(("..." + payload).data(), 3, length);
    EXPECT_EQ(sent, frame(payload));
    EXPECT_THAT(fake.calls(), ElementsAre("send(#1, " + std::to_string(length + 4) + ")"));
  }
}

TEST_F(SocketFrame, ReportsTwoWritesInsideItsOwnHooksWhateverTheSends) {
  sendsAtMost({});
  const std::string large(1 << 20, 'L');
  for (const std::size_t length : rowsOf({std::size_t{0}, std::size_t{5}, large.size()})) {
    TraceRecorder trace(0x20000);
    socket().writeMessage(large.data(), 0, length);
    EXPECT_THAT(trace.calls(), ElementsAre("traceEntry 61D", "traceEntry 61B", "traceExit 61B 0",
                                           "traceEntry 61B", "traceExit 61B 0", "traceExit 61D 0"))
        << length;
  }
}

TEST_F(SocketFrame, SurvivesEverySplitOfItsSends) {
  const std::string payload = "payload";
  for (int first = 1; first <= 11; ++first) {
    ROW("first", first);
    for (int second = 1; second <= 11; ++second) {
      ROW("second", second);
      sent.clear();
      sendsAtMost({first, second, 1, 1});
      socket().writeMessage(payload.data(), 0, payload.size());
      EXPECT_EQ(sent, frame(payload)) << first << " " << second;
    }
  }
}

TEST_F(SocketFrame, ConsistsOfTheLengthAndThePayloadForEverySize) {
  for (std::size_t length = 0; length < 70000; length = length * 2 + 1) {
    ROW("length", length);
    for (const std::size_t more : rowsOf({0U, 1U, 2U, 3U, 4U, 5U})) {
      sent.clear();
      sendsAtMost({});
      std::string payload;
      while (payload.size() < length + more) payload += static_cast<char>(payload.size() * 7);
      socket().writeMessage(payload.data(), 0, payload.size());
      ASSERT_EQ(sent, frame(payload)) << payload.size();
    }
  }
}

TEST_F(SocketFrame, LengthWordTakesTheLow32Bits) {
  if (!longRangesFit) GTEST_SKIP() << noLongRanges;
  struct Row {
    unsigned long long length;
    std::uint32_t word;
  };
  // The fake only counts the sent bytes and does not read them, so the text may be shorter than the frame.
  const std::string beginning(65536, 'p');
  for (const Row& row : rowsOf({Row{0x7FFFFFFFULL, 0x7FFFFFFFU}, Row{0x80000000ULL, 0x80000000U},
                                Row{0xFFFFFFFFULL, 0xFFFFFFFFU}, Row{0x100000005ULL, 5U}})) {
    ROW("length", row.length);
    std::string start;
    counted = 0;
    fake.on.send = [&](auto, const char* bytes, int length) {
      if (start.size() < 4) start.append(bytes, static_cast<std::size_t>(std::min(length, 4)));
      counted += length;
      return length;
    };
    socket().writeMessage(beginning.data(), 0, row.length);
    EXPECT_EQ(start, lengthWord(row.word));
    EXPECT_EQ(counted, static_cast<long long>(row.length) + 4) << "the payload is sent whole";
  }
}

TEST_F(SocketFrame, RaisesAndSendsNoMoreIfASendFails) {
  for (int nth = 1; nth <= 4; ++nth) {
    ROW("nth", nth);
    fake.forget();
    sendsAtMost({2, 2, 2});
    fake.failing("send", nth).with(10054);
    EXPECT_THAT([&] { socket().writeMessage("payload", 0, 7); }, RaisesMapped(10054, host, port).from(file));
    EXPECT_EQ(fake.countOf("send"), nth);
  }
}

TEST_F(SocketFrame, IsReadAsItsLengthAndThenItsPayload) {
  receives({frame("hello")});
  char buffer[] = "----------";
  unsigned long long length = 99;
  TraceRecorder trace(0x20000);
  EXPECT_EQ(socket().readMessage(buffer, &length, 2, 8, false), 5U);
  EXPECT_STREQ(buffer, "--hello---");
  EXPECT_EQ(length, 5U);
  EXPECT_THAT(fake.calls(), ElementsAre("recv(#1, 4)", "recv(#1, 5)"));
  EXPECT_THAT(trace.calls(), ElementsAre("traceEntry 61C", "traceEntry 61A", "traceExit 61A 0",
                                         "traceEntry 61A", "traceExit 61A 0", "traceExit 61C 0"));
}

TEST_F(SocketFrame, IsReadByteByByteWithOrWithoutALengthToFill) {
  std::vector<std::string> pieces;
  for (const char byte : frame("hello")) pieces.emplace_back(1, byte);
  for (const bool asked : rowsOf({true, false})) {
    receives(pieces);
    char buffer[8] = {};
    unsigned long long length = 99;
    EXPECT_EQ(socket().readMessage(buffer, asked ? &length : nullptr, 0, 5, true), 5U);
    EXPECT_STREQ(buffer, "hello");
    EXPECT_EQ(length, asked ? 5U : 99U);
  }
}

TEST_F(SocketFrame, WithoutPayloadFitsIntoEveryCapacity) {
  receives({frame("")});
  char buffer[1] = {'x'};
  unsigned long long length = 99;
  EXPECT_EQ(socket().readMessage(buffer, &length, 0, 0, true), 0U);
  EXPECT_EQ(length, 0U);
  EXPECT_EQ(buffer[0], 'x');
}

TEST_F(SocketFrame, RaisesClosedIfThePeerClosesBeforeItsFirstByte) {
  receives({});
  unsigned long long length = 99;
  EXPECT_THAT([&] { socket().readMessage(scratch, &length, 0, 10, true); },
              Raises<SocketException>("ERR_SOCKET_CLOSED", host, port).from(file));
  EXPECT_EQ(length, 99U) << "nothing was learned";
}

TEST_F(SocketFrame, WithATruncatedLengthCountsTheMissingBytesAsZero) {
  struct Row {
    std::string bytes;
    std::uint32_t length;
  };
  for (const Row& row : rowsOf({Row{std::string("\x00", 1), 0U}, Row{std::string("\x01", 1), 0x01000000U},
                                Row{std::string("\x00\x02", 2), 0x00020000U},
                                Row{std::string("\xFF\x00\x03", 3), 0xFF000300U}})) {
    ROW("length", row.length);
    receives({row.bytes});
    unsigned long long length = 99;
    const auto reading = [&] { socket().readMessage(scratch, &length, 0, 1, false); };
    if (row.length == 0) {
      EXPECT_NO_THROW(reading());
    } else {
      EXPECT_THAT(reading, Raises<SocketException>("ERR_DEST_BUFFER_TOO_SMALL", 1,
                                                   static_cast<std::int32_t>(row.length))
                               .from(file));
    }
    EXPECT_EQ(length, row.length);
  }
}

TEST_F(SocketFrame, LengthsAboveTheLargestIntAreUnsigned) {
  if (!longRangesFit) GTEST_SKIP() << noLongRanges;
  struct Row {
    std::uint32_t word;
    std::vector<std::string> calls;
  };
  const std::vector<Row> rows = {
      {0x80000000U, {"recv(#1, 4)", "recv(#1, 2147483647)", "recv(#1, 1)"}},
      {0xFFFFFFFFU, {"recv(#1, 4)", "recv(#1, 2147483647)", "recv(#1, 2147483647)", "recv(#1, 1)"}},
  };
  for (const Row& row : rowsOf(rows)) {
    ROW("word", row.word);
    fake.forget();
    fake.on.recv = [&](auto, char* bytes, int length) {
      if (length == 4) std::memcpy(bytes, lengthWord(row.word).data(), 4);
      return length;
    };
    unsigned long long length = 0;
    EXPECT_EQ(socket().readMessage(scratch, &length, 0, row.word, false), row.word);
    EXPECT_EQ(length, row.word);
    EXPECT_EQ(fake.calls(), row.calls);
    EXPECT_THAT([&] { socket().readMessage(scratch, &length, 0, row.word - 1ULL, false); },
                Raises<SocketException>("ERR_DEST_BUFFER_TOO_SMALL", static_cast<std::int32_t>(row.word - 1),
                                        static_cast<std::int32_t>(row.word))
                    .from(file));
  }
}

TEST_F(SocketFrame, AboveTheCapacityStaysInTheStreamUnlessDrained) {
  struct Row {
    std::size_t length;
    std::vector<std::string> drained;
  };
  const std::vector<Row> rows = {
      {11, {"recv(#1, 4)", "recv(#1, 11)"}},
      {1024, {"recv(#1, 4)", "recv(#1, 1024)"}},
      {1025, {"recv(#1, 4)", "recv(#1, 1024)", "recv(#1, 1)"}},
      {3000, {"recv(#1, 4)", "recv(#1, 1024)", "recv(#1, 1024)", "recv(#1, 952)"}},
  };
  for (const Row& row : rowsOf(rows)) {
    ROW("length", row.length);
    for (const bool drain : rowsOf({false, true})) {
      receives({frame(std::string(row.length, 'z')) + frame("next")});
      fake.forget();
      char buffer[16] = {};
      unsigned long long length = 0;
      EXPECT_THAT([&] { socket().readMessage(buffer, &length, 5, 10, drain); },
                  Raises<SocketException>("ERR_DEST_BUFFER_TOO_SMALL", 10, row.length).from(file));
      EXPECT_EQ(length, row.length);
      EXPECT_EQ(std::string(buffer, 16), std::string(16, '\0')) << "nothing reaches the caller's buffer";
      if (drain) {
        EXPECT_EQ(fake.calls(), row.drained);
        EXPECT_EQ(socket().readMessage(buffer, &length, 0, 10, drain), 4U);
        EXPECT_STREQ(buffer, "next");
      } else {
        EXPECT_THAT(fake.calls(), ElementsAre("recv(#1, 4)"));
      }
    }
  }
}

TEST_F(SocketFrame, DrainEndsWhenThePeerDoes) {
  receives({lengthWord(0x80000001U) + std::string(5000, 'z')});
  EXPECT_THAT([&] { socket().readMessage(scratch, nullptr, 0, 10, true); },
              Raises<SocketException>("ERR_DEST_BUFFER_TOO_SMALL", 10, static_cast<std::int32_t>(0x80000001U))
                  .from(file));
  EXPECT_EQ(fake.countOf("recv"), 1 + 4 + 2) << "the word, four whole chunks, a part, the end";
}

TEST_F(SocketFrame, DrainThatFailsRaisesTheReceivesError) {
  receives({lengthWord(5000) + std::string(2000, 'z')});
  fake.failing("recv", 3).with(10054);
  EXPECT_THAT([&] { socket().readMessage(scratch, nullptr, 0, 10, true); },
              RaisesMapped(10054, host, port).from(file));
}

}  // namespace
}  // namespace tarvo::test
