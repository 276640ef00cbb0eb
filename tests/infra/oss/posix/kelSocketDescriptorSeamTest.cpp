#include "infra/oss/kelSocket.hpp"
#include "infra/oss/kelSocketException.hpp"

#include "support/kelConnection.hpp"
#include "support/kelHandles.hpp"
#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"
#include "support/kelSeamSockets.hpp"

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>

#include <list>

// The tests replace the descriptor of a Socket by dup2. The Socket then has a descriptor that no public
// member can give it: one whose connect has failed, or one that is not a socket.

namespace tarvo::test {
namespace {

using oss::Socket;
using oss::SocketException;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* source = "kelSocket.cpp";

/// Makes the number `handle` refer to `replacement`, and closes the original number of `replacement`.
void replace(Handle handle, int replacement) {
  ASSERT_NE(replacement, -1);
  ASSERT_NE(::dup2(replacement, static_cast<int>(handle)), -1);
  ::close(replacement);
}

/// Starts a connect that is refused. Its error stays pending.
void attemptInVain(Handle handle, const ClosedPort& closed) {
  EXPECT_EQ(connectTo(handle, loopback(closed.port())), platform::socketError);
  EXPECT_EQ(lastError(), 10035);
  awaitReset(handle);
}

TEST(SocketSelectOfDescriptors, ReportsAFailedConnectAsAnErrorAndKeepsItsPendingError) {
  const ClosedPort closed;
  Connection connection;
  replace(connection.handle(), ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0));
  attemptInVain(connection.handle(), closed);
  for (int i = 0; i < 2; ++i) {
    ROW("i", i);
    std::list<Socket> none;
    std::list<Socket> write = {connection.socket};
    std::list<Socket> error = {connection.socket};
    EXPECT_EQ(Socket::select(none, write, error, nullptr), 1U);
    EXPECT_THAT(write, IsEmpty());
    EXPECT_EQ(error.size(), 1U);
  }
  EXPECT_TRUE(takesRefusal(connection.handle()));
}

TEST(SocketSelectOfDescriptors, RefusesADescriptorThatIsNotASocket) {
  Connection connection;
  Connection good;
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  const auto refused =
      Raises<SocketException>("QN_ERR_SOCKET_ERROR", 10038, good.host(), good.port()).from(source);
  std::list<Socket> none;

  replace(connection.handle(), ends[1]);  // writable
  std::list<Socket> write = {good.socket, connection.socket};
  EXPECT_THAT([&] { Socket::select(none, write, none, nullptr); }, refused);
  EXPECT_EQ(write.size(), 2U);

  replace(connection.handle(), ends[0]);  // neither writable nor readable
  std::list<Socket> read = {good.socket, connection.socket};
  EXPECT_THAT([&] { Socket::select(read, none, none, nullptr); }, refused);
  EXPECT_EQ(read.size(), 2U);
}

TEST(SocketSelectOfDescriptors, DetectsAnIdleDescriptorThatIsNotASocketOnlyBeforeItWaits) {
  Connection connection;
  Connection good;
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  replace(connection.handle(), ends[0]);
  std::list<Socket> none;
  std::list<Socket> write = {good.socket, connection.socket};
  EXPECT_EQ(Socket::select(none, write, none, nullptr), 1U);
  ASSERT_EQ(write.size(), 1U);
  EXPECT_EQ(write.front().handle(), good.handle());

  const unsigned long long look = 0;
  std::list<Socket> read = {good.socket, connection.socket};
  EXPECT_EQ(Socket::select(read, none, none, &look), 0U) << "a call that only looks";
  const unsigned long long longTime = 3'600'000;
  for (const unsigned long long* timeout :
       rowsOf({&longTime, static_cast<const unsigned long long*>(nullptr)})) {
    std::list<Socket> waiting = {good.socket, connection.socket};
    EXPECT_THAT([&] { Socket::select(waiting, none, none, timeout); },
                Raises<SocketException>("QN_ERR_SOCKET_ERROR", 10038, good.host(), good.port()).from(source));
    EXPECT_EQ(waiting.size(), 2U);
  }
  ::close(ends[1]);
}

TEST(SocketOnADescriptor, RaisesNotASocketForAnotherKindOfDescriptor) {
  Connection connection;
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  replace(connection.handle(), ends[0]);
  Socket& socket = connection.socket;
  const auto noSocket =
      Raises<SocketException>("QN_ERR_SOCKET_ERROR", 10038, connection.host(), connection.port())
          .from(source);
  char byte = 0;
  EXPECT_THAT([&] { socket.readOnce(&byte, 0, 1); }, noSocket);
  EXPECT_THAT([&] { socket.read(&byte, 0, 1); }, noSocket);
  EXPECT_THAT([&] { socket.write("x", 0, 1); }, noSocket);
  EXPECT_THAT([&] { socket.setNonBlocking(true); }, noSocket);
  EXPECT_THAT([&] { socket.setNoDelay(true); }, noSocket);
  EXPECT_THAT([&] { socket.setTimeout(1); }, noSocket);
  EXPECT_THAT([&] { socket.shutdownBoth(); }, noSocket);
  ::close(ends[1]);
}

TEST(SocketOnADescriptor, RaisesNotConnectedIfItNeverConnected) {
  Connection connection;
  replace(connection.handle(), ::socket(AF_INET, SOCK_STREAM, 0));
  Socket& socket = connection.socket;
  const auto notConnected =
      Raises<SocketException>("QN_ERR_SOCKET_NOT_CONNECTED", connection.host(), connection.port())
          .from(source);
  char byte = 0;
  EXPECT_THAT([&] { socket.readOnce(&byte, 0, 1); }, notConnected);
  EXPECT_THAT([&] { socket.read(&byte, 0, 1); }, notConnected);
  EXPECT_THAT([&] { socket.write("x", 0, 1); }, notConnected);
  EXPECT_THAT([&] { socket.shutdownSend(); }, notConnected);
}

}  // namespace
}  // namespace tarvo::test
