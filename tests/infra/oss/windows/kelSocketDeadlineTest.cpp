#include "infra/oss/kelDeadline.hpp"
#include "infra/oss/kelSocket.hpp"

#include "support/kelConnection.hpp"

#include <gtest/gtest.h>

#include <thread>

namespace tarvo::test {
namespace {

using oss::Deadline;
using oss::Socket;

void expectExpired(Connection& connection) {
  char byte = '-';
  const Deadline deadline = Deadline::in(100);
  const Socket::Transfer got = connection.socket.readWithin(&byte, 0, 1, deadline);
  EXPECT_EQ(got.end, Socket::Transfer::EXPIRED);
  EXPECT_EQ(got.bytes, 0U);
  EXPECT_TRUE(got.usable);
  EXPECT_TRUE(deadline.hasPassed());
}

TEST(SocketReadWithinWindows, ExpiresAfterThisEndHasShutDownReceiving) {
  Connection connection;
  connection.socket.shutdownReceive();
  expectExpired(connection);
}

TEST(SocketReadWithinWindows, ExpiresIfAnotherThreadShutsDownReceiving) {
  Connection connection;
  std::thread other([&] { connection.socket.shutdownReceive(); });
  expectExpired(connection);
  other.join();
}

}  // namespace
}  // namespace tarvo::test
