#include "infra/oss/kelDeadline.hpp"
#include "infra/oss/kelSocket.hpp"
#include "infra/oss/kelSocketException.hpp"

#include "support/kelConnection.hpp"
#include "support/kelRaises.hpp"

#include <gtest/gtest.h>

namespace tarvo::test {
namespace {

TEST(SocketReadWithinPosix, RaisesTheShutdownOfThisEnd) {
  Connection connection;
  connection.socket.shutdownBoth();
  char byte = '-';
  EXPECT_THAT([&] { connection.socket.readWithin(&byte, 0, 1, oss::Deadline::in(60'000)); },
              Raises<oss::SocketException>("QN_ERR_SOCKET_SHUTDOWN", connection.host(), connection.port())
                  .from("kelSocket.cpp"));
}

}  // namespace
}  // namespace tarvo::test
