#include "infra/oss/kelAddressRecord.hpp"
#include "infra/oss/kelDeadline.hpp"
#include "infra/oss/kelFrameReader.hpp"
#include "infra/oss/kelFrameWriter.hpp"
#include "infra/oss/kelNLSException.hpp"
#include "infra/oss/kelPoller.hpp"
#include "infra/oss/kelSocket.hpp"
#include "infra/oss/kelSocketException.hpp"
#include "infra/oss/kelSocketServer.hpp"
#include "infra/oss/kelWakeup.hpp"

#include "oss/kelAddrInfo.hpp"
#include "support/kelHandles.hpp"
#include "support/kelPeer.hpp"
#include "support/kelRaises.hpp"
#include "support/kelReporting.hpp"
#include "support/kelRows.hpp"
#include "support/kelSocketFixtureSeam.hpp"
#include "torture/kelFaultRun.hpp"
#include "torture/kelFaultyWinsock.hpp"

#include <gtest/gtest.h>
#include <unicode/unistr.h>

#include <exception>
#include <functional>
#include <list>
#include <optional>
#include <set>
#include <string>
#include <thread>

namespace tarvo::test {
namespace {

using oss::NLSException;
using oss::Socket;
using oss::SocketException;
using oss::SocketServer;
using Failure = FaultyWinsock::Failure;
using Function = FaultyWinsock::Function;

constexpr unsigned long long patience = 20'000;

// Every code with which a socket function of a system can fail; connect does not fail with 10035.
const std::set<int> codes = {10004, 10009, 10013, 10014, 10022, 10024, 10035, 10036, 10037, 10038, 10039,
                             10040, 10041, 10042, 10043, 10044, 10045, 10046, 10047, 10048, 10049, 10050,
                             10051, 10052, 10053, 10054, 10055, 10056, 10057, 10058, 10059, 10060, 10061,
                             10062, 10063, 10064, 10065, 10067, 10068, 10069, 10070, 10091, 10092, 10093,
                             10107, 10109, 11001, 11002, 11003, 8,     -1};

Socket::_AddrInfoExternal resolvedRecord(const char* host, unsigned int port) {
  Socket::_AddrInfoExternal record = {};
  EXPECT_EQ(Socket::resolveAddrInfo(host, static_cast<unsigned short>(port), record), 0);
  return record;
}

/// A connection that bypasses the failing calls, over the address family on which the server listens.
class Caller {
 public:
  explicit Caller(unsigned int port) {
    platform::Winsock& system = platform::systemWinsock();
    std::vector<unsigned char> loopback6(16);
    loopback6.back() = 1;
    bool connected = false;
    for (const platform::ResolvedAddress& address :
         {inetAddress("127.0.0.1", port), inet6Address(loopback6, port)}) {
      handle_ = system.socket(address.family, platform::typeStream, 6);
      connected = system.connect(handle_, address.address.data(), address.address.size()) == 0;
      if (connected) break;
      system.closesocket(handle_);
    }
    EXPECT_TRUE(connected);
  }
  Caller(const Caller&) = delete;
  Caller& operator=(const Caller&) = delete;
  ~Caller() { platform::systemWinsock().closesocket(handle_); }

 private:
  platform::SocketHandle handle_ = platform::invalidSocket;
};

// --- a call of the system fails

/// The system calls of one scenario, one of which fails, and the errors that its steps must raise.
class SeamRun {
 public:
  SeamRun(std::size_t nth, int with, Failure failure) : system(nth, with, failure), code(with) {}

  /// Runs a step. Returns true if it completed; it must complete unless the failing call came in it. Returns
  /// false if it raised the error that `wanted` expects for the function.
  template <class Step>
  bool completes(Step step, const std::function<void(Function, const std::function<void()>&)>& wanted) {
    const bool cameBefore = system.came();
    std::exception_ptr error;
    try {
      step();
    } catch (...) {
      error = std::current_exception();
    }
    const bool here = !cameBefore && system.came() && system.struck() != Function::none;
    const auto again = [&] {
      if (error != nullptr) std::rethrow_exception(error);
    };
    if (here) {
      wanted(system.struck(), again);
    } else {
      EXPECT_NO_THROW(again());
    }
    return error == nullptr;
  }

  FaultyWinsock system;
  int code;
};

/// Runs the scenario with every call of the system failing in every possible way, in a separate thread: where
/// the texts of the system are converted, the thread keeps a converter. Reports the number of failures.
void sweepSystem(const std::string& name, const std::function<void(SeamRun&)>& scenario) {
  std::size_t faults = 0;
  const std::size_t handles = openDescriptors();
  const auto sweep = [&](int code, Failure failure) {
    for (std::size_t nth = 1;; ++nth) {
      ROW("nth", nth);
      SeamRun run(nth, code, failure);
      scenario(run);
      if (run.system.struck() != Function::none) ++faults;
      EXPECT_EQ(openDescriptors(), handles);
      EXPECT_EQ(run.system.started(), 0);
      if (testing::Test::HasFailure()) {
        ADD_FAILURE() << "call " << nth << " (function " << static_cast<int>(run.system.struck())
                      << ") with code " << code << (failure == Failure::answer ? " in its answer" : "");
        return;
      }
      if (!run.system.came()) return;
    }
  };
  const auto sweepAll = [&] {
    for (const int code : codes) {
      if (!testing::Test::HasFailure()) sweep(code, Failure::code);
      if (!testing::Test::HasFailure()) sweep(code, Failure::answer);
    }
  };
  std::thread(reporting(sweepAll)).join();
  EXPECT_GT(faults, 0U);
  reportFaults(name, faults);
}

std::string systemText(int code) {
  return platform::systemWinsock().systemText(code);
}

template <class Matcher>
void expectRaised(const std::function<void()>& again, const Matcher& matcher) {
  EXPECT_THAT(again, matcher);
}

RaisesMatcher<SocketException> startFailed(bool byAnswer, const std::string& host, unsigned int port) {
  return Raises<SocketException>(byAnswer ? "ERR_INVALID_SOCKET_VERSION" : "ERR_WSASTARTUP_FAILED", host,
                                 port)
      .from("kelSocket.cpp");
}

/// A data operation or an option of a socket: every failure raises the error of the code.
auto mappedFor(const SeamRun& run, bool byAnswer, const std::string& host, unsigned int port) {
  return [&run, byAnswer, host, port](Function function, const std::function<void()>& again) {
    if (function == Function::closesocket || function == Function::cleanup) {
      EXPECT_NO_THROW(again());
    } else if (function == Function::startup) {
      expectRaised(again, startFailed(byAnswer, host, port));
    } else {
      expectRaised(again, RaisesMapped(run.code, host, port).from("kelSocket.cpp"));
    }
  };
}

void clientScenario(SeamRun& run, bool byAnswer, bool byRecord) {
  Peer peer;
  const std::string host = peer.host();
  const unsigned int port = peer.port();
  Socket::_AddrInfoExternal record = {};
  std::optional<Socket> socket;
  const auto none = mappedFor(run, byAnswer, "", 0);
  if (!run.completes([&] { socket.emplace(); }, none)) return;
  if (byRecord) {
    int answer = 0;
    const auto resolve = [&] {
      answer = Socket::resolveAddrInfo(host.c_str(), static_cast<unsigned short>(port), record);
    };
    run.completes(resolve, [&](Function, const std::function<void()>& again) {
      EXPECT_NO_THROW(again());
      EXPECT_EQ(answer, byAnswer ? 11001 : run.code);
      EXPECT_EQ(record.bytes[0], 0);
      resolve();
    });
  }
  const auto connect = [&] { socket->connect(host.c_str(), port, record, &patience); };
  const bool connected = run.completes(connect, [&](Function function, const std::function<void()>& again) {
    switch (function) {
      case Function::getaddrinfo: {
        const int code = byAnswer ? 11001 : run.code;
        expectRaised(
            again, Raises<SocketException>("ERR_SOCKET_GETADDRINFO_ERROR", host, port, code, systemText(code))
                       .from("kelSocket.cpp"));
        return;
      }
      case Function::connect:
      case Function::socket:
      case Function::nonBlocking:
        expectRaised(again,
                     Raises<SocketException>("ERR_SOCKET_NOT_CONNECTED", host, port).from("kelSocket.cpp"));
        return;
      default:
        mappedFor(run, byAnswer, host, port)(function, again);
    }
  });
  if (!connected) {
    EXPECT_EQ(socket->handle(), noHandle);
    EXPECT_EQ(utf8(socket->getHost()), host);
    EXPECT_EQ(socket->getPort(), port);
    Peer another;
    socket->connect(another.host(), another.port(), Socket::NullAddrInfoExternal, &patience);
    EXPECT_NE(socket->handle(), noHandle);
    return;
  }
  peer.accepts();
  const auto mapped = mappedFor(run, byAnswer, host, port);
  const Handle handle = socket->handle();
  std::string bytes(100, '\0');
  const auto steps = {
      std::function<void()>([&] { socket->setTimeout(patience); }),
      std::function<void()>([&] { socket->setNonBlocking(false); }),
      std::function<void()>([&] { socket->setNoDelay(true); }),
      std::function<void()>([&] { socket->write("0123456789", 0, 10); }),
      std::function<void()>([&] { socket->writeMessage("0123456789", 0, 10); }),
      std::function<void()>([&] { const Socket view(*socket); }),
      std::function<void()>([&] {
        std::list<Socket> read;
        std::list<Socket> write(1, *socket);
        EXPECT_EQ(Socket::select(read, write, read, &patience), 1U);
      }),
      std::function<void()>([&] {
        peer.sends(4);
        socket->read(bytes.data(), 0, 4);
      }),
      std::function<void()>([&] {
        peer.sends(4);
        socket->readOnce(bytes.data(), 0, 4);
      }),
      std::function<void()>([&] {
        peer.says(std::string("\0\0\0\4word", 8));
        EXPECT_EQ(socket->readMessage(bytes.data(), nullptr, 0, 100, false), 4U);
      }),
      std::function<void()>([&] { socket->shutdownReceive(); }),
      std::function<void()>([&] { socket->shutdownSend(); }),
      std::function<void()>([&] { socket->shutdownBoth(); }),
  };
  for (const auto& step : rowsOf(steps)) {
    if (run.completes(step, mapped)) continue;
    EXPECT_EQ(socket->handle(), handle) << "an error closes nothing";
    break;
  }
  run.completes([&] { socket->close(); }, mapped);
  EXPECT_EQ(socket->handle(), noHandle);
  run.completes([&] { socket.reset(); }, mapped);
}

TEST(SystemTorture, SocketSurvivesEachFailedSystemCall) {
  for (const bool byRecord : {false, true}) {
    sweepSystem(byRecord ? "Socket, each call, resolved before" : "Socket, each call", [&](SeamRun& run) {
      clientScenario(run, run.system.failure() == Failure::answer, byRecord);
    });
  }
}

void serverScenario(SeamRun& run, bool byAnswer, std::size_t families) {
  std::optional<SocketServer> server;
  if (!run.completes([&] { server.emplace(); }, mappedFor(run, byAnswer, "", 0))) return;
  const auto mapped = [&](unsigned int port) {
    return [&run, byAnswer, port](Function function, const std::function<void()>& again) {
      if (function == Function::cleanup || function == Function::closesocket) {
        EXPECT_NO_THROW(again());
      } else if (function == Function::startup) {
        expectRaised(again, startFailed(byAnswer, "localhost", port));
      } else {
        const char* const file = function == Function::select ? "kelSocket.cpp" : "kelSocketServer.cpp";
        expectRaised(again, RaisesMapped(run.code, "localhost", port).from(file));
      }
    };
  };
  const auto listen = [&] { server->listen(0, 4, true); };
  const bool listening = run.completes(listen, [&](Function function, const std::function<void()>& again) {
    if (function == Function::getaddrinfo && !byAnswer) {
      expectRaised(again, Raises<SocketException>("ERR_SOCKET_GETADDRINFO_ERROR", "localhost", 0, run.code,
                                                  systemText(run.code))
                              .from("kelSocketServer.cpp"));
    } else if (function == Function::getaddrinfo) {
      EXPECT_THROW(again(), SocketException);  // with the system's last error
    } else if ((function == Function::socket || function == Function::bind) && families > 1) {
      EXPECT_NO_THROW(again()) << "the next address is bound";
    } else {
      mapped(0)(function, again);
    }
  });
  if (!listening) {
    EXPECT_EQ(server->getPort(), 0U);
    server->close();
    listen();
    EXPECT_NE(server->getPort(), 0U);
    return;
  }
  const unsigned int port = server->getPort();
  const auto steps = {
      std::function<void()>([&] { EXPECT_EQ(server->queryPort(), port); }),
      std::function<void()>([&] { server->setReceiveBufferSize(65536); }),
      std::function<void()>([&] { server->setSendBufferSize(65536); }),
      std::function<void()>([&] { server->setReuseAddress(true); }),
  };
  for (const auto& step : steps) {
    if (!run.completes(step, mapped(port))) step();
  }
  const Caller caller(port);
  std::optional<Socket> client;
  if (!run.completes([&] { client.emplace(); }, mappedFor(run, byAnswer, "", 0))) return;
  const auto accept = [&] { server->accept(*client, &patience); };
  if (!run.completes(accept, mapped(port))) {
    EXPECT_EQ(client->handle(), noHandle);
    accept();
  }
  EXPECT_NE(client->handle(), noHandle);
  run.completes([&] { client.reset(); }, mapped(port));
  run.completes([&] { server->close(); }, mapped(port));
  run.completes([&] { server.reset(); }, mapped(port));
}

std::size_t wildcardFamilies() {
  std::vector<platform::ResolvedAddress> list;
  platform::systemWinsock().getaddrinfo(nullptr, "0", {platform::passiveFlag, 0, platform::typeStream, 0},
                                        list);
  return list.size();
}

TEST(SystemTorture, SocketServerSurvivesEachFailedSystemCall) {
  const std::size_t families = wildcardFamilies();
  sweepSystem("SocketServer, each call",
              [&](SeamRun& run) { serverScenario(run, run.system.failure() == Failure::answer, families); });
}

// A failed call costs one attempt, and the other address is connected.
void raceScenario(SeamRun& run, bool byAnswer) {
  Peer one;
  Peer other;
  oss::AddressList list;
  for (const Peer* peer : {&one, &other}) list.push_back(inetAddress("127.0.0.1", peer->port()));
  Socket::_AddrInfoExternal record;
  EXPECT_TRUE(oss::encodeAddrInfo("db.example", 4711, list, record));
  std::optional<Socket> socket;
  if (!run.completes([&] { socket.emplace(); }, mappedFor(run, byAnswer, "", 0))) return;
  constexpr unsigned long long onlyAfterAFailure = ~0ULL;
  const auto connect = [&] {
    socket->connectFirst("h", 80, record, oss::Deadline::in(patience), onlyAfterAFailure);
  };
  const auto wanted = [&](Function function, const std::function<void()>& again) {
    if (function == Function::setsockopt) {
      mappedFor(run, byAnswer, "h", 80)(function, again);
    } else {
      EXPECT_NO_THROW(again()) << "the other address is connected";
    }
  };
  const bool connected = run.completes(connect, wanted);
  EXPECT_EQ(socket->handle() != noHandle, connected);
  run.completes([&] { socket.reset(); }, mappedFor(run, byAnswer, "h", 80));
}

TEST(SystemTorture, SocketConnectFirstSurvivesEachFailedSystemCall) {
  sweepSystem("Socket, connectFirst",
              [](SeamRun& run) { raceScenario(run, run.system.failure() == Failure::answer); });
}

void pollerScenario(SeamRun& run, bool byAnswer) {
  std::optional<oss::Wakeup> wakeup;
  std::optional<oss::Poller> poller;
  const auto mapped = [&](Function function, const std::function<void()>& again) {
    if (function == Function::poll) {
      expectRaised(again, Raises<SocketException>("QN_ERR_SOCKET_ERROR", run.code).from("kelPoller.cpp"));
    } else {
      mappedFor(run, byAnswer, "", 0)(function, again);
    }
  };
  if (!run.completes([&] { wakeup.emplace(); }, mapped)) return;
  if (!run.completes([&] { poller.emplace(); }, mapped)) return;
  poller->watch(wakeup->handle(), oss::Poller::READ);
  wakeup->trigger();
  const auto wait = [&] { EXPECT_EQ(poller->wait(oss::Deadline::in(patience)), 1U); };
  if (!run.completes(wait, mapped)) wait();
  run.completes([&] { poller.reset(); }, mapped);
  run.completes([&] { wakeup.reset(); }, mapped);
}

TEST(SystemTorture, PollerAndWakeupSurviveEachFailedSystemCall) {
  sweepSystem("Poller and Wakeup",
              [](SeamRun& run) { pollerScenario(run, run.system.failure() == Failure::answer); });
}

// --- memory runs out

const auto noMemoryForTheName =
    Raises<NLSException>("QN_ERR_OUT_OF_MEMORY", "Converter::convertToBytes()").from("kelConverter.cpp");

/// Checks that the starts and clean-ups of a run are equal in number.
class Balance {
 public:
  Balance() : system_(FaultyWinsock::never, 0) {}
  Balance(const Balance&) = delete;
  Balance& operator=(const Balance&) = delete;
  ~Balance() { EXPECT_EQ(system_.started(), 0); }

 private:
  FaultyWinsock system_;
};

TEST(MemoryTorture, SocketSurvivesEachRefusedAllocation) {
  sweepMemory("Socket", [](FaultRun& run) {
    const Balance balance;
    Peer peer;
    std::optional<Socket> socket;
    EXPECT_TRUE(run.completes([&] { socket.emplace(); }));
    const icu::UnicodeString host(true, u"127.0.0.1", -1);
    const auto connect = [&] { socket->connect(host, peer.port(), Socket::NullAddrInfoExternal, &patience); };
    if (!run.completes(connect, noMemoryForTheName, FaultRun::Saying::inPart)) {
      EXPECT_EQ(socket->handle(), noHandle);
      return;
    }
    peer.accepts();
    std::string bytes(10, '\0');
    EXPECT_TRUE(run.completes([&] { socket->setTimeout(patience); }));
    EXPECT_TRUE(run.completes([&] { socket->writeMessage("0123456789", 0, 10); }));
    peer.sends(10);
    EXPECT_TRUE(run.completes([&] { socket->read(bytes.data(), 0, 10); }));
    EXPECT_EQ(bytes, pattern(0, 10));
    std::optional<Socket> view;
    if (run.completes([&] { view.emplace(*socket); })) {
      EXPECT_EQ(view->handle(), socket->handle());
    }
    std::list<Socket> read;
    std::list<Socket> write(1, *socket);
    EXPECT_TRUE(run.completes([&] { Socket::select(read, write, read, &patience); }));
    EXPECT_EQ(write.size(), 1U);
    run.raises(
        connect,
        Raises<SocketException>("ERR_SOCKET_CONNECTED", peer.host(), peer.port()).from("kelSocket.cpp"));
    peer.says(std::string("\0\0\1\0", 4));
    run.raises([&] { socket->readMessage(bytes.data(), nullptr, 0, 10, false); },
               Raises<SocketException>("ERR_DEST_BUFFER_TOO_SMALL", 10, 256).from("kelSocket.cpp"));
    peer.resets();
    awaitReset(socket->handle());
    run.raises([&] { socket->read(bytes.data(), 0, 10); },
               Raises<SocketException>("QN_ERR_SOCKET_CONNECTION_RESET", peer.host(), peer.port())
                   .from("kelSocket.cpp"));
    EXPECT_TRUE(run.completes([&] { socket->close(); }));
    run.raises([&] { socket->readOnce(bytes.data(), 0, 10); },
               Raises<SocketException>("ERR_SOCKET_NOT_CONNECTED", "", 0).from("kelSocket.cpp"));
  });
}

TEST(MemoryTorture, ResolvingAddressesSurvivesEachRefusedAllocation) {
  sweepMemory("Socket: names and records", [](FaultRun& run) {
    const Balance balance;
    const ClosedPort closed;
    Socket socket;
    Socket::_AddrInfoExternal record = {};
    const auto resolve = [&] { EXPECT_EQ(Socket::resolveAddrInfo(u"127.0.0.1", 4711, record), 0); };
    if (!run.completes(resolve, noMemoryForTheName, FaultRun::Saying::inPart)) {
      EXPECT_EQ(record.bytes[0], 0);
      if (FaultRun::icuIsLost()) return;
      resolve();
    }
    Peer peer;
    const Socket::_AddrInfoExternal there = resolvedRecord(peer.host(), peer.port());
    const auto connect = [&] { socket.connect(u"by record", 1, there, &patience); };
    if (!run.completes(connect, noMemoryForTheName, FaultRun::Saying::inPart)) {
      EXPECT_EQ(socket.handle(), noHandle);
      connect();
    }
    socket.close();
    run.raises(
        [&] { socket.connect(icu::UnicodeString(u"a\0b", 3), 1, Socket::NullAddrInfoExternal, nullptr); },
        Raises<SocketException>("ERR_SOCKET_GETADDRINFO_ERROR", std::string("a\0b", 3), 1, 11001,
                                systemText(11001))
            .from("kelSocket.cpp"));
    run.raises([&] { socket.connect(u"127.0.0.1", closed.port(), Socket::NullAddrInfoExternal, &patience); },
               Raises<SocketException>("QN_ERR_SOCKET_CONNECTION_REFUSED", "127.0.0.1", closed.port())
                   .from("kelSocket.cpp"));
    const auto unreadable = [&] {
      Socket::_AddrInfoExternal bad = {};
      bad.bytes[0] = 3;
      socket.connect(u"127.0.0.1", 1, bad, nullptr);
    };
    run.raises(unreadable, Raises<SocketException>("QN_ERR_SOCKET_ERROR", 10022).from("kelSocket.cpp"));
    EXPECT_EQ(socket.handle(), noHandle);
  });
}

TEST(MemoryTorture, SocketServerSurvivesEachRefusedAllocation) {
  sweepMemory("SocketServer", [](FaultRun& run) {
    const Balance balance;
    std::optional<SocketServer> server;
    EXPECT_TRUE(run.completes([&] { server.emplace(); }));
    Socket client;
    run.raises(
        [&] { server->accept(client, &patience); },
        Raises<SocketException>("ERR_SOCKET_NOT_LISTENING", "localhost", 0).from("kelSocketServer.cpp"));
    if (!run.completes([&] { server->listen(0, 4, true); },
                       RaisesMapped(platform::wsa::noBuffers, "localhost", 0).from("kelSocketServer.cpp"),
                       FaultRun::Saying::inPart)) {
      EXPECT_EQ(server->getPort(), 0U);
      server->close();
      server->listen(0, 4, true);
    }
    const unsigned int port = server->getPort();
    EXPECT_NE(port, 0U);
    const unsigned long long none = 0;
    run.raises([&] { server->accept(client, &none); },
               Raises<SocketException>("ERR_SOCKET_TIMEOUT", "localhost", port).from("kelSocketServer.cpp"));
    run.raises(
        [&] { server->listen(0, 4, true); },
        Raises<SocketException>("ERR_SOCKET_LISTENING", "localhost", port).from("kelSocketServer.cpp"));
    const Caller caller(port);
    if (!run.completes([&] { server->accept(client, &patience); })) {
      EXPECT_EQ(client.handle(), noHandle);
      server->accept(client, &patience);
    }
    EXPECT_NE(client.handle(), noHandle);
    EXPECT_TRUE(run.completes([&] { server->close(); }));
    EXPECT_EQ(server->getPort(), 0U);
    EXPECT_TRUE(run.completes([&] { server.reset(); }));
  });
}

TEST(MemoryTorture, SocketConnectFirstSurvivesEachRefusedAllocation) {
  sweepMemory("Socket: connectFirst", [](FaultRun& run) {
    const Balance balance;
    Peer peer;
    Socket socket;
    const Socket::_AddrInfoExternal there = resolvedRecord(peer.host(), peer.port());
    const auto connect = [&] { socket.connectFirst(u"by record", 1, there, oss::Deadline::in(patience)); };
    if (!run.completes(connect)) {
      EXPECT_EQ(socket.handle(), noHandle);
      connect();
    }
    EXPECT_NE(socket.handle(), noHandle);
    EXPECT_TRUE(run.completes([&] { socket.close(); }));
  });
}

TEST(MemoryTorture, PollerSurvivesEachRefusedAllocation) {
  sweepMemory("Poller", [](FaultRun& run) {
    const Balance balance;
    oss::Wakeup wakeup;
    wakeup.trigger();
    std::optional<oss::Poller> poller;
    if (!run.completes([&] { poller.emplace(); })) poller.emplace();
    for (Handle handle = 1; handle < 100; ++handle) {
      const auto watch = [&] { poller->watch(~handle, 0); };
      if (!run.completes(watch)) watch();
    }
    const auto watch = [&] { poller->watch(wakeup.handle(), oss::Poller::READ); };
    if (!run.completes(watch)) watch();
    const auto wait = [&] { EXPECT_EQ(poller->wait(oss::Deadline::in(patience)), 1U); };
    const auto noMemory =
        Raises<SocketException>("QN_ERR_SOCKET_ERROR", platform::wsa::noBuffers).from("kelPoller.cpp");
    if (!run.completes(wait, noMemory, FaultRun::Saying::inPart)) wait();
  });
}

TEST(MemoryTorture, AddressRecordSurvivesEachRefusedAllocation) {
  sweepMemory("AddressRecord", [](FaultRun& run) {
    const Balance balance;
    const Socket::_AddrInfoExternal record = resolvedRecord("127.0.0.1", 4711);
    oss::AddressRecord::Result result = {};
    const auto check = [&] { result = oss::AddressRecord::check(&record, sizeof record); };
    if (!run.completes(check)) check();
    EXPECT_EQ(result.fault, oss::AddressRecord::NONE);
    icu::UnicodeString text;
    const auto print = [&] { text = oss::AddressRecord::toString(record); };
    if (!run.completes(print)) print();
    EXPECT_EQ(utf8(text), "host 127.0.0.1 port 4711; address 127.0.0.1 port 4711");
  });
}

TEST(MemoryTorture, FrameWriterSurvivesEachRefusedAllocation) {
  sweepMemory("FrameWriter", [](FaultRun& run) {
    oss::FrameWriter writer(10'000);
    std::string wanted;
    for (const std::size_t size : {5U, 100U, 5000U}) {
      const std::string payload(size, 'x');
      bool added = false;
      if (run.completes([&] { added = writer.add(payload.data(), 0, payload.size()); })) {
        EXPECT_TRUE(added);
        wanted += std::string{'\0', '\0', static_cast<char>(size >> 8U), static_cast<char>(size)} + payload;
      }
      EXPECT_EQ(std::string(writer.bytes(), static_cast<std::size_t>(writer.length())), wanted);
    }
    EXPECT_TRUE(run.completes([&] { writer.remove(wanted.size()); }));
    EXPECT_EQ(writer.length(), 0U);
  });
}

TEST(MemoryTorture, FrameReaderSurvivesEachRefusedAllocation) {
  sweepMemory("FrameReader", [](FaultRun& run) {
    oss::FrameReader reader(10'000);
    const std::string payload(1000, 'x');
    const std::string frame = std::string("\0\0\x03\xE8", 4) + payload;
    const std::string rest(2000, 'y');
    for (const std::string& bytes : {frame, rest}) {
      const auto append = [&] { reader.append(bytes.data(), 0, bytes.size()); };
      if (!run.completes(append)) append();
    }
    oss::FrameReader::State state = oss::FrameReader::NEED_MORE;
    EXPECT_TRUE(run.completes([&] { state = reader.next(); }));
    EXPECT_EQ(state, oss::FrameReader::FRAME);
    std::string taken;
    const auto take = [&] { taken = reader.takeRest(); };
    if (!run.completes(take)) {
      EXPECT_TRUE(std::string(reader.payload(), static_cast<std::size_t>(reader.length())) == payload)
          << "the frame has changed";
      take();
    }
    EXPECT_EQ(taken, rest);
    EXPECT_TRUE(run.completes([&] { state = reader.next(); }));
    EXPECT_EQ(state, oss::FrameReader::NEED_MORE);
  });
}

}  // namespace
}  // namespace tarvo::test
