// Races to several addresses. The records are made with the library's own functions.

#include "infra/oss/kelSocket.hpp"
#include "infra/oss/kelSocketException.hpp"

#include "oss/kelAddrInfo.hpp"
#include "support/kelFakeWinsockSeam.hpp"
#include "support/kelHandles.hpp"
#include "support/kelPeer.hpp"
#include "support/kelRaises.hpp"
#include "support/kelRendered.hpp"
#include "support/kelRows.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace tarvo::test {
namespace {

using oss::Deadline;
using oss::Socket;
using oss::SocketException;
using platform::AddressHints;
using platform::PollEntry;
using platform::ResolvedAddress;
using testing::ElementsAre;

constexpr unsigned long long never = ~0ULL;
constexpr unsigned long long soon = 10;

Socket::_AddrInfoExternal recordOf(const oss::AddressList& list) {
  Socket::_AddrInfoExternal record;
  EXPECT_TRUE(oss::encodeAddrInfo("db.example", 4711, list, record));
  return record;
}

Socket::_AddrInfoExternal recordOfPorts(const std::vector<unsigned int>& ports) {
  oss::AddressList list;
  for (const unsigned int port : ports) list.push_back(inetAddress("127.0.0.1", port));
  return recordOf(list);
}

/// The identifier and the arguments of each message of the error that a callable raises.
std::vector<std::string> messagesOf(const std::function<void()>& callable) {
  std::vector<std::string> messages;
  try {
    callable();
  } catch (SocketException& error) {
    oss::MessageList& list = error.getMessages();
    for (const oss::Message* message = list.getFirstMsg(); message != nullptr; message = list.getNextMsg()) {
      std::string text = utf8(message->getMessageID());
      for (const std::string& argument : argumentsOf(*message)) text += " " + argument;
      messages.push_back(text);
      EXPECT_EQ(utf8(message->getFileName()), "kelSocket.cpp");
    }
  }
  return messages;
}

std::string at(const char* identifier, unsigned int port) {
  return std::string(identifier) + " 127.0.0.1 " + std::to_string(port);
}

TEST(SocketConnectFirst, KeepsTheConnectionThatAnswersFirst) {
  const FullPort silent;
  Peer peer;
  Socket socket;
  socket.connectFirst("db.example", 4711, recordOfPorts({silent.port(), peer.port()}), Deadline::never(),
                      soon);
  peer.accepts();
  EXPECT_EQ(socket.peerPort(), peer.port());
  EXPECT_EQ(utf8(socket.getHost()), "db.example");
  EXPECT_EQ(socket.getPort(), 4711U);
  EXPECT_TRUE(isBlocking(socket.handle()));
  EXPECT_TRUE(noDelay(socket.handle()));
  socket.write("hello", 0, 5);
  EXPECT_EQ(peer.receives(5), "hello");
}

TEST(SocketConnectFirst, ClosesTheOtherAttempts) {
  const FullPort silent;
  Peer peer;
  FakeWinsock fake;
  {
    Socket socket;
    socket.connectFirst("", 0, recordOfPorts({silent.port(), silent.port(), peer.port()}), Deadline::never(),
                        soon);
    EXPECT_THAT(fake.openHandles(), ElementsAre(socket.handle()));
  }
  EXPECT_THAT(fake.openHandles(), ElementsAre());
}

TEST(SocketConnectFirst, TriesTheNextAddressAtOnceAfterAFailure) {
  const ClosedPort closed;
  const Peer peer;
  Socket socket;
  socket.connectFirst("", 0, recordOfPorts({closed.port(), peer.port()}), Deadline::never(), never);
  EXPECT_EQ(socket.peerPort(), peer.port());
}

TEST(SocketConnectFirst, HasAMessageForEachAddressIfAllFail) {
  const ClosedPort one;
  const ClosedPort other;
  Socket socket;
  EXPECT_THAT(
      messagesOf([&] {
        socket.connectFirst("db.example", 4711, recordOfPorts({one.port(), other.port()}), Deadline::never());
      }),
      ElementsAre("ERR_SOCKET_NOT_CONNECTED db.example 4711",
                  at("QN_ERR_SOCKET_CONNECTION_REFUSED", one.port()),
                  at("QN_ERR_SOCKET_CONNECTION_REFUSED", other.port())));
  EXPECT_EQ(socket.handle(), noHandle);
  EXPECT_EQ(utf8(socket.getHost()), "db.example");
}

TEST(SocketConnectFirst, NamesTheAttemptsInProgressAfterTheDeadline) {
  const ClosedPort closed;
  const FullPort silent;
  Socket socket;
  EXPECT_THAT(
      messagesOf([&] {
        socket.connectFirst("db.example", 4711, recordOfPorts({closed.port(), silent.port()}),
                            Deadline::in(1500), never);
      }),
      ElementsAre("ERR_SOCKET_TIMEOUT db.example 4711", at("QN_ERR_SOCKET_CONNECTION_REFUSED", closed.port()),
                  at("QN_ERR_SOCKET_TIMEOUT", silent.port())));
  EXPECT_EQ(socket.handle(), noHandle);
}

TEST(SocketConnectFirst, TriesNothingAfterTheDeadline) {
  const Peer peer;
  FakeWinsock fake;
  Socket socket;
  EXPECT_THAT([&] { socket.connectFirst("h", 80, recordOfPorts({peer.port()}), Deadline::in(0)); },
              Raises<SocketException>("ERR_SOCKET_TIMEOUT", "h", 80).from("kelSocket.cpp"));
  EXPECT_EQ(fake.countOf("socket"), 0);
}

TEST(SocketConnectFirst, AlternatesTheFamilies) {
  const std::vector<unsigned char> address6(16, 6);
  FakeWinsock fake;
  fake.inventsHandles(1000);
  std::vector<int> families;
  fake.on.connect = [&](auto, const unsigned char* address, std::size_t) {
    families.push_back(address[0]);
    return fake.fails(10061);
  };
  oss::AddressList list(2, inetAddress("10.0.0.1", 1));
  list.resize(5, inet6Address(address6, 1));
  list.push_back(inetAddress("10.0.0.2", 1));
  Socket socket;
  EXPECT_EQ(messagesOf([&] { socket.connectFirst("h", 80, recordOf(list), Deadline::never()); }).size(), 7U);
  EXPECT_THAT(families, ElementsAre(2, 23, 2, 23, 2, 23));
}

TEST(SocketConnectFirst, HasAtMostSixAttemptsInProgress) {
  FakeWinsock fake;
  fake.inventsHandles(1000);
  fake.on.connect = [&](auto, auto, auto) { return fake.fails(10035); };
  fake.on.getsockopt = [](auto, int, int, int& value) {
    value = 10061;
    return 0;
  };
  std::vector<std::size_t> inProgress;
  fake.on.poll = [&](PollEntry* entries, std::size_t count, long long milliseconds) {
    if (milliseconds >= 0) return 0;  // another attempt will start
    inProgress.push_back(count);
    for (std::size_t i = 0; i < count; ++i) entries[i].ready = 0;
    entries[0].ready = PollEntry::write;
    return 1;
  };
  Socket socket;
  const auto messages = messagesOf([&] {
    socket.connectFirst("h", 80, recordOfPorts({1, 2, 3, 4, 5, 6, 7, 8}), Deadline::never(), soon);
  });
  EXPECT_EQ(messages.size(), 9U);
  EXPECT_THAT(inProgress, ElementsAre(6, 6, 6, 5, 4, 3, 2, 1));
}

TEST(SocketConnectFirst, CountsAShortStaggerAsTenMilliseconds) {
  FakeWinsock fake;
  fake.inventsHandles(1000);
  fake.on.connect = [&](auto, auto, auto) { return fake.fails(10035); };
  std::vector<long long> waits;
  fake.on.poll = [&](PollEntry*, std::size_t, long long milliseconds) {
    waits.push_back(milliseconds);
    return fake.fails(10055);
  };
  Socket socket;
  messagesOf([&] { socket.connectFirst("h", 80, recordOfPorts({1, 2}), Deadline::never(), 0); });
  ASSERT_FALSE(waits.empty());
  EXPECT_GT(waits[0], 0);
  EXPECT_LE(waits[0], 10);
}

TEST(SocketConnectFirst, HasTheCodeOfEachStepThatFails) {
  struct Row {
    const char* function;
    int code;
    const char* message;
  };
  for (const Row& row :
       rowsOf<Row>({{"socket", 10055, "QN_ERR_SOCKET_ERROR 10055 127.0.0.1 1"},
                    {"socket", 10035, "QN_ERR_SOCKET_ERROR 10035 127.0.0.1 1"},
                    {"ioctlsocketNonBlocking", 10035, "QN_ERR_SOCKET_ERROR 10035 127.0.0.1 1"},
                    {"ioctlsocketNonBlocking", 10055, "QN_ERR_SOCKET_ERROR 10055 127.0.0.1 1"},
                    {"connect", 10051, "QN_ERR_SOCKET_ERROR 10051 127.0.0.1 1"},
                    {"poll", 10055, "QN_ERR_SOCKET_ERROR 10055 127.0.0.1 1"},
                    {"getsockopt", 10054, "QN_ERR_SOCKET_CONNECTION_RESET 127.0.0.1 1"}})) {
    FakeWinsock fake;
    fake.inventsHandles(1000);
    fake.on.connect = [&](auto, auto, auto) { return fake.fails(10035); };
    fake.on.poll = [](PollEntry* entries, std::size_t, long long) {
      entries[0].ready = PollEntry::write;
      return 1;
    };
    fake.failing(row.function).with(row.code);
    Socket socket;
    EXPECT_THAT(messagesOf([&] { socket.connectFirst("h", 80, recordOfPorts({1}), Deadline::never()); }),
                ElementsAre("ERR_SOCKET_NOT_CONNECTED h 80", row.message))
        << row.function;
    EXPECT_THAT(fake.openHandles(), ElementsAre()) << row.function;
  }
}

TEST(SocketConnectFirst, AsksNoResolverForALiteral) {
  const Peer peer;
  FakeWinsock fake;
  std::vector<int> flags;
  fake.on.getaddrinfo = [&](const char* node, const char* service, const AddressHints& hints,
                            std::vector<ResolvedAddress>& list) {
    flags.push_back(hints.flags);
    return platform::systemWinsock().getaddrinfo(node, service, hints, list);
  };
  Socket socket;
  socket.connectFirst("127.0.0.1", peer.port(), Deadline::never());
  EXPECT_THAT(flags, ElementsAre(platform::numericHostFlag));
}

TEST(SocketConnectFirst, ChargesTheResolutionOfANameToTheDeadline) {
  FakeWinsock fake;
  const Deadline deadline = Deadline::in(20);
  fake.on.getaddrinfo = [&](const char*, const char*, const AddressHints& hints,
                            std::vector<ResolvedAddress>& list) {
    if (hints.flags != 0) return 11001;
    while (!deadline.hasPassed()) {
    }
    list.push_back(inetAddress("127.0.0.1", 1));
    return 0;
  };
  Socket socket;
  EXPECT_THAT([&] { socket.connectFirst("db.example", 4711, deadline); },
              Raises<SocketException>("ERR_SOCKET_TIMEOUT", "db.example", 4711).from("kelSocket.cpp"));
  EXPECT_EQ(fake.countOf("socket"), 0);
}

TEST(SocketConnectFirst, RaisesTheCodeOfTheResolver) {
  FakeWinsock fake;
  fake.on.getaddrinfo = [](auto, auto, auto&, auto&) { return 11001; };
  fake.on.systemText = [](int) { return std::string("unknown"); };
  Socket socket;
  EXPECT_THAT([&] { socket.connectFirst("db.example", 4711, Deadline::never()); },
              Raises<SocketException>("ERR_SOCKET_GETADDRINFO_ERROR", "db.example", 4711, 11001, "unknown")
                  .from("kelSocket.cpp"));
}

TEST(SocketConnectFirst, RefusesARecordThatCannotBeRead) {
  Socket::_AddrInfoExternal record = {};
  record.bytes[0] = 1;
  Socket socket;
  EXPECT_THAT([&] { socket.connectFirst("h", 80, record, Deadline::never()); },
              Raises<SocketException>("QN_ERR_SOCKET_ERROR", 10022).from("kelSocket.cpp"));
}

TEST(SocketConnectFirst, RefusesAnObjectThatIsConnected) {
  const Peer peer;
  Socket socket;
  socket.connectFirst("127.0.0.1", peer.port(), Deadline::never());
  EXPECT_THAT(
      [&] { socket.connectFirst("other", 1, Deadline::never()); },
      Raises<SocketException>("ERR_SOCKET_CONNECTED", "127.0.0.1", peer.port()).from("kelSocket.cpp"));
}

}  // namespace
}  // namespace tarvo::test
