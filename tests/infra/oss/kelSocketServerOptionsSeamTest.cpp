#include "infra/oss/kelSocketServer.hpp"

#include "platform/kelWinsock.hpp"
#include "support/kelRows.hpp"

#include <gtest/gtest.h>

#include <vector>

namespace tarvo::test {
namespace {

using oss::Socket;
using oss::SocketServer;

int optionOf(const Socket& socket, int level, int option) {
  int value = -1;
  EXPECT_EQ(platform::systemWinsock().getsockopt(socket.handle(), level, option, value), 0);
  return value;
}

struct Connection {
  explicit Connection(SocketServer& server) {
    near.connect("127.0.0.1", server.getPort(), Socket::NullAddrInfoExternal, nullptr);
    server.accept(far, nullptr);
  }
  Socket near;
  Socket far;
};

TEST(SocketServerOptions, AcceptedConnectionsDoNotHaveNoDelaySet) {
  SocketServer server;
  server.listen(0, 5, false);
  Connection connection(server);
  EXPECT_NE(optionOf(connection.near, platform::levelTcp, platform::optionNoDelay), 0);
  EXPECT_EQ(optionOf(connection.far, platform::levelTcp, platform::optionNoDelay), 0);
  connection.far.setNoDelay(true);
  EXPECT_NE(optionOf(connection.far, platform::levelTcp, platform::optionNoDelay), 0);
}

TEST(SocketServerOptions, AcceptedConnectionsHaveNoTimeouts) {
  SocketServer server;
  server.listen(0, 5, false);
  Connection connection(server);
  EXPECT_EQ(optionOf(connection.far, platform::levelSocket, platform::optionReceiveTimeout), 0);
  EXPECT_EQ(optionOf(connection.far, platform::levelSocket, platform::optionSendTimeout), 0);
}

// Systems round or double these sizes, but a larger size always gives a larger buffer.
TEST(SocketServerOptions, AcceptedConnectionsInheritTheBufferSizes) {
  struct Row {
    const char* name;
    void (SocketServer::*set)(int);
    int option;
    int otherOption;
  };
  const Row rows[] = {
      {"receive", &SocketServer::setReceiveBufferSize, platform::optionReceiveBuffer,
       platform::optionSendBuffer},
      {"send", &SocketServer::setSendBufferSize, platform::optionSendBuffer, platform::optionReceiveBuffer}};
  for (const Row& row : rowsOf(rows)) {
    SocketServer server;
    server.listen(0, 5, false);
    const int untouched = optionOf(Connection(server).far, platform::levelSocket, row.otherOption);
    std::vector<int> got;
    for (const int size : rowsOf({8 * 1024, 40 * 1024, 100 * 1024})) {
      (server.*row.set)(size);
      Connection connection(server);
      got.push_back(optionOf(connection.far, platform::levelSocket, row.option));
      EXPECT_GE(got.back(), size);
      EXPECT_LE(got.back(), 3 * size);
      EXPECT_EQ(optionOf(connection.far, platform::levelSocket, row.otherOption), untouched);
    }
    EXPECT_LT(got[0], got[1]);
    EXPECT_LT(got[1], got[2]);
  }
}

TEST(SocketServerOptions, AddressReuseCanBeSetAndCleared) {
  for (const bool reuse : rowsOf({false, true})) {
    SocketServer server;
    server.listen(0, 5, reuse);
    const auto inherited = [&] {
      return optionOf(Connection(server).far, platform::levelSocket, platform::optionReuseAddress) != 0;
    };
    EXPECT_EQ(inherited(), reuse);
    server.setReuseAddress(!reuse);
    EXPECT_EQ(inherited(), !reuse);
    server.setReuseAddress(reuse);
    EXPECT_EQ(inherited(), reuse);
  }
}

}  // namespace
}  // namespace tarvo::test
