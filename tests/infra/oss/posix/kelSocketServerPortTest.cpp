#include "infra/oss/kelSocketException.hpp"
#include "infra/oss/kelSocketServer.hpp"

#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"
#include "support/kelServerTalk.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tarvo::test {
namespace {

using oss::Socket;
using oss::SocketException;
using oss::SocketServer;

constexpr const char* source = "kelSocketServer.cpp";

TEST(SocketServerPort, IsTakenByOneServerInBothFamilies) {
  for (const bool reuse : rowsOf({false, true})) {
    SocketServer first;
    first.listen(0, 4, reuse);
    SocketServer second;
    EXPECT_THAT(
        [&] { second.listen(first.getPort(), 4, reuse); },
        Raises<SocketException>("QN_ERR_SOCKET_ADDRESS_IN_USE", "localhost", first.getPort()).from(source));
  }
}

// While a former connection is in TIME_WAIT, another server can use the port only with address reuse.
TEST(SocketServerPort, CanBeReusedDuringTimeWaitIfReuseIsRequested) {
  for (const bool before : rowsOf({true, false})) {
    const unsigned int port = lingeringPort(before);
    SocketServer server;
    EXPECT_THAT([&] { server.listen(port, 5, false); },
                Raises<SocketException>("QN_ERR_SOCKET_ADDRESS_IN_USE", "localhost", port).from(source));
    server.listen(port, 5, true);
    EXPECT_EQ(server.getPort(), port);
    expectTalk("127.0.0.1", server);
  }
}

// These connections enter TIME_WAIT before they are closed, because the peer closes after the shutdown.
TEST(SocketServerPort, CanBeReusedDuringTimeWaitOfAConnectionShutDownBeforeItsClose) {
  for (const bool both : rowsOf({false, true})) {
    SocketServer first;
    first.listen(0, 5, false);
    const unsigned int port = first.getPort();
    Socket client;
    Socket accepted;
    client.connect("127.0.0.1", port, Socket::NullAddrInfoExternal, nullptr);
    first.accept(accepted, nullptr);
    both ? accepted.shutdownBoth() : accepted.shutdownSend();
    char byte = 0;
    EXPECT_EQ(client.readOnce(&byte, 0, 1), 0U);
    client.close();
    accepted.close();
    first.close();
    SocketServer second;
    second.listen(port, 5, true);
    expectTalk("127.0.0.1", second);
  }
}

}  // namespace
}  // namespace tarvo::test
