#pragma once

#include "infra/oss/kelSocketServer.hpp"

#include <gtest/gtest.h>

/// A server and its clients, as far as its port matters.
namespace tarvo::test {

/// A client at an address of this machine reaches the server, and what it sends arrives.
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

/// A server's port on which one connection lingers, closed by the server's end first.
///   reusable   how the server listened
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
