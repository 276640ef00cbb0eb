#pragma once

#include "infra/oss/kelSocketServer.hpp"

#include <gtest/gtest.h>

/// Connections between a server and its clients, for tests of the server's port.
namespace tarvo::test {

/// Expects that a client can connect to the server at `address`, and that its bytes arrive.
inline void expectTalk(const char* address, oss::SocketServer& server) {
  oss::Socket client;
  oss::Socket accepted;
  client.connect(address, server.getPort(), oss::Socket::NullAddrInfoExternal, nullptr);
  server.accept(accepted, nullptr);
  const char sent = '*';
  char got = 0;
  client.write(&sent, 0, 1);
  EXPECT_EQ(accepted.read(&got, 0, 1), 1U);
  EXPECT_EQ(got, sent);
}

/// The port of a former server. A connection on this port is in the state TIME_WAIT, because the server's end
/// closed it first.
///   reusable   whether the server listened with a reusable address
inline unsigned int lingeringPort(bool reusable) {
  oss::SocketServer server;
  server.listen(0, 5, reusable);
  const unsigned int port = server.getPort();
  oss::Socket client;
  oss::Socket accepted;
  client.connect("127.0.0.1", port, oss::Socket::NullAddrInfoExternal, nullptr);
  server.accept(accepted, nullptr);
  accepted.close();
  char byte = 0;
  EXPECT_EQ(client.readOnce(&byte, 0, 1), 0U);
  return port;
}

}  // namespace tarvo::test
