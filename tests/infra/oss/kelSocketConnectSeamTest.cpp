#include "infra/oss/kelSocket.hpp"
#include "infra/oss/kelSocketException.hpp"

#include "support/kelFakeWinsockSeam.hpp"
#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"
#include "support/kelSocketFixtureSeam.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unicode/unistr.h>

#include <climits>
#include <cstring>
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
using platform::wsa::wouldBlock;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* host = "peer.example";
constexpr unsigned int port = 4711;
constexpr const char* file = "kelSocket.cpp";

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
    fake.WSACleanup();  // replaces that of `socket`, which is destroyed after the check
    expectNothingLeft();
    EXPECT_EQ(fake.WSAStartup(platform::winsockVersion, data_), 0);
  }

  Socket socket;

 private:
  platform::StartupData data_;
};

TEST_F(SocketConnect, MakesItsSystemCallsInOrderIfItSucceedsAtOnce) {
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

TEST_F(SocketConnect, OfAConnectedObjectOrAViewIsRefusedWithoutASystemCall) {
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

TEST_F(SocketConnect, PassesTheHostToTheResolverInUtf8AtEveryLength) {
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

TEST_F(SocketConnect, DoesNotTruncateAHostNameAtANul) {
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

TEST_F(SocketConnect, RaisesTheResolversCodeIfTheNameDoesNotResolve) {
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

TEST_F(SocketConnect, TreatsAnEmptyAddressListAsAnUnknownHost) {
  resolvesTo({});
  fake.on.systemText = [](int) { return "Nobody."; };
  EXPECT_THAT(
      connecting(),
      Raises<SocketException>("ERR_SOCKET_GETADDRINFO_ERROR", host, port, 11001, "Nobody.").from(file));
  expectUnconnected();
  expectUsableAgain();
}

TEST_F(SocketConnect, RaisesTheResolversCodeEvenIfAddressesAreReturnedToo) {
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

TEST_F(SocketConnect, UsesTheFamilyTypeAndProtocolOfEachEntry) {
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

TEST_F(SocketConnect, RaisesNotConnectedIfEveryAddressFailsAtOnce) {
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

TEST_F(SocketConnect, ReadsTheErrorOfAConnectBeforeClosingTheHandle) {
  resolvesTo({inetAddress("10.0.0.1", 1)});
  fake.on.connect = [this](auto, auto, auto) { return fake.fails(10061); };
  // If this code were used as the result of connect, it would mean "in progress".
  fake.successSets(wouldBlock);
  EXPECT_THAT(connecting(), Raises<SocketException>("ERR_SOCKET_NOT_CONNECTED", host, port).from(file));
  EXPECT_EQ(fake.countOf("select"), 0);
}

/// A step of an attempt in progress that fails, and the resulting error.
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

TEST_F(SocketConnect, RaisesThePendingError) {
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

TEST_F(SocketConnect, RaisesATimeoutIfNothingHappens) {
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

TEST_F(SocketConnect, AcceptsItsOwnHostAsArgument) {
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

}  // namespace
}  // namespace tarvo::test
