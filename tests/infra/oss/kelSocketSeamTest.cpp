#include "infra/oss/kelSocket.hpp"
#include "infra/oss/kelSocketException.hpp"

#include "support/kelFakeWinsockSeam.hpp"
#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"
#include "support/kelSocketFixtureSeam.hpp"
#include "support/kelTraceRecorder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tarvo::test {
namespace {

using oss::Socket;
using oss::SocketException;
using platform::invalidSocket;
using platform::SocketHandle;
using platform::SocketSet;
using platform::TimeValue;
using platform::wsa::wouldBlock;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* host = "peer.example";
constexpr unsigned int port = 4711;
constexpr const char* file = "kelSocket.cpp";

// --- start-up and clean-up

class SocketStart : public SocketFixture {};

TEST_F(SocketStart, HappensOncePerObjectWithVersionTwoPointTwoAndZeroedData) {
  {
    const Socket socket;
    const Socket copy(socket);  // NOLINT(performance-unnecessary-copy-initialization): the copy is the test
    EXPECT_THAT(fake.calls(), ElementsAre("WSAStartup(514)", "WSAStartup(514)"));
  }
  EXPECT_THAT(fake.calls(),
              ElementsAre("WSAStartup(514)", "WSAStartup(514)", "WSACleanup()", "WSACleanup()"));
}

TEST_F(SocketStart, ThatFailsLeavesNoObjectAndNothingToCleanUp) {
  for (const int code : rowsOf({10091, 10092, 10067, 1})) {
    fake.failing("WSAStartup").with(code);
    EXPECT_THAT([] { const Socket socket; },
                Raises<SocketException>("ERR_WSASTARTUP_FAILED", "", 0).from(file))
        << code;
  }
  EXPECT_EQ(fake.countOf("WSACleanup"), 0);
}

TEST_F(SocketStart, OfAnotherVersionIsCleanedUpOnce) {
  int expected = 0;
  for (const int version :
       rowsOf({0x0000, 0x0101, 0x0002, 0x0200, 0x0102, 0x0201, 0x0203, 0x0302, 0x2020, 0xFFFF})) {
    fake.on.WSAStartup = [version](auto, auto& data) {
      data.version = static_cast<std::uint16_t>(version);
      return 0;
    };
    EXPECT_THAT([] { const Socket socket; },
                Raises<SocketException>("ERR_INVALID_SOCKET_VERSION", "", 0).from(file))
        << version;
    EXPECT_EQ(fake.countOf("WSACleanup"), ++expected) << version;
  }
}

TEST_F(SocketStart, OfACopyNamesTheHostAndPortCopied) {
  Socket socket;
  connected(socket);
  fake.failing("WSAStartup").with(10091);
  EXPECT_THAT([&] { const Socket copy(socket); },
              Raises<SocketException>("ERR_WSASTARTUP_FAILED", host, port).from(file));
  fake.on.WSAStartup = [](auto, auto& data) {
    data.version = 0x0101;
    return 0;
  };
  EXPECT_THAT([&] { const Socket copy(socket); },
              Raises<SocketException>("ERR_INVALID_SOCKET_VERSION", host, port).from(file));
  EXPECT_EQ(fake.countOf("WSACleanup"), 1);
  EXPECT_NE(socket.handle(), invalidSocket);
}

TEST_F(SocketStart, FailingAnywhereInAConnectLeavesNothingBehind) {
  resolvesTo({inetAddress("10.0.0.1", port)});
  connectsLater();
  Socket socket;
  fake.forget();
  const auto connect = [&] { socket.connect(host, port, Socket::NullAddrInfoExternal, nullptr); };
  connect();
  socket.close();
  const int total = fake.countOf("WSAStartup");
  ASSERT_GE(total, 2) << "the views that the waiting needs";
  for (int nth = 1; nth <= total; ++nth) {
    ROW("nth", nth);
    fake.failing("WSAStartup", nth).with(10091);
    EXPECT_THAT(connect, Raises<SocketException>("ERR_WSASTARTUP_FAILED", host, port).from(file));
    EXPECT_EQ(socket.handle(), invalidSocket);
    EXPECT_THAT(fake.openHandles(), IsEmpty());
    EXPECT_EQ(fake.starts(), fake.cleanups() + 1);
  }
  EXPECT_NO_THROW(connect());
}

TEST_F(SocketStart, IsGivenBackAfterTheHandleIsClosedEvenIfBothFail) {
  {
    Socket socket;
    connected(socket);
    fake.on.closesocket = [this](SocketHandle handle) {
      platform::systemWinsock().closesocket(handle);
      return fake.fails(10038);
    };
    fake.on.WSACleanup = [this] { return fake.fails(10093); };
  }
  EXPECT_THAT(fake.calls(), ElementsAre("closesocket(#1)", "WSACleanup()"));
  EXPECT_EQ(fake.starts(), 1);
  fake.on.WSACleanup = nullptr;
  fake.WSACleanup();  // the one above was counted as failed
}

// --- connect

class SocketConnect : public SocketFixture {
 protected:
  void connect(const unsigned long long* timeout = nullptr) {
    socket.connect(host, port, Socket::NullAddrInfoExternal, timeout);
  }
  auto connecting() {
    return [this] { connect(); };
  }
  void expectUnconnected() {
    EXPECT_EQ(socket.handle(), invalidSocket);
    EXPECT_EQ(utf8(socket.getHost()), host);
    EXPECT_EQ(socket.getPort(), port);
    EXPECT_THAT(fake.openHandles(), IsEmpty());
  }
  void expectUsableAgain() {
    resolvesTo({inetAddress("10.0.0.1", port)});
    connectsAtOnce();
    fake.on.getsockopt = nullptr;
    EXPECT_NO_THROW(connect());
    EXPECT_NE(socket.handle(), invalidSocket);
    socket.close();
  }
  void TearDown() override {
    socket.close();
    EXPECT_EQ(fake.starts(), fake.cleanups() + 1);
    fake.WSACleanup();  // stands for the one of `socket`, which outlives the check
    expectNothingLeft();
  }

  Socket socket;
};

TEST_F(SocketConnect, AtOnceMakesTheseCalls) {
  resolvesTo({inetAddress("10.0.0.1", port)});
  connectsAtOnce();
  fake.forget();
  connect();
  EXPECT_THAT(fake.calls(), ElementsAre("getaddrinfo(\"peer.example\", \"4711\", 0, 0, 1, 0)",
                                        "socket(2, 1, 6)", "ioctlsocketNonBlocking(#1, 1)",
                                        "connect(#1, 10.0.0.1:4711)", "ioctlsocketNonBlocking(#1, 0)",
                                        "getsockopt(#1, 65535, 4103)", "setsockopt(#1, 6, 1, 1)"));
  EXPECT_THAT(fake.openHandles(), ElementsAre(socket.handle()));
  EXPECT_EQ(utf8(socket.getHost()), host);
  EXPECT_EQ(socket.getPort(), port);
}

TEST_F(SocketConnect, InProgressWaitsForWritingOrAnErrorThenMakesTheSameCalls) {
  resolvesTo({inetAddress("10.0.0.1", port)});
  connectsLater();
  fake.forget();
  const unsigned long long timeout = 1500;
  connect(&timeout);
  EXPECT_THAT(fake.steps(),
              ElementsAre("getaddrinfo(\"peer.example\", \"4711\", 0, 0, 1, 0)", "socket(2, 1, 6)",
                          "ioctlsocketNonBlocking(#1, 1)", "connect(#1, 10.0.0.1:4711)",
                          "select({}, {#1}, {#1}, 1 s 500000 us)", "ioctlsocketNonBlocking(#1, 0)",
                          "getsockopt(#1, 65535, 4103)", "setsockopt(#1, 6, 1, 1)"));
  EXPECT_THAT(fake.openHandles(), ElementsAre(socket.handle()));
}

TEST_F(SocketConnect, WithoutATimeoutWaitsWithoutLimit) {
  resolvesTo({inetAddress("10.0.0.1", port)});
  connectsLater();
  fake.forget();
  connect(nullptr);
  EXPECT_EQ(fake.steps().at(4), "select({}, {#1}, {#1}, null)");
}

TEST_F(SocketConnect, OfAConnectedObjectOrOfAViewIsRefusedAndTouchesNothing) {
  connected(socket);
  const SocketHandle handle = socket.handle();
  Socket view(socket);
  fake.forget();
  for (Socket* each : rowsOf({&socket, &view})) {
    EXPECT_THAT([&] { each->connect("other.example", 1, Socket::NullAddrInfoExternal, nullptr); },
                Raises<SocketException>("ERR_SOCKET_CONNECTED", host, port).from(file));
    EXPECT_EQ(each->handle(), handle);
    EXPECT_EQ(utf8(each->getHost()), host);
    EXPECT_EQ(each->getPort(), port);
  }
  EXPECT_THAT(fake.calls(), IsEmpty());
}

TEST_F(SocketConnect, HandsTheHostToTheResolverInUtf8AtEveryLength) {
  connectsAtOnce();
  for (const std::size_t length : rowsOf({0U, 1U, 1023U, 1024U, 1025U, 1026U, 1027U, 2048U, 5000U})) {
    const std::string name(length, 'h');
    std::string node = "not called";
    fake.on.getaddrinfo = [&](const char* asked, auto, const auto&, auto& list) {
      node = asked;
      list = {inetAddress("10.0.0.1", port)};
      return 0;
    };
    socket.connect(icu::UnicodeString::fromUTF8(name), port, Socket::NullAddrInfoExternal, nullptr);
    EXPECT_EQ(node, name) << length;
    socket.close();
  }
  resolvesTo({inetAddress("10.0.0.1", port)});
  fake.forget();
  socket.connect(u"b\u00FCcher.example", port, Socket::NullAddrInfoExternal, nullptr);
  EXPECT_EQ(fake.steps().at(0),
            "getaddrinfo(\"b\xC3\xBC"
            "cher.example\", \"4711\", 0, 0, 1, 0)");
}

TEST_F(SocketConnect, NeverCutsAHostNameAtANul) {
  resolvesTo({inetAddress("10.0.0.1", port)});
  connectsAtOnce();
  fake.on.systemText = [](int) { return "unknown"; };
  fake.forget();
  const icu::UnicodeString name(u"good\0bad", 8);
  try {
    socket.connect(name, port, Socket::NullAddrInfoExternal, nullptr);
    ADD_FAILURE() << "connected";
  } catch (SocketException& error) {
    EXPECT_EQ(utf8(error.getErrorMessage().getMessageID()), "ERR_SOCKET_GETADDRINFO_ERROR");
    EXPECT_THAT(argumentsOf(error.getErrorMessage()),
                ElementsAre(utf8(name), std::to_string(port), "11001", "unknown"));
  }
  EXPECT_EQ(fake.countOf("socket"), 0);
}

TEST_F(SocketConnect, WritesThePortInDecimalWhateverItsValue) {
  resolvesTo({inetAddress("10.0.0.1", port)});
  connectsAtOnce();
  const std::vector<std::pair<unsigned int, std::string>> rows = {
      {0, "0"}, {80, "80"}, {65535, "65535"}, {65536, "65536"}, {4294967295U, "4294967295"}};
  for (const auto& [number, service] : rowsOf(rows)) {
    fake.forget();
    socket.connect("h", number, Socket::NullAddrInfoExternal, nullptr);
    EXPECT_EQ(fake.steps().at(0), "getaddrinfo(\"h\", \"" + service + "\", 0, 0, 1, 0)");
    EXPECT_EQ(socket.getPort(), number);
    socket.close();
  }
}

TEST_F(SocketConnect, SaysWhyANameDoesNotResolve) {
  struct Row {
    int code;
    const char* text;
  };
  const std::vector<Row> rows = {{11001, "No such host is known."}, {11002, "Try again."}, {11003, ""},
                                 {8, "Not enough memory."},         {10022, "Bad."},       {-1, "Odd."}};
  for (const Row& row : rowsOf(rows)) {
    ROW("code", row.code);
    fake.forget();
    fake.on.getaddrinfo = [&](auto, auto, const auto&, auto& list) {
      list.clear();
      return row.code;
    };
    fake.on.systemText = [&](int) { return row.text; };
    EXPECT_THAT(
        connecting(),
        Raises<SocketException>("ERR_SOCKET_GETADDRINFO_ERROR", host, port, row.code, row.text).from(file));
    EXPECT_THAT(fake.steps(), ElementsAre("getaddrinfo(\"peer.example\", \"4711\", 0, 0, 1, 0)",
                                          "systemText(" + std::to_string(row.code) + ")"));
    expectUnconnected();
  }
  expectUsableAgain();
}

TEST_F(SocketConnect, TakesAnEmptyAnswerForAnUnknownHost) {
  resolvesTo({});
  fake.on.systemText = [](int) { return "Nobody."; };
  EXPECT_THAT(
      connecting(),
      Raises<SocketException>("ERR_SOCKET_GETADDRINFO_ERROR", host, port, 11001, "Nobody.").from(file));
  expectUnconnected();
  expectUsableAgain();
}

TEST_F(SocketConnect, PrefersTheResolversCodeToTheAddressesItLeft) {
  fake.on.systemText = [](int) { return "Wait."; };
  fake.on.getaddrinfo = [](auto, auto, const auto&, auto& list) {
    list = {inetAddress("10.0.0.1", 1)};
    return 11002;
  };
  EXPECT_THAT(connecting(),
              Raises<SocketException>("ERR_SOCKET_GETADDRINFO_ERROR", host, port, 11002, "Wait.").from(file));
  EXPECT_EQ(fake.countOf("socket"), 0);
}

TEST_F(SocketConnect, GoesOnToTheNextAddressAsLongAsOneFailsAtOnce) {
  resolvesTo({inetAddress("10.0.0.1", 1), inetAddress("10.0.0.2", 2), inetAddress("10.0.0.3", 3),
              inetAddress("10.0.0.4", 4), inetAddress("10.0.0.5", 5)});
  connectsAtOnce();
  fake.forget();
  fake.failing("socket", 1).with(10024);
  fake.failing("ioctlsocketNonBlocking", 1).with(10022);
  fake.failing("connect", 1).with(10061);
  connect();
  EXPECT_THAT(
      fake.steps(),
      ElementsAre("getaddrinfo(\"peer.example\", \"4711\", 0, 0, 1, 0)", "socket(2, 1, 6)", "socket(2, 1, 6)",
                  "ioctlsocketNonBlocking(#1, 1)", "closesocket(#1)", "socket(2, 1, 6)",
                  "ioctlsocketNonBlocking(#2, 1)", "connect(#2, 10.0.0.3:3)", "closesocket(#2)",
                  "socket(2, 1, 6)", "ioctlsocketNonBlocking(#3, 1)", "connect(#3, 10.0.0.4:4)",
                  "ioctlsocketNonBlocking(#3, 0)", "getsockopt(#3, 65535, 4103)", "setsockopt(#3, 6, 1, 1)"));
}

TEST_F(SocketConnect, HandsEachEntryItsOwnFamilyTypeAndProtocol) {
  platform::ResolvedAddress odd = inetAddress("10.0.0.1", 1);
  odd.family = 77;
  odd.socketType = -5;
  odd.protocol = INT_MIN;
  std::vector<unsigned char> loopback(16);
  loopback[15] = 1;
  resolvesTo({odd, inet6Address(loopback, port)});
  connectsAtOnce();
  fake.failing("socket", 1).with(10047);
  fake.on.socket = [](int, int type, int) { return platform::systemWinsock().socket(2, type, 0); };
  fake.forget();
  connect();
  const std::vector<std::string> steps = fake.steps();
  EXPECT_EQ(steps.at(1), "socket(77, -5, -2147483648)");
  EXPECT_EQ(steps.at(2), "socket(23, 1, 6)");
  EXPECT_EQ(steps.at(4), "connect(#1, 1700126700000000" + std::string(30, '0') + "0100000000)");
}

TEST_F(SocketConnect, SaysNotConnectedWhenEveryAddressFailsAtOnce) {
  struct Row {
    const char* function;
    int closed;
  };
  for (const Row& row : rowsOf({Row{"socket", 0}, Row{"ioctlsocketNonBlocking", 2}, Row{"connect", 2}})) {
    ROW("function", row.function);
    resolvesTo({inetAddress("10.0.0.1", 1), inetAddress("10.0.0.2", 2)});
    connectsAtOnce();
    fake.forget();
    for (const int nth : {1, 2}) fake.failing(row.function, nth).with(10061);
    EXPECT_THAT(connecting(), Raises<SocketException>("ERR_SOCKET_NOT_CONNECTED", host, port).from(file));
    EXPECT_EQ(fake.countOf(row.function), 2);
    EXPECT_EQ(fake.countOf("closesocket"), row.closed);
    EXPECT_EQ(fake.countOf("setsockopt"), 0);
    expectUnconnected();
    expectUsableAgain();
  }
}

TEST_F(SocketConnect, ReadsWhyAConnectFailedBeforeClosingIt) {
  resolvesTo({inetAddress("10.0.0.1", 1)});
  fake.on.connect = [this](auto, auto, auto) { return fake.fails(10061); };
  // Taken for the connect's, this code would mean "in progress".
  fake.successSets(wouldBlock);
  EXPECT_THAT(connecting(), Raises<SocketException>("ERR_SOCKET_NOT_CONNECTED", host, port).from(file));
  EXPECT_EQ(fake.countOf("select"), 0);
}

/// A step of an attempt in progress that fails, with what callers see then.
struct LateFailure {
  const char* name;
  const char* function;
  int nth;
};

class SocketConnectLate : public SocketConnect, public testing::WithParamInterface<LateFailure> {};

TEST_P(SocketConnectLate, FailureEndsTheCallWithItsCode) {
  for (const int code : rowsOf(sampleCodes)) {
    for (const bool spoiling : rowsOf({false, true})) {
      ROW(code, (spoiling ? " with hooks" : ""));
      resolvesTo({inetAddress("10.0.0.1", port), inetAddress("10.0.0.2", port)});
      connectsLater();
      fake.forget();
      fake.failing(GetParam().function, GetParam().nth).with(code);
      std::optional<SpoilingTrace> trace;
      if (spoiling) trace.emplace();
      EXPECT_THAT(connecting(), RaisesMapped(code, host, port).from(file));
      trace.reset();
      EXPECT_EQ(fake.countOf("socket"), 1) << "the second address is not tried";
      EXPECT_EQ(fake.countOf("closesocket"), 1);
      expectUnconnected();
      expectUsableAgain();
    }
  }
}

INSTANTIATE_TEST_SUITE_P(All, SocketConnectLate,
                         testing::Values(LateFailure{"Select", "select", 1},
                                         LateFailure{"BlockingAgain", "ioctlsocketNonBlocking", 2},
                                         LateFailure{"PendingError", "getsockopt", 1},
                                         LateFailure{"NoDelay", "setsockopt", 1}),
                         [](const auto& param) { return param.param.name; });

TEST_F(SocketConnect, EndsWithTheErrorThatIsPending) {
  struct Row {
    bool late;
    bool inErrorSet;
    int pending;
  };
  const std::vector<Row> rows = {
      {true, true, 10061}, {true, true, 0},       {true, false, 10060},  {true, false, 10051},
      {true, true, 10054}, {false, false, 10061}, {false, false, 10065},
  };
  for (const Row& row : rowsOf(rows)) {
    ROW(row.late, row.inErrorSet, row.pending);
    resolvesTo({inetAddress("10.0.0.1", port), inetAddress("10.0.0.2", port)});
    row.late ? connectsLater() : connectsAtOnce();
    if (row.inErrorSet) {
      fake.on.select = [](auto& read, auto& write, auto& error, auto) {
        read.count = write.count = 0;
        return static_cast<int>(error.count);
      };
    }
    fake.on.getsockopt = [&](auto, auto, auto, int& value) {
      value = row.pending;
      return 0;
    };
    fake.forget();
    EXPECT_THAT(connecting(), RaisesMapped(row.pending, host, port).from(file));
    EXPECT_EQ(fake.countOf("socket"), 1) << "the second address is not tried";
    EXPECT_EQ(fake.steps().back(), "closesocket(#1)");
    expectUnconnected();
    expectUsableAgain();
  }
}

TEST_F(SocketConnect, EndsWithATimeoutWhenNothingHappens) {
  for (const unsigned long long limit : rowsOf({0ULL, 1ULL, 1500ULL, ULLONG_MAX})) {
    resolvesTo({inetAddress("10.0.0.1", port), inetAddress("10.0.0.2", port)});
    connectsLater();
    fake.on.select = [](auto& read, auto& write, auto& error, auto) {
      return static_cast<int>(read.count = write.count = error.count = 0);
    };
    fake.forget();
    EXPECT_THAT([&] { connect(&limit); },
                Raises<SocketException>("ERR_SOCKET_TIMEOUT", host, port).from(file));
    EXPECT_EQ(fake.countOf("socket"), 1) << "the second address is not tried";
    EXPECT_EQ(fake.steps().back(), "closesocket(#1)");
    expectUnconnected();
    expectUsableAgain();
  }
}

TEST_F(SocketConnect, AfterAnAddressThatFailedAtOnceStillEndsWithTheOneInProgress) {
  resolvesTo({inetAddress("10.0.0.1", 1), inetAddress("10.0.0.2", 2), inetAddress("10.0.0.3", 3)});
  connectsLater();
  fake.failing("connect", 1).with(10065);
  fake.on.getsockopt = [](auto, auto, auto, int& value) {
    value = 10061;
    return 0;
  };
  EXPECT_THAT(connecting(), RaisesMapped(10061, host, port).from(file));
  EXPECT_EQ(fake.countOf("socket"), 2);
}

TEST_F(SocketConnect, TakesItsOwnHostAgain) {
  resolvesTo({});
  fake.on.systemText = [](int) { return ""; };
  EXPECT_THROW(connect(), SocketException);
  resolvesTo({inetAddress("10.0.0.1", port)});
  connectsAtOnce();
  fake.forget();
  socket.connect(socket.getHost(), socket.getPort(), Socket::NullAddrInfoExternal, nullptr);
  EXPECT_EQ(fake.steps().at(0), "getaddrinfo(\"peer.example\", \"4711\", 0, 0, 1, 0)");
  EXPECT_EQ(utf8(socket.getHost()), host);
}

TEST_F(SocketConnect, ErrorsWriteThePortAsASigned32BitNumber) {
  resolvesTo({});
  fake.on.systemText = [](int) { return "t"; };
  EXPECT_THAT([&] { socket.connect(host, 4294967295U, Socket::NullAddrInfoExternal, nullptr); },
              Raises<SocketException>("ERR_SOCKET_GETADDRINFO_ERROR", host, -1, 11001, "t").from(file));
  EXPECT_EQ(socket.getPort(), 4294967295U);
}

// --- close and views

class SocketClose : public SocketFixture {};

TEST_F(SocketClose, ClosesAnOwnedHandleOnceAndForgetsThePeer) {
  Socket socket;
  connected(socket);
  socket.close();
  socket.close();
  EXPECT_THAT(fake.calls(), ElementsAre("closesocket(#1)"));
  EXPECT_EQ(socket.handle(), invalidSocket);
  EXPECT_EQ(utf8(socket.getHost()), "");
  EXPECT_EQ(socket.getPort(), 0U);
}

TEST_F(SocketClose, OfAViewDoesNothing) {
  Socket socket;
  connected(socket);
  {
    Socket view(socket);
    fake.forget();
    view.close();
    EXPECT_THAT(fake.calls(), IsEmpty());
    EXPECT_EQ(view.handle(), socket.handle());
    EXPECT_EQ(utf8(view.getHost()), host);
    EXPECT_EQ(view.getPort(), port);
  }
  EXPECT_THAT(fake.calls(), ElementsAre("WSACleanup()"));
  EXPECT_THAT(fake.openHandles(), ElementsAre(socket.handle()));
}

TEST_F(SocketClose, ThatFailsRaisesNothingAndForgetsTheHandleAllTheSame) {
  for (const int code : rowsOf(sampleCodes)) {
    Socket socket;
    connected(socket);
    fake.on.closesocket = [&](SocketHandle handle) {
      platform::systemWinsock().closesocket(handle);
      return fake.fails(code);
    };
    EXPECT_NO_THROW(socket.close()) << code;
    EXPECT_EQ(socket.handle(), invalidSocket) << code;
    EXPECT_EQ(socket.getPort(), 0U) << code;
    fake.on.closesocket = nullptr;
    EXPECT_NO_THROW(connected(socket)) << code;
  }
}

// --- operations on a connected object

/// An operation on a connected socket, with the system call of it that fails.
struct Operation {
  const char* name;
  const char* function;
  int nth;
  std::function<void(Socket&)> run;
  std::vector<std::string> callsUpToTheFailure;
};

char scratch[64];

std::vector<Operation> operations() {
  using Strings = std::vector<std::string>;
  const Strings send3 = {"send(#1, 3)"};
  return {
      {"ShutdownBoth", "shutdown", 1, [](Socket& s) { s.shutdownBoth(); }, {"shutdown(#1, 2)"}},
      {"ShutdownReceive", "shutdown", 1, [](Socket& s) { s.shutdownReceive(); }, {"shutdown(#1, 0)"}},
      {"ShutdownSend", "shutdown", 1, [](Socket& s) { s.shutdownSend(); }, {"shutdown(#1, 1)"}},
      {"SetBlocking",
       "ioctlsocketNonBlocking",
       1,
       [](Socket& s) { s.setNonBlocking(false); },
       {"ioctlsocketNonBlocking(#1, 0)"}},
      {"SetNonBlocking",
       "ioctlsocketNonBlocking",
       1,
       [](Socket& s) { s.setNonBlocking(true); },
       {"ioctlsocketNonBlocking(#1, 1)"}},
      {"SetDelay", "setsockopt", 1, [](Socket& s) { s.setNoDelay(false); }, {"setsockopt(#1, 6, 1, 0)"}},
      {"SetNoDelay", "setsockopt", 1, [](Socket& s) { s.setNoDelay(true); }, {"setsockopt(#1, 6, 1, 1)"}},
      {"SetTimeoutOfReceive",
       "setsockopt",
       1,
       [](Socket& s) { s.setTimeout(1500); },
       {"setsockopt(#1, 65535, 4102, 1500)"}},
      {"SetTimeoutOfSend",
       "setsockopt",
       2,
       [](Socket& s) { s.setTimeout(4294967295U); },
       {"setsockopt(#1, 65535, 4102, -1)", "setsockopt(#1, 65535, 4101, -1)"}},
      {"ReadOnce", "recv", 1, [](Socket& s) { s.readOnce(scratch, 1, 20); }, {"recv(#1, 20)"}},
      {"ReadAtFirst", "recv", 1, [](Socket& s) { s.read(scratch, 1, 20); }, {"recv(#1, 20)"}},
      {"ReadLater",
       "recv",
       3,
       [](Socket& s) { s.read(scratch, 1, 20); },
       {"recv(#1, 20)", "recv(#1, 12)", "recv(#1, 4)"}},
      {"WriteAtFirst", "send", 1, [](Socket& s) { s.write("abcdefgh", 1, 3); }, send3},
      {"WriteLater",
       "send",
       2,
       [](Socket& s) { s.write("abcdefghijklmnopqrst", 0, 20); },
       {"send(#1, 20)", "send(#1, 12)"}},
      {"ReadMessageLength",
       "recv",
       1,
       [](Socket& s) { s.readMessage(scratch, nullptr, 0, sizeof scratch, false); },
       {"recv(#1, 4)"}},
      {"ReadMessagePayload",
       "recv",
       2,
       [](Socket& s) { s.readMessage(scratch, nullptr, 0, sizeof scratch, false); },
       {"recv(#1, 4)", "recv(#1, 10)"}},
      {"WriteMessage", "send", 1, [](Socket& s) { s.writeMessage("abc", 0, 0); }, {"send(#1, 4)"}},
  };
}

/// Calls answered in pieces of at most eight bytes; what is received are frames of ten bytes.
void answersInPieces(FakeWinsock& fake) {
  fake.on.shutdown = [](auto, auto) { return 0; };
  fake.on.send = [](auto, auto, int length) { return std::min(length, 8); };
  fake.on.recv = [](auto, char* bytes, int length) {
    const int taken = std::min(length, 8);
    std::memset(bytes, 0, static_cast<std::size_t>(taken));
    if (length == 4) bytes[3] = 10;
    return taken;
  };
}

class SocketOperation : public SocketFixture {};

TEST_F(SocketOperation, ThatFailsGivesTheCodeOfItsCallAndLeavesTheConnection) {
  for (const Operation& operation : rowsOf(operations())) {
    for (const int code : rowsOf(sampleCodes)) {
      for (const bool spoiling : rowsOf({false, true})) {
        ROW(operation.name, code, (spoiling ? " with hooks" : ""));
        fake.forget();
        Socket socket;
        connected(socket);
        answersInPieces(fake);
        const SocketHandle handle = socket.handle();
        std::optional<SpoilingTrace> trace;
        if (spoiling) trace.emplace();
        fake.failing(operation.function, operation.nth).with(code);
        EXPECT_THAT([&] { operation.run(socket); }, RaisesMapped(code, host, port).from(file));
        trace.reset();
        EXPECT_EQ(fake.steps(), operation.callsUpToTheFailure);
        EXPECT_EQ(socket.handle(), handle);
        EXPECT_EQ(utf8(socket.getHost()), host);
        EXPECT_EQ(socket.getPort(), port);
        EXPECT_NO_THROW(operation.run(socket)) << "usable again";
      }
    }
  }
}

TEST_F(SocketOperation, WithoutAHandleCallsNothing) {
  const std::vector<std::string> harmless = {"ShutdownBoth", "ShutdownReceive", "ShutdownSend"};
  Socket socket;
  resolvesTo({});
  fake.on.systemText = [](int) { return ""; };
  for (const bool afterFailedConnect : rowsOf({false, true})) {
    if (afterFailedConnect) {
      EXPECT_THROW(socket.connect(host, port, Socket::NullAddrInfoExternal, nullptr), SocketException);
    }
    fake.forget();
    for (const Operation& operation : rowsOf(operations())) {
      const auto run = [&] { operation.run(socket); };
      if (std::count(harmless.begin(), harmless.end(), operation.name) > 0) {
        EXPECT_NO_THROW(run());
      } else {
        EXPECT_THAT(run, Raises<SocketException>("ERR_SOCKET_NOT_CONNECTED", afterFailedConnect ? host : "",
                                                 afterFailedConnect ? port : 0)
                             .from(file));
      }
    }
    EXPECT_THAT(fake.calls(), IsEmpty());
  }
}

TEST_F(SocketOperation, OfAViewWorksOnTheSameHandle) {
  Socket socket;
  connected(socket);
  answersInPieces(fake);
  Socket view(socket);
  fake.failing("send").with(10054);
  EXPECT_THAT([&] { view.write("abc", 0, 3); }, RaisesMapped(10054, host, port).from(file));
}

TEST_F(SocketOperation, SetTimeoutDoesNotTouchTheSendSideWhenTheReceiveSideFails) {
  Socket socket;
  connected(socket);
  fake.failing("setsockopt", 1).with(10042);
  EXPECT_THAT([&] { socket.setTimeout(7); }, RaisesMapped(10042, host, port).from(file));
  EXPECT_EQ(fake.countOf("setsockopt"), 1);
}

// --- reading and writing

class SocketData : public SocketFixture {
 protected:
  SocketData() = default;
  void SetUp() override { connected(socket_.emplace()); }
  void TearDown() override {
    socket_.reset();
    SocketFixture::TearDown();
  }

  Socket& socket() { return *socket_; }

  /// Each receive takes the next piece; -1 - code stands for a failure, and behind the last the peer closes.
  void receives(std::vector<std::string> pieces) {
    fake.on.recv = [pieces = std::move(pieces), next = std::size_t{0}](auto, char* bytes,
                                                                       int length) mutable {
      if (next == pieces.size()) return 0;
      std::string& piece = pieces[next];
      const std::size_t taken = std::min(piece.size(), static_cast<std::size_t>(length));
      std::memcpy(bytes, piece.data(), taken);
      piece.erase(0, taken);
      if (piece.empty()) ++next;
      return static_cast<int>(taken);
    };
  }
  /// Each send takes at most the next count, or all behind the last; what is sent is kept.
  void sendsAtMost(std::vector<int> counts) {
    fake.on.send = [this, counts = std::move(counts), next = std::size_t{0}](auto, const char* bytes,
                                                                             int length) mutable {
      const int taken = next < counts.size() ? std::min(counts[next++], length) : length;
      sent.append(bytes, static_cast<std::size_t>(taken));
      return taken;
    };
  }
  /// Receives and sends of which only the lengths count.
  void onlyCounts() {
    fake.on.recv = [this](auto, auto, int length) {
      counted += length;
      return length;
    };
    fake.on.send = [this](auto, auto, int length) {
      counted += length;
      return length;
    };
  }

  std::string sent;
  long long counted = 0;

 private:
  std::optional<Socket> socket_;
};

std::string frame(const std::string& payload) {
  const std::size_t n = payload.size();
  std::string bytes;
  for (const int shift : {24, 16, 8, 0}) bytes += static_cast<char>((n >> shift) & 0xFF);
  return bytes + payload;
}

std::string lengthWord(std::uint32_t length) {
  std::string bytes;
  for (const int shift : {24, 16, 8, 0}) bytes += static_cast<char>((length >> shift) & 0xFF);
  return bytes;
}

TEST_F(SocketData, ReadOnceIsOneReceive) {
  receives({"abc", "def"});
  char buffer[] = "----------";
  EXPECT_EQ(socket().readOnce(buffer, 2, 8), 3U);
  EXPECT_STREQ(buffer, "--abc-----");
  EXPECT_EQ(socket().readOnce(buffer, 0, 2), 2U);
  EXPECT_STREQ(buffer, "deabc-----");
  EXPECT_EQ(socket().readOnce(buffer, 0, 2), 1U);
  EXPECT_EQ(socket().readOnce(buffer, 0, 2), 0U) << "the peer has closed";
  EXPECT_THAT(fake.calls(), ElementsAre("recv(#1, 8)", "recv(#1, 2)", "recv(#1, 2)", "recv(#1, 2)"));
}

TEST_F(SocketData, ReadOnceOfNothingStillAsksTheSystem) {
  receives({"abc"});
  char buffer[4];
  EXPECT_EQ(socket().readOnce(buffer, 0, 0), 0U);
  EXPECT_THAT(fake.calls(), ElementsAre("recv(#1, 0)"));
}

TEST_F(SocketData, ReadGoesOnUntilEverythingIsThere) {
  receives({"ab", "c", "defg"});
  char buffer[] = "----------";
  EXPECT_EQ(socket().read(buffer, 3, 6), 6U);
  EXPECT_STREQ(buffer, "---abcdef-");
  EXPECT_THAT(fake.calls(), ElementsAre("recv(#1, 6)", "recv(#1, 4)", "recv(#1, 3)"));
}

TEST_F(SocketData, ReadReturnsTheShortCountWhenThePeerClosesEarly) {
  receives({std::string(40, 'x')});
  char buffer[100] = {};
  EXPECT_EQ(socket().read(buffer, 0, 100), 40U);
  EXPECT_THAT(fake.calls(), ElementsAre("recv(#1, 100)", "recv(#1, 60)"));
}

TEST_F(SocketData, ReadAndWriteOfNothingCallNothing) {
  char buffer[1];
  EXPECT_EQ(socket().read(buffer, 0, 0), 0U);
  socket().write(buffer, 0, 0);
  EXPECT_THAT(fake.calls(), IsEmpty());
}

TEST_F(SocketData, ReadThatFailsKeepsWhatCameBefore) {
  receives({"abc"});
  fake.failing("recv", 2).with(10060);
  char buffer[] = "----------";
  EXPECT_THAT([&] { socket().read(buffer, 1, 8); }, RaisesMapped(10060, host, port).from(file));
  EXPECT_STREQ(buffer, "-abc------");
}

TEST_F(SocketData, WriteContinuesPartialSends) {
  sendsAtMost({1, 3, 2});
  socket().write("0123456789", 2, 8);
  EXPECT_EQ(sent, "23456789");
  EXPECT_THAT(fake.calls(), ElementsAre("send(#1, 8)", "send(#1, 7)", "send(#1, 4)", "send(#1, 2)"));
}

TEST_F(SocketData, CountsAboveTheLargestIntAreCappedCallByCall) {
  struct Row {
    unsigned long long length;
    std::vector<int> calls;
  };
  const std::vector<Row> rows = {
      {2147483646ULL, {2147483646}},
      {2147483647ULL, {2147483647}},
      {2147483648ULL, {2147483647, 1}},
      {4294967296ULL, {2147483647, 2147483647, 2}},
      {5368709120ULL, {2147483647, 2147483647, 1073741826}},
  };
  onlyCounts();
  char buffer[1] = {};
  for (const Row& row : rowsOf(rows)) {
    for (const bool reading : rowsOf({true, false})) {
      ROW(row.length, (reading ? " read" : " written"));
      fake.forget();
      counted = 0;
      if (reading) {
        EXPECT_EQ(socket().read(buffer, 0, row.length), row.length);
      } else {
        socket().write(buffer, 0, row.length);
      }
      std::vector<std::string> expected;
      expected.reserve(row.calls.size());
      for (const int call : row.calls)
        expected.push_back((reading ? "recv(#1, " : "send(#1, ") + std::to_string(call) + ")");
      EXPECT_EQ(fake.calls(), expected);
      EXPECT_EQ(counted, static_cast<long long>(row.length));
    }
  }
}

TEST_F(SocketData, ReadOnceAboveTheLargestIntIsOneCappedReceive) {
  onlyCounts();
  char buffer[1] = {};
  EXPECT_EQ(socket().readOnce(buffer, 0, 4294967296ULL), 2147483647U);
  EXPECT_EQ(socket().readOnce(buffer, 0, 2147483648ULL), 2147483647U);
  EXPECT_EQ(fake.countOf("recv"), 2);
}

TEST_F(SocketData, RangesThatWrapOrHaveNoBufferAreRefusedBeforeAnyCall) {
  char buffer[8] = {};
  struct Row {
    char* start;
    unsigned long long offset;
    unsigned long long length;
  };
  for (const Row& row : rowsOf({Row{nullptr, 0, 1}, Row{nullptr, 8, 8}, Row{buffer, ULLONG_MAX, 2},
                                Row{buffer, 2, ULLONG_MAX}, Row{buffer, 1ULL << 63U, 1ULL << 63U}})) {
    ROW(row.offset, row.length);
    EXPECT_THAT([&] { socket().readOnce(row.start, row.offset, row.length); },
                RaisesMapped(10014, host, port).from(file));
    EXPECT_THAT([&] { socket().read(row.start, row.offset, row.length); },
                RaisesMapped(10014, host, port).from(file));
    EXPECT_THAT([&] { socket().write(row.start, row.offset, row.length); },
                RaisesMapped(10014, host, port).from(file));
    EXPECT_THAT([&] { socket().writeMessage(row.start, row.offset, row.length); },
                RaisesMapped(10014, host, port).from(file));
  }
  EXPECT_THAT(fake.calls(), IsEmpty());
}

// --- frames

class SocketFrame : public SocketData {};

TEST_F(SocketFrame, OfASmallPayloadLeavesInOneSend) {
  for (const std::size_t length : rowsOf({0U, 1U, 2U, 3U, 100U, 1024U})) {
    sent.clear();
    fake.forget();
    sendsAtMost({});
    const std::string payload(length, 'p');
    socket().writeMessage(("..." + payload).data(), 3, length);
    EXPECT_EQ(sent, frame(payload));
    EXPECT_THAT(fake.calls(), ElementsAre("send(#1, " + std::to_string(length + 4) + ")"));
  }
}

TEST_F(SocketFrame, ReportsTwoWritesInsideItsOwnHooksWhateverTheSends) {
  sendsAtMost({});
  const std::string large(1 << 20, 'L');
  for (const std::size_t length : rowsOf({std::size_t{0}, std::size_t{5}, large.size()})) {
    TraceRecorder trace(0x20000);
    socket().writeMessage(large.data(), 0, length);
    EXPECT_THAT(trace.calls(), ElementsAre("traceEntry 61D", "traceEntry 61B", "traceExit 61B 0",
                                           "traceEntry 61B", "traceExit 61B 0", "traceExit 61D 0"))
        << length;
  }
}

TEST_F(SocketFrame, SurvivesEverySplitOfItsSends) {
  const std::string payload = "payload";
  for (int first = 1; first <= 11; ++first) {
    ROW("first", first);
    for (int second = 1; second <= 11; ++second) {
      ROW("second", second);
      sent.clear();
      sendsAtMost({first, second, 1, 1});
      socket().writeMessage(payload.data(), 0, payload.size());
      EXPECT_EQ(sent, frame(payload)) << first << " " << second;
    }
  }
}

TEST_F(SocketFrame, OfEverySizeIsTheWordAndThePayload) {
  for (std::size_t length = 0; length < 70000; length = length * 2 + 1) {
    ROW("length", length);
    for (const std::size_t more : rowsOf({0U, 1U, 2U, 3U, 4U, 5U})) {
      sent.clear();
      sendsAtMost({});
      std::string payload;
      while (payload.size() < length + more) payload += static_cast<char>(payload.size() * 7);
      socket().writeMessage(payload.data(), 0, payload.size());
      ASSERT_EQ(sent, frame(payload)) << payload.size();
    }
  }
}

TEST_F(SocketFrame, LengthWordTakesTheLow32Bits) {
  struct Row {
    unsigned long long length;
    std::uint32_t word;
  };
  const std::string beginning(65536, 'p');  // sends only count: nobody looks at what is behind it
  for (const Row& row : rowsOf({Row{0x7FFFFFFFULL, 0x7FFFFFFFU}, Row{0x80000000ULL, 0x80000000U},
                                Row{0xFFFFFFFFULL, 0xFFFFFFFFU}, Row{0x100000005ULL, 5U}})) {
    ROW("length", row.length);
    std::string start;
    counted = 0;
    fake.on.send = [&](auto, const char* bytes, int length) {
      if (start.size() < 4) start.append(bytes, static_cast<std::size_t>(std::min(length, 4)));
      counted += length;
      return length;
    };
    socket().writeMessage(beginning.data(), 0, row.length);
    EXPECT_EQ(start, lengthWord(row.word));
    EXPECT_EQ(counted, static_cast<long long>(row.length) + 4) << "the payload is sent whole";
  }
}

TEST_F(SocketFrame, ThatFailsInTheMiddleSaysSoAndSendsNoMore) {
  for (int nth = 1; nth <= 4; ++nth) {
    ROW("nth", nth);
    fake.forget();
    sendsAtMost({2, 2, 2});
    fake.failing("send", nth).with(10054);
    EXPECT_THAT([&] { socket().writeMessage("payload", 0, 7); }, RaisesMapped(10054, host, port).from(file));
    EXPECT_EQ(fake.countOf("send"), nth);
  }
}

TEST_F(SocketFrame, IsReadAsItsWordAndThenItsPayload) {
  receives({frame("hello")});
  char buffer[] = "----------";
  unsigned long long length = 99;
  TraceRecorder trace(0x20000);
  EXPECT_EQ(socket().readMessage(buffer, &length, 2, 8, false), 5U);
  EXPECT_STREQ(buffer, "--hello---");
  EXPECT_EQ(length, 5U);
  EXPECT_THAT(fake.calls(), ElementsAre("recv(#1, 4)", "recv(#1, 5)"));
  EXPECT_THAT(trace.calls(), ElementsAre("traceEntry 61C", "traceEntry 61A", "traceExit 61A 0",
                                         "traceEntry 61A", "traceExit 61A 0", "traceExit 61C 0"));
}

TEST_F(SocketFrame, IsReadByteByByteWithOrWithoutALengthToFill) {
  std::vector<std::string> pieces;
  for (const char byte : frame("hello")) pieces.emplace_back(1, byte);
  for (const bool asked : rowsOf({true, false})) {
    receives(pieces);
    char buffer[8] = {};
    unsigned long long length = 99;
    EXPECT_EQ(socket().readMessage(buffer, asked ? &length : nullptr, 0, 5, true), 5U);
    EXPECT_STREQ(buffer, "hello");
    EXPECT_EQ(length, asked ? 5U : 99U);
  }
}

TEST_F(SocketFrame, OfLengthZeroFitsEverywhere) {
  receives({frame("")});
  char buffer[1] = {'x'};
  unsigned long long length = 99;
  EXPECT_EQ(socket().readMessage(buffer, &length, 0, 0, true), 0U);
  EXPECT_EQ(length, 0U);
  EXPECT_EQ(buffer[0], 'x');
}

TEST_F(SocketFrame, BeforeWhichThePeerClosedSaysClosed) {
  receives({});
  unsigned long long length = 99;
  EXPECT_THAT([&] { socket().readMessage(scratch, &length, 0, 10, true); },
              Raises<SocketException>("ERR_SOCKET_CLOSED", host, port).from(file));
  EXPECT_EQ(length, 99U) << "nothing was learned";
}

TEST_F(SocketFrame, WhoseWordIsCutShortCountsItsMissingBytesAsZero) {
  struct Row {
    std::string bytes;
    std::uint32_t length;
  };
  for (const Row& row : rowsOf({Row{std::string("\x00", 1), 0U}, Row{std::string("\x01", 1), 0x01000000U},
                                Row{std::string("\x00\x02", 2), 0x00020000U},
                                Row{std::string("\xFF\x00\x03", 3), 0xFF000300U}})) {
    ROW("length", row.length);
    receives({row.bytes});
    unsigned long long length = 99;
    const auto reading = [&] { socket().readMessage(scratch, &length, 0, 1, false); };
    if (row.length == 0) {
      EXPECT_NO_THROW(reading());
    } else {
      EXPECT_THAT(reading, Raises<SocketException>("ERR_DEST_BUFFER_TOO_SMALL", 1,
                                                   static_cast<std::int32_t>(row.length))
                               .from(file));
    }
    EXPECT_EQ(length, row.length);
  }
}

TEST_F(SocketFrame, LengthsAboveTheLargestIntAreUnsigned) {
  struct Row {
    std::uint32_t word;
    std::vector<std::string> calls;
  };
  const std::vector<Row> rows = {
      {0x80000000U, {"recv(#1, 4)", "recv(#1, 2147483647)", "recv(#1, 1)"}},
      {0xFFFFFFFFU, {"recv(#1, 4)", "recv(#1, 2147483647)", "recv(#1, 2147483647)", "recv(#1, 1)"}},
  };
  for (const Row& row : rowsOf(rows)) {
    ROW("word", row.word);
    fake.forget();
    fake.on.recv = [&](auto, char* bytes, int length) {
      if (length == 4) std::memcpy(bytes, lengthWord(row.word).data(), 4);
      return length;
    };
    unsigned long long length = 0;
    EXPECT_EQ(socket().readMessage(scratch, &length, 0, row.word, false), row.word);
    EXPECT_EQ(length, row.word);
    EXPECT_EQ(fake.calls(), row.calls);
    EXPECT_THAT([&] { socket().readMessage(scratch, &length, 0, row.word - 1ULL, false); },
                Raises<SocketException>("ERR_DEST_BUFFER_TOO_SMALL", static_cast<std::int32_t>(row.word - 1),
                                        static_cast<std::int32_t>(row.word))
                    .from(file));
  }
}

TEST_F(SocketFrame, ThatDoesNotFitIsLeftInTheStreamUnlessDrained) {
  struct Row {
    std::size_t length;
    std::vector<std::string> drained;
  };
  const std::vector<Row> rows = {
      {11, {"recv(#1, 4)", "recv(#1, 11)"}},
      {1024, {"recv(#1, 4)", "recv(#1, 1024)"}},
      {1025, {"recv(#1, 4)", "recv(#1, 1024)", "recv(#1, 1)"}},
      {3000, {"recv(#1, 4)", "recv(#1, 1024)", "recv(#1, 1024)", "recv(#1, 952)"}},
  };
  for (const Row& row : rowsOf(rows)) {
    ROW("length", row.length);
    for (const bool drain : rowsOf({false, true})) {
      receives({frame(std::string(row.length, 'z')) + frame("next")});
      fake.forget();
      char buffer[16] = {};
      unsigned long long length = 0;
      EXPECT_THAT([&] { socket().readMessage(buffer, &length, 5, 10, drain); },
                  Raises<SocketException>("ERR_DEST_BUFFER_TOO_SMALL", 10, row.length).from(file));
      EXPECT_EQ(length, row.length);
      EXPECT_EQ(std::string(buffer, 16), std::string(16, '\0')) << "nothing reaches the caller's buffer";
      if (drain) {
        EXPECT_EQ(fake.calls(), row.drained);
        EXPECT_EQ(socket().readMessage(buffer, &length, 0, 10, drain), 4U);
        EXPECT_STREQ(buffer, "next");
      } else {
        EXPECT_THAT(fake.calls(), ElementsAre("recv(#1, 4)"));
      }
    }
  }
}

TEST_F(SocketFrame, DrainEndsWhenThePeerDoes) {
  receives({lengthWord(0x80000001U) + std::string(5000, 'z')});
  EXPECT_THAT([&] { socket().readMessage(scratch, nullptr, 0, 10, true); },
              Raises<SocketException>("ERR_DEST_BUFFER_TOO_SMALL", 10, static_cast<std::int32_t>(0x80000001U))
                  .from(file));
  EXPECT_EQ(fake.countOf("recv"), 1 + 4 + 2) << "the word, four whole chunks, a part, the end";
}

TEST_F(SocketFrame, DrainThatFailsGivesTheReceivesError) {
  receives({lengthWord(5000) + std::string(2000, 'z')});
  fake.failing("recv", 3).with(10054);
  EXPECT_THAT([&] { socket().readMessage(scratch, nullptr, 0, 10, true); },
              RaisesMapped(10054, host, port).from(file));
}

// --- select

class SocketSelect : public SocketFixture {
 protected:
  /// A view of the nth invented handle, 5000 and up, connected to host h<n>, port n.
  Socket& peer(unsigned int n) {
    if (peers_.empty()) {
      fake.inventsHandles(5000);
      resolvesTo({inetAddress("10.0.0.1", 1)});
    }
    while (peers_.size() <= n) {
      const auto number = static_cast<unsigned int>(peers_.size());
      peers_.emplace_back();
      const icu::UnicodeString name = icu::UnicodeString::fromUTF8("h" + std::to_string(number));
      peers_.back().connect(name, number, Socket::NullAddrInfoExternal, nullptr);
    }
    fake.forget();
    return *std::next(peers_.begin(), n);
  }
  std::list<Socket> listOf(const std::vector<unsigned int>& numbers) {
    std::list<Socket> list;
    for (const unsigned int n : numbers) list.push_back(peer(n));
    fake.forget();
    return list;
  }
  static std::vector<SocketHandle> handlesOf(const std::list<Socket>& list) {
    std::vector<SocketHandle> handles;
    for (const Socket& socket : list) handles.push_back(socket.handle());
    return handles;
  }
  static SocketSet setOf(const std::vector<SocketHandle>& handles) {
    SocketSet set;
    for (const SocketHandle handle : handles) set.handles[set.count++] = handle;
    return set;
  }
  /// select leaves these handles in the three sets and returns the count.
  void leaves(const std::vector<SocketHandle>& read, const std::vector<SocketHandle>& write,
              const std::vector<SocketHandle>& error, int count) {
    fake.on.select = [=](auto& readSet, auto& writeSet, auto& errorSet, auto) {
      readSet = setOf(read);
      writeSet = setOf(write);
      errorSet = setOf(error);
      return count;
    };
  }
  void TearDown() override {
    peers_.clear();
    SocketFixture::TearDown();
  }

 private:
  std::list<Socket> peers_;
};

TEST_F(SocketSelect, OfThreeEmptyListsReturnsAtOnceWithoutACall) {
  std::list<Socket> empty;
  const unsigned long long timeout = 5000;
  const TraceRecorder trace(0x20000);
  EXPECT_EQ(Socket::select(empty, empty, empty, &timeout), 0U);
  EXPECT_EQ(Socket::select(empty, empty, empty, nullptr), 0U);
  EXPECT_THAT(fake.calls(), IsEmpty());
  EXPECT_THAT(trace.calls(), IsEmpty());
}

TEST_F(SocketSelect, WatchesEachHandleOnceInTheListsOrder) {
  std::list<Socket> read = listOf({2, 0, 2, 1, 0});
  std::list<Socket> write = listOf({1});
  std::list<Socket> error = listOf({1, 2, 2});
  leaves({5002, 5000, 5001}, {5001}, {5001, 5002}, 6);
  fake.forget();
  EXPECT_EQ(Socket::select(read, write, error, nullptr), 6U);
  EXPECT_THAT(fake.steps(), ElementsAre("select({#3 #1 #2}, {#2}, {#2 #3}, null)"));
  EXPECT_THAT(handlesOf(read), ElementsAre(5002, 5000, 5002, 5001, 5000)) << "twins stay together";
  EXPECT_THAT(handlesOf(error), ElementsAre(5001, 5002, 5002));
}

TEST_F(SocketSelect, ErasesWhatIsNotInTheSetAfterwardsAndKeepsTheOrder) {
  std::list<Socket> read = listOf({0, 1, 2, 3, 1});
  std::list<Socket> write = listOf({3, 2});
  std::list<Socket> error = listOf({0});
  leaves({5003, 5001}, {5002}, {}, 3);
  EXPECT_EQ(Socket::select(read, write, error, nullptr), 3U);
  EXPECT_THAT(handlesOf(read), ElementsAre(5001, 5003, 5001));
  EXPECT_THAT(handlesOf(write), ElementsAre(5002));
  EXPECT_THAT(handlesOf(error), IsEmpty());
  EXPECT_EQ(fake.countOf("closesocket"), 0);
}

TEST_F(SocketSelect, ReturnsTheSystemsCountWhateverTheSetsHold) {
  std::list<Socket> read = listOf({0, 1});
  std::list<Socket> nothing;
  leaves({5000, 5001}, {}, {}, 1);
  EXPECT_EQ(Socket::select(read, nothing, nothing, nullptr), 1U);
  EXPECT_THAT(handlesOf(read), ElementsAre(5000, 5001));
}

TEST_F(SocketSelect, EmptiesAllListsOnATimeout) {
  std::list<Socket> read = listOf({0, 1});
  std::list<Socket> write = listOf({1});
  std::list<Socket> error = listOf({2});
  leaves({}, {}, {}, 0);
  const unsigned long long timeout = 0;
  EXPECT_EQ(Socket::select(read, write, error, &timeout), 0U);
  EXPECT_EQ(read.size() + write.size() + error.size(), 0U);
}

TEST_F(SocketSelect, WatchesTheFirst64HandlesAndErasesTheRest) {
  std::vector<unsigned int> numbers = {0, 1, 0, 1};  // twins take no place
  for (unsigned int n = 2; n < 70; ++n) numbers.push_back(n);
  numbers.push_back(63);
  numbers.push_back(64);
  std::list<Socket> read = listOf(numbers);
  std::list<Socket> nothing;
  unsigned int watched = 0;
  std::vector<SocketHandle> order;
  fake.on.select = [&](auto& set, auto&, auto&, auto) {
    watched = set.count;
    order.assign(set.handles, set.handles + set.count);
    return static_cast<int>(set.count);
  };
  EXPECT_EQ(Socket::select(read, nothing, nothing, nullptr), 64U);
  ASSERT_EQ(watched, 64U);
  std::vector<SocketHandle> expected;
  for (SocketHandle handle = 5000; handle < 5064; ++handle) expected.push_back(handle);
  EXPECT_EQ(order, expected);
  std::vector<SocketHandle> left = {5000, 5001, 5000, 5001};
  left.insert(left.end(), expected.begin() + 2, expected.end());
  left.push_back(5063);
  EXPECT_EQ(handlesOf(read), left);
}

TEST_F(SocketSelect, PrunesAListGivenTwiceOnceForEachPlace) {
  std::list<Socket> both = listOf({0, 1, 2});
  std::list<Socket> nothing;
  leaves({5000, 5001}, {5001, 5002}, {}, 4);
  fake.forget();
  EXPECT_EQ(Socket::select(both, both, nothing, nullptr), 4U);
  EXPECT_THAT(fake.steps(), ElementsAre("select({#1 #2 #3}, {#1 #2 #3}, {}, null)"));
  EXPECT_THAT(handlesOf(both), ElementsAre(5001));
  std::list<Socket> thrice = listOf({0, 1, 2});
  leaves({5000}, {5001}, {5002}, 3);
  EXPECT_EQ(Socket::select(thrice, thrice, thrice, nullptr), 3U);
  EXPECT_THAT(handlesOf(thrice), IsEmpty());
}

TEST_F(SocketSelect, ConvertsTheTimeout) {
  struct Row {
    unsigned long long milliseconds;
    const char* text;
  };
  const std::vector<Row> rows = {
      {0, "0 s 0 us"},
      {1, "0 s 1000 us"},
      {999, "0 s 999000 us"},
      {1000, "1 s 0 us"},
      {1500, "1 s 500000 us"},
      {10000000, "10000 s 0 us"},
      {4294967296ULL, "4294967 s 296000 us"},
      {2147483647999ULL, "2147483647 s 999000 us"},
  };
  std::list<Socket> nothing;
  leaves({}, {}, {}, 0);
  for (const Row& row : rowsOf(rows)) {
    std::list<Socket> read = listOf({0});
    fake.forget();
    Socket::select(read, nothing, nothing, &row.milliseconds);
    EXPECT_THAT(fake.steps(), ElementsAre(std::string("select({#1}, {}, {}, ") + row.text + ")"));
  }
}

TEST_F(SocketSelect, CutsATimeoutBeyondTheSystemsToTheLongest) {
  std::list<Socket> nothing;
  TimeValue asked{};
  fake.on.select = [&](auto& read, auto&, auto&, const TimeValue* time) {
    asked = *time;
    return static_cast<int>(read.count = 0);
  };
  for (const unsigned long long timeout :
       rowsOf({2147483648000ULL, 2147483648001ULL, 4294967296000ULL, 4294967297000ULL, ULLONG_MAX})) {
    std::list<Socket> read = listOf({0});
    Socket::select(read, nothing, nothing, &timeout);
    EXPECT_EQ(asked.seconds, 2147483647) << timeout;
    EXPECT_GE(asked.microseconds, 0) << timeout;
    EXPECT_LT(asked.microseconds, 1000000) << timeout;
  }
}

TEST_F(SocketSelect, ThatFailsNamesTheFirstSocketOfTheFirstListAndChangesNothing) {
  struct Row {
    std::vector<unsigned int> read;
    std::vector<unsigned int> write;
    std::vector<unsigned int> error;
    unsigned int named;
  };
  const std::vector<Row> rows = {{{2, 1}, {3}, {4}, 2}, {{1}, {}, {}, 1},    {{}, {3, 2}, {1}, 3},
                                 {{}, {1}, {}, 1},      {{}, {}, {4, 1}, 4}, {{3}, {}, {1}, 3}};
  for (const Row& row : rowsOf(rows)) {
    for (const int code : rowsOf(sampleCodes)) {
      for (const bool spoiling : rowsOf({false, true})) {
        ROW("socket", row.named, "code", code);
        std::list<Socket> read = listOf(row.read);
        std::list<Socket> write = listOf(row.write);
        std::list<Socket> error = listOf(row.error);
        const auto before = {handlesOf(read), handlesOf(write), handlesOf(error)};
        const std::vector<std::vector<SocketHandle>> expected(before);
        fake.on.select = [&](auto& readSet, auto& writeSet, auto& errorSet, auto) {
          readSet.count = writeSet.count = errorSet.count = 0;
          return fake.fails(code);
        };
        std::optional<SpoilingTrace> trace;
        if (spoiling) trace.emplace();
        EXPECT_THAT([&] { Socket::select(read, write, error, nullptr); },
                    RaisesMapped(code, "h" + std::to_string(row.named), row.named).from(file));
        trace.reset();
        EXPECT_THAT(
            (std::vector<std::vector<SocketHandle>>{handlesOf(read), handlesOf(write), handlesOf(error)}),
            expected);
      }
    }
  }
}

TEST_F(SocketSelect, OfAnInvalidHandleIsTheSystemsError) {
  std::list<Socket> nothing;
  std::list<Socket> read(1);
  const unsigned long long timeout = 0;
  fake.forget();
  EXPECT_THAT([&] { Socket::select(read, nothing, nothing, &timeout); },
              RaisesMapped(10038, "", 0).from(file));
  EXPECT_THAT(fake.steps(), ElementsAre("select({none}, {}, {}, 0 s 0 us)"));
  EXPECT_EQ(read.size(), 1U);
}

// --- resolveAddrInfo

class SocketResolve : public SocketFixture {};

TEST_F(SocketResolve, ReturnsTheResolversCodeAndLeavesTheRecordUntouched) {
  Socket::_AddrInfoExternal record;
  std::memset(record.bytes, 0x5A, sizeof record.bytes);
  const Socket::_AddrInfoExternal before = record;
  for (const int code : rowsOf({11001, 11002, 11003, 11004, 8, 10022, -1})) {
    fake.forget();
    fake.on.getaddrinfo = [&](auto, auto, const auto&, auto& list) {
      list = {inetAddress("10.0.0.1", 1)};
      return code;
    };
    EXPECT_EQ(Socket::resolveAddrInfo(host, 65535, record), code);
    EXPECT_EQ(std::memcmp(record.bytes, before.bytes, sizeof record.bytes), 0) << code;
    EXPECT_THAT(fake.calls(), ElementsAre("getaddrinfo(\"peer.example\", \"65535\", 0, 0, 1, 0)"));
  }
}

TEST_F(SocketResolve, TakesAnEmptyAnswerOrANulInTheNameForAnUnknownHost) {
  Socket::_AddrInfoExternal record;
  std::memset(record.bytes, 0x5A, sizeof record.bytes);
  const Socket::_AddrInfoExternal before = record;
  resolvesTo({});
  EXPECT_EQ(Socket::resolveAddrInfo(host, 80, record), 11001);
  resolvesTo({inetAddress("10.0.0.1", 80)});
  EXPECT_EQ(Socket::resolveAddrInfo(icu::UnicodeString(u"a\0b", 3), 80, record), 11001);
  EXPECT_EQ(std::memcmp(record.bytes, before.bytes, sizeof record.bytes), 0);
}

}  // namespace
}  // namespace tarvo::test
