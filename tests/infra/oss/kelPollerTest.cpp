#include "infra/oss/kelPoller.hpp"
#include "infra/oss/kelSocketException.hpp"
#include "infra/oss/kelSocketServer.hpp"
#include "infra/oss/kelWakeup.hpp"

#include "support/kelConnection.hpp"
#include "support/kelHandles.hpp"
#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"
#include "support/kelTraceRecorder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <list>
#include <thread>
#include <vector>

namespace tarvo::test {
namespace {

using oss::Deadline;
using oss::Poller;
using oss::Socket;
using oss::SocketServer;
using oss::Wakeup;
using testing::ElementsAre;

constexpr unsigned int both = Poller::READ | Poller::WRITE;

/// The handles that a wait finds ready. The first wait has time, because what the other end has sent may take
/// a moment to arrive.
std::vector<Handle> readyHandles(Poller& poller, const Deadline& deadline = Deadline::in(60'000)) {
  std::vector<Handle> handles;
  const unsigned long long count = poller.wait(deadline);
  for (unsigned long long i = 0; i < count; ++i) handles.push_back(poller.ready(i).handle);
  return handles;
}

testing::Matcher<const std::function<void()>&> raisesCode(int code) {
  return Raises<oss::SocketException>("QN_ERR_SOCKET_ERROR", code).from("kelPoller.cpp");
}

TEST(Poller, ThatAwaitsNothingReturnsAtOnce) {
  Poller poller;
  EXPECT_EQ(poller.wait(Deadline::never()), 0U);
  const Connection connection;
  poller.watch(connection.handle(), 0);
  EXPECT_EQ(poller.wait(Deadline::never()), 0U);
}

TEST(Poller, ReturnsNothingAfterTheDeadline) {
  const Connection connection;
  Poller poller;
  poller.watch(connection.handle(), Poller::READ);
  const Deadline deadline = Deadline::in(20);
  EXPECT_EQ(poller.wait(deadline), 0U);
  EXPECT_TRUE(deadline.hasPassed());
  EXPECT_EQ(poller.wait(deadline), 0U);
}

TEST(Poller, ChecksOnceIfTheDeadlineHasPassed) {
  const Connection connection;
  Poller poller;
  poller.watch(connection.handle(), Poller::WRITE);
  EXPECT_THAT(readyHandles(poller, Deadline::in(0)), ElementsAre(connection.handle()));
}

TEST(Poller, WaitsForListenerConnectionAndWakeupTogether) {
  SocketServer server;
  server.listen("127.0.0.1", 0, 5, false);
  Connection connection;
  Wakeup wakeup;
  Poller poller;
  for (const Handle handle : {server.handle(), connection.handle(), wakeup.handle()})
    poller.watch(handle, Poller::READ);
  EXPECT_EQ(poller.wait(Deadline::in(0)), 0U);

  Socket client;
  client.connect("127.0.0.1", server.getPort(), Socket::NullAddrInfoExternal, nullptr);
  EXPECT_THAT(readyHandles(poller), ElementsAre(server.handle()));
  Socket accepted;
  server.accept(accepted, nullptr);
  connection.peer.says("x");
  EXPECT_THAT(readyHandles(poller), ElementsAre(connection.handle()));
  char byte = 0;
  connection.socket.readOnce(&byte, 0, 1);
  wakeup.trigger();
  EXPECT_THAT(readyHandles(poller), ElementsAre(wakeup.handle()));
}

TEST(Poller, ReportsOnlyWhatIsAwaited) {
  Connection connection;
  connection.peer.says("x");
  awaitBytes(connection.handle(), 1);
  struct Row {
    unsigned int wanted;
    bool canRead;
    bool canWrite;
  };
  for (const Row& row :
       rowsOf<Row>({{Poller::READ, true, false}, {Poller::WRITE, false, true}, {both, true, true}})) {
    Poller poller;
    poller.watch(connection.handle(), row.wanted);
    ASSERT_EQ(poller.wait(Deadline::in(60'000)), 1U) << row.wanted;
    EXPECT_EQ(poller.ready(0).canRead, row.canRead) << row.wanted;
    EXPECT_EQ(poller.ready(0).canWrite, row.canWrite) << row.wanted;
  }
}

TEST(Poller, ChangesWhatIsAwaitedForAHandle) {
  const Connection connection;
  Poller poller;
  poller.watch(connection.handle(), Poller::WRITE);
  EXPECT_EQ(poller.wait(Deadline::in(60'000)), 1U);
  poller.watch(connection.handle(), Poller::READ);
  EXPECT_EQ(poller.wait(Deadline::in(0)), 0U);
  poller.watch(connection.handle(), both);
  EXPECT_EQ(poller.wait(Deadline::in(60'000)), 1U);
}

TEST(Poller, WatchesTheHandleOfAViewAndItsOwnerOnce) {
  const Connection connection;
  const Socket view(connection.socket);
  Poller poller;
  poller.watch(connection.handle(), Poller::WRITE);
  poller.watch(view.handle(), Poller::WRITE);
  EXPECT_EQ(poller.wait(Deadline::in(60'000)), 1U);
  poller.forget(view.handle());
  EXPECT_EQ(poller.wait(Deadline::in(0)), 0U);
}

TEST(Poller, PutsTheHandleWatchedLastIntoAFreePlace) {
  const Connection a;
  const Connection b;
  const Connection c;
  Poller poller;
  for (const Connection* each : {&a, &b, &c}) poller.watch(each->handle(), Poller::WRITE);
  EXPECT_THAT(readyHandles(poller), ElementsAre(a.handle(), b.handle(), c.handle()));
  poller.forget(a.handle());
  poller.forget(a.handle());
  EXPECT_THAT(readyHandles(poller), ElementsAre(c.handle(), b.handle()));
  poller.watch(c.handle(), 0);
  EXPECT_THAT(readyHandles(poller), ElementsAre(b.handle()));
  poller.forget(b.handle());
  poller.forget(c.handle());
  EXPECT_EQ(poller.wait(Deadline::never()), 0U);
}

TEST(Poller, KeepsItsReadyHandlesUntilTheNextWait) {
  const Connection connection;
  Poller poller;
  poller.watch(connection.handle(), Poller::WRITE);
  ASSERT_EQ(poller.wait(Deadline::in(60'000)), 1U);
  const Poller::Ready& ready = poller.ready(0);
  poller.forget(connection.handle());
  for (Handle other = 1; other < 100; ++other) poller.watch(other, 0);
  EXPECT_EQ(ready.handle, connection.handle());
}

TEST(Poller, FindsALostConnectionReadyForAllThatIsAwaited) {
  Connection connection;
  connection.peer.resets();
  awaitReset(connection.handle());
  Poller poller;
  poller.watch(connection.handle(), Poller::READ);
  ASSERT_EQ(poller.wait(Deadline::in(60'000)), 1U);
  EXPECT_TRUE(poller.ready(0).canRead);
  EXPECT_FALSE(poller.ready(0).canWrite);
}

TEST(Poller, FindsAConnectionThatThePeerClosedReadyToRead) {
  Connection connection;
  connection.peer.closes();
  Poller poller;
  poller.watch(connection.handle(), Poller::READ);
  EXPECT_THAT(readyHandles(poller, Deadline::never()), ElementsAre(connection.handle()));
}

TEST(Poller, RefusesToWaitForAHandleThatIsNotOpen) {
  Connection connection;
  const Connection open;
  const Handle closed = connection.handle();
  Poller poller;
  poller.watch(closed, Poller::READ);
  poller.watch(open.handle(), Poller::READ);
  connection.socket.close();
  EXPECT_THAT([&] { poller.wait(Deadline::in(60'000)); }, raisesCode(10038));
  EXPECT_THAT([&] { poller.wait(Deadline::in(60'000)); }, raisesCode(10038));
  poller.forget(closed);
  EXPECT_EQ(poller.wait(Deadline::in(0)), 0U);
}

TEST(Poller, RefusesToWaitForAnObjectWithoutAHandle) {
  const Socket socket;
  const SocketServer server;
  for (const Handle handle : rowsOf({socket.handle(), server.handle()})) {
    Poller poller;
    poller.watch(handle, Poller::READ);
    EXPECT_THAT([&] { poller.wait(Deadline::in(60'000)); }, raisesCode(10038));
    poller.watch(handle, 0);
    EXPECT_EQ(poller.wait(Deadline::never()), 0U);
  }
}

TEST(Poller, WaitsForAThousandConnections) {
  constexpr std::size_t connections = 1000;
  if (!allowDescriptors(2 * connections + 200))
    GTEST_SKIP() << "the system's hard limit permits fewer than " << 2 * connections + 200 << " descriptors";
  SocketServer server;
  server.listen("127.0.0.1", 0, 16, false);
  std::list<Socket> clients;
  std::list<Socket> accepted;
  Wakeup wakeup;
  Poller poller;
  poller.watch(wakeup.handle(), Poller::READ);
  poller.watch(server.handle(), Poller::READ);
  std::vector<Socket*> ends;
  for (std::size_t i = 0; i < connections; ++i) {
    clients.emplace_back().connect("127.0.0.1", server.getPort(), Socket::NullAddrInfoExternal, nullptr);
    server.accept(accepted.emplace_back(), nullptr);
    poller.watch(accepted.back().handle(), Poller::READ);
    ends.push_back(&accepted.back());
  }
  EXPECT_EQ(poller.wait(Deadline::in(0)), 0U);

  std::vector<Handle> expected;
  auto client = clients.begin();
  for (std::size_t i = 0; i < connections; ++i, ++client) {
    if (i != 0 && i != 63 && i != 64 && i != 511 && i != 999) continue;
    client->write("x", 0, 1);
    awaitBytes(ends[i]->handle(), 1);
    expected.push_back(ends[i]->handle());
  }
  EXPECT_EQ(readyHandles(poller), expected);
  for (Socket* end : ends) poller.watch(end->handle(), both);
  EXPECT_EQ(poller.wait(Deadline::in(60'000)), connections);
  for (Socket* end : ends) poller.forget(end->handle());
  wakeup.trigger();
  EXPECT_THAT(readyHandles(poller), ElementsAre(wakeup.handle()));
}

TEST(Poller, ReportsItsCallsToTheTraceFacility) {
  TraceRecorder trace(0x20000);
  {
    Poller poller;
    trace.forget();
    poller.watch(1, 0);
    poller.wait(Deadline::in(0));
    poller.forget(1);
    EXPECT_THAT(trace.take(), ElementsAre("traceEntry 648", "traceExit 648 0", "traceEntry 64A",
                                          "traceExit 64A 0", "traceEntry 649", "traceExit 649 0"));
  }
  EXPECT_THAT(trace.take(), testing::Contains("traceExit 647 0"));
}

}  // namespace
}  // namespace tarvo::test
