#include "infra/oss/kelSocket.hpp"
#include "infra/oss/kelSocketException.hpp"

#include "support/kelConnection.hpp"
#include "support/kelHandles.hpp"
#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"
#include "support/kelTraceRecorder.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <list>
#include <string>
#include <vector>

namespace tarvo::test {
namespace {

using oss::Socket;
using oss::SocketException;
using testing::ElementsAreArray;
using testing::IsEmpty;

constexpr std::uint32_t entryAndExit = 0x20000;
constexpr const char* source = "kelSocket.cpp";

using Calls = std::vector<std::string>;

/// Short names for trace calls: "read" is an entry and an exit, "read(" only the entry, "read)" only the
/// exit.
struct Probe {
  const char* name;
  const char* number;
};

const Probe probes[] = {
    {"Socket", "614"},         {"~Socket", "615"},         {"connect", "616"},
    {"close", "617"},          {"select", "618"},          {"readOnce", "619"},
    {"read", "61A"},           {"write", "61B"},           {"readMessage", "61C"},
    {"writeMessage", "61D"},   {"setNonBlocking", "61E"},  {"setNoDelay", "61F"},
    {"setTimeout", "620"},     {"shutdownBoth", "621"},    {"shutdownReceive", "622"},
    {"shutdownSend", "624"},   {"getSocketError", "625"},  {"startWinsock", "626"},
    {"socketError", "627"},    {"resolveAddrInfo", "628"}, {"decodeAddrInfo", "629"},
    {"convertToBytes", "5F0"},
};

std::string numberOf(const std::string& name) {
  for (const Probe& probe : probes)
    if (name == probe.name) return probe.number;
  throw std::logic_error("no such probe: " + name);
}

/// Expands a text such as "connect( convertToBytes select connect)" to the trace calls.
Calls script(const std::string& text) {
  Calls calls;
  for (std::size_t start = 0; start < text.size();) {
    std::size_t end = text.find(' ', start);
    if (end == std::string::npos) end = text.size();
    std::string name = text.substr(start, end - start);
    start = end + 1;
    const bool entry = name.back() != ')';
    const bool exit = name.back() != '(';
    if (!entry || !exit) name.pop_back();
    if (entry) calls.push_back("traceEntry " + numberOf(name));
    if (exit) calls.push_back("traceExit " + numberOf(name) + " 0");
  }
  return calls;
}

/// The calls without those that building a message and its list cause.
Calls withoutMessages(const Calls& all) {
  Calls own;
  for (const std::string& call : all) {
    const std::string number = call.substr(call.find(' ') + 1, 3);
    if (number < "636" || number > "63E") own.push_back(call);
  }
  return own;
}

// The trace calls of constructing and destroying a view.
const std::string made = "startWinsock Socket)";
const std::string dropped = "~Socket)";

TEST(SocketTraceScript, ExpandsToCalls) {
  EXPECT_THAT(script("read"), testing::ElementsAre("traceEntry 61A", "traceExit 61A 0"));
  EXPECT_THAT(script("close( ~Socket)"), testing::ElementsAre("traceEntry 617", "traceExit 615 0"));
  EXPECT_THAT(withoutMessages({"traceEntry 635", "traceExit 636 0", "traceEntry 63E", "traceExit 63F 0"}),
              testing::ElementsAre("traceEntry 635", "traceExit 63F 0"));
}

TEST(SocketTrace, OfConstructionAndDestruction) {
  TraceRecorder trace(entryAndExit);
  {
    const Socket socket;
    EXPECT_THAT(trace.take(), ElementsAreArray(script(made)));
    {
      const Socket copy(socket);
      EXPECT_EQ(copy.handle(), socket.handle());
      EXPECT_THAT(trace.take(), ElementsAreArray(script(made)));
    }
    EXPECT_THAT(trace.take(), ElementsAreArray(script(dropped)));
  }
  EXPECT_THAT(trace.take(), ElementsAreArray(script(dropped)));
}

TEST(SocketTrace, OfAnOwnersDestructorShowsTheClose) {
  Peer peer;
  TraceRecorder trace(0);
  {
    Socket socket;
    socket.connect(peer.host(), peer.port(), Socket::NullAddrInfoExternal, nullptr);
    trace.setFlags(entryAndExit);
  }
  EXPECT_THAT(trace.calls(), ElementsAreArray(script("close ~Socket)")));
}

TEST(SocketTrace, OfAConnect) {
  Peer peer;
  Socket socket;
  TraceRecorder trace(entryAndExit);
  socket.connect(peer.host(), peer.port(), Socket::NullAddrInfoExternal, nullptr);
  trace.setFlags(0);
  // connect constructs three views: one in each list, and one that both were copied from. select erases the
  // view in the error list.
  EXPECT_THAT(
      trace.take(),
      ElementsAreArray(script("connect( convertToBytes setNonBlocking " + made + " " + made + " " + made +
                              " select( ~Socket) select) ~Socket) ~Socket) setNonBlocking "
                              "getSocketError setNoDelay connect)")));
}

struct Operation {
  const char* name;
  std::function<void(Connection&)> run;
  std::string calls;
};

char buffer[64];

TEST(SocketTrace, OfOperationsThatSucceed) {
  const Operation rows[] = {
      {"readOnce",
       [](Connection& c) {
         c.peer.says("x");
         c.socket.readOnce(buffer, 0, 1);
       },
       "readOnce"},
      {"readOnce at the end",
       [](Connection& c) {
         c.peer.closes();
         c.socket.readOnce(buffer, 0, 1);
       },
       "readOnce"},
      {"read",
       [](Connection& c) {
         c.peer.says("x");
         c.socket.read(buffer, 0, 1);
       },
       "read"},
      {"read of nothing", [](Connection& c) { c.socket.read(buffer, 0, 0); }, "read"},
      {"write", [](Connection& c) { c.socket.write("x", 0, 1); }, "write"},
      {"write of nothing", [](Connection& c) { c.socket.write("x", 0, 0); }, "write"},
      {"readMessage",
       [](Connection& c) {
         c.peer.says(std::string("\0\0\0\1x", 5));
         c.socket.readMessage(buffer, nullptr, 0, 9, true);
       },
       "readMessage( read read readMessage)"},
      {"readMessage of an empty frame",
       [](Connection& c) {
         c.peer.says(std::string(4, '\0'));
         c.socket.readMessage(buffer, nullptr, 0, 9, true);
       },
       "readMessage( read read readMessage)"},
      {"writeMessage", [](Connection& c) { c.socket.writeMessage("x", 0, 1); },
       "writeMessage( write write writeMessage)"},
      {"writeMessage of an empty frame", [](Connection& c) { c.socket.writeMessage("x", 0, 0); },
       "writeMessage( write write writeMessage)"},
      {"setNonBlocking", [](Connection& c) { c.socket.setNonBlocking(true); }, "setNonBlocking"},
      {"setNoDelay", [](Connection& c) { c.socket.setNoDelay(false); }, "setNoDelay"},
      {"setTimeout", [](Connection& c) { c.socket.setTimeout(100); }, "setTimeout"},
      {"shutdownBoth", [](Connection& c) { c.socket.shutdownBoth(); }, "shutdownBoth"},
      {"shutdownReceive", [](Connection& c) { c.socket.shutdownReceive(); }, "shutdownReceive"},
      {"shutdownSend", [](Connection& c) { c.socket.shutdownSend(); }, "shutdownSend"},
      {"close", [](Connection& c) { c.socket.close(); }, "close"},
      {"handle", [](Connection& c) { c.socket.handle(); }, ""},
      {"getHost", [](Connection& c) { c.socket.getHost(); }, ""},
      {"getPort", [](Connection& c) { c.socket.getPort(); }, ""},
  };
  for (const Operation& row : rowsOf(rows)) {
    Connection connection;
    TraceRecorder trace(entryAndExit);
    row.run(connection);
    trace.setFlags(0);
    EXPECT_THAT(trace.take(), ElementsAreArray(script(row.calls)));
  }
}

TEST(SocketTrace, OfSelectShowsTheViewsThatItErases) {
  Connection ready;
  Connection silent;
  ready.peer.says("x");
  awaitBytes(ready.handle(), 1);
  std::list<Socket> read = {silent.socket, ready.socket, silent.socket};
  std::list<Socket> none;
  TraceRecorder trace(entryAndExit);
  EXPECT_EQ(Socket::select(read, none, none, nullptr), 1U);
  trace.setFlags(0);
  EXPECT_THAT(trace.take(), ElementsAreArray(script("select( ~Socket) ~Socket) select)")));
}

TEST(SocketTrace, OfResolving) {
  Socket::_AddrInfoExternal record;
  {
    TraceRecorder trace(entryAndExit);
    EXPECT_EQ(Socket::resolveAddrInfo("127.0.0.1", 1, record), 0);
    EXPECT_THAT(trace.calls(), ElementsAreArray(script("resolveAddrInfo( convertToBytes resolveAddrInfo)")));
  }
  TraceRecorder trace(entryAndExit);
  EXPECT_NE(Socket::resolveAddrInfo("bad name", 1, record), 0);
  EXPECT_THAT(trace.calls(), ElementsAreArray(script("resolveAddrInfo( convertToBytes resolveAddrInfo)")));
}

TEST(SocketTrace, OfAConnectThroughARecord) {
  Peer peer;
  Socket::_AddrInfoExternal record;
  ASSERT_EQ(Socket::resolveAddrInfo(peer.host(), static_cast<unsigned short>(peer.port()), record), 0);
  Socket socket;
  TraceRecorder trace(entryAndExit);
  socket.connect("x", 1, record, nullptr);
  trace.setFlags(0);
  const Calls calls = trace.take();
  const Calls first = script("connect( convertToBytes decodeAddrInfo setNonBlocking");
  ASSERT_GE(calls.size(), first.size());
  EXPECT_THAT(Calls(calls.begin(), calls.begin() + static_cast<std::ptrdiff_t>(first.size())),
              ElementsAreArray(first));
}

TEST(SocketTrace, OfACallThatDoesNothingIsEmpty) {
  Connection connection;
  Socket unconnected;
  Socket view(connection.socket);
  std::list<Socket> none;
  const std::vector<std::pair<const char*, std::function<void()>>> rows = {
      {"close without a handle", [&] { unconnected.close(); }},
      {"close of a view", [&] { view.close(); }},
      {"shutdownBoth without a handle", [&] { unconnected.shutdownBoth(); }},
      {"shutdownReceive without a handle", [&] { unconnected.shutdownReceive(); }},
      {"shutdownSend without a handle", [&] { unconnected.shutdownSend(); }},
      {"select of three empty lists", [&] { Socket::select(none, none, none, nullptr); }},
  };
  TraceRecorder trace(0xFFFFFFFF);
  for (const auto& [name, run] : rowsOf(rows)) {
    ROW(name);
    run();
    EXPECT_THAT(trace.take(), IsEmpty());
  }
}

TEST(SocketTrace, OfOperationsWithoutAHandleShowsOnlyTheEntry) {
  const Operation rows[] = {
      {"readOnce", [](Connection& c) { c.socket.readOnce(buffer, 0, 1); }, "readOnce("},
      {"read", [](Connection& c) { c.socket.read(buffer, 0, 0); }, "read("},
      {"write", [](Connection& c) { c.socket.write("x", 0, 0); }, "write("},
      {"readMessage", [](Connection& c) { c.socket.readMessage(buffer, nullptr, 0, 9, true); },
       "readMessage("},
      {"writeMessage", [](Connection& c) { c.socket.writeMessage("x", 0, 1); }, "writeMessage("},
      {"setNonBlocking", [](Connection& c) { c.socket.setNonBlocking(true); }, "setNonBlocking("},
      {"setNoDelay", [](Connection& c) { c.socket.setNoDelay(true); }, "setNoDelay("},
      {"setTimeout", [](Connection& c) { c.socket.setTimeout(1); }, "setTimeout("},
  };
  for (const Operation& row : rowsOf(rows)) {
    Connection connection;
    connection.socket.close();
    TraceRecorder trace(entryAndExit);
    EXPECT_THAT([&] { row.run(connection); },
                Raises<SocketException>("ERR_SOCKET_NOT_CONNECTED", "", 0).from(source));
    trace.setFlags(0);
    EXPECT_THAT(withoutMessages(trace.take()), ElementsAreArray(script(row.calls)));
  }
}

TEST(SocketTrace, OfAFailedSystemCallShowsTheErrorMappingAndNoExit) {
  const Operation rows[] = {
      {"readOnce", [](Connection& c) { c.socket.readOnce(buffer, 0, 1); }, "readOnce( socketError"},
      {"read", [](Connection& c) { c.socket.read(buffer, 0, 1); }, "read( socketError"},
      {"write", [](Connection& c) { c.socket.write("x", 0, 1); }, "write( socketError"},
      {"readMessage", [](Connection& c) { c.socket.readMessage(buffer, nullptr, 0, 9, true); },
       "readMessage( read( socketError"},
      {"writeMessage", [](Connection& c) { c.socket.writeMessage("x", 0, 1); },
       "writeMessage( write( socketError"},
      {"setNonBlocking", [](Connection& c) { c.socket.setNonBlocking(true); }, "setNonBlocking( socketError"},
      {"setNoDelay", [](Connection& c) { c.socket.setNoDelay(true); }, "setNoDelay( socketError"},
      {"setTimeout", [](Connection& c) { c.socket.setTimeout(1); }, "setTimeout( socketError"},
      {"shutdownBoth", [](Connection& c) { c.socket.shutdownBoth(); }, "shutdownBoth( socketError"},
      {"shutdownReceive", [](Connection& c) { c.socket.shutdownReceive(); }, "shutdownReceive( socketError"},
      {"shutdownSend", [](Connection& c) { c.socket.shutdownSend(); }, "shutdownSend( socketError"},
      {"a bad range", [](Connection& c) { c.socket.read(nullptr, 0, 1); }, "read( socketError"},
  };
  for (const Operation& row : rowsOf(rows)) {
    Connection connection;
    closeDirectly(connection.handle());
    const int code = std::string(row.name) == "a bad range" ? 10014 : 10038;
    TraceRecorder trace(entryAndExit);
    EXPECT_THAT([&] { row.run(connection); },
                Raises<SocketException>("QN_ERR_SOCKET_ERROR", code, connection.host(), connection.port())
                    .from(source));
    trace.setFlags(0);
    EXPECT_THAT(withoutMessages(trace.take()), ElementsAreArray(script(row.calls)));
  }
}

TEST(SocketTrace, OfAFailedSelectShowsTheErrorMappingAndNoExit) {
  std::list<Socket> read = {Socket()};
  std::list<Socket> none;
  TraceRecorder trace(entryAndExit);
  EXPECT_THAT([&] { Socket::select(read, none, none, nullptr); },
              Raises<SocketException>("QN_ERR_SOCKET_ERROR", 10038, "", 0).from(source));
  trace.setFlags(0);
  EXPECT_THAT(withoutMessages(trace.take()), ElementsAreArray(script("select( socketError")));
}

TEST(SocketTrace, OfADrainShowsEachChunk) {
  Connection connection;
  connection.peer.says(std::string("\0\0\x09\xC4", 4)).sends(2500);
  TraceRecorder trace(entryAndExit);
  EXPECT_THAT([&] { connection.socket.readMessage(buffer, nullptr, 0, 9, true); },
              Raises<SocketException>("ERR_DEST_BUFFER_TOO_SMALL", 9, 2500).from(source));
  trace.setFlags(0);
  EXPECT_THAT(withoutMessages(trace.take()), ElementsAreArray(script("readMessage( read read read read")));
}

TEST(SocketTrace, OfAReadMessageAtTheEndOfTheStreamShowsNoExit) {
  Connection connection;
  connection.peer.closes();
  TraceRecorder trace(entryAndExit);
  EXPECT_THAT(
      [&] { connection.socket.readMessage(buffer, nullptr, 0, 9, true); },
      Raises<SocketException>("ERR_SOCKET_CLOSED", connection.host(), connection.port()).from(source));
  trace.setFlags(0);
  EXPECT_THAT(withoutMessages(trace.take()), ElementsAreArray(script("readMessage( read")));
}

TEST(SocketTrace, OfAConnectOnAConnectedSocketShowsOnlyTheEntry) {
  Connection connection;
  TraceRecorder trace(entryAndExit);
  EXPECT_THAT(
      [&] { connection.socket.connect("x", 1, Socket::NullAddrInfoExternal, nullptr); },
      Raises<SocketException>("ERR_SOCKET_CONNECTED", connection.host(), connection.port()).from(source));
  trace.setFlags(0);
  EXPECT_THAT(withoutMessages(trace.take()), ElementsAreArray(script("connect(")));
}

TEST(SocketTrace, OfAnUnknownNameEndsAfterResolving) {
  Socket socket;
  TraceRecorder trace(entryAndExit);
  EXPECT_THAT([&] { socket.connect("bad name", 1, Socket::NullAddrInfoExternal, nullptr); },
              Raises<SocketException>("ERR_SOCKET_GETADDRINFO_ERROR", "bad name", 1, 11001, unknownNameText())
                  .from(source));
  trace.setFlags(0);
  EXPECT_THAT(withoutMessages(trace.take()), ElementsAreArray(script("connect( convertToBytes")));
}

TEST(SocketTrace, OfARefusedConnectEndsWithTheErrorMapping) {
  const ClosedPort closed;
  Socket socket;
  TraceRecorder trace(entryAndExit);
  EXPECT_THAT(
      [&] { socket.connect("127.0.0.1", closed.port(), Socket::NullAddrInfoExternal, nullptr); },
      Raises<SocketException>("QN_ERR_SOCKET_CONNECTION_REFUSED", "127.0.0.1", closed.port()).from(source));
  trace.setFlags(0);
  const Calls calls = withoutMessages(trace.take());
  const Calls last = script("setNonBlocking getSocketError socketError");
  ASSERT_GE(calls.size(), last.size());
  EXPECT_THAT(Calls(calls.end() - static_cast<std::ptrdiff_t>(last.size()), calls.end()),
              ElementsAreArray(last));
  EXPECT_EQ(calls.front(), "traceEntry 616");
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "traceExit 616 0"), 0);
}

TEST(SocketTrace, OfAddressesThatFailAtOnceEndsWithSetNoDelay) {
  Socket socket;
  TraceRecorder trace(entryAndExit);
  EXPECT_THAT([&] { socket.connect("255.255.255.255", 9, Socket::NullAddrInfoExternal, nullptr); },
              Raises<SocketException>("ERR_SOCKET_NOT_CONNECTED", "255.255.255.255", 9).from(source));
  trace.setFlags(0);
  EXPECT_THAT(withoutMessages(trace.take()),
              ElementsAreArray(script("connect( convertToBytes setNonBlocking setNoDelay(")));
}

TEST(SocketTrace, FollowsTheFlags) {
  struct Row {
    std::uint32_t flags;
    Calls read;     // an operation
    Calls dropped;  // a destructor
  };
  const Row rows[] = {
      {0, {}, {}},
      {0x1, {"traceEntry 61A"}, {}},
      {0x2, {"traceExit 61A 0"}, {"traceExit 615 0"}},
      {0x80, {"traceFlightRecord 61A 0 0 0"}, {"traceFlightRecord 615 0 0 0"}},
      {0x20000, {"traceEntry 61A", "traceExit 61A 0"}, {"traceExit 615 0"}},
      {0x40000, {"diagDispatchEntry 61A", "diagDispatchExit 61A"}, {"diagDispatchExit 615"}},
      {0x60080,
       {"diagDispatchEntry 61A", "traceEntry 61A", "diagDispatchExit 61A", "traceExit 61A 0",
        "traceFlightRecord 61A 0 0 0"},
       {"diagDispatchExit 615", "traceExit 615 0", "traceFlightRecord 615 0 0 0"}},
      {0xFFF9FF7C, {}, {}},
  };
  Connection connection;
  for (const Row& row : rowsOf(rows)) {
    ROW("flags", row.flags);
    TraceRecorder trace(0);
    {
      const Socket view(connection.socket);
      trace.setFlags(row.flags);
      connection.socket.read(buffer, 0, 0);
      EXPECT_EQ(trace.take(), row.read);
    }
    EXPECT_EQ(trace.take(), row.dropped);
  }
}

TEST(SocketTrace, ReadsTheFlagsAfreshBeforeEachTest) {
  Connection connection;
  TraceRecorder trace(0x40001);
  trace.switchFlagsAt("traceEntry 61A", 0x80);
  connection.socket.read(buffer, 0, 0);
  EXPECT_EQ(trace.take(), (Calls{"diagDispatchEntry 61A", "traceEntry 61A", "traceFlightRecord 61A 0 0 0"}));
}

}  // namespace
}  // namespace tarvo::test
