// Compares the POSIX implementation of the seam with the documented results of Winsock. This file may include
// POSIX headers.

#include "platform/kelWinsock.hpp"
#include "platform/posix/kelWinsockCodes.hpp"
#include "support/kelGuardedMemory.hpp"
#include "support/kelHandles.hpp"
#include "support/kelReporting.hpp"
#include "support/kelRows.hpp"
#include "support/kelSeamSockets.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <future>
#include <initializer_list>
#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace tarvo::test {
namespace {

namespace posix = platform::posix;

int descriptorOf(SocketHandle handle) {
  return static_cast<int>(handle);
}

class PosixWinsock : public testing::Test {
 protected:
  void SetUp() override { descriptors_ = openDescriptors(); }
  void TearDown() override { EXPECT_EQ(openDescriptors(), descriptors_); }

 private:
  std::size_t descriptors_ = 0;
};

// --- codes

std::map<int, int> expectedCodes() {
  return {{EINTR, 10004},           {EBADF, 10038},           {EPERM, 10013},         {EACCES, 10013},
          {EFAULT, 10014},          {EINVAL, 10022},          {EMFILE, 10024},        {ENFILE, 10024},
          {EAGAIN, 10035},          {EINPROGRESS, 10036},     {EALREADY, 10037},      {ENOTSOCK, 10038},
          {EDESTADDRREQ, 10039},    {EMSGSIZE, 10040},        {EPROTOTYPE, 10041},    {ENOPROTOOPT, 10042},
          {EPROTONOSUPPORT, 10043}, {ESOCKTNOSUPPORT, 10044}, {EOPNOTSUPP, 10045},    {EPFNOSUPPORT, 10046},
          {EAFNOSUPPORT, 10047},    {EADDRINUSE, 10048},      {EADDRNOTAVAIL, 10049}, {ENETDOWN, 10050},
          {ENETUNREACH, 10051},     {ENETRESET, 10052},       {ECONNABORTED, 10053},  {ECONNRESET, 10054},
          {EPIPE, 10054},           {ENOBUFS, 10055},         {ENOMEM, 10055},        {EISCONN, 10056},
          {ENOTCONN, 10057},        {ESHUTDOWN, 10058},       {ETOOMANYREFS, 10059},  {ETIMEDOUT, 10060},
          {ECONNREFUSED, 10061},    {ELOOP, 10062},           {ENAMETOOLONG, 10063},  {EHOSTDOWN, 10064},
          {EHOSTUNREACH, 10065},    {EUSERS, 10068},          {EDQUOT, 10069},        {ESTALE, 10070}};
}

TEST(PosixCodes, MapEveryErrnoToWinsocksCode) {
  const std::map<int, int> expected = expectedCodes();
  for (int value = -5; value < 200; ++value) {
    ROW("value", value);
    const auto found = expected.find(value);
    EXPECT_EQ(posix::winsockCode(value), found == expected.end() ? 10107 : found->second) << value;
  }
  EXPECT_EQ(posix::winsockCode(EWOULDBLOCK), 10035);
  EXPECT_EQ(posix::winsockCode(ENOTSUP), 10045);
}

TEST(PosixCodes, TableContainsEachErrnoOnce) {
  std::map<int, int> table;
  for (const posix::CodePair& pair : rowsOf(posix::errnoCodes)) {
    EXPECT_TRUE(table.emplace(pair.posix, pair.winsock).second) << pair.posix;
  }
  EXPECT_EQ(table, expectedCodes());
}

TEST(PosixCodes, OfTheResolverAreMappedInBothDirections) {
  struct Row {
    int posix;
    int winsock;
  };
  const std::vector<Row> rows = {{EAI_NONAME, 11001},   {EAI_AGAIN, 11002},  {EAI_FAIL, 11003},
                                 {EAI_BADFLAGS, 10022}, {EAI_FAMILY, 10047}, {EAI_SOCKTYPE, 10044},
                                 {EAI_SERVICE, 10109},  {EAI_MEMORY, 8}};
  for (const Row& row : rowsOf(rows)) {
    EXPECT_EQ(posix::winsockResolverCode(row.posix), row.winsock) << row.posix;
    EXPECT_EQ(posix::posixResolverCode(row.winsock), row.posix) << row.winsock;
    EXPECT_EQ(system().systemText(row.winsock), ::gai_strerror(row.posix)) << row.winsock;
  }
  EXPECT_EQ(posix::winsockResolverCode(EAI_NODATA), 11001);
  for (const posix::CodePair& pair : rowsOf(posix::resolverCodes))
    EXPECT_EQ(posix::winsockResolverCode(pair.posix), pair.winsock) << pair.posix;
  for (const int unknown : rowsOf({0, 1, -12345, 10061, 11004})) {
    EXPECT_EQ(posix::posixResolverCode(unknown), 0) << unknown;
    EXPECT_EQ(system().systemText(unknown), "") << unknown;
  }
  for (const int unknown : rowsOf({1, -12345, EAI_OVERFLOW}))
    EXPECT_EQ(posix::winsockResolverCode(unknown), 11003);
}

TEST_F(PosixWinsock, ANewThreadHasNoLastError) {
  system().WSASetLastError(10061);
  std::thread(reporting([] { EXPECT_EQ(lastError(), 0); })).join();
  EXPECT_EQ(lastError(), 10061);
}

TEST_F(PosixWinsock, ResolverReturnsTheProtocol) {
  std::vector<platform::ResolvedAddress> list;
  EXPECT_EQ(system().getaddrinfo("::1", "4711", {0, 0, 1, 0}, list), 0);
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].protocol, 6);
}

TEST_F(PosixWinsock, LastErrorSurvivesCallsThatSucceed) {
  system().WSASetLastError(12345);
  const SocketHandle handle = tcpSocket();
  system().closesocket(handle);
  EXPECT_EQ(lastError(), 12345);
}

// --- handles that are not sockets

TEST_F(PosixWinsock, APipeIsNotASocketAndStaysOpen) {
  std::array<int, 2> pipe{};
  ASSERT_EQ(::pipe2(pipe.data(), O_CLOEXEC), 0);
  for (const int end : rowsOf(pipe)) {
    expectNoSocket(static_cast<SocketHandle>(end));
    EXPECT_EQ(::fcntl(end, F_GETFD), FD_CLOEXEC) << "it was not the seam's to close";
    ::close(end);
  }
}

// --- socket, addresses

TEST_F(PosixWinsock, FamilyOfIpv6Is23InBothDirections) {
  const SocketHandle handle = tcpSocket(23);
  int family = 0;
  socklen_t size = sizeof family;
  ::getsockopt(descriptorOf(handle), SOL_SOCKET, SO_DOMAIN, &family, &size);
  EXPECT_EQ(family, AF_INET6);
  ASSERT_EQ(system().bind(handle, loopback6().data(), 28), 0);
  const Address name = nameOf(handle);
  ASSERT_EQ(name.size(), 28U);
  EXPECT_EQ(name[0] + 256 * name[1], 23);
  Address expected = loopback6();
  std::copy(name.begin() + 2, name.begin() + 4, expected.begin() + 2);
  EXPECT_EQ(name, expected);
  system().closesocket(handle);
}

// --- options

TEST_F(PosixWinsock, OptionsAreMappedToTheSystemsNumbers) {
  struct Row {
    const char* name;
    int level;
    int option;
    int nativeLevel;
    int nativeOption;
    int value;
    int native;
  };
  const SocketHandle handle = tcpSocket();
  for (const Row& row :
       rowsOf({Row{"reuse", 0xFFFF, 4, SOL_SOCKET, SO_REUSEADDR, 1, 1},
               Row{"no reuse", 0xFFFF, 4, SOL_SOCKET, SO_REUSEADDR, 0, 0},
               Row{"no delay", 6, 1, IPPROTO_TCP, TCP_NODELAY, 1, 1},
               Row{"delay", 6, 1, IPPROTO_TCP, TCP_NODELAY, 0, 0},
               Row{"send buffer", 0xFFFF, 0x1001, SOL_SOCKET, SO_SNDBUF, 20000, 40000},
               Row{"receive buffer", 0xFFFF, 0x1002, SOL_SOCKET, SO_RCVBUF, 30000, 60000}})) {
    EXPECT_EQ(system().setsockopt(handle, row.level, row.option, row.value), 0);
    int native = -1;
    socklen_t size = sizeof native;
    ::getsockopt(descriptorOf(handle), row.nativeLevel, row.nativeOption, &native, &size);
    EXPECT_EQ(native, row.native) << "this system doubles the sizes of buffers";
    int value = -1;
    EXPECT_EQ(system().getsockopt(handle, row.level, row.option, value), 0);
    EXPECT_EQ(value, row.native);
  }
  for (const auto& [level, option] :
       rowsOf({std::pair{0xFFFF, 0x1234}, {6, 2}, {1, SO_REUSEADDR}, {0xFFFF, 2}, {0, 1}})) {
    ROW(level, option);
    int value = 0;
    EXPECT_EQ(system().setsockopt(handle, level, option, 1), platform::socketError);
    EXPECT_EQ(lastError(), 10042);
    system().WSASetLastError(0);
    EXPECT_EQ(system().getsockopt(handle, level, option, value), platform::socketError);
    EXPECT_EQ(lastError(), 10042);
  }
  system().closesocket(handle);
}

TEST_F(PosixWinsock, TimeoutsAreUnsignedMilliseconds) {
  const SocketHandle handle = tcpSocket();
  for (const auto& [option, native] : rowsOf({std::pair{0x1006, SO_RCVTIMEO}, {0x1005, SO_SNDTIMEO}})) {
    for (const unsigned int milliseconds : rowsOf({1000U, 0U, 1U, 1500U, 2147483648U, 4294967295U})) {
      ROW(option, milliseconds);
      EXPECT_EQ(system().setsockopt(handle, 0xFFFF, option, static_cast<int>(milliseconds)), 0);
      timeval time{};
      socklen_t size = sizeof time;
      ::getsockopt(descriptorOf(handle), SOL_SOCKET, native, &time, &size);
      const long long set = time.tv_sec * 1000LL + time.tv_usec / 1000;
      int value = -1;
      EXPECT_EQ(system().getsockopt(handle, 0xFFFF, option, value), 0);
      EXPECT_EQ(static_cast<unsigned int>(value), static_cast<unsigned int>(set));
      // The system rounds up to its clock ticks of at most 10 ms.
      EXPECT_GE(set, milliseconds);
      EXPECT_LE(set, milliseconds == 0 ? 0 : milliseconds + 10LL);
    }
  }
  system().closesocket(handle);
}

TEST_F(PosixWinsock, NonBlockingSetsTheDescriptorsFlag) {
  const SocketHandle handle = tcpSocket();
  EXPECT_EQ(::fcntl(descriptorOf(handle), F_GETFL) & O_NONBLOCK, 0);
  for (const unsigned long mode : rowsOf({1UL, 0UL, 2UL, 0UL})) {
    EXPECT_EQ(system().ioctlsocketNonBlocking(handle, mode), 0);
    EXPECT_EQ((::fcntl(descriptorOf(handle), F_GETFL) & O_NONBLOCK) != 0, mode != 0) << mode;
  }
  system().closesocket(handle);
}

// --- accept

TEST_F(PosixWinsock, DescriptorsAreNotInherited) {
  const Pair pair;
  for (const SocketHandle handle : rowsOf({pair.listener, pair.client, pair.server}))
    EXPECT_EQ(::fcntl(descriptorOf(handle), F_GETFD), FD_CLOEXEC);
}

TEST_F(PosixWinsock, AcceptedSocketsBlockEvenIfTheListenerDoesNot) {
  const Pair pair;
  ASSERT_EQ(system().ioctlsocketNonBlocking(pair.listener, 1), 0);
  EXPECT_EQ(system().accept(pair.listener), invalidSocket);
  EXPECT_EQ(lastError(), 10035);
  const SocketHandle another = tcpSocket();
  ASSERT_EQ(connectTo(another, pair.address), 0);
  const SocketHandle accepted = system().accept(pair.listener);
  ASSERT_NE(accepted, invalidSocket);
  EXPECT_EQ(::fcntl(descriptorOf(accepted), F_GETFL) & O_NONBLOCK, 0);
  system().closesocket(accepted);
  system().closesocket(another);
}

TEST_F(PosixWinsock, WakeAcceptEndsCurrentAndLaterWaitsWithoutClosing) {
  const Pair pair;
  std::promise<void> started;
  std::thread waiter(reporting([&] {
    started.set_value();
    EXPECT_EQ(system().accept(pair.listener), invalidSocket);
    EXPECT_EQ(lastError(), 10022);
  }));
  std::thread selecting(reporting([&] {
    SocketSet read;
    SocketSet none;
    SocketSet noneEither;
    read.add(pair.listener);
    EXPECT_EQ(system().select(read, none, noneEither, nullptr), 1);
    EXPECT_TRUE(read.contains(pair.listener));
  }));
  started.get_future().wait();
  system().wakeAccept(pair.listener);
  waiter.join();
  selecting.join();
  EXPECT_EQ(system().accept(pair.listener), invalidSocket) << "and later ones";
  EXPECT_EQ(lastError(), 10022);
  EXPECT_GE(::fcntl(descriptorOf(pair.listener), F_GETFD), 0) << "the number means the same socket still";
}

// --- ends of connections

TEST_F(PosixWinsock, AReadAcceptsALengthAboveItsBufferIfFewerBytesArrive) {
  const GuardedMemory room(1);
  const Pair pair;
  EXPECT_EQ(system().send(pair.server, "x", 1), 1);
  EXPECT_EQ(system().recv(pair.client, room.back(1), 2), 1);
  EXPECT_EQ(*room.back(1), 'x');
}

TEST_F(PosixWinsock, SendRaisesNoSignal) {
  const ResetConnection connection;
  struct sigaction former {};
  struct sigaction fatal {};
  fatal.sa_handler = SIG_DFL;
  ASSERT_EQ(::sigaction(SIGPIPE, &fatal, &former), 0);
  for (int again = 0; again < 3; ++again) {
    ROW("again", again);
    EXPECT_EQ(system().send(connection.client, "x", 1), platform::socketError);
  }
  ::sigaction(SIGPIPE, &former, nullptr);
}

// --- select

TEST_F(PosixWinsock, SelectAcceptsDescriptorsAbove1024) {
  const Pair pair;
  const int high = ::fcntl(descriptorOf(pair.client), F_DUPFD_CLOEXEC, 1500);
  ASSERT_GE(high, 1500);
  SocketSet read;
  SocketSet write;
  SocketSet error;
  write.add(static_cast<SocketHandle>(high));
  EXPECT_EQ(system().select(read, write, error, nullptr), 1);
  EXPECT_TRUE(write.contains(static_cast<SocketHandle>(high)));
  EXPECT_EQ(system().closesocket(static_cast<SocketHandle>(high)), 0);
}

}  // namespace
}  // namespace tarvo::test
