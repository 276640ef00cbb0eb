#include "infra/oss/kelSocketException.hpp"
#include "infra/oss/kelSocketServer.hpp"

#include "support/kelRaises.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace tarvo::test {
namespace {

using oss::Socket;
using oss::SocketException;
using oss::SocketServer;

constexpr const char* source = "kelSocketServer.cpp";
constexpr const char* loopback = "127.0.0.1";

void dial(Socket& client, unsigned int port) {
  client.connect(loopback, port, Socket::NullAddrInfoExternal, nullptr);
}

/// 0 when the peer has closed; fails with the mapped error otherwise.
unsigned long long readsOne(Socket& socket) {
  char byte = 0;
  return socket.readOnce(&byte, 0, 1);
}

/// Whether a byte written into one end comes out of the other.
bool talks(Socket& from, Socket& to) {
  const char sent = '*';
  char got = 0;
  from.write(&sent, 0, 1);
  return to.read(&got, 0, 1) == 1 && got == sent;
}

TEST(SocketServerPort, OfBothFamiliesIsOneServers) {
  SocketServer first;
  first.listen(0, 4, false);
  SocketServer second;
  EXPECT_THAT([&] { second.listen(first.getPort(), 4, false); },
              Raises<SocketException>("QN_ERR_SOCKET_ADDRESS_IN_USE", "localhost", 0).from(source));
}

// A port that an old connection lingers on is another's only where that is asked for.
/// A server's port on which one connection lingers, closed by the server's end first.
unsigned int lingeringPort() {
  SocketServer server;
  server.listen(0, 5, true);
  Socket near;
  Socket far;
  dial(near, server.getPort());
  server.accept(far, nullptr);
  far.close();
  EXPECT_EQ(readsOne(near), 0U);
  return server.getPort();
}

TEST(SocketServerPort, IsReusedWhereConnectionsLingerOnIt) {
  const unsigned int port = lingeringPort();
  SocketServer server;
  EXPECT_THAT([&] { server.listen(port, 5, false); },
              Raises<SocketException>("QN_ERR_SOCKET_ADDRESS_IN_USE", "localhost", 0).from(source));
  server.listen(port, 5, true);
  EXPECT_EQ(server.getPort(), port);
  Socket near;
  Socket far;
  dial(near, port);
  server.accept(far, nullptr);
  EXPECT_TRUE(talks(near, far));
}

}  // namespace
}  // namespace tarvo::test
