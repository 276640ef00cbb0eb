// Transfers without waiting and `poll`, which must give the same results on every platform.

#include "support/kelHandles.hpp"
#include "support/kelPeer.hpp"
#include "support/kelRows.hpp"
#include "support/kelSeamSockets.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

namespace tarvo::test {
namespace {

using platform::PollEntry;

constexpr unsigned char both = PollEntry::read | PollEntry::write;

class WinsockPoll : public testing::Test {
 protected:
  void SetUp() override {
    platform::StartupData data;
    ASSERT_EQ(system().WSAStartup(platform::winsockVersion, data), 0);
  }
  void TearDown() override { EXPECT_EQ(system().WSACleanup(), 0); }

  static int poll(std::vector<PollEntry>& entries, long long milliseconds) {
    return system().poll(entries.data(), entries.size(), milliseconds);
  }
  static unsigned int readyOf(SocketHandle handle, unsigned char wanted, long long milliseconds) {
    std::vector<PollEntry> entries = {{handle, wanted, 0}};
    const int count = poll(entries, milliseconds);
    EXPECT_EQ(count, entries[0].ready != 0 ? 1 : 0);
    return entries[0].ready;
  }
};

TEST_F(WinsockPoll, TransfersWithoutWaiting) {
  const Pair pair;
  char byte = 0;
  system().WSASetLastError(0);
  EXPECT_EQ(system().recvNow(pair.client, &byte, 1), platform::socketError);
  EXPECT_EQ(lastError(), platform::wsa::wouldBlock);
  EXPECT_EQ(system().sendNow(pair.server, "x", 1), 1);
  EXPECT_EQ(readyOf(pair.client, PollEntry::read, -1), PollEntry::read);
  EXPECT_EQ(system().recvNow(pair.client, &byte, 1), 1);
  EXPECT_EQ(byte, 'x');
}

TEST_F(WinsockPoll, SendsUntilNothingMoreCanBeTaken) {
  const Pair pair;
  const std::string block(1 << 16, 'f');
  int count = 0;
  do {
    count = system().sendNow(pair.client, block.data(), static_cast<int>(block.size()));
  } while (count > 0);
  EXPECT_EQ(count, platform::socketError);
  EXPECT_EQ(lastError(), platform::wsa::wouldBlock);
}

TEST_F(WinsockPoll, ReportsOnlyWhatIsWanted) {
  const Pair pair;
  EXPECT_EQ(readyOf(pair.client, both, 0), PollEntry::write);
  EXPECT_EQ(readyOf(pair.client, PollEntry::read, 0), 0U);
  EXPECT_EQ(system().send(pair.server, "x", 1), 1);
  awaitBytes(pair.client, 1);
  EXPECT_EQ(readyOf(pair.client, both, 0), both);
  EXPECT_EQ(readyOf(pair.client, PollEntry::write, 0), PollEntry::write);
}

TEST_F(WinsockPoll, ReportsAListenerWithAPendingConnectionAsReadable) {
  const Pair pair;
  EXPECT_EQ(readyOf(pair.listener, PollEntry::read, 0), 0U);
  const SocketHandle next = tcpSocket();
  EXPECT_EQ(connectTo(next, pair.address), 0);
  EXPECT_EQ(readyOf(pair.listener, PollEntry::read, -1), PollEntry::read);
  system().closesocket(next);
}

TEST_F(WinsockPoll, ReportsTheEndOfTheStreamAsReadable) {
  Pair pair;
  system().closesocket(pair.server);
  pair.server = invalidSocket;
  EXPECT_EQ(readyOf(pair.client, PollEntry::read, -1), PollEntry::read);
}

TEST_F(WinsockPoll, ReportsAResetConnectionAsReadyForAll) {
  const ResetConnection reset;
  EXPECT_EQ(readyOf(reset.client, PollEntry::read, -1), PollEntry::read);
  EXPECT_EQ(readyOf(reset.client, PollEntry::write, -1), PollEntry::write);
}

TEST_F(WinsockPoll, ReportsAnAttemptAsWritableWhetherItSucceededOrFailed) {
  const ClosedPort closed;
  Peer open;
  for (const bool succeeds : rowsOf({true, false})) {
    const SocketHandle handle = tcpSocket();
    EXPECT_EQ(system().ioctlsocketNonBlocking(handle, 1), 0);
    connectTo(handle, loopback(succeeds ? open.port() : closed.port()));
    EXPECT_EQ(readyOf(handle, PollEntry::write, -1), PollEntry::write);
    int pending = -1;
    EXPECT_EQ(system().getsockopt(handle, platform::levelSocket, platform::optionError, pending), 0);
    EXPECT_EQ(pending, succeeds ? 0 : platform::wsa::connectionRefused);
    system().closesocket(handle);
  }
}

TEST_F(WinsockPoll, ReportsNothingForAnEntryThatWantsNothing) {
  const Pair pair;
  std::vector<PollEntry> entries = {{invalidSocket, 0, both}, {pair.client, PollEntry::write, 0}};
  EXPECT_EQ(poll(entries, -1), 1);
  EXPECT_EQ(entries[0].ready, 0);
  EXPECT_EQ(entries[1].ready, PollEntry::write);
}

TEST_F(WinsockPoll, WatchesMoreHandlesThanASet) {
  const Pair pair;
  std::vector<SocketHandle> idle;
  std::vector<PollEntry> entries;
  for (unsigned int i = 0; i < 3 * SocketSet::most; ++i) {
    idle.push_back(tcpSocket());
    EXPECT_EQ(system().bind(idle.back(), loopback().data(), loopback().size()), 0);
    EXPECT_EQ(system().listen(idle.back(), 1), 0);
    entries.push_back({idle.back(), PollEntry::read, 0});
  }
  entries.push_back({pair.client, both, 0});
  EXPECT_EQ(poll(entries, -1), 1);
  EXPECT_EQ(entries.back().ready, PollEntry::write);
  for (std::size_t i = 0; i < idle.size(); ++i) EXPECT_EQ(entries[i].ready, 0) << i;
  for (const SocketHandle handle : idle) system().closesocket(handle);
}

TEST_F(WinsockPoll, RefusesAHandleThatIsNotOpen) {
  const Pair pair;
  for (const SocketHandle bad : rowsOf({invalidSocket, SocketHandle{0x123456789A}})) {
    std::vector<PollEntry> entries = {{bad, PollEntry::read, 0}};
    EXPECT_EQ(poll(entries, -1), platform::socketError);
    EXPECT_EQ(lastError(), platform::wsa::notASocket);
  }
  const SocketHandle closed = tcpSocket();
  system().closesocket(closed);
  std::vector<PollEntry> entries = {{closed, PollEntry::read, 0}};
  EXPECT_EQ(poll(entries, -1), platform::socketError);
  EXPECT_EQ(lastError(), platform::wsa::notASocket);
}

TEST_F(WinsockPoll, ReadsTheNameOfThePeer) {
  const Pair pair;
  Address name(128);
  std::size_t length = name.size();
  EXPECT_EQ(system().getpeername(pair.client, name.data(), length), 0);
  name.resize(length);
  EXPECT_EQ(name, pair.address);
  length = 128;
  EXPECT_EQ(system().getpeername(pair.listener, name.data(), length), platform::socketError);
  EXPECT_EQ(lastError(), platform::wsa::notConnected);
}

}  // namespace
}  // namespace tarvo::test
