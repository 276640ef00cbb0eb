// Tests the Windows implementation of the seam where it does more than call the system. This file may include
// the system's headers.

#include "platform/kelThreadBlock.hpp"
#include "platform/kelWinsock.hpp"
#include "support/kelGuardedMemory.hpp"
#include "support/kelHandles.hpp"
#include "support/kelPeer.hpp"
#include "support/kelReporting.hpp"
#include "support/kelRows.hpp"
#include "support/kelSeamSockets.hpp"
#include "support/windows/kelWinsockStart.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <future>
#include <string>
#include <thread>
#include <vector>

namespace tarvo::test {
namespace {

bool isInherited(SocketHandle handle) {
  DWORD flags = 0;
  EXPECT_NE(::GetHandleInformation(reinterpret_cast<HANDLE>(handle), &flags), 0);
  return (flags & HANDLE_FLAG_INHERIT) != 0;
}

/// A listener on a free port, to which sockets can be connected.
class Listening {
 public:
  Listening() : handle(tcpSocket()), address(16) {
    EXPECT_EQ(system().bind(handle, loopback().data(), 16), 0);
    EXPECT_EQ(system().listen(handle, 5), 0);
    std::size_t length = address.size();
    EXPECT_EQ(system().getsockname(handle, address.data(), length), 0);
  }
  Listening(const Listening&) = delete;
  Listening& operator=(const Listening&) = delete;
  ~Listening() { system().closesocket(handle); }

  SocketHandle connects() const {
    const SocketHandle client = tcpSocket();
    EXPECT_EQ(system().connect(client, address.data(), address.size()), 0);
    return client;
  }

  SocketHandle handle;
  Address address;
};

class WindowsWinsock : public testing::Test {
 protected:
  void SetUp() override {
    winsockStarted();
    descriptors_ = openDescriptors();
  }
  void TearDown() override { EXPECT_EQ(openDescriptors(), descriptors_); }

 private:
  std::size_t descriptors_ = 0;
};

// If a start were not counted, the clean-ups would end Winsock for the whole process.
TEST_F(WindowsWinsock, CountsStartsAndCleanUpsOfSeveralThreads) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    ROW("i", i);
    threads.emplace_back(reporting([] {
      for (int round = 0; round < 50'000; ++round) {
        ROW("round", round);
        platform::StartupData data;
        EXPECT_EQ(system().WSAStartup(0x0202, data), 0);
        EXPECT_EQ(system().WSACleanup(), 0);
      }
    }));
  }
  for (std::thread& thread : threads) thread.join();
  const platform::SocketHandle handle = system().socket(2, 1, 0);
  EXPECT_NE(handle, platform::invalidSocket) << system().WSAGetLastError();
  system().closesocket(handle);
}

TEST_F(WindowsWinsock, TextsAreTheSystemsMessagesOnOneLine) {
  for (const int code : rowsOf({11001, 11002, 11003, 10109, 10061})) {
    char text[1024];
    const DWORD count =
        ::FormatMessageA(0x12FF, nullptr, static_cast<DWORD>(code), 0x400, text, sizeof text, nullptr);
    EXPECT_EQ(system().systemText(code), std::string(text, count)) << code;
    EXPECT_EQ(system().systemText(code).find_first_of("\r\n"), std::string::npos) << code;
  }
  EXPECT_NE(system().systemText(11001), "");
  EXPECT_EQ(system().systemText(0x2FFFFFFF), "");
}

TEST_F(WindowsWinsock, AnEventIsNotASocketAndStaysOpen) {
  const HANDLE event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  ASSERT_NE(event, nullptr);
  expectNoSocket(reinterpret_cast<SocketHandle>(event));
  EXPECT_NE(::CloseHandle(event), 0) << "it was not the seam's to close";
}

TEST_F(WindowsWinsock, HandlesAreNotTruncatedTo32Bits) {
  const Listening listening;
  const SocketHandle client = listening.connects();
  for (const SocketHandle wild :
       rowsOf({client | 1ULL << 32, client | 1ULL << 63, client | 0xFFFFFFFF00000000ULL})) {
    expectNoSocket(wild);
  }
  EXPECT_EQ(system().send(client, "x", 1), 1) << "the socket itself is as it was";
  system().closesocket(client);
}

TEST_F(WindowsWinsock, NoSocketIsInherited) {
  const Listening listening;
  const SocketHandle client = listening.connects();
  const SocketHandle server = system().accept(listening.handle);
  for (const SocketHandle handle : rowsOf({listening.handle, client, server}))
    EXPECT_FALSE(isInherited(handle));
  system().closesocket(client);
  system().closesocket(server);
}

TEST_F(WindowsWinsock, AcceptedSocketsBlockWhateverTheListenerDoes) {
  const Listening listening;
  for (const unsigned long mode : rowsOf({0UL, 1UL, 0UL})) {
    ASSERT_EQ(system().ioctlsocketNonBlocking(listening.handle, mode), 0);
    if (mode != 0) {
      EXPECT_EQ(system().accept(listening.handle), invalidSocket);
      EXPECT_EQ(lastError(), 10035);
    }
    const SocketHandle client = listening.connects();
    const SocketHandle server = system().accept(listening.handle);
    ASSERT_NE(server, invalidSocket);
    EXPECT_TRUE(isBlocking(server)) << mode;
    system().closesocket(client);
    system().closesocket(server);
  }
}

TEST_F(WindowsWinsock, ABlockingAcceptWaits) {
  const Listening listening;
  std::promise<void> started;
  SocketHandle server = invalidSocket;
  std::thread waiter(reporting([&] {
    started.set_value();
    server = system().accept(listening.handle);
  }));
  started.get_future().wait();
  const SocketHandle client = listening.connects();
  waiter.join();
  EXPECT_NE(server, invalidSocket);
  system().closesocket(client);
  system().closesocket(server);
}

TEST_F(WindowsWinsock, WakeAcceptEndsAllCurrentAndLaterWaitsWithoutClosing) {
  const Listening listening;
  std::array<std::promise<void>, 3> started;
  std::vector<std::thread> waiters;
  for (int i = 0; i < 2; ++i) {
    ROW("i", i);
    waiters.emplace_back(reporting([&, i] {
      started[static_cast<std::size_t>(i)].set_value();
      EXPECT_EQ(system().accept(listening.handle), invalidSocket);
      EXPECT_EQ(lastError(), 10022);
    }));
  }
  const auto selects = [&] {
    SocketSet read;
    SocketSet none;
    SocketSet noneEither;
    read.add(listening.handle);
    EXPECT_EQ(system().select(read, none, noneEither, nullptr), 1);
    EXPECT_EQ(read.count, 1U);
    EXPECT_TRUE(read.contains(listening.handle));
  };
  waiters.emplace_back(reporting([&] {
    started[2].set_value();
    selects();
  }));
  for (std::promise<void>& promise : started) promise.get_future().wait();
  system().wakeAccept(listening.handle);
  system().wakeAccept(listening.handle);
  for (std::thread& waiter : waiters) waiter.join();
  selects();
  EXPECT_EQ(system().accept(listening.handle), invalidSocket);
  EXPECT_EQ(lastError(), 10022);
  std::size_t length = 16;
  Address name(length);
  EXPECT_EQ(system().getsockname(listening.handle, name.data(), length), 0)
      << "the handle still refers to the same socket";
  EXPECT_EQ(name, listening.address);
}

TEST_F(WindowsWinsock, SelectWatchesAFullSetOfListeners) {
  std::vector<SocketHandle> handles;
  SocketSet read;
  for (unsigned int i = 0; i < SocketSet::most; ++i) {
    ROW("i", i);
    handles.push_back(tcpSocket());
    ASSERT_EQ(system().bind(handles.back(), loopback().data(), 16), 0);
    ASSERT_EQ(system().listen(handles.back(), 1), 0);
    read.add(handles.back());
  }
  system().wakeAccept(handles[63]);
  system().wakeAccept(handles[7]);
  SocketSet none;
  SocketSet noneEither;
  EXPECT_EQ(system().select(read, none, noneEither, nullptr), 2);
  ASSERT_EQ(read.count, 2U);
  EXPECT_EQ(read.handles[0], handles[7]);
  EXPECT_EQ(read.handles[1], handles[63]);
  for (const SocketHandle handle : rowsOf(handles)) EXPECT_EQ(system().closesocket(handle), 0);
}

TEST_F(WindowsWinsock, ANewSocketWithTheNumberOfAWokenListenerIsNotWoken) {
  SocketHandle former = invalidSocket;
  {
    const Listening listening;
    system().wakeAccept(listening.handle);
    former = listening.handle;
  }
  const Listening listening;
  EXPECT_EQ(listening.handle, former) << "the system gives the lowest free number";
  SocketSet read;
  SocketSet none;
  SocketSet noneEither;
  read.add(listening.handle);
  const TimeValue now = {0, 0};
  EXPECT_EQ(system().select(read, none, noneEither, &now), 0);
}

// A program can resolve names without constructing a Socket.
TEST_F(WindowsWinsock, NamesResolveIfWinsockWasNotStarted) {
  int starts = 0;
  while (::WSACleanup() == 0) ++starts;
  std::vector<platform::ResolvedAddress> list;
  EXPECT_EQ(system().getaddrinfo("127.0.0.1", "4711", {0, 0, 1, 0}, list), 0);
  EXPECT_EQ(system().socket(2, 1, 6), invalidSocket) << "it is over again";
  EXPECT_EQ(lastError(), 10093);
  WSADATA data;
  while (starts-- > 0) ASSERT_EQ(::WSAStartup(0x0202, &data), 0);
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].family, 2);
  EXPECT_EQ(list[0].address, Address({2, 0, 0x12, 0x67, 127, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST_F(WindowsWinsock, ResolverReturnsProtocolZeroIfNoneIsRequested) {
  for (const int protocol : rowsOf({0, 6})) {
    std::vector<platform::ResolvedAddress> list;
    EXPECT_EQ(system().getaddrinfo("::1", "4711", {0, 0, 1, protocol}, list), 0);
    ASSERT_EQ(list.size(), 1U);
    EXPECT_EQ(list[0].protocol, protocol);
  }
}

TEST_F(WindowsWinsock, ResolverReturnsItsCodeAndDoesNotChangeTheList) {
  std::vector<platform::ResolvedAddress> list;
  EXPECT_EQ(system().getaddrinfo("no.such.name.invalid.", "80", {0, 0, 1, 0}, list), 11001);
  EXPECT_EQ(system().getaddrinfo("127.0.0.1", "70000", {0, 0, 1, 0}, list), 10109);
  EXPECT_TRUE(list.empty());
}

// Under Wine, a read after a reset can report an end of stream. The result of a poll distinguishes a reset
// from a peer that has ended the stream.
TEST_F(WindowsWinsock, ReportsAResetOnlyIfThereWasOne) {
  struct Row {
    const char* what;
    bool ended;  // this end has shut sending down before
    bool reset;  // the peer resets the connection instead of closing it
  };
  for (const Row& row : rowsOf({Row{"closed", false, false}, Row{"reset", false, true},
                                Row{"both closed", true, false}, Row{"shut down, then reset", true, true}})) {
    const SocketHandle client = tcpSocket();
    Peer peer;
    ASSERT_EQ(connectTo(client, loopback(peer.port())), 0);
    peer.accepts();
    if (row.ended) {
      EXPECT_EQ(system().shutdown(client, 1), 0);
    }
    row.reset ? peer.resets() : peer.closes();
    row.reset ? awaitReset(client) : awaitEnd(client);
    char byte = 0;
    EXPECT_EQ(system().recv(client, &byte, 0), 0);
    for (int again = 0; again < 3; ++again) {
      ROW("again", again);
      EXPECT_EQ(system().recv(client, &byte, 1), row.reset ? platform::socketError : 0);
      if (row.reset) {
        EXPECT_EQ(lastError(), 10054);
      }
    }
    system().closesocket(client);
  }
}

TEST_F(WindowsWinsock, TimeoutsAreUnsignedMilliseconds) {
  const SocketHandle handle = tcpSocket();
  for (const int option : rowsOf({0x1005, 0x1006})) {
    for (const unsigned int milliseconds : rowsOf({1000U, 0U, 1U, 1500U, 2147483648U})) {
      ROW(testing::Message() << option << " " << milliseconds);
      EXPECT_EQ(system().setsockopt(handle, 0xFFFF, option, static_cast<int>(milliseconds)), 0);
      EXPECT_EQ(option == 0x1005 ? sendTimeout(handle) : receiveTimeout(handle), milliseconds);
      int value = -1;
      EXPECT_EQ(system().getsockopt(handle, 0xFFFF, option, value), 0);
      EXPECT_EQ(static_cast<unsigned int>(value), milliseconds);
    }
  }
  system().closesocket(handle);
}

TEST_F(WindowsWinsock, BufferSizesAreSetUnchanged) {
  const SocketHandle handle = tcpSocket();
  for (const int option : rowsOf({0x1001, 0x1002})) {
    EXPECT_EQ(system().setsockopt(handle, 0xFFFF, option, 30'000), 0);
    int value = -1;
    EXPECT_EQ(system().getsockopt(handle, 0xFFFF, option, value), 0);
    EXPECT_EQ(value, 30'000);
  }
  system().closesocket(handle);
}

TEST_F(WindowsWinsock, AReadRefusesABufferThatIsNotFullyAccessible) {
  const GuardedMemory room(1);
  const SocketHandle client = tcpSocket();
  Peer peer;
  ASSERT_EQ(connectTo(client, loopback(peer.port())), 0);
  peer.accepts().says("x");
  awaitBytes(client, 1);
  EXPECT_EQ(system().recv(client, room.back(1), 2), platform::socketError);
  EXPECT_EQ(lastError(), 10014);
  EXPECT_EQ(system().recv(client, room.back(1), 1), 1) << "the failed read has taken nothing";
  system().closesocket(client);
}

TEST_F(WindowsWinsock, OptionsOfOneByteAreReadAsAnInt) {
  const SocketHandle handle = tcpSocket();
  for (const int value : rowsOf({1, 0})) {
    ASSERT_EQ(system().setsockopt(handle, 6, 1, value), 0);
    int read = -1;
    EXPECT_EQ(system().getsockopt(handle, 6, 1, read), 0);
    EXPECT_EQ(read, value);
  }
  system().closesocket(handle);
}

// --- thread blocks

TEST(ThreadBlock, DoesNotChangeTheLastError) {
  std::thread(reporting([] {
    for (int again = 0; again < 2; ++again) {
      ROW("again", again);
      ::SetLastError(4711);
      EXPECT_NE(platform::threadBlock(platform::ThreadPart::converters, [](void*) noexcept {}), nullptr);
      EXPECT_EQ(::GetLastError(), 4711U);
    }
  })).join();
}

}  // namespace
}  // namespace tarvo::test
