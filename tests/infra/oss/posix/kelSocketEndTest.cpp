// Whether an end of stream, a reset and a shutdown are distinguished where the system's results are
// ambiguous.

#include "infra/oss/kelSocket.hpp"
#include "infra/oss/kelSocketException.hpp"
#include "infra/oss/kelSocketServer.hpp"

#include "support/kelConnection.hpp"
#include "support/kelHandles.hpp"
#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"
#include "support/kelSignals.hpp"

#include <gtest/gtest.h>

#include <net/if.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <list>
#include <string>
#include <system_error>
#include <thread>

namespace tarvo::test {
namespace {

using oss::Socket;
using oss::SocketException;
using oss::SocketServer;

constexpr const char* source = "kelSocket.cpp";

/// Reads to the end of the stream twice, and expects an end of stream instead of a reset.
void expectOrderlyEnd(Connection& connection) {
  EXPECT_EQ(connection.peer.receivesAll(), "");
  connection.peer.sends(3).closes();
  awaitEnd(connection.handle());
  char bytes[8];
  EXPECT_EQ(connection.socket.read(bytes, 0, sizeof bytes), 3U);
  for (int again = 0; again < 2; ++again) {
    ROW("again", again);
    EXPECT_EQ(connection.socket.read(bytes, 0, sizeof bytes), 0U);
  }
}

TEST(SocketEnd, IsAnEndAfterAShutdownOfSendingByTheSystemCall) {
  Connection connection;
  ASSERT_EQ(::shutdown(static_cast<int>(connection.handle()), SHUT_WR), 0);
  expectOrderlyEnd(connection);
}

TEST(SocketEnd, IsAnEndAfterAForkedChildHasShutSendingDown) {
  Connection connection;
  const pid_t child = ::fork();
  ASSERT_NE(child, -1);
  if (child == 0) {
    connection.socket.shutdownSend();
    ::_exit(0);
  }
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  expectOrderlyEnd(connection);
}

TEST(SocketEnd, IsAnEndOnADescriptorAbove1024) {
  const HighHandles high;
  Connection connection;
  connection.socket.shutdownSend();
  expectOrderlyEnd(connection);
  char byte = 0;
  EXPECT_THAT(
      [&] { connection.socket.write(&byte, 0, 1); },
      Raises<SocketException>("QN_ERR_SOCKET_SHUTDOWN", connection.host(), connection.port()).from(source));
}

// --- a shutdown by another thread

TEST(SocketEnd, IsAShutdownForAReadIfAnotherThreadShutsReceivingDown) {
  Connection connection;
  const ThreadView waiting;
  std::thread other([&] {
    waiting.awaitWaiting();
    connection.socket.shutdownReceive();
  });
  char byte = 0;
  EXPECT_THAT(
      [&] { connection.socket.read(&byte, 0, 1); },
      Raises<SocketException>("QN_ERR_SOCKET_SHUTDOWN", connection.host(), connection.port()).from(source));
  other.join();
}

TEST(SocketEnd, IsAShutdownForAWriteIfAnotherThreadShutsSendingDown) {
  Connection connection;
  const std::string much(64 << 20, 'x');
  const ThreadView waiting;
  std::thread other([&] {
    waiting.awaitWaiting();
    connection.socket.shutdownSend();
  });
  EXPECT_THAT(
      [&] { connection.socket.write(much.data(), 0, much.size()); },
      Raises<SocketException>("QN_ERR_SOCKET_SHUTDOWN", connection.host(), connection.port()).from(source));
  other.join();
}

TEST(SocketEnd, MakesASelectReturnIfAnotherThreadShutsTheConnectionDown) {
  Connection connection;
  const ThreadView waiting;
  std::thread other([&] {
    waiting.awaitWaiting();
    connection.socket.shutdownBoth();
  });
  std::list<Socket> read = {connection.socket};
  std::list<Socket> none;
  EXPECT_EQ(Socket::select(read, none, none, nullptr), 1U);
  EXPECT_EQ(read.size(), 1U);
  other.join();
}

// --- connections whose round-trip time was never measured

void setSystem(const std::string& name, const char* value) {
  std::ofstream file("/proc/sys/net/ipv4/" + name);
  file << value;
  if (!file.flush()) throw std::runtime_error("cannot set " + name);
}

/// Moves the calling thread into a separate network namespace. There, handshakes use SYN cookies, so the
/// system does not measure the round-trip time.
void enterNetworkOfCookies() {
  if (::unshare(CLONE_NEWNET) != 0) throw std::system_error(errno, std::generic_category(), "unshare");
  setSystem("tcp_syncookies", "2");
  setSystem("tcp_timestamps", "0");
  const int control = ::socket(AF_INET, SOCK_DGRAM, 0);
  ifreq request = {};
  std::strcpy(request.ifr_name, "lo");
  request.ifr_flags = IFF_UP | IFF_RUNNING;
  const int result = ::ioctl(control, SIOCSIFFLAGS, &request);
  ::close(control);
  if (result != 0) throw std::system_error(errno, std::generic_category(), "the loopback interface");
}

void connectAndReset(unsigned int port) {
  const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  EXPECT_EQ(::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  const linger abort = {1, 0};
  ::setsockopt(fd, SOL_SOCKET, SO_LINGER, &abort, sizeof abort);
  ::close(fd);
}

void acceptWhatWasReset() {
  SocketServer server;
  server.listen(0, 5, false);
  connectAndReset(server.getPort());
  Socket accepted;
  server.accept(accepted, nullptr);
  awaitReset(accepted.handle());
  std::list<Socket> read = {accepted};
  std::list<Socket> none;
  std::list<Socket> error = {accepted};
  EXPECT_EQ(Socket::select(read, none, error, nullptr), 1U);
  EXPECT_EQ(read.size(), 1U);
  EXPECT_EQ(error.size(), 0U) << "a reset is not an exceptional condition";
  char byte = 0;
  for (int again = 0; again < 3; ++again) {
    ROW("again", again);
    EXPECT_THAT([&] { accepted.read(&byte, 0, 1); },
                Raises<SocketException>("QN_ERR_SOCKET_CONNECTION_RESET", "", 0).from(source));
  }
}

// Creating a network namespace requires root. Without that right the test is reported as skipped.
TEST(SocketEnd, IsAResetAfterAHandshakeWithSynCookies) {
  std::string lacking;
  std::thread isolated([&] {
    try {
      enterNetworkOfCookies();
    } catch (const std::exception& error) {
      lacking = error.what();
      return;
    }
    acceptWhatWasReset();
  });
  isolated.join();
  if (!lacking.empty()) GTEST_SKIP() << "no separate network namespace: " << lacking;
}

}  // namespace
}  // namespace tarvo::test
