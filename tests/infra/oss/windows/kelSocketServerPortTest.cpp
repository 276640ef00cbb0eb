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

// To Winsock a listener of IPv6 is one of IPv6 alone, so the port's other half is free.
TEST(SocketServerPort, IsOneOfEachFamily) {
  SocketServer first;
  SocketServer second;
  SocketServer third;
  first.listen(0, 4, false);
  const unsigned int port = first.getPort();
  second.listen(port, 4, false);
  EXPECT_EQ(second.getPort(), port);
  EXPECT_THAT([&] { third.listen(port, 4, false); },
              Raises<SocketException>("QN_ERR_SOCKET_ADDRESS_IN_USE", "localhost", 0).from(source));
  const struct {
    const char* address;
    SocketServer& server;
    SocketServer& other;
  } rows[] = {{"127.0.0.1", first, second}, {"::1", second, first}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.address);
    Socket near;
    Socket far;
    near.connect(row.address, port, Socket::NullAddrInfoExternal, nullptr);
    const unsigned long long moment = 0;
    EXPECT_THAT([&] { row.other.accept(far, &moment); },
                Raises<SocketException>("ERR_SOCKET_TIMEOUT", "localhost", port).from(source));
    row.server.accept(far, nullptr);
    const char sent = '*';
    char got = 0;
    near.write(&sent, 0, 1);
    EXPECT_EQ(far.read(&got, 0, 1), 1U);
    EXPECT_EQ(got, sent);
  }
}

}  // namespace
}  // namespace tarvo::test
