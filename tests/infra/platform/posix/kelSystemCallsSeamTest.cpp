// Which system calls the networking classes make, and what they report if one of them fails.

#include "infra/oss/kelSocket.hpp"
#include "infra/oss/kelSocketException.hpp"
#include "infra/oss/kelSocketServer.hpp"

#include "support/kelAwaited.hpp"
#include "support/kelConnection.hpp"
#include "support/kelHandles.hpp"
#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"
#include "support/kelSeamSockets.hpp"
#include "support/posix/kelSystemCallsSeam.hpp"

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <list>
#include <string>
#include <thread>
#include <vector>

namespace tarvo::test {
namespace {

using oss::Socket;
using oss::SocketException;
using oss::SocketServer;

void dial(Socket& socket, unsigned int port) {
  socket.connect("127.0.0.1", port, Socket::NullAddrInfoExternal, nullptr);
}

// The resolver makes further system calls, so the address is resolved before recording starts.
TEST(SystemCallsOf, AConnection) {
  SocketServer server;
  server.listen(0, 5, false);
  Socket::_AddrInfoExternal record;
  ASSERT_EQ(Socket::resolveAddrInfo("127.0.0.1", static_cast<unsigned short>(server.getPort()), record), 0);
  Socket client;
  Socket accepted;
  std::array<char, 16> bytes{};

  SystemCalls calls;
  client.connect("127.0.0.1", server.getPort(), record, nullptr);
  EXPECT_EQ(calls.take(),
            "socket getsockopt(TYPE) ioctl connect ppoll getsockopt(TYPE) getsockopt(TYPE) ioctl "
            "getsockopt(ERROR) setsockopt(NODELAY)");
  server.accept(accepted, nullptr);
  EXPECT_EQ(calls.take(), "ppoll getsockopt(TYPE) accept4") << "a connection is pending";
  client.write("x", 0, 1);
  EXPECT_EQ(calls.take(), "send");
  accepted.read(bytes.data(), 0, 1);
  EXPECT_EQ(calls.take(), "recv");
  client.writeMessage("frame", 0, 5);
  EXPECT_EQ(calls.take(), "send");
  accepted.readMessage(bytes.data(), nullptr, 0, bytes.size(), false);
  EXPECT_EQ(calls.take(), "recv recv") << "the length word, then the payload";
  client.shutdownSend();
  EXPECT_EQ(calls.take(), "setsockopt(REUSEADDR) shutdown");
  EXPECT_EQ(accepted.read(bytes.data(), 0, 1), 0U);
  EXPECT_EQ(calls.take(), "recv") << "the peer's end";
  accepted.close();
  EXPECT_EQ(calls.take(), "setsockopt(REUSEADDR) close");
  client.close();
  EXPECT_EQ(calls.take(), "close") << "after a shutdown of sending";
  server.close();
  EXPECT_EQ(calls.take(), "close") << "a listener has no lingering port";
}

TEST(SystemCallsOf, AConnectionThatWasReset) {
  Connection connection;
  connection.peer.resets();
  awaitReset(connection.handle());
  char byte = 0;
  SystemCalls calls;
  for (int again = 0; again < 2; ++again) {
    ROW("again", again);
    EXPECT_THROW(connection.socket.read(&byte, 0, 1), SocketException);
    EXPECT_EQ(calls.take(), "recv");
  }
  connection.socket.close();
  EXPECT_EQ(calls.take(), "close");
}

TEST(SystemCallsOf, ASelectThatDoesNotCheckIdleSocketsIfOneIsReady) {
  std::vector<Connection> connections(10);
  connections[3].peer.says("x");
  awaitBytes(connections[3].handle(), 1);
  const auto views = [&] {
    std::list<Socket> list;
    for (const Connection& connection : connections) list.push_back(connection.socket);
    return list;
  };
  std::list<Socket> read = views();
  std::list<Socket> error = views();
  std::list<Socket> none;
  SystemCalls calls;
  EXPECT_EQ(Socket::select(read, none, error, nullptr), 1U);
  EXPECT_EQ(calls.take(), "ppoll getsockopt(TYPE)");

  char byte = 0;
  connections[3].socket.read(&byte, 0, 1);
  calls.take();
  std::list<Socket> idle = views();
  std::list<Socket> idleToo = views();
  const unsigned long long soon = 1;
  EXPECT_EQ(Socket::select(idle, none, idleToo, &soon), 0U);
  std::string expected = "ppoll";
  for (int i = 0; i < 10; ++i) expected += " getsockopt(TYPE)";
  EXPECT_EQ(calls.take(), expected + " ppoll") << "each descriptor is asked once, before the wait";

  std::list<Socket> looked = views();
  const unsigned long long look = 0;
  EXPECT_EQ(Socket::select(looked, none, none, &look), 0U);
  EXPECT_EQ(calls.take(), "ppoll");
}

TEST(SystemCallsRefused, AConnectThatLacksResourcesIsNotReportedAsInProgress) {
  const Pair pair;
  const SocketHandle handle = tcpSocket();
  {
    SystemCalls calls;
    calls.refuse("connect", EAGAIN);
    EXPECT_EQ(connectTo(handle, pair.address), platform::socketError);
  }
  EXPECT_EQ(lastError(), 10055);
  system().closesocket(handle);

  Connection server;  // a port to connect to
  SystemCalls calls;
  calls.refuse("connect", EAGAIN);
  Socket socket;
  EXPECT_THAT(
      [&] { dial(socket, server.port()); },
      Raises<SocketException>("ERR_SOCKET_NOT_CONNECTED", "127.0.0.1", server.port()).from("kelSocket.cpp"));
  EXPECT_EQ(socket.handle(), noHandle);
}

TEST(SystemCallsRefused, ACloseClosesTheHandleEvenIfTheOptionForItsPortIsRefused) {
  const ClosedPort closed;
  SocketServer server;
  server.listen(0, 50, false);
  const std::size_t before = openDescriptors();
  {
    SystemCalls calls;
    calls.refuse("setsockopt(REUSEADDR)", EPERM);
    for (int i = 0; i < 10; ++i) {
      ROW("i", i);
      Socket refused;
      EXPECT_THROW(dial(refused, closed.port()), SocketException);
      Socket client;
      dial(client, server.getPort());
      Socket accepted;
      server.accept(accepted, nullptr);
      accepted.close();
      client.close();
    }
  }
  EXPECT_EQ(openDescriptors(), before);
  const unsigned int port = server.getPort();
  SystemCalls calls;
  calls.refuse("setsockopt(REUSEADDR)", EPERM);
  server.close();
  Socket client;
  EXPECT_THAT(
      [&] { dial(client, port); },
      Raises<SocketException>("QN_ERR_SOCKET_CONNECTION_REFUSED", "127.0.0.1", port).from("kelSocket.cpp"));
}

// The system reports a reset to one call only, which is a send in this test. Its thread is delayed before it
// can record the result, until the read that got an end of stream checks for a reset or returns.
TEST(SystemCallsMeeting, AReadReportsAResetThatTheSystemReportedToAConcurrentSend) {
  Connection connection;
  Awaited sendHasFailed;
  Awaited readHasEnded;
  const auto reset =
      Raises<SocketException>("QN_ERR_SOCKET_CONNECTION_RESET", connection.host(), connection.port())
          .from("kelSocket.cpp");
  connection.peer.resets();
  awaitReset(connection.handle());
  std::thread writer([&] {
    Socket view(connection.socket);
    SystemCalls calls;
    calls.after("send", [&] {
      sendHasFailed.set(1);
      readHasEnded.awaitAtLeast(1);
    });
    EXPECT_THAT([&] { view.write("x", 0, 1); }, reset);
  });
  sendHasFailed.awaitAtLeast(1);
  {
    SystemCalls calls;
    calls.before("ppoll", [&] { readHasEnded.set(1); });
    char byte = 0;
    EXPECT_THAT([&] { connection.socket.read(&byte, 0, 1); }, reset);
  }
  readHasEnded.set(1);
  writer.join();
}

// select checks each socket only once, so only the poll can report that one was closed in the meantime.
TEST(SystemCallsRefused, ASelectDetectsADescriptorThatIsClosedBeforeItWaits) {
  const Pair pair;
  const int copy = ::dup(static_cast<int>(pair.client));
  SocketSet read;
  SocketSet none;
  SocketSet noneEither;
  read.add(static_cast<SocketHandle>(copy));
  int polls = 0;
  SystemCalls calls;
  calls.before("ppoll", [&] {
    if (++polls == 2) ::close(copy);
  });
  const TimeValue aWhile = {10, 0};
  EXPECT_EQ(system().select(read, none, noneEither, &aWhile), platform::socketError);
  EXPECT_EQ(lastError(), 10038);
  EXPECT_EQ(polls, 2);
}

}  // namespace
}  // namespace tarvo::test
