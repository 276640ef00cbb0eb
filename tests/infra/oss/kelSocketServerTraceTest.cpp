#include "infra/oss/kelSocketException.hpp"
#include "infra/oss/kelSocketServer.hpp"

#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"
#include "support/kelTakenPort.hpp"
#include "support/kelTraceRecorder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tarvo::test {
namespace {

using oss::Socket;
using oss::SocketException;
using oss::SocketServer;
using testing::ElementsAre;
using testing::IsEmpty;

using Calls = std::vector<std::string>;

constexpr std::uint32_t entryAndExit = 0x20000;
const unsigned long long none = 0;

// The calls that other classes of the library trace inside the server's functions, if entries and exits are
// enabled.
const Calls socketBuilt = {"traceEntry 626", "traceExit 626 0", "traceExit 614 0"};
const Calls socketDestroyed = {"traceExit 615 0"};
const Calls socketClosed = {"traceEntry 617", "traceExit 617 0"};
const Calls selected = {"traceEntry 618", "traceExit 618 0"};

Calls joined(std::initializer_list<Calls> parts) {
  Calls all;
  for (const Calls& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

Calls entered(const std::string& function) {
  return {"traceEntry " + function};
}
Calls left(const std::string& function) {
  return {"traceExit " + function + " 0"};
}

/// The calls without those of `MessageList`, which appear whenever an error builds its messages.
Calls ofTheNetworkingClasses(const Calls& calls) {
  Calls kept;
  for (const std::string& call : calls) {
    const unsigned long function = std::strtoul(call.c_str() + call.find(' '), nullptr, 16);
    if (0x60B <= function && function <= 0x630) kept.push_back(call);
  }
  return kept;
}

class SocketServerTrace : public testing::Test {
 protected:
  void listen() { server.listen(0, 8, false); }
  void listenWithConnection() {
    listen();
    near.connect("127.0.0.1", server.getPort(), Socket::NullAddrInfoExternal, nullptr);
  }

  SocketServer server;
  Socket near;
  Socket far;
};

TEST_F(SocketServerTrace, ShowsOnlyTheExitsOfConstructionAndDestruction) {
  TraceRecorder trace(entryAndExit);
  {
    const SocketServer local;
    EXPECT_EQ(trace.take(), joined({socketBuilt, left("60B")}));
  }
  EXPECT_EQ(trace.take(), joined({left("60C"), socketDestroyed}));
}

TEST_F(SocketServerTrace, ShowsTheHandleClosedInsideTheDestruction) {
  auto local = std::make_unique<SocketServer>();
  local->listen(0, 8, false);
  TraceRecorder trace(entryAndExit);
  local.reset();
  EXPECT_EQ(trace.take(), joined({socketClosed, left("60C"), socketDestroyed}));
}

TEST_F(SocketServerTrace, ShowsListen) {
  TraceRecorder trace(entryAndExit);
  server.listen(0, 8, true);
  EXPECT_EQ(trace.take(), joined({entered("60D"), left("60D")}));
  const unsigned int port = server.getPort();
  EXPECT_THAT(trace.take(), IsEmpty()) << "the stored port is read without a hook";
  server.close();
  trace.forget();
  server.listen(port, 8, false);
  EXPECT_EQ(trace.take(), joined({entered("60D"), left("60D")}));
}

TEST_F(SocketServerTrace, ShowsTheSocketsThatAcceptWaitsWith) {
  listenWithConnection();
  TraceRecorder trace(entryAndExit);
  server.accept(far, nullptr);
  EXPECT_EQ(trace.take(), joined({entered("60E"), socketBuilt, socketBuilt, selected, socketDestroyed,
                                  socketDestroyed, left("60E")}));
}

// select erases sockets that are not ready; accept then inserts a new copy and raises the timeout.
TEST_F(SocketServerTrace, ShowsNoExitOfAnAcceptThatTimesOut) {
  listen();
  TraceRecorder trace(entryAndExit);
  EXPECT_THAT([&] { server.accept(far, &none); },
              Raises<SocketException>("ERR_SOCKET_TIMEOUT", "localhost", server.getPort())
                  .from("kelSocketServer.cpp"));
  EXPECT_EQ(ofTheNetworkingClasses(trace.take()), joined({entered("60E"),
                                                          socketBuilt,
                                                          socketBuilt,
                                                          {"traceEntry 618"},
                                                          socketDestroyed,
                                                          {"traceExit 618 0"},
                                                          socketBuilt,
                                                          socketDestroyed,
                                                          socketDestroyed}));
}

TEST_F(SocketServerTrace, ShowsClose) {
  listen();
  TraceRecorder trace(entryAndExit);
  server.close();
  EXPECT_EQ(trace.take(), joined({entered("60F"), socketClosed, left("60F")}));
}

TEST_F(SocketServerTrace, ShowsNoHandleClosedInsideACloseWithoutAHandle) {
  TraceRecorder trace(entryAndExit);
  server.close();
  EXPECT_EQ(trace.take(), joined({entered("60F"), left("60F")}));
}

struct Operation {
  const char* function;
  std::function<void(SocketServer&)> run;
};

const Operation optionOperations[] = {
    {"610", [](SocketServer& server) { server.queryPort(); }},
    {"611", [](SocketServer& server) { server.setReceiveBufferSize(8192); }},
    {"612", [](SocketServer& server) { server.setSendBufferSize(8192); }},
    {"613", [](SocketServer& server) { server.setReuseAddress(true); }},
};

TEST_F(SocketServerTrace, ShowsTheOptionOperations) {
  listen();
  TraceRecorder trace(entryAndExit);
  for (const Operation& operation : rowsOf(optionOperations)) {
    operation.run(server);
    EXPECT_EQ(trace.take(), joined({entered(operation.function), left(operation.function)}));
  }
}

TEST_F(SocketServerTrace, ShowsAnEntryAndNoExitOfACallThatRaises) {
  const std::uint32_t port = 0;
  const auto mapped = [](const char* function) {
    return joined({entered(function), entered("627"), left("627")});
  };
  const struct {
    const char* function;
    std::function<void(SocketServer&)> run;
    const char* identifier;
    bool carriesCode;
    Calls calls;
  } rows[] = {
      {"accept", [&](SocketServer& idle) { idle.accept(far, &none); }, "ERR_SOCKET_NOT_LISTENING", false,
       entered("60E")},
      {"setReceiveBufferSize", optionOperations[1].run, "ERR_SOCKET_NOT_LISTENING", false, entered("611")},
      {"setSendBufferSize", optionOperations[2].run, "ERR_SOCKET_NOT_LISTENING", false, entered("612")},
      {"setReuseAddress", optionOperations[3].run, "QN_ERR_SOCKET_ERROR", true, mapped("613")},
      {"queryPort", optionOperations[0].run, "QN_ERR_SOCKET_ERROR", true, mapped("610")},
  };
  for (const auto& row : rowsOf(rows)) {
    ROW("function", row.function);
    TraceRecorder trace(entryAndExit);
    const auto run = [&] { row.run(server); };
    if (row.carriesCode)
      EXPECT_THAT(
          run, Raises<SocketException>(row.identifier, 10038, "localhost", port).from("kelSocketServer.cpp"));
    else
      EXPECT_THAT(run,
                  Raises<SocketException>(row.identifier, "localhost", port).from("kelSocketServer.cpp"));
    EXPECT_EQ(ofTheNetworkingClasses(trace.take()), row.calls);
  }
}

TEST_F(SocketServerTrace, ShowsTheEntryAndNoExitOfAListenThatRaises) {
  listen();
  SocketServer other;
  const unsigned int port = server.getPort();
  const TakenPort taken(port);
  TraceRecorder trace(entryAndExit);
  EXPECT_THAT([&] { server.listen(0, 8, false); },
              Raises<SocketException>("ERR_SOCKET_LISTENING", "localhost", port).from("kelSocketServer.cpp"));
  EXPECT_EQ(ofTheNetworkingClasses(trace.take()), entered("60D"));
  EXPECT_THAT(
      [&] { other.listen(port, 8, false); },
      Raises<SocketException>("QN_ERR_SOCKET_ADDRESS_IN_USE", "localhost", port).from("kelSocketServer.cpp"));
  EXPECT_EQ(ofTheNetworkingClasses(trace.take()), joined({entered("60D"), entered("627"), left("627")}));
}

// --- the flag bits
// ------------------------------------------------------------------------------------------

struct FlagRow {
  std::uint32_t flags;
  Calls entry;
  Calls exit;
};

const FlagRow flagRows[] = {
    {0x0, {}, {}},
    {0x1, {"traceEntry"}, {}},
    {0x2, {}, {"traceExit"}},
    {0x80, {}, {"traceFlightRecord"}},
    {0x20000, {"traceEntry"}, {"traceExit"}},
    {0x40000, {"diagDispatchEntry"}, {"diagDispatchExit"}},
    {0x40003, {"diagDispatchEntry", "traceEntry"}, {"diagDispatchExit", "traceExit"}},
    {0x60080, {"diagDispatchEntry", "traceEntry"}, {"diagDispatchExit", "traceExit", "traceFlightRecord"}},
    {0xFFF9FF7C, {}, {}},
    {0xFFFFFFFF, {"diagDispatchEntry", "traceEntry"}, {"diagDispatchExit", "traceExit", "traceFlightRecord"}},
};

/// Renders the hooks of one function. For exits, the hook's further arguments are included.
Calls rendered(const Calls& hooks, const std::string& function) {
  Calls calls;
  for (const std::string& hook : hooks) {
    std::string call = hook;
    call.append(" ").append(function);
    if (hook == "traceExit") call += " 0";
    if (hook == "traceFlightRecord") call += " 0 0 0";
    calls.push_back(call);
  }
  return calls;
}

TEST_F(SocketServerTrace, CallsTheEnabledHooksInOrder) {
  listenWithConnection();
  for (const FlagRow& row : rowsOf(flagRows)) {
    ROW("flags", row.flags);
    const auto in = [&](const std::string& function) { return rendered(row.entry, function); };
    const auto out = [&](const std::string& function) { return rendered(row.exit, function); };
    const Calls built = joined({in("626"), out("626"), out("614")});
    TraceRecorder trace(row.flags);
    {
      SocketServer local;
      EXPECT_EQ(trace.take(), joined({built, out("60B")}));
      local.listen(0, 1, true);
      EXPECT_EQ(trace.take(), joined({in("60D"), out("60D")}));
      local.queryPort();
      EXPECT_EQ(trace.take(), joined({in("610"), out("610")}));
      local.close();
      EXPECT_EQ(trace.take(), joined({in("60F"), in("617"), out("617"), out("60F")}));
    }
    EXPECT_EQ(trace.take(), joined({out("60C"), out("615")}));
  }
}

TEST_F(SocketServerTrace, UsesFlagsAtItsExitThatAHookHasChanged) {
  listen();
  {
    TraceRecorder trace(0x40000);
    trace.switchFlagsAt("diagDispatchEntry 610", 0x20000);
    server.queryPort();
    EXPECT_THAT(trace.take(), ElementsAre("diagDispatchEntry 610", "traceEntry 610", "traceExit 610 0"));
  }
  TraceRecorder trace(0x60000);
  trace.switchFlagsAt("diagDispatchExit 610", 0x80);
  server.queryPort();
  EXPECT_THAT(trace.take(), ElementsAre("diagDispatchEntry 610", "traceEntry 610", "diagDispatchExit 610",
                                        "traceFlightRecord 610 0 0 0"));
}

}  // namespace
}  // namespace tarvo::test
