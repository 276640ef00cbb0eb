#include "infra/oss/kelSocketException.hpp"
#include "infra/oss/kelSocketServer.hpp"

#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"
#include "support/kelServerTalk.hpp"
#include "support/kelTakenPort.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tarvo::test {
namespace {

using oss::Socket;
using oss::SocketException;
using oss::SocketServer;

constexpr const char* source = "kelSocketServer.cpp";

// In Winsock, a listener takes the port only for its family, so another server can take it for the other
// family.
TEST(SocketServerPort, CanBeTakenOnceForEachFamily) {
  SocketServer first;
  SocketServer second;
  SocketServer third;
  first.listen(0, 4, false);
  const unsigned int port = first.getPort();
  second.listen(port, 4, false);
  EXPECT_EQ(second.getPort(), port);
  EXPECT_THAT([&] { third.listen(port, 4, false); },
              Raises<SocketException>("QN_ERR_SOCKET_ADDRESS_IN_USE", "localhost", port).from(source));
  const struct {
    const char* address;
    SocketServer& server;
    SocketServer& other;
  } rows[] = {{"127.0.0.1", first, second}, {"::1", second, first}};
  for (const auto& row : rowsOf(rows)) {
    ROW("address", row.address);
    Socket far;
    const unsigned long long moment = 0;
    EXPECT_THAT([&] { row.other.accept(far, &moment); },
                Raises<SocketException>("ERR_SOCKET_TIMEOUT", "localhost", port).from(source));
    expectTalk(row.address, row.server);
  }
}

// In Winsock, connections in TIME_WAIT do not block their port.
TEST(SocketServerPort, CanBeReusedDuringTimeWaitWithAndWithoutTheOption) {
  for (const bool reuse : rowsOf({false, true})) {
    const unsigned int port = lingeringPort(false);
    SocketServer server;
    server.listen(port, 5, reuse);
    EXPECT_EQ(server.getPort(), port);
    expectTalk("127.0.0.1", server);
  }
}

// In Winsock, the option requests to share a port that is in use. Wine refuses that, with another code than
// without the option.
TEST(SocketServerPort, InUseIsRefusedWithAnotherCodeIfReuseIsRequested) {
  const TakenPort taken;
  SocketServer server;
  EXPECT_THAT(
      [&] { server.listen(taken.number(), 4, true); },
      Raises<SocketException>("QN_ERR_SOCKET_ERROR", 10013, "localhost", taken.number()).from(source));
}

}  // namespace
}  // namespace tarvo::test
