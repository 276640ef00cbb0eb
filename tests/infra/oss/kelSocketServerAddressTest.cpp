#include "infra/oss/kelSocketException.hpp"
#include "infra/oss/kelSocketServer.hpp"

#include "support/kelPeer.hpp"
#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"
#include "support/kelServerTalk.hpp"

#include <gtest/gtest.h>

namespace tarvo::test {
namespace {

using oss::Socket;
using oss::SocketException;
using oss::SocketServer;

constexpr const char* source = "kelSocketServer.cpp";

TEST(SocketServerAddress, IsTheOnlyOneThatCanBeConnectedTo) {
  SocketServer server;
  server.listen("127.0.0.1", 0, 5, false);
  expectTalk("127.0.0.1", server);
  Socket elsewhere;
  EXPECT_THAT(
      [&] { elsewhere.connect("127.0.0.2", server.getPort(), Socket::NullAddrInfoExternal, nullptr); },
      Raises<SocketException>("QN_ERR_SOCKET_CONNECTION_REFUSED", "127.0.0.2", server.getPort())
          .from("kelSocket.cpp"));
}

TEST(SocketServerAddress, MayBeOfIPv6) {
  requireLoopback(Family::ipv6);
  SocketServer server;
  server.listen("::1", 0, 5, false);
  expectTalk("::1", server);
}

TEST(SocketServerAddress, MayBeAName) {
  SocketServer server;
  server.listen("localhost", 0, 5, true);
  expectTalk("localhost", server);
  EXPECT_EQ(server.queryPort(), server.getPort());
}

TEST(SocketServerAddress, OfAnotherMachineIsRefused) {
  SocketServer server;
  EXPECT_THAT([&] { server.listen("192.0.2.1", 0, 5, false); },
              Raises<SocketException>("QN_ERR_SOCKET_ERROR", 10049, "192.0.2.1", 0).from(source));
  server.listen("127.0.0.1", 0, 5, false);
  expectTalk("127.0.0.1", server);
}

TEST(SocketServerAddress, IsInErrorsAboutThePort) {
  SocketServer first;
  first.listen("127.0.0.1", 0, 5, false);
  SocketServer second;
  EXPECT_THAT(
      [&] { second.listen("127.0.0.1", first.getPort(), 5, false); },
      Raises<SocketException>("QN_ERR_SOCKET_ADDRESS_IN_USE", "127.0.0.1", first.getPort()).from(source));
}

TEST(SocketServerAddress, IsNotTakenWhileTheServerListens) {
  SocketServer server;
  server.listen("127.0.0.1", 0, 5, false);
  EXPECT_THAT([&] { server.listen("127.0.0.1", 0, 5, false); },
              Raises<SocketException>("ERR_SOCKET_LISTENING", "localhost", server.getPort()).from(source));
}

}  // namespace
}  // namespace tarvo::test
