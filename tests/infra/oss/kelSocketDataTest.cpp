#include "infra/oss/kelSocket.hpp"
#include "infra/oss/kelSocketException.hpp"

#include "support/kelAddresses64.hpp"
#include "support/kelConnection.hpp"
#include "support/kelHandles.hpp"
#include "support/kelRaises.hpp"
#include "support/kelRepeatedMemory.hpp"
#include "support/kelReporting.hpp"
#include "support/kelRows.hpp"
#include "support/kelSignals.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace tarvo::test {
namespace {

using oss::Deadline;
using oss::Socket;
using oss::SocketException;

constexpr const char* source = "kelSocket.cpp";
constexpr unsigned long long largest = ~0ULL;

/// A connected socket, its peer, and a buffer that is filled with '-', so that unwritten bytes are visible.
class SocketData : public testing::Test {
 protected:
  Connection connection;
  Socket& socket = connection.socket;
  Peer& peer = connection.peer;
  char buffer[100];

  SocketData() { clear(); }

  void clear() { std::fill(std::begin(buffer), std::end(buffer), '-'); }
  std::string seen(std::size_t count) const { return {buffer, count}; }

  RaisesMatcher<SocketException> raises(const std::string& identifier) const {
    return Raises<SocketException>(identifier, connection.host(), connection.port()).from(source);
  }
  RaisesMatcher<SocketException> raisesCode(int code) const {
    return Raises<SocketException>("QN_ERR_SOCKET_ERROR", code, connection.host(), connection.port())
        .from(source);
  }

  void resetByThePeer() {
    peer.resets();
    awaitReset(socket.handle());
  }

  /// Writes until the system's buffers are full; the peer does not read.
  void fillTheWay() {
    const std::string block(1 << 16, 'f');
    socket.setNonBlocking(true);
    EXPECT_THAT(
        [&] {
          for (;;) socket.write(block.data(), 0, block.size());
        },
        raisesCode(10035));
    socket.setNonBlocking(false);
  }
};

using SocketRead = SocketData;
using SocketReadOnce = SocketData;
using SocketWrite = SocketData;
using SocketFrame = SocketData;
using SocketOption = SocketData;
using SocketShutdown = SocketData;
using SocketReset = SocketData;

// --- without a handle

struct Operation {
  const char* name;
  std::function<void(Socket&)> run;
};

char scratch[16];

const std::vector<Operation>& operationsThatNeedAHandle() {
  static const std::vector<Operation> all = {
      {"readOnce", [](Socket& socket) { socket.readOnce(scratch, 0, 1); }},
      {"readOnce of nothing", [](Socket& socket) { socket.readOnce(scratch, 0, 0); }},
      {"read", [](Socket& socket) { socket.read(scratch, 0, 1); }},
      {"read of nothing", [](Socket& socket) { socket.read(scratch, 0, 0); }},
      {"read into null", [](Socket& socket) { socket.read(nullptr, 0, 1); }},
      {"write", [](Socket& socket) { socket.write("x", 0, 1); }},
      {"write of nothing", [](Socket& socket) { socket.write("x", 0, 0); }},
      {"write from null", [](Socket& socket) { socket.write(nullptr, 0, 1); }},
      {"readMessage", [](Socket& socket) { socket.readMessage(scratch, nullptr, 0, 1, false); }},
      {"writeMessage", [](Socket& socket) { socket.writeMessage("x", 0, 1); }},
      {"readWithin", [](Socket& socket) { socket.readWithin(scratch, 0, 1, Deadline::never()); }},
      {"writeWithin", [](Socket& socket) { socket.writeWithin("x", 0, 1, Deadline::never()); }},
      {"readMessageWithin",
       [](Socket& socket) { socket.readMessageWithin(scratch, nullptr, 0, 1, false, Deadline::never()); }},
      {"writeMessageWithin", [](Socket& socket) { socket.writeMessageWithin("x", 0, 1, Deadline::never()); }},
      {"writeOnce", [](Socket& socket) { socket.writeOnce("x", 0, 1); }},
      {"peerHost", [](Socket& socket) { socket.peerHost(); }},
      {"peerPort", [](Socket& socket) { socket.peerPort(); }},
      {"setNonBlocking", [](Socket& socket) { socket.setNonBlocking(true); }},
      {"setNoDelay", [](Socket& socket) { socket.setNoDelay(true); }},
      {"setTimeout", [](Socket& socket) { socket.setTimeout(1); }},
  };
  return all;
}

TEST(SocketWithoutAHandle, RaisesNotConnected) {
  const ClosedPort closed;
  Socket fresh;
  Socket failed;
  EXPECT_THAT(
      [&] { failed.connect("127.0.0.1", closed.port(), Socket::NullAddrInfoExternal, nullptr); },
      Raises<SocketException>("QN_ERR_SOCKET_CONNECTION_REFUSED", "127.0.0.1", closed.port()).from(source));
  Connection connection;
  Socket& wasConnected = connection.socket;
  wasConnected.close();
  for (const Operation& operation : rowsOf(operationsThatNeedAHandle())) {
    EXPECT_THAT([&] { operation.run(fresh); },
                Raises<SocketException>("ERR_SOCKET_NOT_CONNECTED", "", 0).from(source));
    EXPECT_THAT([&] { operation.run(wasConnected); },
                Raises<SocketException>("ERR_SOCKET_NOT_CONNECTED", "", 0).from(source));
    EXPECT_THAT([&] { operation.run(failed); },
                Raises<SocketException>("ERR_SOCKET_NOT_CONNECTED", "127.0.0.1", closed.port()).from(source));
  }
}

TEST(SocketWithoutAHandle, ShutdownDoesNothing) {
  Socket socket;
  socket.shutdownBoth();
  socket.shutdownReceive();
  socket.shutdownSend();
  EXPECT_EQ(socket.handle(), noHandle);
}

TEST(SocketWithoutAHandle, DoesNotChangeTheFrameLength) {
  Socket socket;
  unsigned long long frameLength = 7;
  EXPECT_THAT([&] { socket.readMessage(scratch, &frameLength, 0, 1, true); },
              Raises<SocketException>("ERR_SOCKET_NOT_CONNECTED", "", 0).from(source));
  EXPECT_EQ(frameLength, 7U);
}

TEST(SocketWithAHandleThatIsGone, RaisesNotASocket) {
  Connection connection;
  closeDirectly(connection.handle());
  const std::vector<Operation> shutdowns = {
      {"shutdownBoth", [](Socket& socket) { socket.shutdownBoth(); }},
      {"shutdownReceive", [](Socket& socket) { socket.shutdownReceive(); }},
      {"shutdownSend", [](Socket& socket) { socket.shutdownSend(); }},
  };
  const auto expect = [&](const Operation& operation) {
    ROW(operation.name);
    EXPECT_THAT([&] { operation.run(connection.socket); },
                Raises<SocketException>("QN_ERR_SOCKET_ERROR", 10038, connection.host(), connection.port())
                    .from(source));
  };
  for (const Operation& operation : rowsOf(operationsThatNeedAHandle())) {
    const std::string name = operation.name;
    // These make no system call, or the invalid range is reported first.
    if (name == "read of nothing" || name == "write of nothing" || name.find("null") != std::string::npos)
      continue;
    expect(operation);
  }
  for (const Operation& operation : rowsOf(shutdowns)) expect(operation);
}

// --- readOnce

TEST_F(SocketReadOnce, ReturnsTheBytesThatHaveArrived) {
  peer.sends(40);
  awaitBytes(socket.handle(), 40);
  EXPECT_EQ(socket.readOnce(buffer, 10, 80), 40U);
  EXPECT_EQ(seen(100), std::string(10, '-') + pattern(0, 40) + std::string(50, '-'));
}

TEST_F(SocketReadOnce, ReadsNoMoreThanItsLength) {
  peer.sends(40);
  awaitBytes(socket.handle(), 40);
  EXPECT_EQ(socket.readOnce(buffer, 0, 30), 30U);
  EXPECT_EQ(socket.readOnce(buffer, 30, 70), 10U);
  EXPECT_EQ(seen(40), pattern(0, 40));
  EXPECT_EQ(buffer[40], '-');
}

TEST_F(SocketReadOnce, WaitsForTheFirstBytes) {
  const ThreadView reader;
  std::thread sender(reporting([&] {
    reader.awaitWaiting();
    peer.says("late");
  }));
  EXPECT_EQ(socket.readOnce(buffer, 0, 100), 4U);
  EXPECT_EQ(seen(5), "late-");
  sender.join();
}

TEST_F(SocketReadOnce, ReturnsZeroRepeatedlyAfterThePeerClosed) {
  peer.sends(3).closes();
  EXPECT_EQ(socket.read(buffer, 0, 3), 3U);
  EXPECT_EQ(socket.readOnce(buffer, 0, 100), 0U);
  EXPECT_EQ(socket.readOnce(buffer, 0, 100), 0U);
  EXPECT_EQ(seen(4), pattern(0, 3) + "-");
}

TEST_F(SocketReadOnce, ReturnsZeroAfterThePeerStoppedSending) {
  peer.shutsDownSending();
  EXPECT_EQ(socket.readOnce(buffer, 0, 100), 0U);
  socket.write("still", 0, 5);
  EXPECT_EQ(peer.receives(5), "still");
}

TEST_F(SocketReadOnce, OfLengthZeroReadsNothing) {
  peer.sends(1);
  awaitBytes(socket.handle(), 1);
  EXPECT_EQ(socket.readOnce(buffer, 0, 0), 0U);
  EXPECT_EQ(socket.readOnce(buffer, 0, 100), 1U);
}

TEST_F(SocketReadOnce, AcceptsALengthAboveTheLargestInt) {
  if (!longRangesFit) GTEST_SKIP() << noLongRanges;
  peer.sends(40);
  awaitBytes(socket.handle(), 40);
  // Some systems check that the whole buffer is accessible, up to the largest int, so it must exist.
  constexpr unsigned long long room = 1ULL << 31;
  const RepeatedMemory memory(room / RepeatedMemory::pieceSize, '-');
  char* const much = memory.get();
  // Truncated to 32 bits, 2^32 and 2^32 + 5 would be 0 and 5, and 2^31 would be negative.
  EXPECT_EQ(socket.readOnce(much, 0, (1ULL << 32) + 5), 40U);
  EXPECT_EQ(std::string(much, 41), pattern(0, 40) + "-");
  peer.sends(2);
  EXPECT_EQ(socket.readOnce(much, 0, 1ULL << 31), 2U);
  peer.sends(2);
  EXPECT_EQ(socket.readOnce(much, 0, 1ULL << 32), 2U);
}

// --- read

TEST_F(SocketRead, ReadsItsLength) {
  peer.sends(60);
  EXPECT_EQ(socket.read(buffer, 5, 40), 40U);
  EXPECT_EQ(seen(50), std::string(5, '-') + pattern(0, 40) + std::string(5, '-'));
  EXPECT_EQ(socket.read(buffer, 0, 20), 20U);
  EXPECT_EQ(seen(20), pattern(40, 20));
}

TEST_F(SocketRead, CollectsBytesThatArriveInPieces) {
  const ThreadView reader;
  std::thread sender(reporting([&] {
    for (int i = 0; i < 5; ++i) {
      reader.awaitWaiting();
      peer.sends(20);
    }
  }));
  EXPECT_EQ(socket.read(buffer, 0, 100), 100U);
  EXPECT_EQ(seen(100), pattern(0, 100));
  sender.join();
}

TEST_F(SocketRead, ReturnsTheShortCountWhenThePeerClosesEarly) {
  peer.sends(40).closes();
  EXPECT_EQ(socket.read(buffer, 0, 100), 40U);
  EXPECT_EQ(seen(41), pattern(0, 40) + "-");
  EXPECT_EQ(socket.read(buffer, 0, 100), 0U);
  EXPECT_EQ(socket.read(buffer, 0, 100), 0U);
}

TEST_F(SocketRead, OfLengthZeroReturnsAtOnce) {
  EXPECT_EQ(socket.read(buffer, 0, 0), 0U);
  EXPECT_EQ(socket.read(nullptr, 0, 0), 0U);
  EXPECT_EQ(socket.read(buffer, largest, 0), 0U);
  resetByThePeer();
  EXPECT_EQ(socket.read(buffer, 0, 0), 0U);
}

TEST_F(SocketRead, KeepsTheBytesReceivedBeforeAReset) {
  peer.sends(40);
  awaitBytes(socket.handle(), 40);
  resetByThePeer();
  EXPECT_THAT([&] { socket.read(buffer, 0, 100); }, raises("QN_ERR_SOCKET_CONNECTION_RESET"));
  EXPECT_EQ(seen(41), pattern(0, 40) + "-");
}

TEST_F(SocketRead, ThroughACopyReadsTheSameStream) {
  Socket copy(socket);
  peer.sends(20);
  EXPECT_EQ(copy.read(buffer, 0, 10), 10U);
  EXPECT_EQ(socket.read(buffer, 10, 10), 10U);
  EXPECT_EQ(seen(20), pattern(0, 20));
}

struct BadRange {
  const char* why;
  bool null;
  unsigned long long offset;
  unsigned long long length;
};

const BadRange badRanges[] = {
    {"null", true, 0, 1},
    {"null with an offset", true, 5, 1},
    {"the address wraps in the offset", false, largest, 10},
    {"the address wraps in the length", false, 0, largest},
    {"offset and length wrap", false, 1, largest},
    {"both largest", false, largest, largest},
    {"half and half", false, 1ULL << 63, 1ULL << 63},
};

TEST_F(SocketRead, OfAnInvalidRangeReadsNothing) {
  peer.sends(10);
  awaitBytes(socket.handle(), 10);
  for (const BadRange& row : rowsOf(badRanges)) {
    char* start = row.null ? nullptr : buffer;
    EXPECT_THAT([&] { socket.read(start, row.offset, row.length); }, raisesCode(10014));
    EXPECT_THAT([&] { socket.readOnce(start, row.offset, row.length); }, raisesCode(10014));
  }
  EXPECT_EQ(socket.read(buffer, 0, 10), 10U);
  EXPECT_EQ(seen(11), pattern(0, 10) + "-");
}

// --- write

TEST_F(SocketWrite, SendsItsRange) {
  const std::string text = pattern(0, 50);
  socket.write(text.data(), 10, 30);
  socket.write(text.data(), 0, 0);
  socket.write(nullptr, 0, 0);
  socket.write(text.data(), largest, 0);
  socket.write(text.data(), 40, 10);
  socket.close();
  EXPECT_EQ(peer.receivesAll(), text.substr(10));
}

TEST_F(SocketWrite, OfAnInvalidRangeSendsNothing) {
  for (const BadRange& row : rowsOf(badRanges)) {
    const char* start = row.null ? nullptr : buffer;
    EXPECT_THAT([&] { socket.write(start, row.offset, row.length); }, raisesCode(10014));
    EXPECT_THAT([&] { socket.writeMessage(start, row.offset, row.length); }, raisesCode(10014));
  }
  socket.close();
  EXPECT_EQ(peer.receivesAll(), "");
}

TEST_F(SocketWrite, OfMoreThanTheSystemBuffersReachesASlowReader) {
  const std::string text = pattern(0, 24 << 20);
  const ThreadView writer;
  std::string received;
  std::thread reader(reporting([&] {
    writer.awaitWaiting();
    for (std::size_t step = 1; received.size() < text.size(); step = step * 3 % 100'003)
      received += peer.receives(std::min(step, text.size() - received.size()));
  }));
  socket.write(text.data(), 0, text.size());
  reader.join();
  EXPECT_TRUE(received == text);
}

TEST_F(SocketWrite, AfterThePeerClosedEventuallyRaisesAReset) {
  const BrokenPipeWatch signals;
  peer.closes();
  awaitEnd(socket.handle());
  socket.write("x", 0, 1);  // succeeds; only the peer's answer reveals that it has closed
  awaitReset(socket.handle());
  for (int i = 0; i < 3; ++i) {
    ROW("i", i);
    EXPECT_THAT([&] { socket.write("x", 0, 1); }, raises("QN_ERR_SOCKET_CONNECTION_RESET"));
  }
  EXPECT_THAT([&] { socket.read(buffer, 0, 1); }, raises("QN_ERR_SOCKET_CONNECTION_RESET"));
  EXPECT_EQ(signals.count(), 0);
}

// --- after a reset

TEST_F(SocketReset, IsRaisedByEveryReadAndWriteAfterARead) {
  const BrokenPipeWatch signals;
  resetByThePeer();
  for (int i = 0; i < 3; ++i) {
    ROW("i", i);
    EXPECT_THAT([&] { socket.read(buffer, 0, 1); }, raises("QN_ERR_SOCKET_CONNECTION_RESET"));
    EXPECT_THAT([&] { socket.readOnce(buffer, 0, 1); }, raises("QN_ERR_SOCKET_CONNECTION_RESET"));
    EXPECT_THAT([&] { socket.write("x", 0, 1); }, raises("QN_ERR_SOCKET_CONNECTION_RESET"));
  }
  EXPECT_EQ(signals.count(), 0);
}

TEST_F(SocketReset, IsRaisedByEveryWriteAndReadAfterAWrite) {
  const BrokenPipeWatch signals;
  resetByThePeer();
  for (int i = 0; i < 3; ++i) {
    ROW("i", i);
    EXPECT_THAT([&] { socket.write("x", 0, 1); }, raises("QN_ERR_SOCKET_CONNECTION_RESET"));
    EXPECT_THAT([&] { socket.writeMessage("x", 0, 1); }, raises("QN_ERR_SOCKET_CONNECTION_RESET"));
    EXPECT_THAT([&] { socket.readMessage(buffer, nullptr, 0, 1, false); },
                raises("QN_ERR_SOCKET_CONNECTION_RESET"));
  }
  EXPECT_EQ(signals.count(), 0);
}

TEST_F(SocketReset, IsStillRaisedByReadsAfterAShutdownOfSending) {
  socket.shutdownSend();
  resetByThePeer();
  for (int i = 0; i < 3; ++i) {
    ROW("i", i);
    EXPECT_THAT([&] { socket.read(buffer, 0, 1); }, raises("QN_ERR_SOCKET_CONNECTION_RESET"));
    EXPECT_THAT([&] { socket.write("x", 0, 1); }, raises("QN_ERR_SOCKET_SHUTDOWN"));
  }
}

TEST_F(SocketReset, DoesNotAffectTheNextConnection) {
  Peer next;
  resetByThePeer();
  EXPECT_THAT([&] { socket.read(buffer, 0, 1); }, raises("QN_ERR_SOCKET_CONNECTION_RESET"));
  socket.close();
  socket.connect(next.host(), next.port(), Socket::NullAddrInfoExternal, nullptr);
  next.accepts().sends(3).closes();
  EXPECT_EQ(socket.read(buffer, 0, 100), 3U);
  EXPECT_EQ(socket.read(buffer, 0, 100), 0U);
}

TEST_F(SocketReset, DoesNotCloseTheHandle) {
  const Handle handle = socket.handle();
  resetByThePeer();
  EXPECT_THAT([&] { socket.read(buffer, 0, 1); }, raises("QN_ERR_SOCKET_CONNECTION_RESET"));
  EXPECT_EQ(socket.handle(), handle);
  EXPECT_EQ(socket.getPort(), connection.port());
  socket.close();
  EXPECT_EQ(socket.handle(), noHandle);
}

TEST_F(SocketReset, WakesABlockedReader) {
  const ThreadView reader;
  std::thread breaker(reporting([&] {
    reader.awaitWaiting();
    peer.resets();
  }));
  EXPECT_THAT([&] { socket.read(buffer, 0, 1); }, raises("QN_ERR_SOCKET_CONNECTION_RESET"));
  breaker.join();
}

TEST_F(SocketReset, WakesABlockedWriter) {
  const BrokenPipeWatch signals;
  const std::string text(64 << 20, 'x');
  const ThreadView writer;
  std::thread breaker(reporting([&] {
    writer.awaitWaiting();
    peer.resets();
  }));
  EXPECT_THAT([&] { socket.write(text.data(), 0, text.size()); }, raises("QN_ERR_SOCKET_CONNECTION_RESET"));
  breaker.join();
  EXPECT_EQ(signals.count(), 0);
}

// --- shutdown

TEST_F(SocketShutdown, OfSendingEndsTheStreamForThePeerAndKeepsReceiving) {
  const BrokenPipeWatch signals;
  socket.write("x", 0, 1);
  socket.shutdownSend();
  EXPECT_EQ(peer.receivesAll(), "x");
  for (int i = 0; i < 2; ++i) {
    ROW("i", i);
    EXPECT_THAT([&] { socket.write("y", 0, 1); }, raises("QN_ERR_SOCKET_SHUTDOWN"));
  }
  EXPECT_THAT([&] { socket.writeMessage("y", 0, 1); }, raises("QN_ERR_SOCKET_SHUTDOWN"));
  peer.sends(5);
  EXPECT_EQ(socket.read(buffer, 0, 5), 5U);
  EXPECT_EQ(signals.count(), 0);
}

TEST_F(SocketShutdown, OfSendingIsStillReportedAfterThePeerHasClosed) {
  socket.shutdownSend();
  peer.closes();
  awaitEnd(socket.handle());
  EXPECT_THAT([&] { socket.write("y", 0, 1); }, raises("QN_ERR_SOCKET_SHUTDOWN"));
  EXPECT_EQ(socket.readOnce(buffer, 0, 1), 0U);
}

TEST_F(SocketShutdown, OfReceivingRefusesReadsAndKeepsSending) {
  socket.shutdownReceive();
  for (int i = 0; i < 2; ++i) {
    ROW("i", i);
    EXPECT_THAT([&] { socket.read(buffer, 0, 1); }, raises("QN_ERR_SOCKET_SHUTDOWN"));
    EXPECT_THAT([&] { socket.readOnce(buffer, 0, 1); }, raises("QN_ERR_SOCKET_SHUTDOWN"));
  }
  EXPECT_THAT([&] { socket.readMessage(buffer, nullptr, 0, 1, false); }, raises("QN_ERR_SOCKET_SHUTDOWN"));
  socket.write("still", 0, 5);
  EXPECT_EQ(peer.receives(5), "still");
}

TEST_F(SocketShutdown, OfBothDirectionsRefusesBoth) {
  const BrokenPipeWatch signals;
  socket.shutdownBoth();
  EXPECT_EQ(peer.receivesAll(), "");
  EXPECT_THAT([&] { socket.read(buffer, 0, 1); }, raises("QN_ERR_SOCKET_SHUTDOWN"));
  EXPECT_THAT([&] { socket.write("x", 0, 1); }, raises("QN_ERR_SOCKET_SHUTDOWN"));
  EXPECT_EQ(signals.count(), 0);
}

TEST_F(SocketShutdown, KeepsHostPortAndHandle) {
  const Handle handle = socket.handle();
  const std::size_t before = openDescriptors();
  socket.shutdownReceive();
  socket.shutdownSend();
  socket.shutdownBoth();
  EXPECT_EQ(socket.handle(), handle);
  EXPECT_EQ(utf8(socket.getHost()), connection.host());
  EXPECT_EQ(socket.getPort(), connection.port());
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(SocketShutdown, DoesNotAffectTheNextConnection) {
  Peer next;
  socket.shutdownBoth();
  socket.close();
  socket.connect(next.host(), next.port(), Socket::NullAddrInfoExternal, nullptr);
  socket.write("x", 0, 1);
  EXPECT_EQ(next.accepts().sends(3).receives(1), "x");
  next.closes();
  EXPECT_EQ(socket.read(buffer, 0, 100), 3U);
  EXPECT_EQ(socket.read(buffer, 0, 100), 0U);
}

TEST_F(SocketShutdown, IsForgottenWhenTheNumberOfAClosedHandleIsReused) {
  Peer next;
  socket.shutdownBoth();
  closeDirectly(socket.handle());
  Socket other;
  other.connect(next.host(), next.port(), Socket::NullAddrInfoExternal, nullptr);
  other.write("x", 0, 1);
  EXPECT_EQ(next.accepts().sends(1).receives(1), "x");
  EXPECT_EQ(other.read(buffer, 0, 1), 1U);
}

TEST_F(SocketShutdown, ThroughACopyAffectsTheConnection) {
  Socket copy(socket);
  copy.shutdownSend();
  EXPECT_EQ(peer.receivesAll(), "");
}

// --- options

TEST_F(SocketOption, NoDelayCanBeSetAndCleared) {
  Socket copy(socket);
  socket.setNoDelay(false);
  EXPECT_FALSE(noDelay(socket.handle()));
  copy.setNoDelay(true);
  EXPECT_TRUE(noDelay(socket.handle()));
}

TEST_F(SocketOption, NonBlockingCanBeSetAndCleared) {
  socket.setNonBlocking(true);
  EXPECT_FALSE(isBlocking(socket.handle()));
  socket.setNonBlocking(false);
  EXPECT_TRUE(isBlocking(socket.handle()));
}

TEST_F(SocketOption, NonBlockingReadsFailWith10035InsteadOfWaiting) {
  socket.setNonBlocking(true);
  EXPECT_THAT([&] { socket.readOnce(buffer, 0, 1); }, raisesCode(10035));
  EXPECT_THAT([&] { socket.read(buffer, 0, 1); }, raisesCode(10035));
  EXPECT_THAT([&] { socket.readMessage(buffer, nullptr, 0, 1, false); }, raisesCode(10035));
  peer.sends(40);
  awaitBytes(socket.handle(), 40);
  EXPECT_THAT([&] { socket.read(buffer, 0, 100); }, raisesCode(10035));
  EXPECT_EQ(seen(41), pattern(0, 40) + "-");
}

TEST_F(SocketOption, NonBlockingReadsThatNeedNotWaitSucceed) {
  socket.setNonBlocking(true);
  peer.sends(40).closes();
  awaitBytes(socket.handle(), 40);
  awaitEnd(socket.handle());
  EXPECT_EQ(socket.read(buffer, 0, 100), 40U);
  EXPECT_EQ(socket.readOnce(buffer, 0, 100), 0U);
}

TEST_F(SocketOption, NonBlockingWritesFailWith10035InsteadOfWaiting) {
  fillTheWay();
}

TEST_F(SocketOption, NonBlockingIgnoresATimeout) {
  socket.setTimeout(3'600'000);
  socket.setNonBlocking(true);
  EXPECT_THAT([&] { socket.readOnce(buffer, 0, 1); }, raisesCode(10035));
}

TEST_F(SocketOption, TimeoutIsSetInMillisecondsForBothDirections) {
  for (const unsigned int timeout : rowsOf({1U, 50U, 1500U, 86'400'123U, 4'294'967'295U, 0U})) {
    socket.setTimeout(timeout);
    // The system rounds the timeout up to its clock ticks of up to 10 ms.
    for (const unsigned long long set :
         rowsOf({receiveTimeout(socket.handle()), sendTimeout(socket.handle())})) {
      EXPECT_GE(set, timeout);
      EXPECT_LE(set - timeout, timeout == 0 ? 0U : 10U);
    }
  }
}

TEST_F(SocketOption, TimeoutEndsABlockedRead) {
  using Clock = std::chrono::steady_clock;
  socket.setTimeout(60);
  const Clock::time_point start = Clock::now();
  EXPECT_THAT([&] { socket.readOnce(buffer, 0, 1); }, raises("QN_ERR_SOCKET_TIMEOUT"));
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(50));  // the system's tick is up to 10 ms
  EXPECT_THAT([&] { socket.read(buffer, 0, 1); }, raises("QN_ERR_SOCKET_TIMEOUT"));
  EXPECT_THAT([&] { socket.readMessage(buffer, nullptr, 0, 1, false); }, raises("QN_ERR_SOCKET_TIMEOUT"));
}

TEST_F(SocketOption, TimeoutDuringAReadKeepsTheBytesReceived) {
  peer.sends(40);
  awaitBytes(socket.handle(), 40);
  socket.setTimeout(20);
  EXPECT_THAT([&] { socket.read(buffer, 0, 100); }, raises("QN_ERR_SOCKET_TIMEOUT"));
  EXPECT_EQ(seen(41), pattern(0, 40) + "-");
}

TEST_F(SocketOption, TimeoutEndsABlockedWrite) {
  fillTheWay();
  socket.setTimeout(20);
  const std::string block(1 << 16, 'x');
  EXPECT_THAT(
      [&] {
        for (;;) socket.write(block.data(), 0, block.size());
      },
      raises("QN_ERR_SOCKET_TIMEOUT"));
}

TEST_F(SocketOption, TimeoutLeavesTheConnectionUsable) {
  socket.setTimeout(10);
  EXPECT_THAT([&] { socket.readOnce(buffer, 0, 1); }, raises("QN_ERR_SOCKET_TIMEOUT"));
  peer.sends(3);
  awaitBytes(socket.handle(), 3);
  EXPECT_EQ(socket.read(buffer, 0, 3), 3U);
  socket.write("x", 0, 1);
  EXPECT_EQ(peer.receives(1), "x");
}

TEST_F(SocketOption, TimeoutOfZeroWaitsWithoutLimit) {
  socket.setTimeout(10);
  EXPECT_THAT([&] { socket.readOnce(buffer, 0, 1); }, raises("QN_ERR_SOCKET_TIMEOUT"));
  socket.setTimeout(0);
  const ThreadView reader;
  std::thread sender(reporting([&] {
    reader.awaitWaiting();
    peer.sends(1);
  }));
  EXPECT_EQ(socket.readOnce(buffer, 0, 1), 1U);
  sender.join();
}

// --- frames

std::string word(unsigned long long length) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(length >> shift & 0xFF);
  return bytes;
}

TEST_F(SocketFrame, IsABigEndianLengthFollowedByThePayload) {
  const std::string text = pattern(0, 0x10203);
  socket.writeMessage(text.data(), 3, 5);
  socket.writeMessage(text.data(), 0, 0);
  socket.writeMessage(nullptr, 0, 0);
  EXPECT_EQ(peer.receives(9 + 4 + 4), std::string("\0\0\0\5", 4) + text.substr(3, 5) + std::string(8, '\0'));
  std::thread writer(reporting([&] { socket.writeMessage(text.data(), 0, text.size()); }));
  EXPECT_EQ(peer.receives(4), std::string("\0\1\2\3", 4));
  EXPECT_TRUE(peer.receives(text.size()) == text);
  writer.join();
}

TEST_F(SocketFrame, IsReadCompletelyForLengthsNextToABlock) {
  for (const std::size_t block : rowsOf({1024U, 1460U, 2048U, 4096U})) {
    for (std::size_t length = block - 8; length <= block + 8; ++length) {
      ROW("length", length);
      const std::string text = pattern(length, length);
      socket.writeMessage(text.data(), 0, length);
      EXPECT_EQ(peer.receives(4), word(length));
      EXPECT_TRUE(peer.receives(length) == text);
    }
  }
  socket.close();
  EXPECT_EQ(peer.receivesAll(), "");
}

TEST_F(SocketFrame, IsReadIntoTheRange) {
  peer.says(word(5)).sends(5);
  unsigned long long frameLength = 77;
  EXPECT_EQ(socket.readMessage(buffer, &frameLength, 10, 90, false), 5U);
  EXPECT_EQ(frameLength, 5U);
  EXPECT_EQ(seen(20), std::string(10, '-') + pattern(0, 5) + std::string(5, '-'));
}

TEST_F(SocketFrame, MayBeExactlyAsLongAsTheCapacity) {
  peer.says(word(20)).sends(20);
  EXPECT_EQ(socket.readMessage(buffer, nullptr, 0, 20, false), 20U);
  EXPECT_EQ(seen(21), pattern(0, 20) + "-");
}

TEST_F(SocketFrame, WithoutPayloadNeedsNoCapacity) {
  peer.says(word(0) + word(0) + word(0));
  unsigned long long frameLength = 77;
  EXPECT_EQ(socket.readMessage(buffer, &frameLength, 0, 100, true), 0U);
  EXPECT_EQ(frameLength, 0U);
  EXPECT_EQ(socket.readMessage(buffer, nullptr, 0, 0, true), 0U);
  EXPECT_EQ(socket.readMessage(nullptr, nullptr, 0, 0, false), 0U);
  EXPECT_EQ(buffer[0], '-');
}

TEST_F(SocketFrame, AboveTheCapacityKeepsItsPayloadUnreadIfNotDrained) {
  peer.says(word(21)).sends(21);
  unsigned long long frameLength = 77;
  EXPECT_THAT([&] { socket.readMessage(buffer, &frameLength, 0, 20, false); },
              Raises<SocketException>("ERR_DEST_BUFFER_TOO_SMALL", 20, 21).from(source));
  EXPECT_EQ(frameLength, 21U);
  EXPECT_EQ(buffer[0], '-');
  EXPECT_EQ(socket.read(buffer, 0, 21), 21U);
  EXPECT_EQ(seen(21), pattern(0, 21));
}

TEST_F(SocketFrame, AboveTheCapacityIsDrainedSoThatTheNextOneIsRead) {
  // Lengths next to the drain's chunk of 1024 bytes, and lengths of several chunks.
  for (const std::size_t length : rowsOf({1U, 21U, 1023U, 1024U, 1025U, 2048U, 2500U, 50'000U})) {
    clear();
    std::thread sender(
        reporting([&] { peer.says(word(length) + std::string(length, 'd') + word(4) + "next"); }));
    unsigned long long frameLength = 77;
    // Neither a large offset nor a null buffer may affect the drain.
    EXPECT_THAT([&] { socket.readMessage(nullptr, &frameLength, 100'000, 0, true); },
                Raises<SocketException>("ERR_DEST_BUFFER_TOO_SMALL", 0, length).from(source));
    EXPECT_EQ(frameLength, length);
    EXPECT_EQ(socket.readMessage(buffer, &frameLength, 0, 100, true), 4U);
    EXPECT_EQ(seen(5), "next-");
    sender.join();
  }
}

TEST_F(SocketFrame, DrainEndsWhenThePeerCloses) {
  peer.says(word(5000)).sends(1500).closes();
  EXPECT_THAT([&] { socket.readMessage(buffer, nullptr, 0, 100, true); },
              Raises<SocketException>("ERR_DEST_BUFFER_TOO_SMALL", 100, 5000).from(source));
  EXPECT_EQ(socket.readOnce(buffer, 0, 1), 0U);
}

TEST_F(SocketFrame, DrainRaisesAResetDuringThePayload) {
  peer.says(word(5000)).sends(1500);
  awaitBytes(socket.handle(), 1504);
  resetByThePeer();
  unsigned long long frameLength = 77;
  EXPECT_THAT([&] { socket.readMessage(buffer, &frameLength, 0, 100, true); },
              raises("QN_ERR_SOCKET_CONNECTION_RESET"));
  EXPECT_EQ(frameLength, 5000U);
}

TEST_F(SocketFrame, CapacityAndLengthAreSigned32BitArguments) {
  peer.says(word(0xFFFFFFFF) + word(0x80000001));
  unsigned long long frameLength = 0;
  EXPECT_THAT([&] { socket.readMessage(buffer, &frameLength, 0, 0x80000000, false); },
              Raises<SocketException>("ERR_DEST_BUFFER_TOO_SMALL", "-2147483648", "-1").from(source));
  EXPECT_EQ(frameLength, 0xFFFFFFFFU);
  EXPECT_THAT([&] { socket.readMessage(buffer, &frameLength, 0, 100, false); },
              Raises<SocketException>("ERR_DEST_BUFFER_TOO_SMALL", 100, "-2147483647").from(source));
  EXPECT_EQ(frameLength, 0x80000001U);
}

TEST_F(SocketFrame, CapacityIsComparedIn64Bits) {
  peer.says(word(5)).sends(5);
  EXPECT_EQ(socket.readMessage(buffer, nullptr, 0, 1ULL << 32, false), 5U);
  EXPECT_EQ(seen(6), pattern(0, 5) + "-");
}

TEST_F(SocketFrame, RaisesClosedIfThePeerClosesBeforeIt) {
  peer.closes();
  unsigned long long frameLength = 77;
  for (int i = 0; i < 2; ++i) {
    ROW("i", i);
    EXPECT_THAT([&] { socket.readMessage(buffer, &frameLength, 0, 100, true); }, raises("ERR_SOCKET_CLOSED"));
  }
  EXPECT_EQ(frameLength, 77U);
}

TEST_F(SocketFrame, TruncatedLengthCountsItsMissingBytesAsZero) {
  peer.says(std::string("\0\0\1", 3)).closes();
  unsigned long long frameLength = 77;
  EXPECT_EQ(socket.readMessage(buffer, &frameLength, 0, 256, false), 0U);
  EXPECT_EQ(frameLength, 256U);
}

TEST_F(SocketFrame, LengthTruncatedAfterOneByteCanExceedTheCapacity) {
  peer.says("\1").closes();
  unsigned long long frameLength = 77;
  EXPECT_THAT([&] { socket.readMessage(buffer, &frameLength, 0, 100, true); },
              Raises<SocketException>("ERR_DEST_BUFFER_TOO_SMALL", 100, 0x1000000).from(source));
  EXPECT_EQ(frameLength, 0x1000000U);
}

TEST_F(SocketFrame, TruncatedInItsPayloadReturnsTheShortCount) {
  peer.says(word(50)).sends(20).closes();
  unsigned long long frameLength = 77;
  EXPECT_EQ(socket.readMessage(buffer, &frameLength, 0, 100, false), 20U);
  EXPECT_EQ(frameLength, 50U);
  EXPECT_EQ(seen(21), pattern(0, 20) + "-");
}

TEST_F(SocketFrame, IntoAnInvalidRangeRaisesAfterTheLengthIsRead) {
  peer.says(word(5)).sends(5);
  unsigned long long frameLength = 77;
  EXPECT_THAT([&] { socket.readMessage(nullptr, &frameLength, 0, 100, false); }, raisesCode(10014));
  EXPECT_EQ(frameLength, 5U);
  EXPECT_EQ(socket.read(buffer, 0, 5), 5U);
}

TEST_F(SocketFrame, WrittenByOneSocketIsReadByAnother) {
  // The peer only forwards the bytes: the library both writes and reads the frame.
  Connection other;
  const std::string text = pattern(0, 60);
  for (const std::size_t length : rowsOf({0U, 1U, 60U})) {
    socket.writeMessage(text.data(), 0, length);
    other.peer.says(peer.receives(4 + length));
    EXPECT_EQ(other.socket.readMessage(buffer, nullptr, 0, 100, false), length);
    EXPECT_EQ(seen(length), text.substr(0, length));
  }
}

// --- two threads on one connection

TEST(SocketThreads, OneReaderAndOneWriterCanShareAConnection) {
  Connection connection;
  Socket view(connection.socket);
  constexpr std::size_t total = 4 << 20;
  const std::string text = pattern(0, total);
  std::string received(total, '-');
  std::string echoed;
  std::thread writer(reporting([&] { view.write(text.data(), 0, text.size()); }));
  std::thread sender(reporting([&] { connection.peer.sends(total); }));
  std::thread reader(reporting([&] { EXPECT_EQ(connection.socket.read(received.data(), 0, total), total); }));
  echoed = connection.peer.receives(total);
  writer.join();
  sender.join();
  reader.join();
  EXPECT_TRUE(received == text);
  EXPECT_TRUE(echoed == text);
}

/// A call that blocks in one thread until another thread shuts the connection down.
struct WaitingCall {
  const char* name;
  std::function<void(Socket&)> run;
};

const WaitingCall waitingCalls[] = {
    {"readOnce", [](Socket& socket) { socket.readOnce(scratch, 0, 1); }},
    {"read", [](Socket& socket) { socket.read(scratch, 0, 2); }},
    {"readMessage", [](Socket& socket) { socket.readMessage(scratch, nullptr, 0, sizeof scratch, true); }},
    {"write",
     [](Socket& socket) {
       const std::string much(64 << 20, 'x');
       socket.write(much.data(), 0, much.size());
     }},
    {"writeMessage",
     [](Socket& socket) {
       const std::string much(64 << 20, 'x');
       socket.writeMessage(much.data(), 0, much.size());
     }},
};

TEST(SocketThreads, AShutdownByAnotherThreadEndsEachBlockedCall) {
  for (const WaitingCall& call : rowsOf(waitingCalls)) {
    Connection connection;
    const ThreadView waiting;
    std::thread other([&] {
      waiting.awaitWaiting();
      connection.socket.shutdownBoth();
    });
    EXPECT_THAT(
        [&] { call.run(connection.socket); },
        Raises<SocketException>("QN_ERR_SOCKET_SHUTDOWN", connection.host(), connection.port()).from(source));
    other.join();
  }
}

}  // namespace
}  // namespace tarvo::test
