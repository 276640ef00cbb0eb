#include "infra/oss/kelSocket.hpp"
#include "infra/oss/kelSocketException.hpp"

#include "support/kelConnection.hpp"
#include "support/kelHandles.hpp"
#include "support/kelRaises.hpp"
#include "support/kelReporting.hpp"
#include "support/kelRows.hpp"
#include "support/kelSignals.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <list>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace tarvo::test {
namespace {

using oss::Socket;
using oss::SocketException;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using Clock = std::chrono::steady_clock;
using Sockets = std::list<Socket>;

constexpr const char* source = "kelSocket.cpp";
constexpr unsigned long long onlyLook = 0;

std::vector<Handle> handlesIn(const Sockets& sockets) {
  std::vector<Handle> handles;
  for (const Socket& socket : sockets) handles.push_back(socket.handle());
  return handles;
}

/// The three lists that are passed to select.
struct Lists {
  Sockets read;
  Sockets write;
  Sockets error;

  unsigned long long select(const unsigned long long* timeout) {
    return Socket::select(read, write, error, timeout);
  }
};

/// Several connections.
class Crowd {
 public:
  explicit Crowd(std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) members_.push_back(std::make_unique<Connection>());
  }

  Connection& operator[](std::size_t i) { return *members_[i]; }
  const Socket& socket(std::size_t i) const { return members_[i]->socket; }
  Handle handle(std::size_t i) const { return members_[i]->handle(); }

  /// Makes connection `i` readable.
  void wakes(std::size_t i) {
    members_[i]->peer.says("x");
    awaitBytes(handle(i), 1);
  }

  std::vector<Handle> handles(std::size_t first, std::size_t count) const {
    std::vector<Handle> all;
    for (std::size_t i = first; i < first + count; ++i) all.push_back(handle(i));
    return all;
  }

 private:
  std::vector<std::unique_ptr<Connection>> members_;
};

/// Writes until the system's buffers are full; the peer does not read.
void fillTheWay(Connection& connection) {
  const std::string block(1 << 16, 'f');
  connection.socket.setNonBlocking(true);
  EXPECT_THAT(
      [&] {
        for (;;) connection.socket.write(block.data(), 0, block.size());
      },
      Raises<SocketException>("QN_ERR_SOCKET_ERROR", 10035, connection.host(), connection.port())
          .from(source));
  connection.socket.setNonBlocking(false);
}

TEST(SocketSelect, OfThreeEmptyListsReturnsAtOnce) {
  Lists lists;
  EXPECT_EQ(lists.select(nullptr), 0U);  // would wait without limit
  Sockets one;
  EXPECT_EQ(Socket::select(one, one, one, nullptr), 0U);
}

TEST(SocketSelect, WithATimeoutOfZeroReturnsZeroIfNothingIsReady) {
  const Crowd crowd(3);
  Lists lists{{crowd.socket(0)}, {}, {crowd.socket(1), crowd.socket(2)}};
  EXPECT_EQ(lists.select(&onlyLook), 0U);
  EXPECT_THAT(lists.read, IsEmpty());
  EXPECT_THAT(lists.error, IsEmpty());
}

TEST(SocketSelect, KeepsTheReadySocketsInOrder) {
  Crowd crowd(5);
  crowd.wakes(3);
  crowd.wakes(1);
  Lists lists;
  for (const std::size_t i : {4U, 3U, 2U, 1U, 0U}) lists.read.push_back(crowd.socket(i));
  EXPECT_EQ(lists.select(&onlyLook), 2U);
  EXPECT_THAT(handlesIn(lists.read), ElementsAre(crowd.handle(3), crowd.handle(1)));
  EXPECT_EQ(utf8(lists.read.front().getHost()), crowd[3].host());
  EXPECT_EQ(lists.read.front().getPort(), crowd[3].port());
}

TEST(SocketSelect, ErasesViewsWithoutClosingTheirHandles) {
  Crowd crowd(2);
  Lists lists{{crowd.socket(0), crowd.socket(1)}, {}, {}};
  EXPECT_EQ(lists.select(&onlyLook), 0U);
  char byte = 0;
  for (const std::size_t i : rowsOf({0U, 1U})) {
    crowd.wakes(i);
    EXPECT_EQ(crowd[i].socket.read(&byte, 0, 1), 1U);
  }
}

TEST(SocketSelect, CountsASocketOnceForEachListInWhichItIsReady) {
  Crowd crowd(2);
  crowd.wakes(0);
  Lists lists{{crowd.socket(0), crowd.socket(1)}, {crowd.socket(0), crowd.socket(1)}, {crowd.socket(0)}};
  EXPECT_EQ(lists.select(nullptr), 3U);
  EXPECT_THAT(handlesIn(lists.read), ElementsAre(crowd.handle(0)));
  EXPECT_THAT(handlesIn(lists.write), ElementsAre(crowd.handle(0), crowd.handle(1)));
  EXPECT_THAT(lists.error, IsEmpty());
}

TEST(SocketSelect, CountsAHandleOnceIfAListContainsItTwice) {
  Crowd crowd(2);
  crowd.wakes(0);
  Lists lists{{crowd.socket(0), crowd.socket(1), crowd.socket(0)}, {}, {}};
  EXPECT_EQ(lists.select(&onlyLook), 1U);
  EXPECT_THAT(handlesIn(lists.read), ElementsAre(crowd.handle(0), crowd.handle(0)));
}

TEST(SocketSelect, ReportsUrgentDataInTheErrorList) {
  Connection connection;
  connection.peer.says("x").saysUrgently('!');
  awaitBytes(connection.handle(), 1);
  awaitUrgent(connection.handle());
  Lists lists{{connection.socket}, {}, {connection.socket}};
  EXPECT_EQ(lists.select(nullptr), 2U);
  EXPECT_THAT(handlesIn(lists.read), ElementsAre(connection.handle()));
  EXPECT_THAT(handlesIn(lists.error), ElementsAre(connection.handle()));
}

TEST(SocketSelect, PrunesAListThatIsPassedTwiceOnceForEachRole) {
  Crowd crowd(2);
  crowd.wakes(0);
  Sockets both = {crowd.socket(0), crowd.socket(1)};
  Sockets none;
  EXPECT_EQ(Socket::select(both, both, none, nullptr), 3U);  // one readable, two writable
  EXPECT_THAT(handlesIn(both), ElementsAre(crowd.handle(0)));
  Sockets all = {crowd.socket(0), crowd.socket(1)};
  EXPECT_EQ(Socket::select(all, all, all, nullptr), 3U);
  EXPECT_THAT(all, IsEmpty());  // none has an exceptional condition
}

TEST(SocketSelect, AcceptsOneEmptyListPassedTwice) {
  Crowd crowd(1);
  crowd.wakes(0);
  Sockets read = {crowd.socket(0)};
  Sockets none;
  EXPECT_EQ(Socket::select(read, none, none, nullptr), 1U);
  EXPECT_EQ(read.size(), 1U);
  EXPECT_EQ(Socket::select(none, read, none, nullptr), 1U);
  EXPECT_EQ(read.size(), 1U);
  EXPECT_EQ(Socket::select(none, none, read, &onlyLook), 0U);
  EXPECT_THAT(read, IsEmpty());
}

TEST(SocketSelect, ReportsAClosedPeerAsReadable) {
  Crowd crowd(2);
  crowd[0].peer.closes();
  awaitEnd(crowd.handle(0));
  Lists lists{{crowd.socket(0), crowd.socket(1)}, {}, {crowd.socket(0)}};
  EXPECT_EQ(lists.select(nullptr), 1U);
  EXPECT_THAT(handlesIn(lists.read), ElementsAre(crowd.handle(0)));
  EXPECT_THAT(lists.error, IsEmpty());
}

TEST(SocketSelect, ReportsAResetAsReadableAndNotAsAnError) {
  Connection connection;
  connection.peer.resets();
  awaitReset(connection.handle());
  for (int i = 0; i < 2; ++i) {
    ROW("i", i);
    Lists lists{{connection.socket}, {}, {connection.socket}};
    EXPECT_EQ(lists.select(nullptr), 1U);
    EXPECT_THAT(handlesIn(lists.read), ElementsAre(connection.handle()));
    EXPECT_THAT(lists.error, IsEmpty());
  }
  char byte = 0;
  EXPECT_THAT([&] { connection.socket.read(&byte, 0, 1); },
              Raises<SocketException>("QN_ERR_SOCKET_CONNECTION_RESET", connection.host(), connection.port())
                  .from(source));
}

TEST(SocketSelect, ReportsAResetAsReadableEvenAfterItWasRead) {
  Connection connection;
  connection.peer.resets();
  awaitReset(connection.handle());
  char byte = 0;
  EXPECT_THAT([&] { connection.socket.read(&byte, 0, 1); },
              Raises<SocketException>("QN_ERR_SOCKET_CONNECTION_RESET", connection.host(), connection.port())
                  .from(source));
  Lists lists{{connection.socket}, {}, {connection.socket}};
  EXPECT_EQ(lists.select(nullptr), 1U);
  EXPECT_THAT(handlesIn(lists.read), ElementsAre(connection.handle()));
}

TEST(SocketSelect, ReportsASocketAsWritableIfAWriteWouldNotWait) {
  Connection connection;
  Lists lists{{}, {connection.socket}, {}};
  EXPECT_EQ(lists.select(&onlyLook), 1U);
  fillTheWay(connection);
  EXPECT_EQ(lists.select(&onlyLook), 0U);
  EXPECT_THAT(lists.write, IsEmpty());
  lists.write.push_back(connection.socket);
  const ThreadView waiter;
  std::thread reader(reporting([&] {
    waiter.awaitWaiting();
    connection.peer.receivesAll();
  }));
  EXPECT_EQ(lists.select(nullptr), 1U);
  EXPECT_THAT(handlesIn(lists.write), ElementsAre(connection.handle()));
  connection.socket.close();
  reader.join();
}

TEST(SocketSelect, WatchesTheFirst64HandlesOfAList) {
  Crowd crowd(70);
  Lists lists;
  for (std::size_t i = 0; i < 70; ++i) {
    crowd.wakes(i);
    lists.read.push_back(crowd.socket(i));
    lists.write.push_back(crowd.socket(69 - i));
  }
  EXPECT_EQ(lists.select(&onlyLook), 128U);
  EXPECT_THAT(handlesIn(lists.read), ElementsAreArray(crowd.handles(0, 64)));
  std::vector<Handle> lastBackwards = crowd.handles(6, 64);
  std::reverse(lastBackwards.begin(), lastBackwards.end());
  EXPECT_THAT(handlesIn(lists.write), ElementsAreArray(lastBackwards));
}

TEST(SocketSelect, DoesNotWaitForTheSixtyFifthHandle) {
  Crowd crowd(65);
  crowd.wakes(64);
  Lists lists;
  for (std::size_t i = 0; i < 65; ++i) lists.read.push_back(crowd.socket(i));
  EXPECT_EQ(lists.select(&onlyLook), 0U);
  EXPECT_THAT(lists.read, IsEmpty());
}

TEST(SocketSelect, CountsOnlyDifferentHandlesTowardsTheLimitOf64) {
  Crowd crowd(64);
  crowd.wakes(0);
  crowd.wakes(63);
  Lists lists;
  for (std::size_t i = 0; i < 64; ++i) {
    lists.read.push_back(crowd.socket(0));
    lists.read.push_back(crowd.socket(i));
  }
  EXPECT_EQ(lists.select(&onlyLook), 2U);
  std::vector<Handle> expected(65,
                               crowd.handle(0));  // once as itself and before each of the other 64 handles
  expected.push_back(crowd.handle(63));
  EXPECT_THAT(handlesIn(lists.read), ElementsAreArray(expected));
}

TEST(SocketSelect, KeepsARepeatedWatchedHandleAfterTheFirst64) {
  Crowd crowd(65);
  crowd.wakes(0);
  crowd.wakes(64);
  Lists lists;
  for (std::size_t i = 0; i < 65; ++i) lists.read.push_back(crowd.socket(i));
  lists.read.push_back(crowd.socket(0));
  EXPECT_EQ(lists.select(&onlyLook), 1U);
  EXPECT_THAT(handlesIn(lists.read), ElementsAre(crowd.handle(0), crowd.handle(0)));
}

TEST(SocketSelect, AcceptsHandlesAbove1024) {
  const HighHandles high;
  Crowd crowd(2);
  ASSERT_GT(crowd.handle(0), 1024U);
  crowd.wakes(1);
  Lists lists{{crowd.socket(0), crowd.socket(1)}, {crowd.socket(0)}, {}};
  EXPECT_EQ(lists.select(nullptr), 2U);
  EXPECT_THAT(handlesIn(lists.read), ElementsAre(crowd.handle(1)));
  EXPECT_THAT(handlesIn(lists.write), ElementsAre(crowd.handle(0)));
}

// --- lists with handles that are not sockets

TEST(SocketSelect, RaisesNotASocketForAnUnconnectedSocket) {
  Lists lists{{Socket()}, {}, {}};
  EXPECT_THAT([&] { lists.select(nullptr); },
              Raises<SocketException>("QN_ERR_SOCKET_ERROR", 10038, "", 0).from(source));
  EXPECT_THAT(handlesIn(lists.read), ElementsAre(noHandle));
}

TEST(SocketSelect, RaisesWithTheFirstSocketAndKeepsTheListsIfAHandleIsClosed) {
  struct Row {
    const char* what;
    bool read, write, error;  // whether the list contains a valid socket
    int bad;                  // the list to which the invalid socket is added
    std::size_t named;
  };
  const Row rows[] = {
      {"read, after valid sockets", true, true, true, 0, 0},
      {"write", true, true, true, 1, 0},
      {"error", true, true, true, 2, 0},
      {"error, without readers", false, true, true, 2, 1},
      {"write, alone", false, false, false, 1, 3},
      {"error, before nothing else", false, false, true, 2, 2},
      {"read, alone", false, false, false, 0, 3},
      {"read, before writers", false, true, false, 0, 3},
  };
  Crowd crowd(4);  // a valid socket for each list, and the invalid one
  crowd.wakes(0);
  closeDirectly(crowd.handle(3));
  for (const Row& row : rowsOf(rows)) {
    Sockets all[3];
    const bool good[] = {row.read, row.write, row.error};
    std::vector<Handle> before[3];
    for (std::size_t i = 0; i < 3; ++i) {
      if (good[i]) all[i].push_back(crowd.socket(i));
      if (row.bad == static_cast<int>(i)) all[i].push_back(crowd.socket(3));
      before[i] = handlesIn(all[i]);
    }
    EXPECT_THAT([&] { Socket::select(all[0], all[1], all[2], nullptr); },
                Raises<SocketException>("QN_ERR_SOCKET_ERROR", 10038, crowd[row.named].host(),
                                        crowd[row.named].port())
                    .from(source));
    for (std::size_t i = 0; i < 3; ++i) {
      ROW("i", i);
      EXPECT_EQ(handlesIn(all[i]), before[i]);
    }
  }
}

TEST(SocketSelect, IgnoresAnInvalidHandleAfterTheFirst64) {
  Crowd crowd(64);
  crowd.wakes(2);
  Lists lists;
  for (std::size_t i = 0; i < 64; ++i) lists.read.push_back(crowd.socket(i));
  lists.read.emplace_back();
  EXPECT_EQ(lists.select(&onlyLook), 1U);
  EXPECT_THAT(handlesIn(lists.read), ElementsAre(crowd.handle(2)));
}

// --- the timeout

TEST(SocketSelect, ReturnsAfterItsTimeoutWithEmptyLists) {
  const Crowd crowd(1);
  for (const unsigned long long timeout : rowsOf({1ULL, 40ULL, 999ULL, 1050ULL})) {
    Lists lists{{crowd.socket(0)}, {}, {crowd.socket(0)}};
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(lists.select(&timeout), 0U);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(timeout));
    EXPECT_THAT(lists.read, IsEmpty());
    EXPECT_THAT(lists.error, IsEmpty());
  }
}

TEST(SocketSelect, ReturnsAtOnceWhenSomethingIsReady) {
  Crowd crowd(1);
  crowd.wakes(0);
  const unsigned long long timeouts[] = {0, 1, 1ULL << 31, 1ULL << 32, 1ULL << 63, ~0ULL};
  for (const unsigned long long timeout : rowsOf(timeouts)) {
    Lists lists{{crowd.socket(0)}, {}, {}};
    EXPECT_EQ(lists.select(&timeout), 1U);
  }
}

TEST(SocketSelect, WaitsForDataThatArrivesLater) {
  // If seconds or microseconds were truncated to 32 bits, the long timeouts would end too early or be
  // invalid.
  const unsigned long long longest[] = {
      3'600'000,  1ULL << 31, 1ULL << 32, (1ULL << 32) * 1000, (1ULL << 31) * 1000, (1ULL << 31) * 1000 - 1,
      1ULL << 63, ~0ULL};
  std::vector<const unsigned long long*> timeouts = {nullptr};
  for (const unsigned long long& timeout : longest) timeouts.push_back(&timeout);
  for (const unsigned long long* timeout : rowsOf(timeouts)) {
    ROW(timeout == nullptr ? "without limit" : std::to_string(*timeout));
    Connection connection;
    const ThreadView waiter;
    std::thread sender(reporting([&] {
      waiter.awaitWaiting();
      connection.peer.says("x");
    }));
    Lists lists{{connection.socket}, {}, {connection.socket}};
    EXPECT_EQ(lists.select(timeout), 1U);
    EXPECT_THAT(handlesIn(lists.read), ElementsAre(connection.handle()));
    EXPECT_THAT(lists.error, IsEmpty());
    sender.join();
  }
}

TEST(SocketSelect, CanRunInSeveralThreadsAtOnce) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    ROW("i", i);
    threads.emplace_back(reporting([] {
      Crowd crowd(3);
      for (int round = 0; round < 50; ++round) {
        ROW("round", round);
        crowd.wakes(1);
        Lists lists{{crowd.socket(0), crowd.socket(1)}, {crowd.socket(2)}, {crowd.socket(0)}};
        EXPECT_EQ(lists.select(nullptr), 2U);
        EXPECT_THAT(handlesIn(lists.read), ElementsAre(crowd.handle(1)));
        char byte = 0;
        EXPECT_EQ(crowd[1].socket.read(&byte, 0, 1), 1U);
      }
    }));
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace tarvo::test
