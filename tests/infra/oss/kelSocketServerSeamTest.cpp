#include "infra/oss/kelSocket.hpp"
#include "infra/oss/kelSocketException.hpp"
#include "infra/oss/kelSocketServer.hpp"

#include "support/kelFakeWinsockSeam.hpp"
#include "support/kelRaises.hpp"
#include "support/kelReporting.hpp"
#include "support/kelRows.hpp"
#include "support/kelSocketFixtureSeam.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <functional>
#include <future>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace tarvo::test {
namespace {

using oss::Socket;
using oss::SocketException;
using oss::SocketServer;
using platform::invalidSocket;
using platform::SocketHandle;
using platform::SocketSet;
using platform::TimeValue;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* file = "kelSocketServer.cpp";
constexpr const char* host = "localhost";

/// A server whose handles the FakeWinsock invents. Nothing is bound, so tests can use any port number.
class ServerFixture : public SocketFixture {
 protected:
  ServerFixture() {
    fake.inventsHandles(7000);
    offers({inetAddress("0.0.0.0", 80)});
    fake.on.accept = [next = SocketHandle{9000}](SocketHandle) mutable { return next++; };
    fake.on.wakeAccept = [](SocketHandle) {};
    named({2, 0, 0x12, 0x67, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    connectionPending();
  }
  void SetUp() override { server_.emplace(); }
  void TearDown() override {
    server_.reset();
    SocketFixture::TearDown();
  }

  SocketServer& server() { return *server_; }

  void offers(std::vector<platform::ResolvedAddress> list) { resolvesTo(std::move(list)); }
  /// Makes getsockname return this address.
  void named(std::vector<unsigned char> address) {
    fake.on.getsockname = [address = std::move(address)](auto, unsigned char* bytes, std::size_t& length) {
      length = std::min(length, address.size());
      std::memcpy(bytes, address.data(), length);
      return 0;
    };
  }
  void connectionPending() {
    fake.on.select = [](auto& read, auto&, auto&, auto) { return static_cast<int>(read.count); };
  }
  void nothingPending() {
    fake.on.select = [](auto& read, auto&, auto&, auto) { return static_cast<int>(read.count = 0); };
  }
  void listening(unsigned int port = 80) {
    server().listen(port, 5, false);
    fake.forget();
  }
  void expectIdle() {
    EXPECT_EQ(server().getPort(), 0U);
    EXPECT_THAT(fake.openHandles(), IsEmpty());
    Socket client;
    EXPECT_THAT([&] { server().accept(client, nullptr); },
                Raises<SocketException>("ERR_SOCKET_NOT_LISTENING", host, 0).from(file));
  }
  void expectUsableAgain() {
    EXPECT_NO_THROW(server().listen(81, 1, false));
    EXPECT_EQ(server().getPort(), 81U);
    server().close();
    EXPECT_THAT(fake.openHandles(), IsEmpty());
    fake.forget();
  }

 private:
  std::optional<SocketServer> server_;
};

// --- construction

TEST_F(ServerFixture, ConstructionStartsWinsockAndDestructionCleansUp) {
  const int starts = fake.starts();
  {
    const SocketServer another;
    EXPECT_EQ(fake.starts(), starts + 1);
    EXPECT_EQ(another.getPort(), 0U);
  }
  EXPECT_EQ(fake.cleanups(), 1);
}

TEST_F(ServerFixture, ConstructionFailsLikeThatOfASocket) {
  fake.failing("WSAStartup").with(10091);
  EXPECT_THAT([] { const SocketServer another; },
              Raises<SocketException>("ERR_WSASTARTUP_FAILED", "", 0).from("kelSocket.cpp"));
  fake.on.WSAStartup = [](auto, auto& data) {
    data.version = 0x0101;
    return 0;
  };
  EXPECT_THAT([] { const SocketServer another; },
              Raises<SocketException>("ERR_INVALID_SOCKET_VERSION", "", 0).from("kelSocket.cpp"));
  EXPECT_EQ(fake.countOf("WSACleanup"), 1);
}

TEST_F(ServerFixture, DestructionClosesTheHandleBeforeTheCleanUp) {
  {
    SocketServer another;
    another.listen(80, 1, false);
    fake.forget();
  }
  const std::vector<std::string> calls = fake.calls();
  ASSERT_GE(calls.size(), 2U);
  EXPECT_EQ(calls[calls.size() - 2], "closesocket(#1)");
  EXPECT_EQ(calls.back(), "WSACleanup()");
}

// --- listen

class ServerListen : public ServerFixture {};

TEST_F(ServerListen, MakesItsSystemCallsInOrder) {
  fake.forget();
  server().listen(4711, 7, true);
  EXPECT_THAT(fake.calls(),
              ElementsAre("getaddrinfo(null, \"4711\", 1, 0, 1, 0)", "socket(2, 1, 6)",
                          "setsockopt(#1, 65535, 4, 1)", "bind(#1, 0.0.0.0:80)", "listen(#1, 7)"));
  EXPECT_EQ(server().getPort(), 4711U);
}

TEST_F(ServerListen, OnPortZeroAsksForTheChosenPort) {
  fake.forget();
  server().listen(0, 0, false);
  EXPECT_THAT(fake.calls(), ElementsAre("getaddrinfo(null, \"0\", 1, 0, 1, 0)", "socket(2, 1, 6)",
                                        "bind(#1, 0.0.0.0:80)", "listen(#1, 0)", "getsockname(#1, 128)"));
  EXPECT_EQ(server().getPort(), 0x1267U);
}

TEST_F(ServerListen, PassesBacklogAndPortUnchanged) {
  for (const unsigned int backlog : rowsOf({0U, 1U, 2147483647U, 2147483648U, 4294967295U})) {
    fake.forget();
    server().listen(backlog, backlog, false);
    if (backlog != 0) {
      EXPECT_EQ(server().getPort(), backlog);
    }
    EXPECT_EQ(fake.steps().at(0), "getaddrinfo(null, \"" + std::to_string(backlog) + "\", 1, 0, 1, 0)");
    EXPECT_EQ(fake.steps().at(3), "listen(#1, " + std::to_string(backlog) + ")");
    server().close();
  }
}

TEST_F(ServerListen, ReadsThePortOnlyForKnownFamilies) {
  std::vector<unsigned char> inet6(28);
  inet6[0] = 23;
  inet6[2] = 0xFF;
  inet6[3] = 0xFE;
  struct Row {
    std::vector<unsigned char> address;
    unsigned int port;
  };
  const std::vector<Row> rows = {
      {{2, 0, 0xFF, 0xFF, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, 65535},
      {{2, 0, 0x00, 0x01, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, 1},
      {inet6, 0xFFFE},
      {{10, 0, 0x12, 0x67, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, 0},
      {{0, 0, 0x12, 0x67, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, 0},
      {{2, 1, 0x12, 0x67, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, 0},
  };
  for (const Row& row : rowsOf(rows)) {
    ROW(testing::PrintToString(row.address));
    named(row.address);
    server().listen(0, 1, false);
    EXPECT_EQ(server().getPort(), row.port);
    EXPECT_EQ(server().queryPort(), row.port);
    server().close();
  }
}

TEST_F(ServerListen, UsesTheFirstAddressThatCanBeBound) {
  platform::ResolvedAddress unknown = inetAddress("0.0.0.0", 1);
  unknown.family = 77;
  offers({unknown, inetAddress("0.0.0.0", 2), inetAddress("0.0.0.0", 3), inetAddress("0.0.0.0", 4)});
  fake.failing("socket", 1).with(10047);
  fake.failing("bind", 1).with(10048);
  fake.forget();
  server().listen(9, 1, true);
  EXPECT_THAT(
      fake.calls(),
      ElementsAre("getaddrinfo(null, \"9\", 1, 0, 1, 0)", "socket(77, 1, 6)", "socket(2, 1, 6)",
                  "setsockopt(#1, 65535, 4, 1)", "bind(#1, 0.0.0.0:2)", "closesocket(#1)", "socket(2, 1, 6)",
                  "setsockopt(#2, 65535, 4, 1)", "bind(#2, 0.0.0.0:3)", "listen(#2, 1)"));
}

TEST_F(ServerListen, RaisesTheResolversCodeIfTheWildcardDoesNotResolve) {
  for (const auto& [code, text] :
       rowsOf({std::pair{11003, "Fatal."}, std::pair{11001, ""}, std::pair{8, "Memory."}})) {
    fake.failing("getaddrinfo").with(code);
    fake.on.systemText = [text = text](int) { return text; };
    EXPECT_THAT([&] { server().listen(80, 1, false); },
                Raises<SocketException>("ERR_SOCKET_GETADDRINFO_ERROR", host, 80, code, text).from(file));
    EXPECT_EQ(fake.countOf("socket"), 0);
    expectIdle();
    expectUsableAgain();
  }
}

TEST_F(ServerListen, RaisesTheCodeOfTheLastFailureIfNoAddressCanBeBound) {
  struct Row {
    const char* lastFunction;
    int code;
  };
  for (const Row& row :
       rowsOf({Row{"bind", 10048}, Row{"bind", 10013}, Row{"socket", 10024}, Row{"socket", 10054}})) {
    for (const bool spoiling : rowsOf({false, true})) {
      ROW(testing::Message() << row.lastFunction << row.code << spoiling);
      offers({inetAddress("0.0.0.0", 1), inetAddress("0.0.0.0", 2)});
      fake.failing("bind", 1).with(10049);
      fake.failing(row.lastFunction, 2).with(row.code);
      std::optional<SpoilingTrace> trace;
      if (spoiling) trace.emplace();
      EXPECT_THAT([&] { server().listen(80, 1, false); }, RaisesMapped(row.code, host, 80).from(file));
      trace.reset();
      EXPECT_EQ(fake.countOf("listen"), 0);
      expectIdle();
      expectUsableAgain();
    }
  }
}

TEST_F(ServerListen, RaisesTheCurrentLastErrorIfTheResolverReturnsNoAddress) {
  offers({});
  fake.successSets(10050);
  EXPECT_THAT([&] { server().listen(80, 1, false); }, RaisesMapped(10050, host, 80).from(file));
  expectIdle();
  offers({inetAddress("0.0.0.0", 1)});
  expectUsableAgain();
}

TEST_F(ServerListen, ClosesItsHandleIfReuseOfTheAddressCannotBeSet) {
  for (const int code : rowsOf(sampleCodes)) {
    for (const bool spoiling : rowsOf({false, true})) {
      ROW(testing::Message() << code << spoiling);
      offers({inetAddress("0.0.0.0", 1), inetAddress("0.0.0.0", 2)});
      fake.failing("setsockopt").with(code);
      std::optional<SpoilingTrace> trace;
      if (spoiling) trace.emplace();
      EXPECT_THAT([&] { server().listen(80, 1, true); }, RaisesMapped(code, host, 80).from(file));
      trace.reset();
      EXPECT_EQ(fake.countOf("socket"), 1) << "the second address is not tried";
      EXPECT_EQ(fake.countOf("bind"), 0);
      expectIdle();
      expectUsableAgain();
    }
  }
}

TEST_F(ServerListen, KeepsTheHandleUntilCloseIfItFailsAfterBinding) {
  named({2, 0, 0x12, 0x67, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
  for (const char* function : rowsOf({"listen", "getsockname"})) {
    for (const int code : rowsOf(sampleCodes)) {
      for (const bool spoiling : rowsOf({false, true})) {
        ROW(testing::Message() << function << " " << code << spoiling);
        fake.failing(function).with(code);
        std::optional<SpoilingTrace> trace;
        if (spoiling) trace.emplace();
        EXPECT_THAT([&] { server().listen(0, 1, false); }, RaisesMapped(code, host, 0).from(file));
        trace.reset();
        EXPECT_EQ(fake.openHandles().size(), 1U);
        EXPECT_EQ(server().getPort(), 0U);
        EXPECT_THAT([&] { server().listen(80, 1, false); },
                    Raises<SocketException>("ERR_SOCKET_LISTENING", host, 4711).from(file));
        EXPECT_EQ(fake.openHandles().size(), 1U);
        server().close();
        expectIdle();
        expectUsableAgain();
      }
    }
  }
}

TEST_F(ServerListen, NamesThePortOfAnEarlierFailedListenThatIsStillBound) {
  fake.failing("listen").with(10055);
  EXPECT_THAT([&] { server().listen(4711, 1, false); }, RaisesMapped(10055, host, 4711).from(file));
  named({2, 0, 0x12, 0x67, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
  EXPECT_THAT([&] { server().listen(80, 1, false); },
              Raises<SocketException>("ERR_SOCKET_LISTENING", host, 4711).from(file));
  fake.failing("getsockname").with(10055);
  EXPECT_THAT([&] { server().listen(80, 1, false); },
              Raises<SocketException>("ERR_SOCKET_LISTENING", host, 0).from(file));
}

TEST_F(ServerListen, MakesAcceptRaiseInvalidIfItFailed) {
  fake.failing("listen").with(10048);
  EXPECT_THAT([&] { server().listen(80, 1, false); }, RaisesMapped(10048, host, 80).from(file));
  Socket client;
  const unsigned long long timeout = 0;
  EXPECT_THAT([&] { server().accept(client, &timeout); }, RaisesMapped(10022, host, 0).from(file));
  EXPECT_EQ(client.handle(), invalidSocket);
}

TEST_F(ServerListen, SucceedsIfOnlyThePortCannotBeRead) {
  fake.failing("getsockname").with(10055);
  EXPECT_THAT([&] { server().listen(0, 1, false); }, RaisesMapped(10055, host, 0).from(file));
  Socket client;
  server().accept(client, nullptr);
  EXPECT_EQ(client.handle(), 9000U);
}

TEST_F(ServerListen, WhileListeningIsRefusedWithoutASystemCall) {
  listening(4711);
  EXPECT_THAT([&] { server().listen(81, 1, true); },
              Raises<SocketException>("ERR_SOCKET_LISTENING", host, 4711).from(file));
  EXPECT_THAT(fake.calls(), IsEmpty());
  EXPECT_EQ(server().getPort(), 4711U);
}

TEST_F(ServerListen, ErrorsWriteThePortAsASigned32BitNumber) {
  listening(4294967295U);
  EXPECT_THAT([&] { server().listen(81, 1, true); },
              Raises<SocketException>("ERR_SOCKET_LISTENING", host, -1).from(file));
}

// --- close

class ServerClose : public ServerFixture {};

TEST_F(ServerClose, ClosesTheHandleOnceAndClearsThePort) {
  listening(4711);
  server().close();
  EXPECT_EQ(fake.countOf("closesocket"), 1);
  server().close();
  EXPECT_EQ(fake.countOf("closesocket"), 1);
  expectIdle();
  expectUsableAgain();
}

TEST_F(ServerClose, WhenNotListeningDoesNothing) {
  fake.forget();
  server().close();
  EXPECT_THAT(fake.calls(), IsEmpty());
}

TEST_F(ServerClose, ThatFailsRaisesNothing) {
  listening();
  fake.failing("closesocket").with(10038);
  EXPECT_NO_THROW(server().close());
  expectIdle();
  expectUsableAgain();
}

// --- accept

class ServerAccept : public ServerFixture {
 protected:
  void accept(const unsigned long long* timeout = nullptr) { server().accept(client, timeout); }
  /// Closes the server in another thread, and returns after that has woken the waiter. Only the first call
  /// does this, because a matcher may run its callable twice.
  void closeMeanwhile(std::thread& closer, std::promise<void>& woken) {
    if (closer.joinable()) return;
    closer = std::thread(reporting([this] { server().close(); }));
    woken.get_future().wait();
  }
  void SetUp() override {
    ServerFixture::SetUp();
    listening(4711);
  }
  void TearDown() override {
    owner_.reset();
    ServerFixture::TearDown();
  }

 private:
  std::optional<Socket> owner_{std::in_place};

 protected:
  Socket& client = *owner_;
};

TEST_F(ServerAccept, WaitsOnTheListeningHandleAndAccepts) {
  const unsigned long long timeout = 1500;
  accept(&timeout);
  EXPECT_THAT(fake.steps(), ElementsAre("select({#1}, {}, {}, 1 s 500000 us)", "accept(#1)"));
  EXPECT_EQ(client.handle(), 9000U);
  EXPECT_EQ(utf8(client.getHost()), "");
  EXPECT_EQ(client.getPort(), 0U);
  client.close();
  EXPECT_EQ(fake.steps().back(), "closesocket(#2)") << "the client owns what it was given";
}

TEST_F(ServerAccept, OverwritesTheClientsHandleAndKeepsItsPeer) {
  resolvesTo({inetAddress("10.0.0.1", 9)});
  client.connect("peer.example", 9, Socket::NullAddrInfoExternal, nullptr);
  const SocketHandle former = client.handle();
  fake.forget();
  accept();
  EXPECT_EQ(fake.countOf("closesocket"), 0);
  EXPECT_EQ(client.handle(), 9000U);
  EXPECT_EQ(utf8(client.getHost()), "peer.example");
  EXPECT_EQ(client.getPort(), 9U);
  fake.closesocket(former);
}

TEST_F(ServerAccept, MakesAnOwnerOfAView) {
  Socket view(client);
  server().accept(view, nullptr);
  EXPECT_EQ(view.handle(), 9000U);
  view.close();
  EXPECT_EQ(fake.steps().back(), "closesocket(#2)");
  EXPECT_EQ(client.handle(), invalidSocket);
}

TEST_F(ServerAccept, RaisesNotListeningIfTheServerIsNotListening) {
  server().close();
  fake.forget();
  EXPECT_THAT([&] { accept(); }, Raises<SocketException>("ERR_SOCKET_NOT_LISTENING", host, 0).from(file));
  EXPECT_THAT(fake.steps(), IsEmpty());
}

TEST_F(ServerAccept, RaisesATimeoutOfTheServer) {
  nothingPending();
  struct Row {
    unsigned long long timeout;
    const char* text;
  };
  for (const Row& row :
       rowsOf({Row{0, "0 s 0 us"}, Row{1500, "1 s 500000 us"}, Row{20000000, "20000 s 0 us"}})) {
    fake.forget();
    EXPECT_THAT([&] { accept(&row.timeout); },
                Raises<SocketException>("ERR_SOCKET_TIMEOUT", host, 4711).from(file));
    EXPECT_THAT(fake.steps(), ElementsAre(std::string("select({#1}, {}, {}, ") + row.text + ")"));
    EXPECT_EQ(client.handle(), invalidSocket);
  }
}

TEST_F(ServerAccept, WithoutATimeoutWaitsRepeatedlyWithANewListEachTime) {
  fake.on.select = [rounds = 0](auto& read, auto&, auto&, auto) mutable {
    if (++rounds < 4) read.count = 0;
    return static_cast<int>(read.count);
  };
  accept(nullptr);
  const std::string slice = "select({#1}, {}, {}, 10000 s 0 us)";
  EXPECT_THAT(fake.steps(), ElementsAre(slice, slice, slice, slice, "accept(#1)"));
}

TEST_F(ServerAccept, AcceptsAConnectionEvenIfTheReturnedSetIsEmpty) {
  fake.on.select = [](auto& read, auto&, auto&, auto) {
    read.count = 0;
    return 1;
  };
  accept();
  EXPECT_EQ(client.handle(), 9000U);
}

TEST_F(ServerAccept, RaisesTheCodeOfTheCallThatFailed) {
  for (const char* function : rowsOf({"select", "accept"})) {
    for (const int code : rowsOf(sampleCodes)) {
      for (const bool spoiling : rowsOf({false, true})) {
        ROW(testing::Message() << function << " " << code << spoiling);
        fake.failing(function).with(code);
        std::optional<SpoilingTrace> trace;
        if (spoiling) trace.emplace();
        // The wait is an operation of a Socket, so the error comes from its source file.
        EXPECT_THAT([&] { accept(); },
                    RaisesMapped(code, host, 4711)
                        .from(std::strcmp(function, "select") == 0 ? "kelSocket.cpp" : file));
        trace.reset();
        EXPECT_EQ(client.handle(), invalidSocket);
        EXPECT_EQ(server().getPort(), 4711U);
        EXPECT_NO_THROW(accept()) << "usable again";
        client.close();
        fake.forget();
      }
    }
  }
}

TEST_F(ServerAccept, LeavesTheServerCloseableIfItsViewsCannotStartWinsock) {
  accept();
  client.close();
  const int total = fake.countOf("WSAStartup");
  ASSERT_GE(total, 1);
  for (int nth = 1; nth <= total; ++nth) {
    ROW("nth", nth);
    fake.failing("WSAStartup", nth).with(10091);
    EXPECT_THAT([&] { accept(); },
                Raises<SocketException>("ERR_WSASTARTUP_FAILED", host, 4711).from("kelSocket.cpp"));
    EXPECT_EQ(client.handle(), invalidSocket);
    EXPECT_EQ(fake.openHandles().size(), 1U);
    server().close();
    listening(4711);
  }
}

TEST_F(ServerAccept, RaisesInvalidIfTheServerIsClosedDuringTheWait) {
  struct Row {
    const char* name;
    std::function<int(FakeWinsock&, SocketSet&)> answer;
  };
  const std::vector<Row> rows = {
      {"nothing", [](FakeWinsock&, SocketSet& read) { return static_cast<int>(read.count = 0); }},
      {"a connection", [](FakeWinsock&, SocketSet&) { return 1; }},
      {"not a socket", [](FakeWinsock& f, SocketSet&) { return f.fails(10038); }},
      {"a reset", [](FakeWinsock& f, SocketSet&) { return f.fails(10054); }},
  };
  const unsigned long long limit = 60000;
  for (const Row& row : rowsOf(rows)) {
    for (const unsigned long long* timeout :
         rowsOf({static_cast<const unsigned long long*>(nullptr), &limit})) {
      ROW(row.name);
      std::promise<void> woken;
      std::thread closer;
      fake.on.wakeAccept = [&](SocketHandle) { woken.set_value(); };
      fake.on.select = [&](auto& read, auto&, auto&, auto) {
        closeMeanwhile(closer, woken);
        return row.answer(fake, read);
      };
      fake.forget();
      EXPECT_THAT([&] { accept(timeout); }, RaisesMapped(10022, host, 4711).from(file));
      closer.join();
      EXPECT_EQ(fake.countOf("accept"), 0);
      EXPECT_EQ(client.handle(), invalidSocket);
      EXPECT_THAT(fake.openHandles(), IsEmpty());
      connectionPending();
      fake.on.wakeAccept = [](SocketHandle) {};
      listening(4711);
    }
  }
}

TEST_F(ServerAccept, RaisesInvalidIfTheServerIsClosedDuringTheSystemsAccept) {
  std::promise<void> woken;
  std::thread closer;
  fake.on.wakeAccept = [&](SocketHandle) { woken.set_value(); };
  fake.on.accept = [&](SocketHandle) {
    closeMeanwhile(closer, woken);
    return fake.opensNothing(10004);
  };
  EXPECT_THAT([&] { accept(); }, RaisesMapped(10022, host, 4711).from(file));
  closer.join();
  EXPECT_EQ(client.handle(), invalidSocket);
  EXPECT_THAT(fake.openHandles(), IsEmpty());
}

TEST_F(ServerAccept, IsNotInterruptedByTheCloseOfAnotherServer) {
  SocketServer other;
  other.listen(80, 1, false);
  fake.on.select = [&](auto& read, auto&, auto&, auto) {
    other.close();
    return static_cast<int>(read.count);
  };
  accept();
  EXPECT_EQ(client.handle(), 9000U);
}

// --- queries and options

class ServerOptions : public ServerFixture {};

TEST_F(ServerOptions, MakeTheirSystemCalls) {
  listening(4711);
  server().setReceiveBufferSize(70000);
  server().setSendBufferSize(INT_MAX);
  server().setReuseAddress(true);
  server().setReuseAddress(false);
  EXPECT_EQ(server().queryPort(), 0x1267U);
  EXPECT_EQ(server().getPort(), 4711U) << "the stored port stays";
  EXPECT_THAT(
      fake.calls(),
      ElementsAre("setsockopt(#1, 65535, 4098, 70000)", "setsockopt(#1, 65535, 4097, 2147483647)",
                  "setsockopt(#1, 65535, 4, 1)", "setsockopt(#1, 65535, 4, 0)", "getsockname(#1, 128)"));
}

TEST_F(ServerOptions, RaiseTheCodeAndKeepTheServerListeningIfTheyFail) {
  struct Row {
    const char* name;
    const char* function;
    std::function<void(SocketServer&)> run;
  };
  const std::vector<Row> rows = {
      {"receive buffer", "setsockopt", [](SocketServer& s) { s.setReceiveBufferSize(1); }},
      {"send buffer", "setsockopt", [](SocketServer& s) { s.setSendBufferSize(1); }},
      {"reuse", "setsockopt", [](SocketServer& s) { s.setReuseAddress(true); }},
      {"no reuse", "setsockopt", [](SocketServer& s) { s.setReuseAddress(false); }},
      {"port", "getsockname", [](SocketServer& s) { s.queryPort(); }},
  };
  listening(4711);
  for (const Row& row : rowsOf(rows)) {
    for (const int code : rowsOf(sampleCodes)) {
      for (const bool spoiling : rowsOf({false, true})) {
        ROW(testing::Message() << row.name << " " << code << spoiling);
        fake.failing(row.function).with(code);
        std::optional<SpoilingTrace> trace;
        if (spoiling) trace.emplace();
        EXPECT_THAT([&] { row.run(server()); }, RaisesMapped(code, host, 4711).from(file));
        trace.reset();
        EXPECT_EQ(fake.openHandles().size(), 1U);
        EXPECT_EQ(server().getPort(), 4711U);
        EXPECT_NO_THROW(row.run(server()));
      }
    }
  }
}

TEST_F(ServerOptions, RaiseWithoutAHandle) {
  fake.on.setsockopt = nullptr;
  fake.on.getsockname = nullptr;
  EXPECT_THAT([&] { server().setReceiveBufferSize(1); },
              Raises<SocketException>("ERR_SOCKET_NOT_LISTENING", host, 0).from(file));
  EXPECT_THAT([&] { server().setSendBufferSize(1); },
              Raises<SocketException>("ERR_SOCKET_NOT_LISTENING", host, 0).from(file));
  EXPECT_THAT([&] { server().setReuseAddress(true); }, RaisesMapped(10038, host, 0).from(file));
  EXPECT_THAT([&] { server().queryPort(); }, RaisesMapped(10038, host, 0).from(file));
}

}  // namespace
}  // namespace tarvo::test
