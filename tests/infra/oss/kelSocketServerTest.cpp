#include "infra/oss/kelSocketException.hpp"
#include "infra/oss/kelSocketServer.hpp"

#include "support/kelRaises.hpp"
#include "support/kelResolverText.hpp"
#include "support/kelRows.hpp"
#include "support/kelTakenPort.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <limits>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

namespace tarvo::test {
namespace {

using oss::Socket;
using oss::SocketException;
using oss::SocketServer;
using testing::AnyOf;
using testing::ElementsAre;

constexpr unsigned long long noHandle = ~0ULL;
constexpr const char* source = "kelSocketServer.cpp";
constexpr const char* loopback = "127.0.0.1";

static_assert(!std::is_copy_constructible_v<SocketServer>);
static_assert(!std::is_copy_assignable_v<SocketServer>);
static_assert(std::has_virtual_destructor_v<SocketServer>);

void dial(Socket& client, unsigned int port) {
  client.connect(loopback, port, Socket::NullAddrInfoExternal, nullptr);
}

void listenAnywhere(SocketServer& server) {
  server.listen(0, 64, false);
}

/// A port that is free at the time of the call.
unsigned int freePort() {
  SocketServer server;
  listenAnywhere(server);
  return server.getPort();
}

/// Whether bytes that are written to `from` can be read from `to`.
testing::AssertionResult talks(Socket& from, Socket& to, const std::string& text = "hello") {
  from.write(text.data(), 0, text.size());
  std::string got(text.size(), '\0');
  const unsigned long long count = to.read(got.data(), 0, got.size());
  if (count == text.size() && got == text) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "sent '" << text << "', received " << count << " bytes '" << got
                                     << "'";
}

/// Reads one byte. Returns 0 if the peer has closed; raises the error of the code if the read fails.
unsigned long long readsOne(Socket& socket) {
  char byte = 0;
  return socket.readOnce(&byte, 0, 1);
}

/// A server, and functions that connect a client to it.
class SocketServerTest : public testing::Test {
 protected:
  void SetUp() override { listenAnywhere(server); }

  /// Connects a client and accepts it.
  void connectBoth(Socket& near, Socket& far) {
    dial(near, server.getPort());
    server.accept(far, nullptr);
  }

  SocketServer server;
};

// --- not listening
// ------------------------------------------------------------------------------------------

struct IdleRow {
  const char* how;
  std::function<void(SocketServer&)> prepare;
};

const IdleRow idleRows[] = {
    {"never listened", [](SocketServer&) {}},
    {"closed", [](SocketServer& server) { listenAnywhere(server), server.close(); }},
    {"closed twice", [](SocketServer& server) { listenAnywhere(server), server.close(), server.close(); }},
    {"closed without having listened", [](SocketServer& server) { server.close(); }},
    {"found its port in use",
     [](SocketServer& server) {
       const TakenPort taken;
       EXPECT_THAT(
           [&] { server.listen(taken.number(), 1, false); },
           Raises<SocketException>("QN_ERR_SOCKET_ADDRESS_IN_USE", "localhost", taken.number()).from(source));
     }},
};

TEST(SocketServer, WithoutAHandleRaisesNotListeningOrNotASocket) {
  const unsigned long long none = 0;
  for (const IdleRow& row : rowsOf(idleRows)) {
    ROW("how", row.how);
    SocketServer server;
    row.prepare(server);
    Socket client;
    const auto notListening =
        Raises<SocketException>("ERR_SOCKET_NOT_LISTENING", "localhost", 0).from(source);
    const auto noSocket = Raises<SocketException>("QN_ERR_SOCKET_ERROR", 10038, "localhost", 0).from(source);
    EXPECT_EQ(server.getPort(), 0U);
    EXPECT_THAT([&] { server.accept(client, &none); }, notListening);
    EXPECT_THAT([&] { server.accept(client, nullptr); }, notListening);
    EXPECT_THAT([&] { server.setReceiveBufferSize(4096); }, notListening);
    EXPECT_THAT([&] { server.setSendBufferSize(4096); }, notListening);
    EXPECT_THAT([&] { server.setReuseAddress(true); }, noSocket);
    EXPECT_THAT([&] { server.setReuseAddress(false); }, noSocket);
    EXPECT_THAT([&] { server.queryPort(); }, noSocket);
    EXPECT_EQ(client.handle(), noHandle);
  }
}

TEST(SocketServer, WithoutAHandleCanListen) {
  for (const IdleRow& row : rowsOf(idleRows)) {
    ROW("how", row.how);
    SocketServer server;
    row.prepare(server);
    listenAnywhere(server);
    Socket near;
    Socket far;
    dial(near, server.getPort());
    server.accept(far, nullptr);
    EXPECT_TRUE(talks(near, far));
  }
}

// --- listen
// -------------------------------------------------------------------------------------------------

TEST(SocketServer, StoresThePortThatTheSystemChoseForPortZero) {
  SocketServer server;
  server.listen(0, 5, false);
  EXPECT_NE(server.getPort(), 0U);
  EXPECT_LE(server.getPort(), 65535U);
  EXPECT_EQ(server.queryPort(), server.getPort());
  Socket near;
  Socket far;
  dial(near, server.getPort());
  server.accept(far, nullptr);
  EXPECT_TRUE(talks(near, far));
  EXPECT_TRUE(talks(far, near));
}

TEST(SocketServer, GetsAPortThatNoOtherServerHasForPortZero) {
  SocketServer first;
  SocketServer second;
  listenAnywhere(first);
  listenAnywhere(second);
  EXPECT_NE(first.getPort(), second.getPort());
}

TEST(SocketServer, StoresTheGivenPort) {
  for (const bool reuse : rowsOf({false, true})) {
    const unsigned int port = freePort();
    SocketServer server;
    server.listen(port, 5, reuse);
    EXPECT_EQ(server.getPort(), port);
    EXPECT_EQ(server.queryPort(), port);
    Socket near;
    Socket far;
    dial(near, port);
    server.accept(far, nullptr);
    EXPECT_TRUE(talks(near, far));
  }
}

TEST_F(SocketServerTest, ListensOnlyOnce) {
  const unsigned int port = server.getPort();
  const auto listening = Raises<SocketException>("ERR_SOCKET_LISTENING", "localhost", port).from(source);
  EXPECT_THAT([&] { server.listen(0, 5, false); }, listening);
  EXPECT_THAT([&] { server.listen(port, 5, true); }, listening);
  EXPECT_THAT([&] { server.listen(port + 1, 5, false); }, listening);
  EXPECT_EQ(server.getPort(), port);
  EXPECT_EQ(server.queryPort(), port);
  Socket near;
  Socket far;
  connectBoth(near, far);
  EXPECT_TRUE(talks(near, far));
}

TEST_F(SocketServerTest, RefusesASecondServerOnItsPort) {
  const TakenPort taken(server.getPort());
  SocketServer other;
  EXPECT_THAT(
      [&] { other.listen(server.getPort(), 5, false); },
      Raises<SocketException>("QN_ERR_SOCKET_ADDRESS_IN_USE", "localhost", server.getPort()).from(source));
  EXPECT_EQ(other.getPort(), 0U);
  Socket near;
  Socket far;
  connectBoth(near, far);
  EXPECT_TRUE(talks(near, far));
}

// Port numbers above 65535 are refused instead of being reduced modulo 65536. The last argument of the error
// is the system's text, which is empty on some systems.
TEST(SocketServer, RefusesPortsAbove65535) {
  for (const unsigned int port : rowsOf({65536U, 65537U, 70000U, std::numeric_limits<unsigned int>::max()})) {
    SocketServer server;
    std::string error = "none";
    std::vector<std::string> arguments;
    try {
      server.listen(port, 5, false);
    } catch (const SocketException& raised) {
      error = utf8(raised.getErrorMessage().getMessageID());
      arguments = argumentsOf(raised.getErrorMessage());
    }
    EXPECT_EQ(error, "ERR_SOCKET_GETADDRINFO_ERROR");
    EXPECT_THAT(arguments, ElementsAre("localhost", std::to_string(static_cast<int>(port)), "10109",
                                       textOfAnUnknownService()));
    EXPECT_EQ(server.getPort(), 0U);
  }
}

TEST_F(SocketServerTest, ListensOnTheWildcardOfIPv4) {
  for (const char* address : rowsOf({"127.0.0.1", "127.0.0.2", "127.255.255.254"})) {
    Socket near;
    Socket far;
    near.connect(address, server.getPort(), Socket::NullAddrInfoExternal, nullptr);
    server.accept(far, nullptr);
    EXPECT_TRUE(talks(near, far));
  }
}

// If the machine has IPv6, the connection over IPv6 is refused; otherwise connect fails before it tries.
TEST_F(SocketServerTest, ListensOnlyOnIPv4) {
  Socket near;
  const unsigned int port = server.getPort();
  EXPECT_THAT(
      [&] { near.connect("::1", port, Socket::NullAddrInfoExternal, nullptr); },
      AnyOf(Raises<SocketException>("QN_ERR_SOCKET_CONNECTION_REFUSED", "::1", port).from("kelSocket.cpp"),
            Raises<SocketException>("ERR_SOCKET_NOT_CONNECTED", "::1", port).from("kelSocket.cpp")));
}

/// The number of connections, up to `most`, that the system completes while nobody accepts. The next attempt
/// gets no answer and ends with its timeout.
std::size_t takenWithoutAccept(unsigned int backlog, std::size_t most) {
  SocketServer server;
  server.listen(0, backlog, false);
  const unsigned int port = server.getPort();
  const unsigned long long patience = 700;
  std::list<Socket> clients;
  while (clients.size() < most) {
    Socket& client = clients.emplace_back();
    try {
      client.connect(loopback, port, Socket::NullAddrInfoExternal, &patience);
    } catch (const SocketException& error) {
      EXPECT_EQ(utf8(error.getErrorMessage().getMessageID()), "ERR_SOCKET_TIMEOUT");
      return clients.size() - 1;
    }
  }
  return most;
}

TEST(SocketServer, PassesTheBacklogToTheSystem) {
  EXPECT_LT(takenWithoutAccept(1, 40), 40U);
  EXPECT_EQ(takenWithoutAccept(64, 40), 40U);
}

// --- a port that was in use shortly before
// ----------------------------------------------------------------------

TEST(SocketServer, CanListenAgainOnItsPortAtOnce) {
  const unsigned int port = freePort();
  SocketServer server;
  for (int round = 0; round < 50; ++round) {
    ROW("round", round);
    server.listen(port, 5, false);
    ASSERT_EQ(server.queryPort(), port);
    server.close();
  }
}

TEST(SocketServer, CanReuseItsPortWhileAConnectionIsOpen) {
  SocketServer server;
  server.listen(0, 5, true);
  const unsigned int port = server.getPort();
  Socket oldNear;
  Socket oldFar;
  dial(oldNear, port);
  server.accept(oldFar, nullptr);
  server.close();
  server.listen(port, 5, true);
  Socket near;
  Socket far;
  dial(near, port);
  server.accept(far, nullptr);
  EXPECT_TRUE(talks(near, far, "new"));
  EXPECT_TRUE(talks(oldNear, oldFar, "old"));
}

// Connections accepted after setReuseAddress inherit the option, so the next server can use the port.
TEST(SocketServer, MakesItsPortReusableWithSetReuseAddress) {
  SocketServer server;
  server.listen(0, 5, false);
  server.setReuseAddress(true);
  const unsigned int port = server.getPort();
  Socket near;
  Socket far;
  dial(near, port);
  server.accept(far, nullptr);
  server.close();
  server.listen(port, 5, true);
  EXPECT_EQ(server.queryPort(), port);
}

// --- accept
// -------------------------------------------------------------------------------------------------

TEST_F(SocketServerTest, AcceptRaisesTimeoutAfterItsTimeout) {
  for (const unsigned long long timeout : rowsOf({0ULL, 1ULL, 30ULL, 110ULL})) {
    Socket client;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_THAT([&] { server.accept(client, &timeout); },
                Raises<SocketException>("ERR_SOCKET_TIMEOUT", "localhost", server.getPort()).from(source));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(timeout));
    EXPECT_EQ(client.handle(), noHandle);
    EXPECT_EQ(client.getHost(), icu::UnicodeString());
    EXPECT_EQ(client.getPort(), 0U);
  }
  Socket near;
  Socket far;
  connectBoth(near, far);
  EXPECT_TRUE(talks(near, far));
}

TEST_F(SocketServerTest, AcceptsAConnectionWithAnyTimeout) {
  const std::optional<unsigned long long> timeouts[] = {
      std::nullopt, 60'000,     1ULL << 31,
      1ULL << 32,   1ULL << 63, std::numeric_limits<unsigned long long>::max()};
  for (const std::optional<unsigned long long>& timeout : rowsOf(timeouts)) {
    ROW(timeout ? std::to_string(*timeout) : "no limit");
    Socket near;
    dial(near, server.getPort());
    Socket far;
    server.accept(far, timeout ? &*timeout : nullptr);
    EXPECT_TRUE(talks(near, far));
  }
}

TEST_F(SocketServerTest, AcceptWithATimeoutOfZeroDoesNotWait) {
  Socket near;
  dial(near, server.getPort());
  const unsigned long long none = 0;
  Socket far;
  // The connection may be queued slightly later than connect() returns at the client's end.
  while (far.handle() == noHandle) {
    try {
      server.accept(far, &none);
    } catch (const SocketException& error) {
      ASSERT_EQ(utf8(error.getErrorMessage().getMessageID()), "ERR_SOCKET_TIMEOUT");
    }
  }
  EXPECT_TRUE(talks(near, far));
  Socket another;
  EXPECT_THAT([&] { server.accept(another, &none); },
              Raises<SocketException>("ERR_SOCKET_TIMEOUT", "localhost", server.getPort()).from(source));
}

TEST_F(SocketServerTest, MakesTheClientTheOwnerOfTheConnection) {
  Socket near;
  {
    Socket far;
    connectBoth(near, far);
    EXPECT_NE(far.handle(), noHandle);
    EXPECT_NE(far.handle(), near.handle());
    { const Socket view(far); }
    EXPECT_TRUE(talks(far, near));
  }
  EXPECT_EQ(readsOne(near), 0U) << "the owner's destruction closes the connection";

  Socket secondNear;
  Socket far;
  connectBoth(secondNear, far);
  far.close();
  EXPECT_EQ(far.handle(), noHandle);
  EXPECT_EQ(readsOne(secondNear), 0U) << "the owner's close closes the connection";
}

TEST_F(SocketServerTest, DoesNotStoreThePeersAddress) {
  Socket near;
  Socket far;
  connectBoth(near, far);
  EXPECT_EQ(far.getHost(), icu::UnicodeString());
  EXPECT_EQ(far.getPort(), 0U);
}

TEST_F(SocketServerTest, KeepsTheClientsHostAndPort) {
  unsigned int refused = freePort();
  Socket far;
  EXPECT_THAT(
      [&] { dial(far, refused); },
      Raises<SocketException>("QN_ERR_SOCKET_CONNECTION_REFUSED", loopback, refused).from("kelSocket.cpp"));
  Socket near;
  connectBoth(near, far);
  EXPECT_EQ(far.getHost(), icu::UnicodeString(loopback));
  EXPECT_EQ(far.getPort(), refused);
  EXPECT_TRUE(talks(near, far));
}

TEST_F(SocketServerTest, OverwritesTheClientsFormerHandle) {
  SocketServer elsewhere;
  listenAnywhere(elsewhere);
  Socket peer;
  Socket client;
  dial(client, elsewhere.getPort());
  elsewhere.accept(peer, nullptr);
  Socket former(client);

  Socket near;
  connectBoth(near, client);
  EXPECT_NE(client.handle(), former.handle());
  EXPECT_EQ(client.getHost(), icu::UnicodeString(loopback));
  EXPECT_EQ(client.getPort(), elsewhere.getPort());
  EXPECT_TRUE(talks(near, client));
  EXPECT_TRUE(talks(former, peer)) << "the handle held before stays open";

  client.close();
  EXPECT_EQ(readsOne(near), 0U);
  EXPECT_TRUE(talks(peer, former));
}

TEST_F(SocketServerTest, MakesAViewTheOwnerOfWhatItAccepts) {
  Socket firstNear;
  Socket owner;
  connectBoth(firstNear, owner);
  Socket near;
  {
    Socket view(owner);
    connectBoth(near, view);
    EXPECT_NE(view.handle(), owner.handle());
    EXPECT_TRUE(talks(near, view));
  }
  EXPECT_EQ(readsOne(near), 0U);
  EXPECT_TRUE(talks(firstNear, owner));
}

TEST_F(SocketServerTest, DoesNotChangeTheClientIfAcceptFails) {
  Socket near;
  Socket far;
  connectBoth(near, far);
  const unsigned long long handle = far.handle();
  const unsigned long long none = 0;
  EXPECT_THAT([&] { server.accept(far, &none); },
              Raises<SocketException>("ERR_SOCKET_TIMEOUT", "localhost", server.getPort()).from(source));
  EXPECT_EQ(far.handle(), handle);
  EXPECT_TRUE(talks(near, far));
  server.close();
  EXPECT_THAT([&] { server.accept(far, &none); },
              Raises<SocketException>("ERR_SOCKET_NOT_LISTENING", "localhost", 0).from(source));
  EXPECT_EQ(far.handle(), handle);
  EXPECT_TRUE(talks(near, far));
}

// A read from a non-blocking handle would fail with 10035.
TEST_F(SocketServerTest, AcceptsBlockingConnections) {
  Socket near;
  Socket far;
  connectBoth(near, far);
  far.setTimeout(1);
  EXPECT_THAT([&] { readsOne(far); },
              Raises<SocketException>("QN_ERR_SOCKET_TIMEOUT", "", 0).from("kelSocket.cpp"));
}

TEST_F(SocketServerTest, AcceptsAConnectionThatTheClientHasAlreadyClosed) {
  {
    Socket near;
    dial(near, server.getPort());
    near.write("last words", 0, 10);
  }
  Socket far;
  server.accept(far, nullptr);
  char bytes[32] = {};
  EXPECT_EQ(far.read(bytes, 0, sizeof bytes), 10U);
  EXPECT_STREQ(bytes, "last words");
}

TEST(SocketServer, AcceptsHundredsOfClientsInOrder) {
  constexpr int batches = 4;
  constexpr int batchSize = 100;
  SocketServer server;
  server.listen(0, batchSize, false);
  std::list<Socket> clients;
  std::list<Socket> accepted;
  for (int batch = 0; batch < batches; ++batch) {
    ROW("batch", batch);
    for (int i = 0; i < batchSize; ++i) {
      Socket& client = clients.emplace_back();
      dial(client, server.getPort());
      const std::string number = std::to_string(batch * batchSize + i);
      client.writeMessage(number.data(), 0, number.size());
    }
    for (int i = 0; i < batchSize; ++i) {
      ROW("i", i);
      Socket& far = accepted.emplace_back();
      server.accept(far, nullptr);
      char number[16];
      const auto length = static_cast<std::size_t>(far.readMessage(number, nullptr, 0, sizeof number, false));
      ASSERT_EQ(std::string(number, length), std::to_string(batch * batchSize + i));
    }
  }
  for (auto near = clients.begin(), far = accepted.begin(); near != clients.end(); ++near, ++far)
    ASSERT_TRUE(talks(*far, *near));
}

// --- close and destruction
// ----------------------------------------------------------------------------------

/// Expects that nobody listens on `port`.
void expectRefused(unsigned int port) {
  Socket client;
  EXPECT_THAT(
      [&] { dial(client, port); },
      Raises<SocketException>("QN_ERR_SOCKET_CONNECTION_REFUSED", loopback, port).from("kelSocket.cpp"));
}

TEST_F(SocketServerTest, StopsListeningWhenClosed) {
  const unsigned int port = server.getPort();
  server.close();
  EXPECT_EQ(server.getPort(), 0U);
  expectRefused(port);
  server.close();
  server.close();
  EXPECT_EQ(server.getPort(), 0U);
}

TEST_F(SocketServerTest, ClosesConnectionsThatWereNotAcceptedWhenClosed) {
  const unsigned int port = server.getPort();
  Socket near;
  dial(near, port);
  server.close();
  server.listen(port, 5, true);
  Socket far;
  const unsigned long long none = 0;
  EXPECT_THAT([&] { server.accept(far, &none); },
              Raises<SocketException>("ERR_SOCKET_TIMEOUT", "localhost", port).from(source));
}

TEST_F(SocketServerTest, KeepsAcceptedConnectionsOpenWhenClosed) {
  Socket near;
  Socket far;
  connectBoth(near, far);
  server.close();
  EXPECT_TRUE(talks(near, far));
  EXPECT_TRUE(talks(far, near));
}

TEST(SocketServer, StopsListeningWhenDestroyed) {
  Socket near;
  Socket far;
  unsigned int port = 0;
  {
    SocketServer server;
    server.listen(0, 5, true);
    port = server.getPort();
    dial(near, port);
    server.accept(far, nullptr);
  }
  expectRefused(port);
  EXPECT_TRUE(talks(near, far));
  SocketServer next;
  next.listen(port, 5, true);
  EXPECT_EQ(next.getPort(), port);
}

TEST(SocketServer, StopsListeningWhenDestroyedThroughItsBase) {
  class Named : public SocketServer {
   public:
    std::string name = "a server of the caller's own";
  };
  std::unique_ptr<SocketServer> server = std::make_unique<Named>();
  listenAnywhere(*server);
  const unsigned int port = server->getPort();
  server.reset();
  expectRefused(port);
}

// --- options
// ------------------------------------------------------------------------------------------------

TEST_F(SocketServerTest, AcceptsConnectionsAfterOptionsAreChanged) {
  server.setReceiveBufferSize(16 * 1024);
  server.setSendBufferSize(16 * 1024);
  server.setReuseAddress(true);
  server.setReuseAddress(false);
  EXPECT_EQ(server.queryPort(), server.getPort());
  Socket near;
  Socket far;
  connectBoth(near, far);
  EXPECT_TRUE(talks(near, far, std::string(4000, 'x')));
  EXPECT_TRUE(talks(far, near, std::string(4000, 'y')));
}

}  // namespace
}  // namespace tarvo::test
