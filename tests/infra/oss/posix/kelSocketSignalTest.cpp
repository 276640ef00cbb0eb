#include "infra/oss/kelSocket.hpp"
#include "infra/oss/kelSocketException.hpp"
#include "infra/oss/kelSocketServer.hpp"

#include "support/kelConnection.hpp"
#include "support/kelHandles.hpp"
#include "support/kelPeer.hpp"
#include "support/kelRaises.hpp"
#include "support/kelReporting.hpp"
#include "support/kelRows.hpp"
#include "support/kelSignals.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <list>
#include <string>
#include <thread>

namespace tarvo::test {
namespace {

using oss::Socket;
using oss::SocketException;
using oss::SocketServer;
using Clock = std::chrono::steady_clock;

constexpr const char* source = "kelSocket.cpp";
constexpr std::size_t many = 2000;

// Signals arrive at intervals far shorter than the timeouts here. A wait that restarted its timeout after
// each signal would therefore never end.

TEST(SocketUnderSignals, SelectKeepsItsTimeout) {
  Connection connection;
  const SignalStorm storm;
  for (const unsigned long long timeout : rowsOf({50ULL, 150ULL})) {
    const std::size_t before = storm.count();
    do {  // until a signal has arrived: the sending thread must have run
      std::list<Socket> read = {connection.socket};
      std::list<Socket> none;
      const Clock::time_point start = Clock::now();
      EXPECT_EQ(Socket::select(read, none, none, &timeout), 0U);
      EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(timeout));
      EXPECT_TRUE(read.empty());
    } while (storm.count() == before);
  }
}

TEST(SocketUnderSignals, SelectWithoutATimeoutKeepsWaiting) {
  Connection connection;
  SignalStorm storm;
  std::thread sender(reporting([&] {
    storm.interrupts(many);
    connection.peer.says("x");
  }));
  std::list<Socket> read = {connection.socket};
  std::list<Socket> none;
  EXPECT_EQ(Socket::select(read, none, none, nullptr), 1U);
  EXPECT_EQ(read.size(), 1U);
  sender.join();
}

TEST(SocketUnderSignals, ReadOnceKeepsWaiting) {
  Connection connection;
  SignalStorm storm;
  std::thread sender(reporting([&] {
    storm.interrupts(many);
    connection.peer.says("x");
  }));
  char byte = 0;
  EXPECT_EQ(connection.socket.readOnce(&byte, 0, 1), 1U);
  EXPECT_EQ(byte, 'x');
  sender.join();
}

TEST(SocketUnderSignals, ReadReturnsAllBytes) {
  Connection connection;
  SignalStorm storm;
  std::thread sender(reporting([&] {
    for (int i = 0; i < 20; ++i) {
      storm.interrupts(many / 20);
      connection.peer.sends(1000);
    }
  }));
  std::string received(20'000, '-');
  EXPECT_EQ(connection.socket.read(received.data(), 0, received.size()), received.size());
  EXPECT_TRUE(received == pattern(0, received.size()));
  sender.join();
}

TEST(SocketUnderSignals, WriteSendsAllBytes) {
  Connection connection;
  const std::string text = pattern(0, 16 << 20);
  std::string received;
  SignalStorm storm;
  std::thread reader(reporting([&] {
    while (received.size() < text.size()) {
      storm.interrupts(20);
      received += connection.peer.receives(std::min<std::size_t>(1 << 18, text.size() - received.size()));
    }
  }));
  connection.socket.write(text.data(), 0, text.size());
  reader.join();
  EXPECT_TRUE(received == text);
}

TEST(SocketUnderSignals, ReadsAndWritesKeepTheirTimeout) {
  Connection connection;
  connection.socket.setTimeout(60);
  const auto timeout =
      Raises<SocketException>("QN_ERR_SOCKET_TIMEOUT", connection.host(), connection.port()).from(source);
  const SignalStorm storm;
  char byte = 0;
  const Clock::time_point start = Clock::now();
  EXPECT_THAT([&] { connection.socket.readOnce(&byte, 0, 1); }, timeout);
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(50));  // the system's tick is up to 10 ms
  EXPECT_THAT([&] { connection.socket.read(&byte, 0, 1); }, timeout);
  const std::string block(1 << 20, 'x');
  EXPECT_THAT(
      [&] {
        for (;;) connection.socket.write(block.data(), 0, block.size());
      },
      timeout);
}

TEST(SocketUnderSignals, NonBlockingOperationsReturnAtOnce) {
  Connection connection;
  connection.socket.setNonBlocking(true);
  const SignalStorm storm;
  char byte = 0;
  EXPECT_THAT([&] { connection.socket.readOnce(&byte, 0, 1); },
              Raises<SocketException>("QN_ERR_SOCKET_ERROR", 10035, connection.host(), connection.port())
                  .from(source));
}

TEST(SocketUnderSignals, ConnectKeepsItsTimeout) {
  const FullPort full;
  const SignalStorm storm;
  const unsigned long long timeout = 60;
  Socket socket;
  const Clock::time_point start = Clock::now();
  EXPECT_THAT([&] { socket.connect("127.0.0.1", full.port(), Socket::NullAddrInfoExternal, &timeout); },
              Raises<SocketException>("ERR_SOCKET_TIMEOUT", "127.0.0.1", full.port()).from(source));
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(timeout));
}

TEST(SocketUnderSignals, ConnectSucceedsRepeatedly) {
  const SignalStorm storm;
  for (int i = 0; i < 50; ++i) {
    ROW("i", i);
    Connection connection;
    connection.socket.write("x", 0, 1);
    EXPECT_EQ(connection.peer.receives(1), "x");
  }
}

TEST(SocketUnderSignals, AcceptKeepsItsTimeout) {
  SocketServer server;
  server.listen(0, 1, false);
  const SignalStorm storm;
  for (const unsigned long long timeout : rowsOf({0ULL, 60ULL})) {
    Socket client;
    const Clock::time_point start = Clock::now();
    EXPECT_THAT([&] { server.accept(client, &timeout); },
                Raises<SocketException>("ERR_SOCKET_TIMEOUT", "localhost", server.getPort())
                    .from("kelSocketServer.cpp"));
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(timeout));
  }
}

TEST(SocketUnderSignals, AcceptKeepsWaiting) {
  requireLoopback();
  SocketServer server;
  server.listen(0, 1, false);
  Socket near;
  SignalStorm storm;
  std::thread connector(reporting([&] {
    storm.interrupts(many);
    near.connect("127.0.0.1", server.getPort(), Socket::NullAddrInfoExternal, nullptr);
    near.write("x", 0, 1);
  }));
  Socket client;
  server.accept(client, nullptr);
  connector.join();
  char byte = 0;
  EXPECT_EQ(client.read(&byte, 0, 1), 1U);
  EXPECT_EQ(byte, 'x');
}

}  // namespace
}  // namespace tarvo::test
