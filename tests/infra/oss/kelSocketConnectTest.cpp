#include "infra/oss/kelSocket.hpp"
#include "infra/oss/kelSocketException.hpp"

#include "support/kelConnection.hpp"
#include "support/kelHandles.hpp"
#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <memory>
#include <string>
#include <type_traits>

namespace tarvo::test {
namespace {

using oss::Socket;
using oss::SocketException;
using Record = Socket::_AddrInfoExternal;
using testing::ElementsAre;

static_assert(!std::is_copy_assignable_v<Socket>);
static_assert(std::has_virtual_destructor_v<Socket>);
static_assert(sizeof(Record) == 3000 && alignof(Record) == 1);

constexpr const char* source = "kelSocket.cpp";

void connectTo(Socket& socket, const char* host, unsigned int port) {
  socket.connect(host, port, Socket::NullAddrInfoExternal, nullptr);
}

void connectThrough(Socket& socket, const Record& record, unsigned int port) {
  socket.connect("a name of no meaning", port, record, nullptr);
}

/// Builds an address record byte by byte, without the library's code.
class RecordText {
 public:
  RecordText(const std::string& host, unsigned int port) : text_(host + '\0') { number(port, 2); }

  RecordText& entry(int family, const std::string& address, const std::string& canonicalName = "") {
    number(0, 4);
    number(static_cast<unsigned>(family), 4);
    number(1, 4);  // a stream
    number(6, 4);  // TCP
    number(address.size(), 8);
    text_ += address;
    number(canonicalName.size(), 2);
    text_ += canonicalName;
    return *this;
  }

  RecordText& ipv4(unsigned char a, unsigned char b, unsigned char c, unsigned char d, unsigned int port) {
    std::string address("\x02\0", 2);
    address += {static_cast<char>(port >> 8), static_cast<char>(port & 0xFF)};
    address += {static_cast<char>(a), static_cast<char>(b), static_cast<char>(c), static_cast<char>(d)};
    return entry(2, address + std::string(8, '\0'));
  }

  RecordText& ipv6Loopback(unsigned int port, const std::string& canonicalName = "") {
    std::string address("\x17\0", 2);  // 23
    address += {static_cast<char>(port >> 8), static_cast<char>(port & 0xFF)};
    return entry(23, address + std::string(4 + 15, '\0') + '\1' + std::string(4, '\0'), canonicalName);
  }

  Record record() const {
    Record record = {};
    record.bytes[0] = static_cast<unsigned char>(text_.size() & 0xFF);
    record.bytes[1] = static_cast<unsigned char>(text_.size() >> 8);
    std::memcpy(record.bytes + 2, text_.data(), text_.size());
    return record;
  }

 private:
  void number(unsigned long long value, int width) {
    for (int i = 0; i < width; ++i) text_ += static_cast<char>(value >> (8 * i) & 0xFF);
  }

  std::string text_;
};

void expectUnconnected(const Socket& socket, const char* host, unsigned int port) {
  EXPECT_EQ(socket.handle(), noHandle);
  EXPECT_EQ(utf8(socket.getHost()), host);
  EXPECT_EQ(socket.getPort(), port);
}

// --- construction and copies

TEST(Socket, StartsUnconnectedWithoutHostAndPort) {
  const std::size_t before = openDescriptors();
  const Socket socket;
  expectUnconnected(socket, "", 0);
  EXPECT_EQ(openDescriptors(), before);
}

TEST(Socket, RecordWithoutAListIsAllZero) {
  for (const unsigned char byte : rowsOf(Socket::NullAddrInfoExternal.bytes)) ASSERT_EQ(byte, 0);
}

TEST(Socket, CopyOfAnUnconnectedSocketConnectsAndOwnsItsHandle) {
  const std::size_t before = openDescriptors();
  {
    Peer peer;
    const Socket original;
    Socket copy(original);
    connectTo(copy, peer.host(), peer.port());
    expectUnconnected(original, "", 0);
    EXPECT_EQ(copy.getPort(), peer.port());
  }
  EXPECT_EQ(openDescriptors(), before);
}

TEST(Socket, CopySharesHandleHostAndPort) {
  const Connection connection;
  const Socket copy(connection.socket);
  EXPECT_EQ(copy.handle(), connection.handle());
  EXPECT_EQ(utf8(copy.getHost()), connection.host());
  EXPECT_EQ(copy.getPort(), connection.port());
}

TEST(Socket, DestroyedCopiesLeaveTheConnectionOpen) {
  Connection connection;
  {
    const Socket copy(connection.socket);
    const Socket copyOfTheCopy(copy);
  }
  char byte = 0;
  connection.peer.says("x");
  EXPECT_EQ(connection.socket.read(&byte, 0, 1), 1U);
  EXPECT_EQ(byte, 'x');
}

TEST(Socket, CloseOnACopyDoesNothing) {
  Connection connection;
  Socket copy(connection.socket);
  copy.close();
  EXPECT_EQ(copy.handle(), connection.handle());
  EXPECT_EQ(utf8(copy.getHost()), connection.host());
  EXPECT_EQ(copy.getPort(), connection.port());
  copy.write("x", 0, 1);
  EXPECT_EQ(connection.peer.receives(1), "x");
}

TEST(Socket, CopyOfAConnectedSocketCannotConnect) {
  const Connection connection;
  Socket copy(connection.socket);
  EXPECT_THAT(
      [&] { connectTo(copy, "elsewhere", 1); },
      Raises<SocketException>("ERR_SOCKET_CONNECTED", connection.host(), connection.port()).from(source));
  EXPECT_EQ(copy.handle(), connection.handle());
}

TEST(Socket, CopyKeepsHostAndPortOfAFailedConnect) {
  const ClosedPort closed;
  Socket socket;
  EXPECT_THAT(
      [&] { connectTo(socket, "127.0.0.1", closed.port()); },
      Raises<SocketException>("QN_ERR_SOCKET_CONNECTION_REFUSED", "127.0.0.1", closed.port()).from(source));
  expectUnconnected(Socket(socket), "127.0.0.1", closed.port());
}

// --- connect

struct Loopback {
  const char* name;
  const char* host;
};

class SocketConnectTo : public testing::TestWithParam<Loopback> {
 protected:
  void SetUp() override {
    const std::vector<Family> families = familiesOf(host());
    ASSERT_FALSE(families.empty()) << "this system does not resolve " << host();
    family_ = families.front();
  }
  static const char* host() { return GetParam().host; }
  Family family() const { return family_; }

 private:
  Family family_{};
};

INSTANTIATE_TEST_SUITE_P(, SocketConnectTo,
                         testing::Values(Loopback{"IPv4Literal", "127.0.0.1"}, Loopback{"IPv6Literal", "::1"},
                                         Loopback{"Localhost", "localhost"}),
                         [](const auto& row) { return row.param.name; });

TEST_P(SocketConnectTo, ConnectsToTheListenerAndStoresHostAndPort) {
  Peer peer(family());
  Socket socket;
  connectTo(socket, host(), peer.port());
  peer.accepts();
  EXPECT_NE(socket.handle(), noHandle);
  EXPECT_EQ(utf8(socket.getHost()), host());
  EXPECT_EQ(socket.getPort(), peer.port());
  socket.write("hello", 0, 5);
  EXPECT_EQ(peer.receives(5), "hello");
}

TEST_P(SocketConnectTo, IsRefusedIfNobodyListens) {
  const ClosedPort closed(family());
  const std::size_t before = openDescriptors();
  Socket socket;
  EXPECT_THAT(
      [&] { connectTo(socket, host(), closed.port()); },
      Raises<SocketException>("QN_ERR_SOCKET_CONNECTION_REFUSED", host(), closed.port()).from(source));
  expectUnconnected(socket, host(), closed.port());
  EXPECT_EQ(openDescriptors(), before);
}

TEST_P(SocketConnectTo, SetsNoDelayAndNoOtherOptionOnABlockingHandle) {
  Peer peer(family());
  Socket socket;
  connectTo(socket, host(), peer.port());
  EXPECT_TRUE(noDelay(socket.handle()));
  EXPECT_TRUE(isBlocking(socket.handle()));
  EXPECT_TRUE(hasNoFurtherOptions(socket.handle()));
  EXPECT_EQ(receiveTimeout(socket.handle()), 0U);
  EXPECT_EQ(sendTimeout(socket.handle()), 0U);
}

TEST_P(SocketConnectTo, UsesARecordThatWasResolvedBefore) {
  Peer peer(family());
  Record record;
  ASSERT_EQ(Socket::resolveAddrInfo(host(), static_cast<unsigned short>(peer.port()), record), 0);
  Socket socket;
  connectThrough(socket, record, 1);
  peer.accepts().says("x");
  char byte = 0;
  EXPECT_EQ(socket.read(&byte, 0, 1), 1U);
  EXPECT_EQ(byte, 'x');
  EXPECT_EQ(utf8(socket.getHost()), "a name of no meaning");
  EXPECT_EQ(socket.getPort(), 1U);
}

TEST(SocketConnect, OnAConnectedSocketFailsAndKeepsTheConnection) {
  Connection connection;
  const Handle handle = connection.handle();
  EXPECT_THAT(
      [&] { connectTo(connection.socket, "elsewhere", 1); },
      Raises<SocketException>("ERR_SOCKET_CONNECTED", connection.host(), connection.port()).from(source));
  EXPECT_EQ(connection.handle(), handle);
  EXPECT_EQ(utf8(connection.socket.getHost()), connection.host());
  EXPECT_EQ(connection.socket.getPort(), connection.port());
  connection.socket.write("x", 0, 1);
  EXPECT_EQ(connection.peer.receives(1), "x");
}

TEST(SocketConnect, WithASufficientTimeoutSucceeds) {
  Peer peer;
  Socket socket;
  const unsigned long long timeout = 3'600'000;
  socket.connect(peer.host(), peer.port(), Socket::NullAddrInfoExternal, &timeout);
  EXPECT_NE(socket.handle(), noHandle);
}

TEST(SocketConnect, WithTheLongestTimeoutSucceeds) {
  Peer peer;
  Socket socket;
  const unsigned long long timeout = ~0ULL;
  socket.connect(peer.host(), peer.port(), Socket::NullAddrInfoExternal, &timeout);
  EXPECT_NE(socket.handle(), noHandle);
}

TEST(SocketConnect, RaisesTimeoutIfStillInProgressAfterTheTimeout) {
  using Clock = std::chrono::steady_clock;
  const FullPort full;
  const std::size_t before = openDescriptors();
  for (const unsigned long long timeout : rowsOf({0ULL, 1ULL, 60ULL})) {
    Socket socket;
    const Clock::time_point start = Clock::now();
    EXPECT_THAT([&] { socket.connect("127.0.0.1", full.port(), Socket::NullAddrInfoExternal, &timeout); },
                Raises<SocketException>("ERR_SOCKET_TIMEOUT", "127.0.0.1", full.port()).from(source));
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(timeout));
    expectUnconnected(socket, "127.0.0.1", full.port());
    EXPECT_EQ(openDescriptors(), before);
  }
}

TEST(SocketConnect, RaisesNotConnectedIfEveryAddressFailsAtOnce) {
  const std::size_t before = openDescriptors();
  Socket socket;
  EXPECT_THAT([&] { connectTo(socket, "255.255.255.255", 9); },
              Raises<SocketException>("ERR_SOCKET_NOT_CONNECTED", "255.255.255.255", 9).from(source));
  expectUnconnected(socket, "255.255.255.255", 9);
  EXPECT_EQ(openDescriptors(), before);
}

TEST(SocketConnect, SucceedsAfterEachKindOfFailure) {
  const ClosedPort closed;
  const FullPort full;
  Peer peer;
  Socket socket;
  const unsigned long long none = 0;
  EXPECT_THAT(
      [&] { connectTo(socket, "127.0.0.1", closed.port()); },
      Raises<SocketException>("QN_ERR_SOCKET_CONNECTION_REFUSED", "127.0.0.1", closed.port()).from(source));
  EXPECT_THAT([&] { socket.connect("127.0.0.1", full.port(), Socket::NullAddrInfoExternal, &none); },
              Raises<SocketException>("ERR_SOCKET_TIMEOUT", "127.0.0.1", full.port()).from(source));
  EXPECT_THAT([&] { connectTo(socket, "255.255.255.255", 9); },
              Raises<SocketException>("ERR_SOCKET_NOT_CONNECTED", "255.255.255.255", 9).from(source));
  connectTo(socket, peer.host(), peer.port());
  peer.accepts();
  socket.write("x", 0, 1);
  EXPECT_EQ(peer.receives(1), "x");
}

TEST(SocketConnect, CanBeRepeatedWithItsStoredHostAndPortAfterClose) {
  Peer first;
  Socket socket;
  connectTo(socket, first.host(), first.port());
  first.accepts();
  socket.close();
  EXPECT_EQ(first.receivesAll(), "");
  Peer second;
  connectTo(socket, second.host(), second.port());
  second.accepts();
  EXPECT_EQ(socket.getPort(), second.port());
}

TEST(SocketConnect, AcceptsTheSocketsStoredHostAsArgument) {
  const ClosedPort closed;
  Socket socket;
  EXPECT_THAT(
      [&] { connectTo(socket, "127.0.0.1", closed.port()); },
      Raises<SocketException>("QN_ERR_SOCKET_CONNECTION_REFUSED", "127.0.0.1", closed.port()).from(source));
  Peer peer;
  socket.connect(socket.getHost(), peer.port(), Socket::NullAddrInfoExternal, nullptr);
  EXPECT_EQ(utf8(socket.getHost()), "127.0.0.1");
  EXPECT_NE(socket.handle(), noHandle);
}

// --- names that do not resolve

struct UnknownName {
  const char* why;
  std::string name;
};

TEST(SocketConnect, RaisesTheResolversCodeAndTextIfTheNameDoesNotResolve) {
  const UnknownName rows[] = {
      {"a label longer than any name's", std::string(64, 'a') + ".invalid"},
      {"longer than the buffer on the stack", std::string(3000, 'b')},
      {"five numbers", "1.2.3.4.5"},
      {"a space", "bad name"},
  };
  const std::size_t before = openDescriptors();
  for (const UnknownName& row : rowsOf(rows)) {
    const Resolution expected = resolve(row.name);
    ASSERT_NE(expected.code, 0);
    Socket socket;
    EXPECT_THAT(
        [&] { connectTo(socket, row.name.c_str(), 80); },
        Raises<SocketException>("ERR_SOCKET_GETADDRINFO_ERROR", row.name, 80, expected.code, expected.text)
            .from(source));
    expectUnconnected(socket, row.name.c_str(), 80);
    EXPECT_EQ(openDescriptors(), before);
  }
}

TEST(SocketConnect, TreatsANameWithANulAsUnknown) {
  const ClosedPort closed;
  const icu::UnicodeString host(u"127.0.0.1\0x", 11);
  ASSERT_EQ(host.length(), 11);
  Socket socket;
  EXPECT_THAT(
      [&] { socket.connect(host, closed.port(), Socket::NullAddrInfoExternal, nullptr); },
      Raises<SocketException>("ERR_SOCKET_GETADDRINFO_ERROR", host, closed.port(), 11001, unknownNameText())
          .from(source));
  EXPECT_TRUE(socket.getHost() == host);
  EXPECT_EQ(socket.handle(), noHandle);
}

TEST(SocketConnect, ArgumentsOfAPortAreSigned32Bit) {
  const icu::UnicodeString host(u"a\0b", 3);
  Socket socket;
  EXPECT_THAT(
      [&] { socket.connect(host, 0x80000000U, Socket::NullAddrInfoExternal, nullptr); },
      Raises<SocketException>("ERR_SOCKET_GETADDRINFO_ERROR", host, "-2147483648", 11001, unknownNameText())
          .from(source));
  EXPECT_EQ(socket.getPort(), 0x80000000U);
}

// --- resolved address records

TEST(SocketRecord, IsLaidOutByteByByte) {
  const unsigned short port = 0x1234;
  Record record;
  std::memset(record.bytes, 0xEE, sizeof record.bytes);
  ASSERT_EQ(Socket::resolveAddrInfo("127.0.0.1", port, record), 0);
  Record expected = RecordText("127.0.0.1", port).ipv4(127, 0, 0, 1, port).record();
  // Skip the flags and the protocol, which the resolver chooses.
  constexpr std::size_t entry = 2 + 10 + 2;
  std::copy_n(record.bytes + entry, 4, expected.bytes + entry);
  std::copy_n(record.bytes + entry + 12, 4, expected.bytes + entry + 12);
  EXPECT_EQ(std::memcmp(record.bytes, expected.bytes, sizeof record.bytes), 0)
      << testing::PrintToString(record.bytes);
}

TEST(SocketRecord, OfIPv6ContainsWinsocksNumbers) {
  const unsigned short port = 0x1234;
  Record record;
  ASSERT_EQ(Socket::resolveAddrInfo("::1", port, record), 0);
  Record expected = RecordText("::1", port).ipv6Loopback(port).record();
  constexpr std::size_t entry = 2 + 4 + 2;
  std::copy_n(record.bytes + entry, 4, expected.bytes + entry);
  std::copy_n(record.bytes + entry + 12, 4, expected.bytes + entry + 12);
  EXPECT_EQ(std::memcmp(record.bytes, expected.bytes, sizeof record.bytes), 0)
      << testing::PrintToString(record.bytes);
}

TEST(SocketRecord, IsUnchangedIfTheNameDoesNotResolve) {
  Record record;
  std::memset(record.bytes, 0xEE, sizeof record.bytes);
  EXPECT_EQ(Socket::resolveAddrInfo("bad name", 80, record), resolve("bad name").code);
  EXPECT_EQ(Socket::resolveAddrInfo(icu::UnicodeString(u"127.0.0.1\0x", 11), 80, record), 11001);
  for (const unsigned char byte : rowsOf(record.bytes)) ASSERT_EQ(byte, 0xEE);
}

TEST(SocketRecord, BuiltByHandCanBeConnectedTo) {
  struct Row {
    const char* what;
    Family family;
    Record (*build)(unsigned int port);
  };
  const Row rows[] = {
      {"IPv4", Family::ipv4,
       [](unsigned int port) { return RecordText("x", 9).ipv4(127, 0, 0, 1, port).record(); }},
      {"IPv6", Family::ipv6,
       [](unsigned int port) { return RecordText("x", 9).ipv6Loopback(port).record(); }},
      {"a canonical name", Family::ipv6,
       [](unsigned int port) { return RecordText("x", 9).ipv6Loopback(port, "a.canonical.name").record(); }},
      {"no host text", Family::ipv4,
       [](unsigned int port) { return RecordText("", 9).ipv4(127, 0, 0, 1, port).record(); }},
      {"an address that fails at once is first", Family::ipv4,
       [](unsigned int port) {
         return RecordText("x", 9).ipv4(255, 255, 255, 255, port).ipv4(127, 0, 0, 1, port).record();
       }},
      {"a canonical name before another entry", Family::ipv4,
       [](unsigned int port) {
         return RecordText("x", 9)
             .entry(2, std::string("\x02\0\0\x09\xFF\xFF\xFF\xFF\0\0\0\0\0\0\0\0", 16), "broadcast")
             .ipv4(127, 0, 0, 1, port)
             .record();
       }},
  };
  const std::size_t before = openDescriptors();
  for (const Row& row : rowsOf(rows)) {
    Peer peer(row.family);
    Socket socket;
    connectThrough(socket, row.build(peer.port()), 77);
    peer.accepts();
    socket.write("x", 0, 1);
    EXPECT_EQ(peer.receives(1), "x");
    EXPECT_TRUE(noDelay(socket.handle()));
    EXPECT_EQ(socket.getPort(), 77U);
  }
  EXPECT_EQ(openDescriptors(), before);
}

TEST(SocketRecord, IsNotTriedAfterAnAddressThatFailsLater) {
  const ClosedPort closed;
  const Peer peer;
  const Record record =
      RecordText("x", 9).ipv4(127, 0, 0, 1, closed.port()).ipv4(127, 0, 0, 1, peer.port()).record();
  const std::size_t before = openDescriptors();
  Socket socket;
  EXPECT_THAT(
      [&] { connectThrough(socket, record, 77); },
      Raises<SocketException>("QN_ERR_SOCKET_CONNECTION_REFUSED", "a name of no meaning", 77).from(source));
  expectUnconnected(socket, "a name of no meaning", 77);
  EXPECT_EQ(openDescriptors(), before);
}

TEST(SocketRecord, IsNotTriedAfterAnAddressThatTimesOut) {
  const FullPort full;
  const Peer peer;
  const Record record =
      RecordText("x", 9).ipv4(127, 0, 0, 1, full.port()).ipv4(127, 0, 0, 1, peer.port()).record();
  const std::size_t before = openDescriptors();
  const unsigned long long none = 0;
  Socket socket;
  EXPECT_THAT([&] { socket.connect("name", 77, record, &none); },
              Raises<SocketException>("ERR_SOCKET_TIMEOUT", "name", 77).from(source));
  EXPECT_EQ(openDescriptors(), before);
}

TEST(SocketRecord, RaisesNotConnectedIfAllItsAddressesFailAtOnce) {
  const Record record = RecordText("x", 9).ipv4(255, 255, 255, 255, 9).ipv4(255, 255, 255, 255, 10).record();
  const std::size_t before = openDescriptors();
  Socket socket;
  EXPECT_THAT([&] { connectThrough(socket, record, 77); },
              Raises<SocketException>("ERR_SOCKET_NOT_CONNECTED", "a name of no meaning", 77).from(source));
  EXPECT_EQ(openDescriptors(), before);
}

// --- close

TEST(SocketClose, EndsTheConnectionAndClearsHostAndPort) {
  const std::size_t before = openDescriptors();
  {
    Connection connection;
    connection.socket.close();
    expectUnconnected(connection.socket, "", 0);
    EXPECT_EQ(connection.peer.receivesAll(), "");
    connection.socket.close();
    expectUnconnected(connection.socket, "", 0);
  }
  EXPECT_EQ(openDescriptors(), before);
}

TEST(SocketClose, AfterAFailedConnectKeepsHostAndPort) {
  const ClosedPort closed;
  Socket socket;
  EXPECT_THAT(
      [&] { connectTo(socket, "127.0.0.1", closed.port()); },
      Raises<SocketException>("QN_ERR_SOCKET_CONNECTION_REFUSED", "127.0.0.1", closed.port()).from(source));
  socket.close();
  expectUnconnected(socket, "127.0.0.1", closed.port());
}

TEST(SocketClose, AlsoHappensInTheOwnersDestructor) {
  const std::size_t before = openDescriptors();
  Peer peer;
  {
    Socket socket;
    connectTo(socket, peer.host(), peer.port());
    peer.accepts();
  }
  EXPECT_EQ(peer.receivesAll(), "");
  peer.closes();
  EXPECT_EQ(openDescriptors(), before);
}

TEST(SocketClose, RaisesNothingIfTheHandleIsAlreadyClosed) {
  Connection connection;
  closeDirectly(connection.handle());
  connection.socket.close();
  expectUnconnected(connection.socket, "", 0);
}

TEST(SocketClose, DeliversWrittenBytesToThePeer) {
  Connection connection;
  const std::string text = pattern(0, 20000);
  connection.socket.write(text.data(), 0, text.size());
  connection.socket.close();
  EXPECT_EQ(connection.peer.receivesAll(), text);
}

}  // namespace
}  // namespace tarvo::test
