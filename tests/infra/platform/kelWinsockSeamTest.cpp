// Results of the Winsock seam that must be the same on every platform.

#include "support/kelHandles.hpp"
#include "support/kelPeer.hpp"
#include "support/kelReporting.hpp"
#include "support/kelRows.hpp"
#include "support/kelSeamSockets.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstddef>
#include <initializer_list>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace tarvo::test {
namespace {

class WinsockSeam : public testing::Test {
 protected:
  void SetUp() override {
    platform::StartupData data;
    ASSERT_EQ(system().WSAStartup(platform::winsockVersion, data), 0);
    descriptors_ = openDescriptors();
  }
  void TearDown() override {
    EXPECT_EQ(openDescriptors(), descriptors_);
    EXPECT_EQ(system().WSACleanup(), 0);
  }

 private:
  std::size_t descriptors_ = 0;
};

// --- the last error

// No call of the C++ runtime may come in between: on Windows the runtime shares the last error with Winsock
// and may change it.
TEST_F(WinsockSeam, LastErrorBelongsToTheThread) {
  std::atomic<int> step{0};
  const auto await = [&](int wanted) {
    while (step != wanted) {
    }
  };
  std::thread other(reporting([&] {
    await(1);
    system().WSASetLastError(10054);
    step = 2;
    await(3);
    EXPECT_EQ(lastError(), 10054);
  }));
  system().WSASetLastError(10061);
  step = 1;
  await(2);
  const int own = lastError();
  step = 3;
  other.join();
  EXPECT_EQ(own, 10061);
}

TEST_F(WinsockSeam, StartsTheRequestedVersion) {
  platform::StartupData data;
  EXPECT_EQ(system().WSAStartup(0x0202, data), 0);
  EXPECT_EQ(data.version, 0x0202);
  EXPECT_EQ(system().WSACleanup(), 0);
}

// --- handles that are not sockets

TEST_F(WinsockSeam, EveryFunctionRefusesHandlesThatAreNotSockets) {
  const SocketHandle open = tcpSocket();
  const SocketHandle closed = tcpSocket();
  system().closesocket(closed);
  const std::vector<std::pair<const char*, SocketHandle>> handles = {
      {"closed", closed},
      {"none", invalidSocket},
      {"beyond any that is open", 2000000000ULL},
      {"beyond int, an open socket in its low half", (1ULL << 32U) + open},
      {"the sign bit", 1ULL << 63U}};
  for (const auto& [what, handle] : rowsOf(handles)) {
    ROW(what);
    expectNoSocket(handle);
  }
  EXPECT_EQ(system().closesocket(open), 0) << "as it was";
}

// --- sockets, addresses

// On some systems the family of IPv6 has another number, and a socket type can contain flags.
TEST_F(WinsockSeam, SocketRefusesValuesThatWinsockDoesNotKnow) {
  struct Row {
    int family;
    int type;
    int protocol;
    int code;
  };
  for (const Row& row :
       rowsOf({Row{0, 1, 6, 10047}, Row{1, 1, 0, 10047}, Row{10, 1, 6, 10047}, Row{17, 1, 0, 10047},
               Row{-1, 1, 6, 10047}, Row{99, 1, 6, 10047}, Row{2, 0, 6, 10044}, Row{2, -1, 6, 10044},
               Row{2, 6, 6, 10044}, Row{2, 10, 6, 10044}, Row{2, 1 | 0x800, 6, 10044},
               Row{2, 1 | 0x80000, 6, 10044}, Row{2, INT_MIN + 1, 6, 10044}, Row{2, 1, 254, 10043}})) {
    ROW(row.family, row.type, row.protocol);
    system().WSASetLastError(0);
    EXPECT_EQ(system().socket(row.family, row.type, row.protocol), invalidSocket);
    EXPECT_EQ(lastError(), row.code);
  }
}

TEST_F(WinsockSeam, AddressesOfOtherFamiliesOrTruncatedOnesAreRefused) {
  const SocketHandle handle = tcpSocket();
  const auto withFamily = [](int family) {
    Address address = loopback(1);
    address.resize(128);
    address[0] = static_cast<unsigned char>(family);
    address[1] = static_cast<unsigned char>(family >> 8);
    return address;
  };
  struct Row {
    const char* what;
    Address address;
    int code;
  };
  Address cut4 = loopback(1);
  cut4.resize(15);
  Address cut6 = loopback6(1);
  cut6.resize(27);
  const std::vector<Row> rows = {
      {"unspecified", withFamily(0), 10047},
      {"another system's IPv6", withFamily(10), 10047},
      {"local", withFamily(1), 10047},
      {"garbage", withFamily(0xEEEE), 10047},
      {"IPv4 in the low byte only", withFamily(0x0102), 10047},
      {"no bytes", {}, 10014},
      {"one byte", {2}, 10014},
      {"a family alone", {2, 0}, 10014},
      {"15 bytes", cut4, 10014},
      {"27 bytes of IPv6", cut6, 10014},
  };
  for (const Row& row : rowsOf(rows)) {
    for (const bool binding : rowsOf({false, true})) {
      system().WSASetLastError(0);
      EXPECT_EQ(binding ? system().bind(handle, row.address.data(), row.address.size())
                        : connectTo(handle, row.address),
                platform::socketError);
      EXPECT_EQ(lastError(), row.code) << binding;
    }
  }
  EXPECT_EQ(system().connect(handle, nullptr, 16), platform::socketError);
  EXPECT_EQ(lastError(), 10014);
  system().closesocket(handle);
}

TEST_F(WinsockSeam, ConnectsOverIpv6ByWinsocksAddress) {
  const Pair pair(loopback6());
  EXPECT_EQ(system().send(pair.client, "six", 3), 3);
  char bytes[4] = {};
  EXPECT_EQ(system().recv(pair.server, bytes, 3), 3);
  EXPECT_STREQ(bytes, "six");
}

TEST_F(WinsockSeam, NameIsTruncatedToTheBuffer) {
  const SocketHandle handle = tcpSocket();
  system().bind(handle, loopback().data(), 16);
  for (const std::size_t room : rowsOf({0U, 1U, 2U, 8U, 15U, 16U})) {
    Address bytes(20, 0xEE);
    std::size_t length = room;
    EXPECT_EQ(system().getsockname(handle, bytes.data(), length), 0);
    EXPECT_EQ(length, room);
    EXPECT_EQ(bytes[room], 0xEE) << room;
  }
  system().closesocket(handle);
}

TEST_F(WinsockSeam, ConnectToNoFamilyDoesNotEndAConnection) {
  const Pair pair;
  Address unspecified(16);
  EXPECT_EQ(connectTo(pair.client, unspecified), platform::socketError);
  EXPECT_EQ(system().send(pair.client, "x", 1), 1) << "still connected";
}

TEST_F(WinsockSeam, AddressesMayBeLongerThanTheirFamilyNeeds) {
  const Pair pair;
  const SocketHandle another = tcpSocket();
  Address address = pair.address;
  address.resize(128, 0xEE);
  EXPECT_EQ(connectTo(another, address), 0);
  system().closesocket(another);
}

TEST_F(WinsockSeam, FailuresOfConnectAndBindHaveWinsocksCodes) {
  const Pair pair;
  EXPECT_EQ(connectTo(pair.client, pair.address), platform::socketError);
  EXPECT_EQ(lastError(), 10056);
  const SocketHandle second = tcpSocket();
  EXPECT_EQ(system().bind(second, pair.address.data(), pair.address.size()), platform::socketError);
  EXPECT_EQ(lastError(), 10048);
  ASSERT_EQ(system().bind(second, loopback().data(), 16), 0);
  const Address closedPort = nameOf(second);  // bound, but nobody listens
  const SocketHandle third = tcpSocket();
  EXPECT_EQ(connectTo(third, closedPort), platform::socketError);
  EXPECT_EQ(lastError(), 10061);
  system().closesocket(second);
  system().closesocket(third);
}

TEST_F(WinsockSeam, ConnectInProgressReportsWouldBlockAndFailsLaterOnlyInTheErrorSet) {
  const SocketHandle bound = tcpSocket();
  system().bind(bound, loopback().data(), 16);
  const SocketHandle handle = tcpSocket();
  system().ioctlsocketNonBlocking(handle, 1);
  EXPECT_EQ(connectTo(handle, nameOf(bound)), platform::socketError);
  EXPECT_EQ(lastError(), 10035);
  SocketSet read;
  SocketSet write;
  SocketSet error;
  write.add(handle);
  error.add(handle);
  EXPECT_EQ(system().select(read, write, error, nullptr), 1);
  EXPECT_EQ(write.count, 0U);
  EXPECT_TRUE(error.contains(handle));
  int pending = 0;
  EXPECT_EQ(system().getsockopt(handle, 0xFFFF, 0x1007, pending), 0);
  EXPECT_EQ(pending, 10061) << "the wait left it";
  system().closesocket(handle);
  system().closesocket(bound);
}

// --- resolver

TEST_F(WinsockSeam, ResolverReturnsWinsocksNumbers) {
  const platform::AddressHints hints = {0, 0, 1, 0};
  std::vector<platform::ResolvedAddress> list;
  EXPECT_EQ(system().getaddrinfo("::1", "4711", hints, list), 0);
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].family, 23);
  EXPECT_EQ(list[0].socketType, 1);
  EXPECT_EQ(list[0].address, loopback6(4711));
  EXPECT_EQ(list[0].canonicalName, "");
  list.clear();
  EXPECT_EQ(system().getaddrinfo("127.0.0.1", "80", hints, list), 0);
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].family, 2);
  EXPECT_EQ(list[0].address, loopback(80));
}

TEST_F(WinsockSeam, ResolverOffersTheWildcardForListening) {
  std::vector<platform::ResolvedAddress> list;
  EXPECT_EQ(system().getaddrinfo(nullptr, "0", {1, 0, 1, 0}, list), 0);
  ASSERT_FALSE(list.empty());
  EXPECT_EQ(list[0].family, 2) << "IPv4 comes first";
  EXPECT_EQ(list[0].address, Address({2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
  list.clear();
  EXPECT_EQ(system().getaddrinfo(nullptr, "80", {1, 23, 1, 0}, list), 0);
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].family, 23);
  Address wildcard6(28);
  wildcard6[0] = 23;
  wildcard6[3] = 80;
  EXPECT_EQ(list[0].address, wildcard6);
}

TEST_F(WinsockSeam, ResolverReturnsItsCodeAndDoesNotChangeTheList) {
  std::vector<platform::ResolvedAddress> list;
  EXPECT_EQ(system().getaddrinfo("no.such.name.invalid.", "80", {0, 2, 99, 0}, list), 10044);
  EXPECT_EQ(system().getaddrinfo("127.0.0.1", "80", {0, 99, 1, 0}, list), 10047);
  EXPECT_EQ(system().getaddrinfo("127.0.0.1", "no-such-service", {0, 2, 1, 0}, list), 10109);
  EXPECT_EQ(system().getaddrinfo(nullptr, nullptr, {0, 0, 1, 0}, list), 11001);
  EXPECT_TRUE(list.empty());
}

TEST_F(WinsockSeam, ResolverAcceptsANullServiceAndRefusesANonNumericOne) {
  const platform::AddressHints hints = {0, 0, platform::typeStream, 0};
  std::vector<platform::ResolvedAddress> list;
  EXPECT_EQ(system().getaddrinfo("127.0.0.1", nullptr, hints, list), 0);
  EXPECT_EQ(list.size(), 1U);
  EXPECT_NE(system().getaddrinfo("127.0.0.1", "70000x", hints, list), 0);
  EXPECT_EQ(system().getaddrinfo("127.0.0.1", "70000", hints, list), platform::wsa::typeNotFound);
  EXPECT_EQ(list.size(), 1U);
}

// --- options, blocking

TEST_F(WinsockSeam, ATransferTimesOutAndANonBlockingOneWouldBlock) {
  const Pair pair;
  char byte = 0;
  ASSERT_EQ(system().setsockopt(pair.client, 0xFFFF, 0x1006, 1), 0);
  ASSERT_EQ(system().setsockopt(pair.client, 0xFFFF, 0x1005, 1), 0);
  EXPECT_EQ(system().recv(pair.client, &byte, 1), platform::socketError);
  EXPECT_EQ(lastError(), 10060);
  const std::vector<char> much(1 << 16);
  int sent = 0;
  while (sent >= 0) sent = system().send(pair.client, much.data(), static_cast<int>(much.size()));
  EXPECT_EQ(lastError(), 10060) << "nobody receives";
  ASSERT_EQ(system().ioctlsocketNonBlocking(pair.client, 1), 0);
  EXPECT_EQ(system().recv(pair.client, &byte, 1), platform::socketError);
  EXPECT_EQ(lastError(), 10035);
  do sent = system().send(pair.client, much.data(), static_cast<int>(much.size()));
  while (sent >= 0);
  EXPECT_EQ(lastError(), 10035);
  ASSERT_EQ(system().ioctlsocketNonBlocking(pair.client, 0), 0);
  EXPECT_EQ(system().recv(pair.client, &byte, 1), platform::socketError);
  EXPECT_EQ(lastError(), 10060) << "blocking again";
}

TEST_F(WinsockSeam, QueryingATimeoutRefusesAHandleThatIsNotASocket) {
  int value = 7;
  EXPECT_EQ(
      system().getsockopt(platform::invalidSocket, platform::levelSocket, platform::optionSendTimeout, value),
      platform::socketError);
  EXPECT_EQ(system().WSAGetLastError(), platform::wsa::notASocket);
  EXPECT_EQ(value, 7);
}

// --- accept

TEST_F(WinsockSeam, BacklogsAboveTheLargestIntAreAccepted) {
  const SocketHandle handle = tcpSocket();
  system().bind(handle, loopback().data(), 16);
  EXPECT_EQ(system().listen(handle, 4294967295U), 0);
  const SocketHandle client = tcpSocket();
  EXPECT_EQ(connectTo(client, nameOf(handle)), 0);
  system().closesocket(client);
  system().closesocket(handle);
}

// --- ends of connections

TEST_F(WinsockSeam, ReportsShutDownForADirectionThatWasShutDown) {
  const Pair pair;
  char byte = 0;
  EXPECT_EQ(system().shutdown(pair.client, 1), 0);
  for (int again = 0; again < 2; ++again) {
    ROW("again", again);
    EXPECT_EQ(system().send(pair.client, "x", 1), platform::socketError);
    EXPECT_EQ(lastError(), 10058);
  }
  EXPECT_EQ(system().recv(pair.server, &byte, 1), 0) << "the peer sees an end";
  EXPECT_EQ(system().send(pair.server, "y", 1), 1);
  EXPECT_EQ(system().recv(pair.client, &byte, 1), 1) << "the other direction lives";
  EXPECT_EQ(system().shutdown(pair.client, 0), 0);
  EXPECT_EQ(system().recv(pair.client, &byte, 1), platform::socketError);
  EXPECT_EQ(lastError(), 10058);
  EXPECT_EQ(system().shutdown(pair.client, 3), platform::socketError);
  EXPECT_EQ(lastError(), 10022);
  EXPECT_EQ(system().shutdown(pair.client, -1), platform::socketError);
  EXPECT_EQ(lastError(), 10022);
}

TEST_F(WinsockSeam, ANewSocketWithAReusedNumberIsNotShutDown) {
  SocketHandle number = invalidSocket;
  {
    const Pair pair;
    EXPECT_EQ(system().shutdown(pair.client, 2), 0);
    number = pair.client;
  }
  const Pair pair;
  EXPECT_EQ(pair.client, number) << "the system gives the lowest free number";
  EXPECT_EQ(system().send(pair.client, "x", 1), 1);
}

TEST_F(WinsockSeam, TransferAndShutdownOfAnUnconnectedSocketFail) {
  const SocketHandle handle = tcpSocket();
  char byte = 0;
  EXPECT_EQ(system().recv(handle, &byte, 1), platform::socketError);
  EXPECT_EQ(lastError(), 10057);
  EXPECT_EQ(system().shutdown(handle, 2), platform::socketError);
  EXPECT_EQ(lastError(), 10057);
  system().closesocket(handle);
}

TEST_F(WinsockSeam, AResetIsReportedOnEveryCall) {
  const ResetConnection connection;
  char byte = 0;
  for (int again = 0; again < 3; ++again) {
    ROW("again", again);
    EXPECT_EQ(system().recv(connection.client, &byte, 1), platform::socketError);
    EXPECT_EQ(lastError(), 10054);
    EXPECT_EQ(system().send(connection.client, "x", 1), platform::socketError);
    EXPECT_EQ(lastError(), 10054);
  }
}

TEST_F(WinsockSeam, AResetMakesASocketReadableAndIsNotAnErrorCondition) {
  const ResetConnection connection;
  SocketSet read;
  SocketSet write;
  SocketSet error;
  read.add(connection.client);
  error.add(connection.client);
  EXPECT_EQ(system().select(read, write, error, nullptr), 1);
  EXPECT_TRUE(read.contains(connection.client));
  EXPECT_EQ(error.count, 0U);
}

// --- select

TEST_F(WinsockSeam, SelectKeepsTheReadySocketsInOrderAndCountsEachSet) {
  const Pair one;
  const Pair two;
  const Pair three;
  system().send(one.server, "x", 1);
  system().send(three.server, "x", 1);
  SocketSet arrived;
  SocketSet none;
  SocketSet noneEither;
  for (const SocketHandle handle : rowsOf({one.client, three.client})) {
    arrived.count = 0;
    arrived.add(handle);
    ASSERT_EQ(system().select(arrived, none, noneEither, nullptr), 1);
  }
  SocketSet read;
  SocketSet write;
  SocketSet error;
  for (const Pair* pair : {&three, &two, &one}) {
    read.add(pair->client);
    write.add(pair->client);
    error.add(pair->client);
  }
  const TimeValue now = {0, 0};
  EXPECT_EQ(system().select(read, write, error, &now), 5);
  ASSERT_EQ(read.count, 2U);
  EXPECT_EQ(read.handles[0], three.client);
  EXPECT_EQ(read.handles[1], one.client);
  EXPECT_EQ(write.count, 3U);
  EXPECT_EQ(error.count, 0U);
}

TEST_F(WinsockSeam, SelectReturnsEmptySetsAfterItsTimeoutIfNothingIsReady) {
  const Pair pair;
  SocketSet read;
  SocketSet write;
  SocketSet error;
  read.add(pair.client);
  error.add(pair.client);
  const TimeValue soon = {0, 1000};
  EXPECT_EQ(system().select(read, write, error, &soon), 0);
  EXPECT_EQ(read.count + error.count, 0U);
}

TEST(SocketSetTest, AddsHandlesLikeTheSystemsMacro) {
  SocketSet set;
  for (SocketHandle handle = 0; handle < 64; ++handle) {
    ROW("handle", handle);
    set.add(handle);
    set.add(handle);
    EXPECT_EQ(set.count, handle + 1);
  }
  set.add(64);
  EXPECT_EQ(set.count, 64U);
  EXPECT_TRUE(set.contains(63));
  EXPECT_FALSE(set.contains(64));
}

}  // namespace
}  // namespace tarvo::test
