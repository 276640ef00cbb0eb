// Tests that a forked child does not disturb the sockets of its parent.

#include "infra/oss/kelSocket.hpp"
#include "infra/oss/kelSocketException.hpp"
#include "infra/oss/kelSocketServer.hpp"

#include "support/kelConnection.hpp"
#include "support/kelPeer.hpp"
#include "support/kelServerTalk.hpp"
#include "support/kelSignals.hpp"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <optional>
#include <thread>

namespace tarvo::test {
namespace {

using oss::Socket;
using oss::SocketServer;

void dial(Socket& socket, unsigned int port) {
  socket.connect("127.0.0.1", port, Socket::NullAddrInfoExternal, nullptr);
}

/// Runs `action` in a forked child. Returns 0 if it succeeded, otherwise the child's status. A child that
/// hangs is terminated by a signal.
template <class Action>
int inChild(Action action) {
  const pid_t child = ::fork();
  if (child == 0) {
    ::alarm(20);
    action();
    ::_exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = -1;
  while (::waitpid(child, &status, 0) == -1 && errno == EINTR) {
  }
  return status;
}

/// A server with a thread that waits in `accept`.
class WaitingServer {
 public:
  WaitingServer() {
    requireLoopback();
    server.emplace();
    server->listen(0, 5, false);
    waiter_ = std::thread([this] {
      const ThreadView self;
      waiting_.emplace(self);
      ready_ = true;
      try {
        server->accept(accepted, nullptr);
      } catch (const oss::SocketException&) {
        // `accepted` has no handle in this case.
      }
    });
    while (!ready_) std::this_thread::yield();
    waiting_->awaitWaiting();
  }
  WaitingServer(const WaitingServer&) = delete;
  WaitingServer& operator=(const WaitingServer&) = delete;
  ~WaitingServer() { waiter_.join(); }

  /// Expects that the thread still waits and accepts a connection.
  void expectService() {
    Socket client;
    dial(client, server->getPort());
    waiter_.join();
    waiter_ = std::thread([] {});
    EXPECT_NE(accepted.handle(), ~0ULL);
    client.write("x", 0, 1);
    char byte = 0;
    EXPECT_EQ(accepted.read(&byte, 0, 1), 1U);
  }

  std::optional<SocketServer> server;
  Socket accepted;

 private:
  std::optional<ThreadView> waiting_;
  std::atomic<bool> ready_{false};
  std::thread waiter_;
};

TEST(SocketFork, AChildThatClosesAServerLeavesTheParentsWaiterWaiting) {
  WaitingServer parent;
  EXPECT_EQ(inChild([&] { parent.server->close(); }), 0) << "the child hung or failed";
  parent.expectService();
}

TEST(SocketFork, AChildThatDestroysAServerLeavesTheParentsWaiterWaiting) {
  WaitingServer parent;
  EXPECT_EQ(inChild([&] { parent.server.reset(); }), 0) << "the child hung or failed";
  parent.expectService();
}

TEST(SocketFork, AChildThatClosesAServerLeavesItListeningIfNoThreadWaits) {
  SocketServer server;
  server.listen(0, 5, false);
  EXPECT_EQ(inChild([&] {
              server.close();
              EXPECT_EQ(server.getPort(), 0U);
              server.listen(0, 5, false);
              expectTalk("127.0.0.1", server);
            }),
            0);
  expectTalk("127.0.0.1", server);
}

TEST(SocketFork, AChildCanAcceptOnItsParentsServer) {
  WaitingServer parent;
  SocketServer other;
  other.listen(0, 5, false);
  EXPECT_EQ(inChild([&] { expectTalk("127.0.0.1", other); }), 0);
  expectTalk("127.0.0.1", other);
  parent.expectService();
}

TEST(SocketFork, AChildThatClosesASocketLeavesTheConnectionToItsParent) {
  Connection connection;
  EXPECT_EQ(inChild([&] { connection.socket.close(); }), 0);
  connection.socket.write("x", 0, 1);
  EXPECT_EQ(connection.peer.receives(1), "x");
  connection.peer.sends(1);
  char byte = 0;
  EXPECT_EQ(connection.socket.read(&byte, 0, 1), 1U);
}

}  // namespace
}  // namespace tarvo::test
