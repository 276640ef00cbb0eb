#include "infra/oss/kelSocket.hpp"
#include "infra/oss/kelSocketException.hpp"

#include "support/kelConnection.hpp"
#include "support/kelHandles.hpp"
#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"

#include <gtest/gtest.h>

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <list>

// A POSIX descriptor number can be given a new meaning behind its owner's back. That puts into a Socket's
// hands what no public member leaves there: a failed attempt to connect, or something that is no socket.

namespace tarvo::test {
namespace {

using oss::Socket;
using oss::SocketException;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* source = "kelSocket.cpp";

/// Gives the number of `handle` to `replacement`, which is closed under its own.
void replace(Handle handle, int replacement) {
  ASSERT_NE(replacement, -1);
  ASSERT_NE(::dup2(replacement, static_cast<int>(handle)), -1);
  ::close(replacement);
}

/// A handle whose attempt to connect has been refused, unasked so far.
int refusedAttempt(const ClosedPort& closed) {
  const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(closed.port()));
  EXPECT_EQ(::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), -1);
  EXPECT_EQ(errno, EINPROGRESS);
  awaitReset(static_cast<Handle>(fd));
  return fd;
}

TEST(SocketSelectOfDescriptors, TellsAFailedConnectAsAnErrorAndKeepsItsReason) {
  const ClosedPort closed;
  Connection connection;
  replace(connection.handle(), refusedAttempt(closed));
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

TEST(SocketSelectOfDescriptors, RefusesWhatIsNoSocket) {
  Connection connection;
  Connection good;
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  const auto refused =
      Raises<SocketException>("QN_ERR_SOCKET_ERROR", 10038, good.host(), good.port()).from(source);
  std::list<Socket> none;

  replace(connection.handle(), ends[1]);  // ready to be written
  std::list<Socket> write = {good.socket, connection.socket};
  EXPECT_THAT([&] { Socket::select(none, write, none, nullptr); }, refused);
  EXPECT_EQ(write.size(), 2U);

  replace(connection.handle(), ends[0]);  // never ready to be written, nor anything to be read
  std::list<Socket> read = {good.socket, connection.socket};
  EXPECT_THAT([&] { Socket::select(read, none, none, nullptr); }, refused);
  EXPECT_EQ(read.size(), 2U);
}

TEST(SocketSelectOfDescriptors, RefusesWhatIsNoSocketAlthoughAnotherIsReady) {
  Connection connection;
  Connection good;
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  replace(connection.handle(), ends[0]);
  std::list<Socket> none;
  std::list<Socket> write = {good.socket, connection.socket};
  EXPECT_THAT([&] { Socket::select(none, write, none, nullptr); },
              Raises<SocketException>("QN_ERR_SOCKET_ERROR", 10038, good.host(), good.port()).from(source));
  EXPECT_EQ(write.size(), 2U);
  ::close(ends[1]);
}

TEST(SocketOnADescriptor, ThatIsNoSocketSaysSo) {
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

TEST(SocketOnADescriptor, ThatNeverConnectedSaysNotConnected) {
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
