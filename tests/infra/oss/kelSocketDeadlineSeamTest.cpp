#include "infra/oss/kelDeadline.hpp"
#include "infra/oss/kelSocket.hpp"

#include "support/kelRows.hpp"
#include "support/kelSocketFixtureSeam.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace tarvo::test {
namespace {

using oss::Deadline;
using oss::Socket;
using platform::wsa::wouldBlock;
using testing::ElementsAre;
using testing::StartsWith;
using Transfer = Socket::Transfer;

constexpr const char* host = "peer.example";
constexpr unsigned int port = 4711;
constexpr const char* file = "kelSocket.cpp";

class SocketWithin : public SocketFixture {
 protected:
  SocketWithin() { connected(socket); }
  void TearDown() override {
    socket.close();
    EXPECT_EQ(fake.starts(), fake.cleanups() + 1);
    fake.WSACleanup();  // replaces that of `socket`, which is destroyed after the check
    SocketFixture::TearDown();
    EXPECT_EQ(fake.WSAStartup(platform::winsockVersion, data_), 0);
  }

  void failsWith(int code) {
    fake.on.recvNow = [this, code](auto, auto, auto) { return fake.fails(code); };
    fake.on.sendNow = [this, code](auto, auto, auto) { return fake.fails(code); };
  }

  Socket socket;
  char buffer[100] = {};

 private:
  platform::StartupData data_;
};

struct Operation {
  const char* name;
  std::function<Transfer(Socket&, char*, const Deadline&)> run;
};

const std::vector<Operation>& operations() {
  static const std::vector<Operation> all = {
      {"readWithin", [](Socket& socket, char* buffer,
                        const Deadline& end) { return socket.readWithin(buffer, 0, 9, end); }},
      {"writeWithin", [](Socket& socket, char* buffer,
                         const Deadline& end) { return socket.writeWithin(buffer, 0, 9, end); }},
      {"readMessageWithin",
       [](Socket& socket, char* buffer, const Deadline& end) {
         return socket.readMessageWithin(buffer, nullptr, 0, 9, true, end);
       }},
      {"writeMessageWithin",
       [](Socket& socket, char* buffer, const Deadline& end) {
         return socket.writeMessageWithin(buffer, 0, 9, end);
       }},
  };
  return all;
}

TEST_F(SocketWithin, RaisesTheCodeOfTheTransfer) {
  for (const Operation& operation : rowsOf(operations())) {
    for (const int code : rowsOf(sampleCodes)) {
      failsWith(code);
      EXPECT_THAT([&] { operation.run(socket, buffer, Deadline::never()); },
                  RaisesMapped(code, host, port).from(file));
    }
  }
}

TEST_F(SocketWithin, RaisesTheCodeOfTheWait) {
  failsWith(wouldBlock);
  for (const Operation& operation : rowsOf(operations())) {
    for (const int code : rowsOf(sampleCodes)) {
      fake.failing("poll", 1).with(code);
      EXPECT_THAT([&] { operation.run(socket, buffer, Deadline::never()); },
                  RaisesMapped(code, host, port).from(file));
    }
  }
}

TEST_F(SocketWithin, WaitsForItsDirectionAndWithoutLimitIfTheDeadlineNeverExpires) {
  failsWith(wouldBlock);
  fake.on.poll = [this](auto, auto, auto) { return fake.fails(10038); };
  EXPECT_ANY_THROW(socket.readWithin(buffer, 0, 9, Deadline::never()));
  EXPECT_ANY_THROW(socket.writeWithin(buffer, 0, 9, Deadline::never()));
  EXPECT_THAT(fake.steps(),
              ElementsAre("recvNow(#1, 9)", "poll({#1:1}, -1)", "sendNow(#1, 9)", "poll({#1:2}, -1)"));
}

// A wait of the system may end early. The deadline decides.
TEST_F(SocketWithin, WaitsAgainIfAWaitEndsBeforeTheDeadline) {
  failsWith(wouldBlock);
  int waits = 0;
  fake.on.poll = [&](platform::PollEntry* entries, auto, long long time) {
    EXPECT_GT(time, 0);
    EXPECT_LE(time, 1'000'000'000);
    if (++waits == 1) return 0;
    entries->ready = entries->wanted;
    failsWith(10054);
    return 1;
  };
  EXPECT_THAT([&] { socket.readWithin(buffer, 0, 9, Deadline::in(~0ULL)); },
              RaisesMapped(10054, host, port).from(file));
  EXPECT_EQ(waits, 2);
}

// Otherwise a peer that sends a byte now and then would hold the caller for as long as it likes.
TEST_F(SocketWithin, EndsAtTheDeadlineAlthoughBytesKeepMoving) {
  for (const Operation& operation : rowsOf({operations()[0], operations()[1]})) {
    const Deadline deadline = Deadline::in(5);
    int late = 0;
    unsigned long long moved = 0;
    // Each step moves one byte: before the deadline without end, after it only once.
    const auto step = [&](auto, auto, auto) {
      if (deadline.hasPassed() && ++late > 1) return fake.fails(10022);
      ++moved;
      return 1;
    };
    fake.on.recvNow = step;
    fake.on.sendNow = step;
    constexpr unsigned long long length = 1ULL << 30;  // of bytes, more than move before the deadline
    const Transfer transfer = std::string(operation.name) == "readWithin"
                                  ? socket.readWithin(buffer, 0, length, deadline)
                                  : socket.writeWithin(buffer, 0, length, deadline);
    EXPECT_EQ(transfer.end, Transfer::EXPIRED);
    EXPECT_EQ(transfer.bytes, moved);
    EXPECT_TRUE(transfer.usable);
  }
}

TEST_F(SocketWithin, NeverChangesTheModeOfTheConnection) {
  failsWith(wouldBlock);
  for (const Operation& operation : rowsOf(operations()))
    EXPECT_EQ(operation.run(socket, buffer, Deadline::in(0)).end, Transfer::EXPIRED);
  EXPECT_EQ(socket.writeOnce(buffer, 0, 9), 0U);
  EXPECT_EQ(fake.countOf("ioctlsocketNonBlocking"), 0);
  EXPECT_EQ(fake.countOf("setsockopt"), 0);
  EXPECT_EQ(fake.countOf("send"), 0);
  EXPECT_EQ(fake.countOf("recv"), 0);
}

TEST_F(SocketWithin, ReportsAFrameOfWhichAPartOfTheLengthWordWasSent) {
  int sends = 0;
  fake.on.sendNow = [&](auto, auto, auto) { return ++sends == 1 ? 2 : fake.fails(wouldBlock); };
  const Transfer transfer = socket.writeMessageWithin(buffer, 0, 9, Deadline::in(1));
  EXPECT_EQ(transfer.end, Transfer::EXPIRED);
  EXPECT_EQ(transfer.bytes, 0U);
  EXPECT_FALSE(transfer.usable);
}

TEST_F(SocketWithin, WriteOnceRaisesTheMappedError) {
  for (const int code : rowsOf(sampleCodes)) {
    failsWith(code);
    EXPECT_THAT([&] { socket.writeOnce(buffer, 0, 1); }, RaisesMapped(code, host, port).from(file));
  }
}

TEST_F(SocketWithin, PeerRaisesTheMappedError) {
  for (const int code : rowsOf(sampleCodes)) {
    fake.failing("getpeername", 1).with(code);
    EXPECT_THAT([&] { socket.peerHost(); }, RaisesMapped(code, host, port).from(file));
    fake.failing("getpeername", 1).with(code);
    EXPECT_THAT([&] { socket.peerPort(); }, RaisesMapped(code, host, port).from(file));
  }
}

// One deadline holds for all addresses: the second attempt gets the rest.
TEST_F(SocketWithin, ConnectGivesEachAttemptTheTimeThatIsLeft) {
  Socket other;
  resolvesTo({inetAddress("10.0.0.1", port), inetAddress("10.0.0.2", port)});
  fake.on.connect = [this](auto, const unsigned char* address, auto) {
    return fake.fails(address[7] == 1 ? 10065 : wouldBlock);
  };
  fake.on.select = [](auto& read, auto& write, auto& error, const platform::TimeValue* limit) {
    EXPECT_NE(limit, nullptr);
    EXPECT_LE(limit->seconds, 60);
    read.count = write.count = error.count = 0;
    return 0;
  };
  EXPECT_THAT([&] { other.connect(host, port, Socket::NullAddrInfoExternal, Deadline::in(60'000)); },
              Raises<oss::SocketException>("ERR_SOCKET_TIMEOUT", host, port).from(file));
  EXPECT_EQ(fake.countOf("select"), 1);
}

TEST_F(SocketWithin, ConnectTriesNothingAfterASlowResolution) {
  Socket other;
  const Deadline deadline = Deadline::in(1);
  fake.on.getaddrinfo = [&](auto, auto, const auto&, auto& list) {
    while (!deadline.hasPassed()) {
    }
    list = {inetAddress("10.0.0.1", port)};
    return 0;
  };
  EXPECT_THAT([&] { other.connect(host, port, Socket::NullAddrInfoExternal, deadline); },
              Raises<oss::SocketException>("ERR_SOCKET_TIMEOUT", host, port).from(file));
  EXPECT_THAT(fake.steps(), ElementsAre(StartsWith("getaddrinfo")));
}

}  // namespace
}  // namespace tarvo::test
