#include "infra/oss/kelSocketException.hpp"
#include "infra/oss/kelSocketServer.hpp"
#include "infra/trace/kelTraceFacility.hpp"

#include "support/kelAwaited.hpp"
#include "support/kelPeer.hpp"
#include "support/kelRaises.hpp"
#include "support/kelReporting.hpp"
#include "support/kelRounds.hpp"
#include "support/kelRows.hpp"
#include "support/kelSeed.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <limits>
#include <list>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <thread>

namespace tarvo::test {
namespace {

using oss::BaseException;
using oss::Socket;
using oss::SocketException;
using oss::SocketServer;
using testing::AnyOf;

constexpr const char* loopback = "127.0.0.1";
constexpr unsigned long long noHandle = ~0ULL;
constexpr const char* accepted = "accepted";

/// The result of a call: "accepted", or the error as "IDENTIFIER argument argument".
template <class Call>
std::string outcomeOf(const Call& call) {
  try {
    call();
  } catch (BaseException& error) {
    std::string text = utf8(error.getErrorMessage().getMessageID());
    for (const std::string& argument : argumentsOf(error.getErrorMessage())) text += " " + argument;
    return text;
  }
  return accepted;
}

// `close` wakes the waiting threads before it clears the port, so their errors contain the port. An accept
// that starts later raises its error with port 0.
std::string closedWhileWaiting(unsigned int port) {
  return "QN_ERR_SOCKET_ERROR 10022 localhost " + std::to_string(port);
}
std::string notListening(unsigned int port) {
  return "ERR_SOCKET_NOT_LISTENING localhost " + std::to_string(port);
}

thread_local bool isWaiter = false;

/// A trace facility that counts the waits that `Waiter` threads have begun. At that point accept has already
/// found that the server is listening, and is about to pass the handle to the system.
class WaitWatch {
 public:
  WaitWatch() {
    begun.set(0);
    flags_[trace::componentIndex] = 0x1;
    trace::Facility facility;
    facility.componentTraceFlags = flags_;
    facility.traceEntry = [](std::uint32_t probe) {
      if (!isWaiter || probe != 0x1CD80618) return;
      begun.increment();
    };
    trace::install(facility);
  }
  WaitWatch(const WaitWatch&) = delete;
  WaitWatch& operator=(const WaitWatch&) = delete;
  ~WaitWatch() { trace::uninstall(); }

  static void awaitNext() {
    begun.awaitOtherThan(0);
    begun.set(0);
  }

 private:
  inline static Awaited begun;
  std::uint32_t flags_[trace::componentIndex + 1] = {};
};

/// Runs one accept in a separate thread.
class Waiter {
 public:
  explicit Waiter(SocketServer& server, const unsigned long long* timeout = nullptr) {
    requireLoopback();
    thread_ = std::thread([this, &server, timeout] {
      isWaiter = true;
      started_.set(1);
      outcome_ = outcomeOf([&] { server.accept(client, timeout); });
    });
  }
  Waiter(const Waiter&) = delete;
  Waiter& operator=(const Waiter&) = delete;
  ~Waiter() {
    if (thread_.joinable()) thread_.join();
  }

  /// Waits until the thread is about to call accept.
  void awaitStart() const { started_.awaitOtherThan(0); }
  const std::string& outcome() {
    if (thread_.joinable()) thread_.join();
    return outcome_;
  }

  Socket client;

 private:
  Awaited started_;
  std::string outcome_;
  std::thread thread_;
};

/// Delays a thread by a random time, so that the steps of the threads interleave in many ways. The delays
/// follow from the seed; the interleaving also depends on the scheduler.
class Jitter {
 public:
  explicit Jitter(unsigned int seed) : random_(seeded(seed)) {}

  void operator()() {
    const auto steps = random_() % 400;
    const auto yields = random_() % 4;
    for (auto i = steps; i > 0; --i) spun_.fetch_add(1, std::memory_order_relaxed);
    for (auto i = yields; i > 0; --i) std::this_thread::yield();
  }

 private:
  std::mt19937 random_;
  std::atomic<unsigned int> spun_ = 0;
};

constexpr unsigned int seed = 20240817;

void dial(Socket& client, unsigned int port) {
  client.connect(loopback, port, Socket::NullAddrInfoExternal, nullptr);
}

void sendFrame(Socket& socket, const std::string& text) {
  socket.writeMessage(text.data(), 0, text.size());
}
std::string receiveFrame(Socket& socket) {
  char bytes[64];
  const unsigned long long length = socket.readMessage(bytes, nullptr, 0, sizeof bytes, false);
  return {bytes, bytes + length};
}

/// Ends a connection with a reset, so that it does not stay in TIME_WAIT and use up ports.
void dropByReset(Socket& near, Socket& far) {
  far.write("xy", 0, 2);
  char one = 0;
  near.read(&one, 0, 1);
  near.close();
  far.close();
}

const std::optional<unsigned long long> longTimeouts[] = {std::nullopt, 3'600'000, 1ULL << 33,
                                                          std::numeric_limits<unsigned long long>::max()};

std::string nameOf(const std::optional<unsigned long long>& timeout) {
  return timeout ? std::to_string(*timeout) + " ms" : "no limit";
}

// --- one thread waits, another closes
// -----------------------------------------------------------------------

TEST(SocketServerThreads, ACloseEndsAWaitOfAnyTimeout) {
  const WaitWatch watch;
  for (const std::optional<unsigned long long>& timeout : rowsOf(longTimeouts)) {
    ROW(nameOf(timeout));
    SocketServer server;
    for (int round = 0; round < roundsWithThreads(500); ++round) {
      ROW("round", round);
      server.listen(0, 4, false);
      const unsigned int port = server.getPort();
      Waiter waiter(server, timeout ? &*timeout : nullptr);
      WaitWatch::awaitNext();
      server.close();
      ASSERT_EQ(server.getPort(), 0U);
      ASSERT_EQ(waiter.outcome(), closedWhileWaiting(port));
      ASSERT_EQ(waiter.client.handle(), noHandle);
    }
  }
}

TEST(SocketServerThreads, AConnectionEndsAWaitOfAnyTimeout) {
  const WaitWatch watch;
  for (const std::optional<unsigned long long>& timeout : rowsOf(longTimeouts)) {
    ROW(nameOf(timeout));
    SocketServer server;
    server.listen(0, 4, false);
    Waiter waiter(server, timeout ? &*timeout : nullptr);
    WaitWatch::awaitNext();
    Socket near;
    dial(near, server.getPort());
    sendFrame(near, "hello");
    ASSERT_EQ(waiter.outcome(), accepted);
    EXPECT_EQ(receiveFrame(waiter.client), "hello");
  }
}

TEST(SocketServerThreads, AcceptAfterACloseRaisesNotListening) {
  SocketServer server;
  server.listen(0, 4, false);
  std::thread(reporting([&] { server.close(); })).join();
  Waiter waiter(server);
  EXPECT_EQ(waiter.outcome(), notListening(0));
}

TEST(SocketServerThreads, ACloseThatRacesWithTheStartOfAnAcceptEndsTheAccept) {
  ROW("seed", seed);
  Jitter jitter(seed);
  SocketServer server;
  for (int round = 0; round < roundsWithThreads(3000); ++round) {
    ROW("round", round);
    server.listen(0, 4, false);
    const unsigned int port = server.getPort();
    Waiter waiter(server);
    waiter.awaitStart();
    jitter();
    server.close();
    ASSERT_THAT(waiter.outcome(), AnyOf(closedWhileWaiting(port), notListening(0)));
    ASSERT_EQ(waiter.client.handle(), noHandle);
  }
}

TEST(SocketServerThreads, SeveralConcurrentClosesActAsOne) {
  const WaitWatch watch;
  SocketServer server;
  for (int round = 0; round < roundsWithThreads(500); ++round) {
    ROW("round", round);
    server.listen(0, 4, false);
    const unsigned int port = server.getPort();
    Waiter waiter(server);
    WaitWatch::awaitNext();
    std::list<std::thread> closers;
    for (int i = 0; i < 3; ++i) closers.emplace_back(reporting([&] { server.close(); }));
    server.close();
    for (std::thread& closer : closers) closer.join();
    ASSERT_EQ(waiter.outcome(), closedWhileWaiting(port));
    ASSERT_EQ(server.getPort(), 0U);
  }
}

// After the close, the next descriptor that the thread opens often gets the number that the waiting thread
// used.
TEST(SocketServerThreads, AfterACloseTheServerCanListenAgainWithoutTheFormerWaiter) {
  const WaitWatch watch;
  SocketServer server;
  server.listen(0, 4, true);
  const unsigned int port = server.getPort();
  for (int round = 0; round < roundsWithThreads(1000); ++round) {
    ROW("round", round);
    Waiter old(server);
    WaitWatch::awaitNext();
    server.close();
    server.listen(port, 4, true);
    Socket near;
    dial(near, port);
    Socket far;
    server.accept(far, nullptr);
    ASSERT_EQ(old.outcome(), closedWhileWaiting(port));
    ASSERT_EQ(old.client.handle(), noHandle);
    dropByReset(near, far);
  }
}

// --- while other threads reuse descriptors
// -------------------------------------------------------------------------

/// Threads that open and close their own listeners and connections whenever `stir` is called. A descriptor
/// number that a test releases is therefore reused at once, often for a listener with a waiting connection.
class Strangers {
 public:
  explicit Strangers(int count) {
    for (int i = 0; i < count; ++i)
      threads_.emplace_back(reporting([this, i] { run("stranger " + std::to_string(i)); }));
  }
  Strangers(const Strangers&) = delete;
  Strangers& operator=(const Strangers&) = delete;
  ~Strangers() { stop(); }

  /// Makes each thread open, use and close another connection.
  void stir() { turn_.increment(); }

  void stop() {
    stopped_ = true;
    stir();
    for (std::thread& thread : threads_) {
      if (thread.joinable()) thread.join();
    }
  }

  /// The failures in these threads as text; empty if there were none.
  std::string trouble() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return trouble_;
  }
  unsigned int conversations() const { return conversations_; }

 private:
  void run(const std::string& name) {
    const std::string outcome = outcomeOf([&] {
      while (!stopped_) {
        const unsigned int turn = turn_.get();
        converse(name);
        if (!stopped_) turn_.awaitOtherThan(turn);
      }
    });
    if (outcome != accepted) report(name + ": " + outcome);
  }

  void converse(const std::string& name) {
    SocketServer mine;
    mine.listen(0, 4, false);
    Socket near;
    dial(near, mine.getPort());
    sendFrame(near, name);
    Socket far;
    if (!acceptUnlessStopped(mine, far)) return;
    const std::string got = receiveFrame(far);
    if (got != name) report(name + " received '" + got + "'");
    dropByReset(near, far);
    ++conversations_;
  }

  // Polls, because the connection never arrives if another thread has accepted it by mistake.
  bool acceptUnlessStopped(SocketServer& mine, Socket& far) const {
    const unsigned long long aWhile = 20;
    while (!stopped_) {
      const std::string outcome = outcomeOf([&] { mine.accept(far, &aWhile); });
      if (outcome == accepted) return true;
      if (outcome.rfind("ERR_SOCKET_TIMEOUT", 0) != 0) throw SocketException(outcome.c_str(), "", 0);
    }
    return false;
  }

  void report(const std::string& what) {
    const std::lock_guard<std::mutex> lock(mutex_);
    trouble_ += what + "\n";
  }

  std::atomic<bool> stopped_ = false;
  Awaited turn_;
  std::atomic<unsigned int> conversations_ = 0;
  mutable std::mutex mutex_;
  std::string trouble_;
  std::list<std::thread> threads_;
};

/// The result of a race between one accept, one client and several closes of one server.
struct Meeting {
  std::string accepting;
  std::string received;
  std::string dialling;
};

Meeting meet(SocketServer& server, const std::string& greeting, Jitter& jitter, int closers,
             Strangers* strangers) {
  Meeting meeting;
  Socket near;
  const unsigned int port = server.getPort();
  Waiter waiter(server);
  waiter.awaitStart();
  jitter();
  if (strangers != nullptr) strangers->stir();
  std::thread client(reporting([&] {
    meeting.dialling = outcomeOf([&] {
      dial(near, port);
      sendFrame(near, greeting);
    });
  }));
  jitter();
  std::list<std::thread> others;
  for (int i = 1; i < closers; ++i) others.emplace_back(reporting([&] { server.close(); }));
  server.close();
  for (std::thread& other : others) other.join();
  meeting.accepting = waiter.outcome();
  if (meeting.accepting == accepted) meeting.received = receiveFrame(waiter.client);
  client.join();
  if (meeting.received == greeting) dropByReset(near, waiter.client);
  return meeting;
}

/// Runs the race `rounds` times. A connection that was accepted must be that of the same round's client.
void meetOften(int rounds, int closers, Strangers* strangers) {
  ROW("seed", seed);
  Jitter jitter(seed);
  SocketServer server;
  int taken = 0;
  int turnedAway = 0;
  for (int round = 0; round < rounds; ++round) {
    ROW("round", round);
    server.listen(0, 4, false);
    const unsigned int port = server.getPort();
    const std::string greeting = "round " + std::to_string(round);
    const Meeting meeting = meet(server, greeting, jitter, closers, strangers);
    ASSERT_EQ(server.getPort(), 0U);
    if (meeting.accepting == accepted) {
      ASSERT_EQ(meeting.received, greeting);
      ASSERT_EQ(meeting.dialling, accepted);
    } else {
      ASSERT_THAT(meeting.accepting, AnyOf(closedWhileWaiting(port), notListening(0)));
    }
    ++(meeting.accepting == accepted ? taken : turnedAway);
    ASSERT_EQ(strangers == nullptr ? "" : strangers->trouble(), "");
  }
  testing::Test::RecordProperty("accepted", taken);
  testing::Test::RecordProperty("closed", turnedAway);
}

TEST(SocketServerThreads, ACloseThatRacesWithAConnectionGivesOneOfTwoResults) {
  meetOften(roundsWithThreads(2000), 1, nullptr);
}

TEST(SocketServerThreads, NeverAcceptsOnADescriptorThatWasReused) {
  Strangers strangers(2);
  meetOften(roundsWithThreads(3000), 1, &strangers);
  strangers.stop();
  EXPECT_EQ(strangers.trouble(), "");
  EXPECT_GT(strangers.conversations(), 0U);
}

TEST(SocketServerThreads, ConcurrentClosesCloseNoReusedDescriptor) {
  Strangers strangers(2);
  meetOften(roundsWithThreads(1000), 3, &strangers);
  strangers.stop();
  EXPECT_EQ(strangers.trouble(), "");
  EXPECT_GT(strangers.conversations(), 0U);
}

// Makes the same test without a client; the close starts only after the wait has begun.
TEST(SocketServerThreads, EndsAWaitBeforeItsDescriptorCanBeReused) {
  ROW("seed", seed);
  Jitter jitter(seed);
  const WaitWatch watch;
  Strangers strangers(2);
  SocketServer server;
  for (int round = 0; round < roundsWithThreads(3000); ++round) {
    ROW("round", round);
    server.listen(0, 4, false);
    const unsigned int port = server.getPort();
    Waiter waiter(server);
    WaitWatch::awaitNext();
    strangers.stir();
    jitter();
    server.close();
    ASSERT_EQ(waiter.outcome(), closedWhileWaiting(port));
    ASSERT_EQ(strangers.trouble(), "");
  }
  strangers.stop();
  EXPECT_EQ(strangers.trouble(), "");
  EXPECT_GT(strangers.conversations(), 0U);
}

}  // namespace
}  // namespace tarvo::test
