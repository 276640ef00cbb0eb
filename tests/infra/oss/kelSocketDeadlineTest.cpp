#include "infra/oss/kelDeadline.hpp"
#include "infra/oss/kelSocket.hpp"
#include "infra/oss/kelSocketException.hpp"
#include "infra/oss/kelSocketServer.hpp"

#include "support/kelConnection.hpp"
#include "support/kelHandles.hpp"
#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

namespace tarvo::oss {

static bool operator==(const Socket::Transfer& left, const Socket::Transfer& right) {
  return std::tie(left.end, left.bytes, left.usable) == std::tie(right.end, right.bytes, right.usable);
}

static std::ostream& operator<<(std::ostream& out, const Socket::Transfer& transfer) {
  const char* const ends[] = {"COMPLETE", "CLOSED", "EXPIRED"};
  return out << ends[transfer.end] << " " << transfer.bytes << (transfer.usable ? " usable" : " not usable");
}

}  // namespace tarvo::oss

namespace tarvo::test {
namespace {

using oss::Deadline;
using oss::Socket;
using oss::SocketException;
using oss::SocketServer;
using Transfer = Socket::Transfer;

constexpr const char* source = "kelSocket.cpp";

/// A connected socket, its peer, and a buffer that is filled with '-', so that unwritten bytes are visible.
class SocketDeadline : public testing::Test {
 protected:
  Connection connection;
  Socket& socket = connection.socket;
  Peer& peer = connection.peer;
  std::string buffer = std::string(100, '-');

  std::string seen(std::size_t count) const { return buffer.substr(0, count); }

  RaisesMatcher<SocketException> raises(const std::string& identifier) const {
    return Raises<SocketException>(identifier, connection.host(), connection.port()).from(source);
  }

  void say(std::string_view bytes) {
    peer.says(bytes);
    awaitBytes(socket.handle(), bytes.size());
  }

  Transfer readFrame(const Deadline& deadline, unsigned long long* frameLength = nullptr,
                     unsigned long long capacity = 100, bool drain = true) {
    return socket.readMessageWithin(buffer.data(), frameLength, 0, capacity, drain, deadline);
  }

  /// Fills the way to the peer, which reads nothing; returns the number of bytes.
  unsigned long long fillTheWay() {
    const std::string block = pattern(0, 1 << 16);
    unsigned long long total = 0;
    while (const unsigned long long count = socket.writeOnce(block.data(), 0, block.size())) total += count;
    return total;
  }
};

std::string lengthWord(std::size_t length) {
  std::string word;
  for (int shift = 24; shift >= 0; shift -= 8) word += static_cast<char>(length >> shift & 0xFF);
  return word;
}

// --- readWithin

using SocketReadWithin = SocketDeadline;

TEST_F(SocketReadWithin, PlacesAllBytesInTheRange) {
  peer.says("abc");
  EXPECT_EQ(socket.readWithin(buffer.data(), 2, 3, Deadline::never()),
            (Transfer{Transfer::COMPLETE, 3, true}));
  EXPECT_EQ(seen(6), "--abc-");
}

TEST_F(SocketReadWithin, ReturnsTheBytesThatCameBeforeADeadlineThatHasPassed) {
  say("abc");
  EXPECT_EQ(socket.readWithin(buffer.data(), 0, 10, Deadline::in(0)), (Transfer{Transfer::EXPIRED, 3, true}));
  EXPECT_EQ(seen(4), "abc-");
  EXPECT_EQ(socket.readWithin(buffer.data(), 0, 10, Deadline::in(0)), (Transfer{Transfer::EXPIRED, 0, true}));
}

TEST_F(SocketReadWithin, IsCompleteIfEverythingIsThereWhenTheDeadlineHasPassed) {
  say("abc");
  EXPECT_EQ(socket.readWithin(buffer.data(), 0, 3, Deadline::in(0)), (Transfer{Transfer::COMPLETE, 3, true}));
}

TEST_F(SocketReadWithin, WaitsUntilTheDeadlineAndNoLess) {
  say("ab");
  const Deadline deadline = Deadline::in(30);
  EXPECT_EQ(socket.readWithin(buffer.data(), 0, 10, deadline), (Transfer{Transfer::EXPIRED, 2, true}));
  EXPECT_TRUE(deadline.hasPassed());
}

TEST_F(SocketReadWithin, ContinuesAfterTheBytesThatItPlaced) {
  say("abc");
  const Transfer first = socket.readWithin(buffer.data(), 0, 6, Deadline::in(0));
  peer.says("def");
  EXPECT_EQ(socket.readWithin(buffer.data(), first.bytes, 6 - first.bytes, Deadline::never()),
            (Transfer{Transfer::COMPLETE, 3, true}));
  EXPECT_EQ(seen(6), "abcdef");
}

TEST_F(SocketReadWithin, ReturnsTheShortCountIfThePeerClosesFirst) {
  peer.says("abc").closes();
  EXPECT_EQ(socket.readWithin(buffer.data(), 0, 10, Deadline::never()),
            (Transfer{Transfer::CLOSED, 3, false}));
}

TEST_F(SocketReadWithin, OfNothingReturnsAtOnce) {
  EXPECT_EQ(socket.readWithin(buffer.data(), 0, 0, Deadline::never()),
            (Transfer{Transfer::COMPLETE, 0, true}));
}

TEST_F(SocketReadWithin, RaisesTheReset) {
  peer.resets();
  awaitReset(socket.handle());
  for (const Deadline& deadline : rowsOf({Deadline::never(), Deadline::in(0)})) {
    EXPECT_THAT([&] { socket.readWithin(buffer.data(), 0, 1, deadline); },
                raises("QN_ERR_SOCKET_CONNECTION_RESET"));
  }
}

TEST_F(SocketReadWithin, RefusesABadRange) {
  const auto badAddress =
      Raises<SocketException>("QN_ERR_SOCKET_ERROR", 10014, connection.host(), connection.port())
          .from(source);
  EXPECT_THAT([&] { socket.readWithin(nullptr, 0, 1, Deadline::in(0)); }, badAddress);
  EXPECT_THAT([&] { socket.readWithin(buffer.data(), ~0ULL, 1, Deadline::in(0)); }, badAddress);
  EXPECT_THAT([&] { socket.writeWithin(nullptr, 0, 1, Deadline::in(0)); }, badAddress);
  EXPECT_THAT([&] { socket.writeMessageWithin(nullptr, 0, 1, Deadline::in(0)); }, badAddress);
  EXPECT_THAT([&] { socket.writeOnce(nullptr, 0, 1); }, badAddress);
}

// The next read would raise 10035 in the non-blocking mode, and a timeout if this one had set one.
TEST_F(SocketReadWithin, IgnoresTheModeOfTheConnectionAndKeepsIt) {
  socket.setNonBlocking(true);
  EXPECT_EQ(socket.readWithin(buffer.data(), 0, 1, Deadline::in(10)), (Transfer{Transfer::EXPIRED, 0, true}));
  EXPECT_THAT([&] { socket.readOnce(buffer.data(), 0, 1); },
              Raises<SocketException>("QN_ERR_SOCKET_ERROR", 10035, connection.host(), connection.port())
                  .from(source));
  socket.setNonBlocking(false);
  socket.setTimeout(1);
  peer.says("a");
  EXPECT_EQ(socket.readWithin(buffer.data(), 0, 1, Deadline::never()),
            (Transfer{Transfer::COMPLETE, 1, true}));
}

TEST_F(SocketReadWithin, LeavesAWriterOfTheSameConnectionBlocking) {
  const std::string all = pattern(0, 1 << 23);
  std::thread writer([&] { socket.write(all.data(), 0, all.size()); });
  // The writer waits for the peer all the time while this thread waits with deadlines.
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(socket.readWithin(buffer.data(), 0, 1, Deadline::in(1)),
              (Transfer{Transfer::EXPIRED, 0, true}));
  }
  EXPECT_EQ(peer.receives(all.size()), all);
  writer.join();
}

// --- writeWithin

using SocketWriteWithin = SocketDeadline;

TEST_F(SocketWriteWithin, SendsTheRange) {
  EXPECT_EQ(socket.writeWithin("abcdef", 2, 3, Deadline::never()), (Transfer{Transfer::COMPLETE, 3, true}));
  EXPECT_EQ(socket.writeWithin("xy", 0, 2, Deadline::in(0)), (Transfer{Transfer::COMPLETE, 2, true}));
  EXPECT_EQ(peer.receives(5), "cdexy");
}

TEST_F(SocketWriteWithin, ReportsHowMuchWasSentToAPeerThatReadsNothing) {
  const std::string all = pattern(0, 1 << 26);
  const Deadline deadline = Deadline::in(50);
  const Transfer first = socket.writeWithin(all.data(), 0, all.size(), deadline);
  EXPECT_EQ(first.end, Transfer::EXPIRED);
  EXPECT_TRUE(first.usable);
  EXPECT_TRUE(deadline.hasPassed());
  ASSERT_LT(first.bytes, all.size());
  Transfer rest{};
  std::thread writer([&] {
    rest = socket.writeWithin(all.data(), first.bytes, all.size() - first.bytes, Deadline::never());
    socket.shutdownSend();
  });
  EXPECT_TRUE(peer.receivesAll() == all) << "bytes are missing, doubled or misplaced";
  writer.join();
  EXPECT_EQ(rest, (Transfer{Transfer::COMPLETE, all.size() - first.bytes, true}));
}

TEST_F(SocketWriteWithin, RaisesTheResetWhileItWaits) {
  fillTheWay();
  std::thread resetting([&] { peer.resets(); });
  const std::string all = pattern(0, 1 << 26);
  EXPECT_THAT([&] { socket.writeWithin(all.data(), 0, all.size(), Deadline::never()); },
              raises("QN_ERR_SOCKET_CONNECTION_RESET"));
  resetting.join();
}

TEST_F(SocketWriteWithin, RaisesTheShutdownOfThisEnd) {
  socket.shutdownSend();
  EXPECT_THAT([&] { socket.writeWithin("x", 0, 1, Deadline::in(60'000)); }, raises("QN_ERR_SOCKET_SHUTDOWN"));
}

// --- writeOnce

using SocketWriteOnce = SocketDeadline;

TEST_F(SocketWriteOnce, SendsWhatTheSystemTakes) {
  EXPECT_EQ(socket.writeOnce("abcdef", 2, 3), 3U);
  EXPECT_EQ(peer.receives(3), "cde");
}

TEST_F(SocketWriteOnce, ReturnsZeroInsteadOfWaiting) {
  const auto total = static_cast<std::size_t>(fillTheWay());  // ends when 0 is returned
  EXPECT_EQ(peer.receives(total).size(), total);
  EXPECT_EQ(socket.writeWithin("x", 0, 1, Deadline::never()).bytes, 1U);
  EXPECT_EQ(peer.receives(1), "x");
}

// Some systems report urgent data in the same way as a failed connection, which can be written to at once.
TEST_F(SocketWriteOnce, ReturnsZeroAlthoughThePeerSentAnUrgentByte) {
  peer.saysUrgently('!');
  say("a");  // arrives after the urgent byte
  fillTheWay();
  EXPECT_EQ(socket.writeOnce("x", 0, 1), 0U);
  EXPECT_EQ(socket.writeWithin("x", 0, 1, Deadline::in(10)), (Transfer{Transfer::EXPIRED, 0, true}));
}

TEST_F(SocketWriteOnce, OfNothingSendsNothing) {
  EXPECT_EQ(socket.writeOnce(nullptr, 0, 0), 0U);
}

TEST_F(SocketWriteOnce, RaisesTheReset) {
  peer.resets();
  awaitReset(socket.handle());
  EXPECT_THAT([&] { socket.writeOnce("x", 0, 1); }, raises("QN_ERR_SOCKET_CONNECTION_RESET"));
}

// --- frames

using SocketFrameWithin = SocketDeadline;

TEST_F(SocketFrameWithin, IsReadWhole) {
  unsigned long long length = 0;
  peer.saysByteByByte(lengthWord(5) + "hello");
  EXPECT_EQ(readFrame(Deadline::never(), &length), (Transfer{Transfer::COMPLETE, 5, true}));
  EXPECT_EQ(length, 5U);
  EXPECT_EQ(seen(6), "hello-");
}

TEST_F(SocketFrameWithin, OfNoBytesIsComplete) {
  peer.says(lengthWord(0));
  EXPECT_EQ(readFrame(Deadline::never()), (Transfer{Transfer::COMPLETE, 0, true}));
}

TEST_F(SocketFrameWithin, ThatHasNotBegunLeavesTheConnectionUsable) {
  unsigned long long length = 99;
  EXPECT_EQ(readFrame(Deadline::in(1), &length), (Transfer{Transfer::EXPIRED, 0, true}));
  EXPECT_EQ(length, 99U);
  peer.says(lengthWord(2) + "ok");
  EXPECT_EQ(readFrame(Deadline::never()), (Transfer{Transfer::COMPLETE, 2, true}));
}

TEST_F(SocketFrameWithin, ThatHasBegunDoesNot) {
  struct Row {
    std::string bytes;
    unsigned long long placed;
  };
  const Row rows[] = {{std::string("\0", 1), 0}, {lengthWord(5), 0}, {lengthWord(5) + "hel", 3}};
  for (const Row& row : rowsOf(rows)) {
    Connection other;
    other.peer.says(row.bytes);
    awaitBytes(other.handle(), row.bytes.size());
    EXPECT_EQ(other.socket.readMessageWithin(buffer.data(), nullptr, 0, 100, true, Deadline::in(1)),
              (Transfer{Transfer::EXPIRED, row.placed, false}));
  }
}

TEST_F(SocketFrameWithin, ThatThePeerCutIsClosed) {
  unsigned long long length = 0;
  peer.says(lengthWord(5) + "hel").closes();
  EXPECT_EQ(readFrame(Deadline::never(), &length), (Transfer{Transfer::CLOSED, 3, false}));
  EXPECT_EQ(length, 5U);
}

TEST_F(SocketFrameWithin, WithACutLengthWordCountsTheMissingBytesAsZero) {
  unsigned long long length = 0;
  peer.says(std::string("\0\0\0", 3)).closes();
  EXPECT_EQ(readFrame(Deadline::never(), &length), (Transfer{Transfer::CLOSED, 0, false}));
  EXPECT_EQ(length, 0U);
}

TEST_F(SocketFrameWithin, RaisesClosedIfNoFrameBegan) {
  peer.closes();
  EXPECT_THAT([&] { readFrame(Deadline::never()); }, raises("ERR_SOCKET_CLOSED"));
}

TEST_F(SocketFrameWithin, ThatDoesNotFitIsDropped) {
  unsigned long long length = 0;
  peer.says(lengthWord(5) + "hello" + lengthWord(2) + "ok");
  EXPECT_THAT([&] { readFrame(Deadline::never(), &length, 4); },
              Raises<SocketException>("ERR_DEST_BUFFER_TOO_SMALL", 4, 5).from(source));
  EXPECT_EQ(length, 5U);
  EXPECT_EQ(readFrame(Deadline::never()), (Transfer{Transfer::COMPLETE, 2, true}));
  EXPECT_EQ(seen(2), "ok");
}

TEST_F(SocketFrameWithin, ThatDoesNotFitIsDroppedOnlyUntilTheDeadline) {
  peer.says(lengthWord(5000) + std::string(3000, 'x'));
  EXPECT_EQ(readFrame(Deadline::in(30), nullptr, 4), (Transfer{Transfer::EXPIRED, 0, false}));
}

TEST_F(SocketFrameWithin, ThatDoesNotFitAndIsNotDroppedRaisesAtOnce) {
  peer.says(lengthWord(5));
  EXPECT_THAT([&] { readFrame(Deadline::never(), nullptr, 4, false); },
              Raises<SocketException>("ERR_DEST_BUFFER_TOO_SMALL", 4, 5).from(source));
}

TEST_F(SocketFrameWithin, IsWrittenWhole) {
  const std::string large = pattern(0, 5000);
  EXPECT_EQ(socket.writeMessageWithin("hello", 0, 5, Deadline::never()),
            (Transfer{Transfer::COMPLETE, 5, true}));
  EXPECT_EQ(socket.writeMessageWithin(large.data(), 0, large.size(), Deadline::never()),
            (Transfer{Transfer::COMPLETE, 5000, true}));
  EXPECT_EQ(socket.writeMessageWithin("", 0, 0, Deadline::never()), (Transfer{Transfer::COMPLETE, 0, true}));
  EXPECT_EQ(peer.receives(5017), lengthWord(5) + "hello" + lengthWord(5000) + large + lengthWord(0));
}

// The system may move bytes on after the way was full; then a frame fits once more.
TEST_F(SocketFrameWithin, ThatCannotBeginToBeWrittenLeavesTheConnectionUsable) {
  Transfer transfer{};
  do {
    fillTheWay();
    transfer = socket.writeMessageWithin("hello", 0, 5, Deadline::in(0));
  } while (transfer.end == Transfer::COMPLETE);
  EXPECT_EQ(transfer, (Transfer{Transfer::EXPIRED, 0, true}));
  std::thread writer([&] {
    transfer = socket.writeMessageWithin("hello", 0, 5, Deadline::never());
    socket.shutdownSend();
  });
  const std::string all = peer.receivesAll();
  writer.join();
  EXPECT_EQ(transfer, (Transfer{Transfer::COMPLETE, 5, true}));
  EXPECT_EQ(all.substr(all.size() - 9), lengthWord(5) + "hello");
}

TEST_F(SocketFrameWithin, ThatIsWrittenInPartDoesNot) {
  const std::string all = pattern(0, 1 << 26);
  const Transfer transfer = socket.writeMessageWithin(all.data(), 0, all.size(), Deadline::in(50));
  EXPECT_EQ(transfer.end, Transfer::EXPIRED);
  EXPECT_FALSE(transfer.usable);
  EXPECT_GT(transfer.bytes, 0U);
  socket.shutdownSend();
  EXPECT_EQ(peer.receivesAll().size(), 4 + transfer.bytes);
}

// --- connect

TEST(SocketConnectDeadline, Connects) {
  Peer peer;
  Socket socket;
  socket.connect(peer.host(), peer.port(), Socket::NullAddrInfoExternal, Deadline::in(60'000));
  peer.accepts().says("x");
  char byte = 0;
  EXPECT_EQ(socket.readOnce(&byte, 0, 1), 1U);
}

TEST(SocketConnectDeadline, ExpiresAndLeavesNothingOpen) {
  const FullPort full;
  const std::size_t descriptors = openDescriptors();
  for (const unsigned long long time : rowsOf({0ULL, 20ULL})) {
    Socket socket;
    const Deadline deadline = Deadline::in(time);
    EXPECT_THAT([&] { socket.connect("127.0.0.1", full.port(), Socket::NullAddrInfoExternal, deadline); },
                Raises<SocketException>("ERR_SOCKET_TIMEOUT", "127.0.0.1", full.port()).from(source));
    EXPECT_TRUE(deadline.hasPassed());
    EXPECT_EQ(socket.handle(), ~0ULL);
  }
  EXPECT_EQ(openDescriptors(), descriptors);
}

TEST(SocketConnectDeadline, RaisesTheErrorsOfConnect) {
  const ClosedPort closed;
  Socket socket;
  EXPECT_THAT(
      [&] { socket.connect("127.0.0.1", closed.port(), Socket::NullAddrInfoExternal, Deadline::never()); },
      Raises<SocketException>("QN_ERR_SOCKET_CONNECTION_REFUSED", "127.0.0.1", closed.port()).from(source));
}

// --- the peer's address

TEST(SocketPeer, HasANumberAndAPortAtBothEnds) {
  struct Row {
    const char* address;
    Family family;
  };
  for (const Row& row : rowsOf({Row{"127.0.0.1", Family::ipv4}, Row{"::1", Family::ipv6}})) {
    requireLoopback(row.family);
    Connection connection(row.family);
    EXPECT_EQ(utf8(connection.socket.peerHost()), row.address);
    EXPECT_EQ(connection.socket.peerPort(), connection.port());
  }
}

TEST(SocketPeer, OfAnAcceptedConnectionIsTheClient) {
  SocketServer server;
  server.listen(0, 5, false);
  Peer client(Peer::Server{server.getPort()});
  Socket accepted;
  server.accept(accepted, nullptr);
  EXPECT_EQ(utf8(accepted.peerHost()), "127.0.0.1");
  EXPECT_GT(accepted.peerPort(), 0U);
  EXPECT_NE(accepted.peerPort(), server.getPort());
  // Errors carry the same arguments as before.
  EXPECT_TRUE(accepted.getHost().isEmpty());
  EXPECT_EQ(accepted.getPort(), 0U);
  client.resets();
  awaitReset(accepted.handle());
  char byte = 0;
  EXPECT_THAT([&] { accepted.readOnce(&byte, 0, 1); },
              Raises<SocketException>("QN_ERR_SOCKET_CONNECTION_RESET", "", 0).from(source));
}

}  // namespace
}  // namespace tarvo::test
