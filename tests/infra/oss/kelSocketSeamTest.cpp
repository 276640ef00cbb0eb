#include "infra/oss/kelSocket.hpp"
#include "infra/oss/kelSocketException.hpp"

#include "support/kelFakeWinsockSeam.hpp"
#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"
#include "support/kelSocketFixtureSeam.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tarvo::test {
namespace {

using oss::Socket;
using oss::SocketException;
using platform::invalidSocket;
using platform::SocketHandle;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* host = "peer.example";
constexpr unsigned int port = 4711;
constexpr const char* file = "kelSocket.cpp";

// --- start-up and clean-up

class SocketStart : public SocketFixture {};

TEST_F(SocketStart, HappensOncePerObjectWithVersion2Point2AndZeroedData) {
  {
    const Socket socket;
    const Socket copy(socket);  // NOLINT(performance-unnecessary-copy-initialization): the copy is the test
    EXPECT_THAT(fake.calls(), ElementsAre("WSAStartup(514)", "WSAStartup(514)"));
  }
  EXPECT_THAT(fake.calls(),
              ElementsAre("WSAStartup(514)", "WSAStartup(514)", "WSACleanup()", "WSACleanup()"));
}

TEST_F(SocketStart, RaisesInTheConstructorWithoutACleanUpIfItFails) {
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

TEST_F(SocketStart, LeaksNothingIfItFailsAnywhereInAConnect) {
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

TEST_F(SocketStart, IsCleanedUpAfterTheHandleIsClosedEvenIfBothFail) {
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
  fake.WSACleanup();  // balances the clean-up above, which was counted as failed
}

// --- close and views

class SocketClose : public SocketFixture {};

TEST_F(SocketClose, ClosesAnOwnedHandleOnceAndClearsHostAndPort) {
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

TEST_F(SocketClose, RaisesNothingAndForgetsTheHandleIfItFails) {
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

/// An operation on a connected socket, and the system call in it that fails.
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

/// Makes sends and receives transfer at most eight bytes at a time. Frames of ten bytes are received.
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

TEST_F(SocketOperation, RaisesTheCodeOfItsCallAndKeepsTheConnectionIfItFails) {
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

TEST_F(SocketOperation, WithoutAHandleMakesNoSystemCall) {
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

// --- resolveAddrInfo

class SocketResolve : public SocketFixture {};

TEST_F(SocketResolve, ReturnsTheResolversCodeAndDoesNotChangeTheRecord) {
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

TEST_F(SocketResolve, TreatsAnEmptyAddressListOrANulInTheNameAsAnUnknownHost) {
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
