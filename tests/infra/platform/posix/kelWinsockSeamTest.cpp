// The POSIX side of the seam, held against what Winsock answers: POSIX's own headers are at home here.

#include "platform/kelWinsock.hpp"
#include "platform/posix/kelWinsockCodes.hpp"
#include "support/kelHandles.hpp"

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

using platform::invalidSocket;
using platform::SocketHandle;
using platform::SocketSet;
using platform::TimeValue;
namespace posix = platform::posix;

using Address = std::vector<unsigned char>;

platform::Winsock& system() {
  return platform::systemWinsock();
}

int lastError() {
  return system().WSAGetLastError();
}

int descriptorOf(SocketHandle handle) {
  return static_cast<int>(handle);
}

SocketHandle tcpSocket(int family = 2) {
  const SocketHandle handle = system().socket(family, 1, 6);
  EXPECT_NE(handle, invalidSocket);
  return handle;
}

/// A Winsock address of this machine.
Address loopback(unsigned int port = 0) {
  return {2,
          0,
          static_cast<unsigned char>(port >> 8),
          static_cast<unsigned char>(port),
          127,
          0,
          0,
          1,
          0,
          0,
          0,
          0,
          0,
          0,
          0,
          0};
}

Address loopback6(unsigned int port = 0) {
  Address address(28);
  address[0] = 23;
  address[2] = static_cast<unsigned char>(port >> 8);
  address[3] = static_cast<unsigned char>(port);
  address[23] = 1;
  return address;
}

Address nameOf(SocketHandle handle) {
  Address name(128);
  std::size_t length = name.size();
  EXPECT_EQ(system().getsockname(handle, name.data(), length), 0);
  name.resize(length);
  return name;
}

int connectTo(SocketHandle handle, const Address& address) {
  return system().connect(handle, address.data(), address.size());
}

/// A listener on a port of the system's choice, and one connection to it with both its ends.
class Pair {
 public:
  explicit Pair(const Address& wildcard = loopback())
      : listener(tcpSocket(wildcard[0])), client(tcpSocket(wildcard[0])) {
    EXPECT_EQ(system().bind(listener, wildcard.data(), wildcard.size()), 0);
    EXPECT_EQ(system().listen(listener, 5), 0);
    address = nameOf(listener);
    EXPECT_EQ(connectTo(client, address), 0);
    server = system().accept(listener);
    EXPECT_NE(server, invalidSocket);
  }
  Pair(const Pair&) = delete;
  Pair& operator=(const Pair&) = delete;
  ~Pair() {
    for (const SocketHandle handle : {listener, client, server}) {
      if (handle != invalidSocket) system().closesocket(handle);
    }
  }
  void reset(SocketHandle& end) const {
    const linger hard = {1, 0};
    ::setsockopt(descriptorOf(end), SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
    system().closesocket(end);
    end = invalidSocket;
  }

  SocketHandle listener;
  SocketHandle client;
  SocketHandle server = invalidSocket;
  Address address;
};

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

TEST(PosixCodes, OfEveryErrnoAreWinsocks) {
  const std::map<int, int> expected = expectedCodes();
  for (int value = -5; value < 200; ++value) {
    const auto found = expected.find(value);
    EXPECT_EQ(posix::winsockCode(value), found == expected.end() ? 10107 : found->second) << value;
  }
  EXPECT_EQ(posix::winsockCode(EWOULDBLOCK), 10035);
  EXPECT_EQ(posix::winsockCode(ENOTSUP), 10045);
}

TEST(PosixCodes, TableHasEachErrnoOnce) {
  std::map<int, int> table;
  for (const posix::CodePair& pair : posix::errnoCodes) {
    EXPECT_TRUE(table.emplace(pair.posix, pair.winsock).second) << pair.posix;
  }
  EXPECT_EQ(table, expectedCodes());
}

TEST(PosixCodes, OfTheResolverGoThereAndBack) {
  struct Row {
    int posix;
    int winsock;
  };
  const std::vector<Row> rows = {{EAI_NONAME, 11001},   {EAI_AGAIN, 11002},  {EAI_FAIL, 11003},
                                 {EAI_BADFLAGS, 10022}, {EAI_FAMILY, 10047}, {EAI_SOCKTYPE, 10044},
                                 {EAI_SERVICE, 10109},  {EAI_MEMORY, 8}};
  for (const Row& row : rows) {
    EXPECT_EQ(posix::winsockResolverCode(row.posix), row.winsock) << row.posix;
    EXPECT_EQ(posix::posixResolverCode(row.winsock), row.posix) << row.winsock;
    EXPECT_EQ(system().systemText(row.winsock), ::gai_strerror(row.posix)) << row.winsock;
  }
  EXPECT_EQ(posix::winsockResolverCode(EAI_NODATA), 11001);
  for (const posix::CodePair& pair : posix::resolverCodes)
    EXPECT_EQ(posix::winsockResolverCode(pair.posix), pair.winsock) << pair.posix;
  for (const int unknown : {0, 1, -12345, 10061, 11004}) {
    EXPECT_EQ(posix::posixResolverCode(unknown), 0) << unknown;
    EXPECT_EQ(system().systemText(unknown), "") << unknown;
  }
  for (const int unknown : {1, -12345, EAI_OVERFLOW}) EXPECT_EQ(posix::winsockResolverCode(unknown), 11003);
}

TEST_F(PosixWinsock, LastErrorIsTheThreadsOwn) {
  system().WSASetLastError(10061);
  std::thread([] {
    EXPECT_EQ(lastError(), 0) << "a new thread has none";
    system().WSASetLastError(10054);
    EXPECT_EQ(lastError(), 10054);
  }).join();
  EXPECT_EQ(lastError(), 10061);
}

TEST_F(PosixWinsock, LastErrorSurvivesCallsThatSucceed) {
  system().WSASetLastError(12345);
  const SocketHandle handle = tcpSocket();
  system().closesocket(handle);
  EXPECT_EQ(lastError(), 12345);
}

TEST_F(PosixWinsock, StartsInTheVersionAskedFor) {
  platform::StartupData data;
  EXPECT_EQ(system().WSAStartup(0x0202, data), 0);
  EXPECT_EQ(data.version, 0x0202);
  EXPECT_EQ(system().WSACleanup(), 0);
}

// --- handles that are no sockets

struct Function {
  const char* name;
  std::function<bool(SocketHandle)> fails;
};

std::vector<Function> functionsOfAHandle() {
  const auto is = [](int result) { return result == platform::socketError; };
  return {
      {"connect", [=](SocketHandle h) { return is(connectTo(h, loopback(1))); }},
      {"bind", [=](SocketHandle h) { return is(system().bind(h, loopback().data(), 16)); }},
      {"listen", [=](SocketHandle h) { return is(system().listen(h, 1)); }},
      {"accept", [](SocketHandle h) { return system().accept(h) == invalidSocket; }},
      {"closesocket", [=](SocketHandle h) { return is(system().closesocket(h)); }},
      {"send", [=](SocketHandle h) { return is(system().send(h, "x", 1)); }},
      {"send of nothing", [=](SocketHandle h) { return is(system().send(h, "x", 0)); }},
      {"recv",
       [=](SocketHandle h) {
         char byte = 0;
         return is(system().recv(h, &byte, 1));
       }},
      {"shutdown", [=](SocketHandle h) { return is(system().shutdown(h, 2)); }},
      {"ioctlsocket", [=](SocketHandle h) { return is(system().ioctlsocketNonBlocking(h, 1)); }},
      {"setsockopt", [=](SocketHandle h) { return is(system().setsockopt(h, 0xFFFF, 4, 1)); }},
      {"setsockopt of a time-out",
       [=](SocketHandle h) { return is(system().setsockopt(h, 0xFFFF, 0x1006, 1)); }},
      {"setsockopt of no delay", [=](SocketHandle h) { return is(system().setsockopt(h, 6, 1, 1)); }},
      {"getsockopt",
       [=](SocketHandle h) {
         int value = 0;
         return is(system().getsockopt(h, 0xFFFF, 0x1007, value));
       }},
      {"getsockname",
       [=](SocketHandle h) {
         unsigned char name[128];
         std::size_t length = sizeof name;
         return is(system().getsockname(h, name, length));
       }},
      {"select for reading",
       [=](SocketHandle h) {
         SocketSet read;
         SocketSet none;
         SocketSet noneEither;
         read.add(h);
         const TimeValue now = {0, 0};
         return is(system().select(read, none, noneEither, &now));
       }},
      {"select for an error",
       [=](SocketHandle h) {
         SocketSet error;
         SocketSet none;
         SocketSet noneEither;
         error.add(h);
         return is(system().select(none, noneEither, error, nullptr));
       }},
  };
}

TEST_F(PosixWinsock, HandlesThatAreNoSocketsSaySoEverywhere) {
  std::array<int, 2> pipe{};
  ASSERT_EQ(::pipe2(pipe.data(), O_CLOEXEC), 0);
  const SocketHandle open = tcpSocket();
  const SocketHandle closed = tcpSocket();
  system().closesocket(closed);
  const std::vector<std::pair<const char*, SocketHandle>> handles = {
      {"closed", closed},
      {"a pipe", static_cast<SocketHandle>(pipe[0])},
      {"a pipe's other end", static_cast<SocketHandle>(pipe[1])},
      {"none", invalidSocket},
      {"beyond any descriptor", 2000000000ULL},
      {"beyond int, an open socket in its low half", (1ULL << 32U) + open},
      {"the sign bit", 1ULL << 63U}};
  for (const auto& [what, handle] : handles) {
    for (const Function& function : functionsOfAHandle()) {
      SCOPED_TRACE(testing::Message() << function.name << " of " << what);
      system().WSASetLastError(0);
      EXPECT_TRUE(function.fails(handle));
      EXPECT_EQ(lastError(), 10038);
    }
  }
  EXPECT_EQ(system().closesocket(open), 0);
  EXPECT_EQ(::fcntl(pipe[0], F_GETFD), FD_CLOEXEC) << "still open: it was not the seam's to close";
  ::close(pipe[0]);
  ::close(pipe[1]);
}

// --- socket, addresses

TEST_F(PosixWinsock, SocketRefusesWhatWinsockDoesNotKnow) {
  struct Row {
    int family;
    int type;
    int protocol;
    int code;
  };
  for (const Row& row :
       {Row{0, 1, 6, 10047}, Row{1, 1, 0, 10047}, Row{AF_INET6, 1, 6, 10047}, Row{AF_PACKET, 1, 0, 10047},
        Row{-1, 1, 6, 10047}, Row{99, 1, 6, 10047}, Row{2, 0, 6, 10044}, Row{2, -1, 6, 10044},
        Row{2, 6, 6, 10044}, Row{2, 10, 6, 10044}, Row{2, 1 | SOCK_NONBLOCK, 6, 10044},
        Row{2, 1 | SOCK_CLOEXEC, 6, 10044}, Row{2, INT_MIN + 1, 6, 10044}, Row{2, 1, 254, 10043}}) {
    SCOPED_TRACE(testing::Message() << row.family << " " << row.type << " " << row.protocol);
    system().WSASetLastError(0);
    EXPECT_EQ(system().socket(row.family, row.type, row.protocol), invalidSocket);
    EXPECT_EQ(lastError(), row.code);
  }
}

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

TEST_F(PosixWinsock, ConnectsOverIpv6ByWinsocksAddress) {
  const Pair pair(loopback6());
  EXPECT_EQ(system().send(pair.client, "six", 3), 3);
  char bytes[4] = {};
  EXPECT_EQ(system().recv(pair.server, bytes, 3), 3);
  EXPECT_STREQ(bytes, "six");
}

TEST_F(PosixWinsock, NameIsCutAtTheRoomGiven) {
  const SocketHandle handle = tcpSocket();
  system().bind(handle, loopback().data(), 16);
  for (const std::size_t room : {0U, 1U, 2U, 8U, 15U, 16U}) {
    Address bytes(20, 0xEE);
    std::size_t length = room;
    EXPECT_EQ(system().getsockname(handle, bytes.data(), length), 0);
    EXPECT_EQ(length, room);
    EXPECT_EQ(bytes[room], 0xEE) << room;
  }
  system().closesocket(handle);
}

TEST_F(PosixWinsock, AddressesOfOtherFamiliesOrCutShortAreRefused) {
  const SocketHandle handle = tcpSocket();
  const auto withFamily = [](int family) {
    Address address = loopback(1);
    address.resize(128);
    address[0] = static_cast<unsigned char>(family);
    address[1] = static_cast<unsigned char>(family >> 8);
    return address;
  };
  struct Row {
    const char* what;
    Address address;
    int code;
  };
  Address cut4 = loopback(1);
  cut4.resize(15);
  Address cut6 = loopback6(1);
  cut6.resize(27);
  const std::vector<Row> rows = {
      {"unspecified", withFamily(0), 10047},
      {"the system's own IPv6", withFamily(AF_INET6), 10047},
      {"local", withFamily(AF_UNIX), 10047},
      {"garbage", withFamily(0xEEEE), 10047},
      {"IPv4 in the low byte only", withFamily(0x0102), 10047},
      {"no bytes", {}, 10014},
      {"one byte", {2}, 10014},
      {"a family alone", {2, 0}, 10014},
      {"15 bytes", cut4, 10014},
      {"27 bytes of IPv6", cut6, 10014},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    for (const bool binding : {false, true}) {
      system().WSASetLastError(0);
      EXPECT_EQ(binding ? system().bind(handle, row.address.data(), row.address.size())
                        : connectTo(handle, row.address),
                platform::socketError);
      EXPECT_EQ(lastError(), row.code) << binding;
    }
  }
  EXPECT_EQ(system().connect(handle, nullptr, 16), platform::socketError);
  EXPECT_EQ(lastError(), 10014);
  system().closesocket(handle);
}

TEST_F(PosixWinsock, ConnectToNoFamilyDoesNotEndAConnection) {
  const Pair pair;
  Address unspecified(16);
  EXPECT_EQ(connectTo(pair.client, unspecified), platform::socketError);
  EXPECT_EQ(system().send(pair.client, "x", 1), 1) << "still connected";
}

TEST_F(PosixWinsock, AddressesMayBeLongerThanTheirFamilys) {
  const Pair pair;
  const SocketHandle another = tcpSocket();
  Address address = pair.address;
  address.resize(128, 0xEE);
  EXPECT_EQ(connectTo(another, address), 0);
  system().closesocket(another);
}

TEST_F(PosixWinsock, FailuresOfConnectAndBindHaveWinsocksCodes) {
  const Pair pair;
  EXPECT_EQ(connectTo(pair.client, pair.address), platform::socketError);
  EXPECT_EQ(lastError(), 10056);
  const SocketHandle second = tcpSocket();
  EXPECT_EQ(system().bind(second, pair.address.data(), pair.address.size()), platform::socketError);
  EXPECT_EQ(lastError(), 10048);
  ASSERT_EQ(system().bind(second, loopback().data(), 16), 0);
  const Address closedPort = nameOf(second);  // bound, and nobody listens
  const SocketHandle third = tcpSocket();
  EXPECT_EQ(connectTo(third, closedPort), platform::socketError);
  EXPECT_EQ(lastError(), 10061);
  system().closesocket(second);
  system().closesocket(third);
}

TEST_F(PosixWinsock, ConnectInProgressSaysWouldBlockAndFailsLaterInTheErrorSetAlone) {
  const SocketHandle bound = tcpSocket();
  system().bind(bound, loopback().data(), 16);
  const SocketHandle handle = tcpSocket();
  system().ioctlsocketNonBlocking(handle, 1);
  EXPECT_EQ(connectTo(handle, nameOf(bound)), platform::socketError);
  EXPECT_EQ(lastError(), 10035);
  SocketSet read;
  SocketSet write;
  SocketSet error;
  write.add(handle);
  error.add(handle);
  EXPECT_EQ(system().select(read, write, error, nullptr), 1);
  EXPECT_EQ(write.count, 0U);
  EXPECT_TRUE(error.contains(handle));
  int pending = 0;
  EXPECT_EQ(system().getsockopt(handle, 0xFFFF, 0x1007, pending), 0);
  EXPECT_EQ(pending, 10061) << "the wait left it";
  system().closesocket(handle);
  system().closesocket(bound);
}

// --- resolver

TEST_F(PosixWinsock, ResolverAnswersInWinsocksNumbers) {
  const platform::AddressHints hints = {0, 0, 1, 0};
  std::vector<platform::ResolvedAddress> list;
  EXPECT_EQ(system().getaddrinfo("::1", "4711", hints, list), 0);
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].family, 23);
  EXPECT_EQ(list[0].socketType, 1);
  EXPECT_EQ(list[0].protocol, 6);
  EXPECT_EQ(list[0].address, loopback6(4711));
  EXPECT_EQ(list[0].canonicalName, "");
  list.clear();
  EXPECT_EQ(system().getaddrinfo("127.0.0.1", "80", hints, list), 0);
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].family, 2);
  EXPECT_EQ(list[0].address, loopback(80));
}

TEST_F(PosixWinsock, ResolverOffersTheWildcardForListening) {
  std::vector<platform::ResolvedAddress> list;
  EXPECT_EQ(system().getaddrinfo(nullptr, "0", {1, 0, 1, 0}, list), 0);
  ASSERT_FALSE(list.empty());
  EXPECT_EQ(list[0].family, 2) << "IPv4 comes first";
  EXPECT_EQ(list[0].address, Address({2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
  list.clear();
  EXPECT_EQ(system().getaddrinfo(nullptr, "80", {1, 23, 1, 0}, list), 0);
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].family, 23);
  Address wildcard6(28);
  wildcard6[0] = 23;
  wildcard6[3] = 80;
  EXPECT_EQ(list[0].address, wildcard6);
}

TEST_F(PosixWinsock, ResolverReturnsItsCodeAndLeavesTheList) {
  std::vector<platform::ResolvedAddress> list;
  EXPECT_EQ(system().getaddrinfo("no.such.name.invalid.", "80", {0, 2, 99, 0}, list), 10044);
  EXPECT_EQ(system().getaddrinfo("127.0.0.1", "80", {0, 99, 1, 0}, list), 10047);
  EXPECT_EQ(system().getaddrinfo("127.0.0.1", "no-such-service", {0, 2, 1, 0}, list), 10109);
  EXPECT_EQ(system().getaddrinfo(nullptr, nullptr, {0, 0, 1, 0}, list), 11001);
  EXPECT_TRUE(list.empty());
}

// --- options

TEST_F(PosixWinsock, OptionsGoToTheSystemByTheirOwnNumbers) {
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
  for (const Row& row : {Row{"reuse", 0xFFFF, 4, SOL_SOCKET, SO_REUSEADDR, 1, 1},
                         Row{"no reuse", 0xFFFF, 4, SOL_SOCKET, SO_REUSEADDR, 0, 0},
                         Row{"no delay", 6, 1, IPPROTO_TCP, TCP_NODELAY, 1, 1},
                         Row{"delay", 6, 1, IPPROTO_TCP, TCP_NODELAY, 0, 0},
                         Row{"send buffer", 0xFFFF, 0x1001, SOL_SOCKET, SO_SNDBUF, 20000, 40000},
                         Row{"receive buffer", 0xFFFF, 0x1002, SOL_SOCKET, SO_RCVBUF, 30000, 60000}}) {
    SCOPED_TRACE(row.name);
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
       {std::pair{0xFFFF, 0x1234}, {6, 2}, {1, SO_REUSEADDR}, {0xFFFF, 2}, {0, 1}}) {
    SCOPED_TRACE(testing::Message() << level << " " << option);
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
  for (const auto& [option, native] : {std::pair{0x1006, SO_RCVTIMEO}, {0x1005, SO_SNDTIMEO}}) {
    for (const unsigned int milliseconds : {1000U, 0U, 1U, 1500U, 2147483648U, 4294967295U}) {
      SCOPED_TRACE(testing::Message() << option << " " << milliseconds);
      EXPECT_EQ(system().setsockopt(handle, 0xFFFF, option, static_cast<int>(milliseconds)), 0);
      timeval time{};
      socklen_t size = sizeof time;
      ::getsockopt(descriptorOf(handle), SOL_SOCKET, native, &time, &size);
      const long long set = time.tv_sec * 1000LL + time.tv_usec / 1000;
      int value = -1;
      EXPECT_EQ(system().getsockopt(handle, 0xFFFF, option, value), 0);
      EXPECT_EQ(static_cast<unsigned int>(value), static_cast<unsigned int>(set));
      // The system counts in ticks of at most 10 ms and rounds up.
      EXPECT_GE(set, milliseconds);
      EXPECT_LE(set, milliseconds == 0 ? 0 : milliseconds + 10LL);
    }
  }
  system().closesocket(handle);
}

TEST_F(PosixWinsock, ATransferPastItsTimeoutIsTimedOutAndANonBlockingOneWouldBlock) {
  const Pair pair;
  char byte = 0;
  ASSERT_EQ(system().setsockopt(pair.client, 0xFFFF, 0x1006, 1), 0);
  ASSERT_EQ(system().setsockopt(pair.client, 0xFFFF, 0x1005, 1), 0);
  EXPECT_EQ(system().recv(pair.client, &byte, 1), platform::socketError);
  EXPECT_EQ(lastError(), 10060);
  const std::vector<char> much(1 << 16);
  int sent = 0;
  while (sent >= 0) sent = system().send(pair.client, much.data(), static_cast<int>(much.size()));
  EXPECT_EQ(lastError(), 10060) << "nobody receives";
  ASSERT_EQ(system().ioctlsocketNonBlocking(pair.client, 1), 0);
  EXPECT_EQ(system().recv(pair.client, &byte, 1), platform::socketError);
  EXPECT_EQ(lastError(), 10035);
  EXPECT_EQ(system().send(pair.client, much.data(), static_cast<int>(much.size())), platform::socketError);
  EXPECT_EQ(lastError(), 10035);
  ASSERT_EQ(system().ioctlsocketNonBlocking(pair.client, 0), 0);
  EXPECT_EQ(system().recv(pair.client, &byte, 1), platform::socketError);
  EXPECT_EQ(lastError(), 10060) << "blocking again";
}

TEST_F(PosixWinsock, NonBlockingIsTheDescriptorsOwnFlag) {
  const SocketHandle handle = tcpSocket();
  EXPECT_EQ(::fcntl(descriptorOf(handle), F_GETFL) & O_NONBLOCK, 0);
  for (const unsigned long mode : {1UL, 0UL, 2UL, 0UL}) {
    EXPECT_EQ(system().ioctlsocketNonBlocking(handle, mode), 0);
    EXPECT_EQ((::fcntl(descriptorOf(handle), F_GETFL) & O_NONBLOCK) != 0, mode != 0) << mode;
  }
  system().closesocket(handle);
}

// --- accept

TEST_F(PosixWinsock, DescriptorsAreNotInherited) {
  const Pair pair;
  for (const SocketHandle handle : {pair.listener, pair.client, pair.server})
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

TEST_F(PosixWinsock, WakeAcceptEndsWaitsNowAndLaterWithoutClosing) {
  const Pair pair;
  std::promise<void> started;
  std::thread waiter([&] {
    started.set_value();
    EXPECT_EQ(system().accept(pair.listener), invalidSocket);
    EXPECT_EQ(lastError(), 10022);
  });
  std::thread selecting([&] {
    SocketSet read;
    SocketSet none;
    SocketSet noneEither;
    read.add(pair.listener);
    EXPECT_EQ(system().select(read, none, noneEither, nullptr), 1);
    EXPECT_TRUE(read.contains(pair.listener));
  });
  started.get_future().wait();
  system().wakeAccept(pair.listener);
  waiter.join();
  selecting.join();
  EXPECT_EQ(system().accept(pair.listener), invalidSocket) << "and later ones";
  EXPECT_EQ(lastError(), 10022);
  EXPECT_GE(::fcntl(descriptorOf(pair.listener), F_GETFD), 0) << "the number means the same socket still";
}

TEST_F(PosixWinsock, BacklogsBeyondIntAreTaken) {
  const SocketHandle handle = tcpSocket();
  system().bind(handle, loopback().data(), 16);
  EXPECT_EQ(system().listen(handle, 4294967295U), 0);
  const SocketHandle client = tcpSocket();
  EXPECT_EQ(connectTo(client, nameOf(handle)), 0);
  system().closesocket(client);
  system().closesocket(handle);
}

// --- ends of connections

TEST_F(PosixWinsock, AnEndedDirectionIsShutDown) {
  const Pair pair;
  char byte = 0;
  EXPECT_EQ(system().shutdown(pair.client, 1), 0);
  for (int again = 0; again < 2; ++again) {
    EXPECT_EQ(system().send(pair.client, "x", 1), platform::socketError);
    EXPECT_EQ(lastError(), 10058);
  }
  EXPECT_EQ(system().recv(pair.server, &byte, 1), 0) << "the peer sees an end";
  EXPECT_EQ(system().send(pair.server, "y", 1), 1);
  EXPECT_EQ(system().recv(pair.client, &byte, 1), 1) << "the other direction lives";
  EXPECT_EQ(system().shutdown(pair.client, 0), 0);
  EXPECT_EQ(system().recv(pair.client, &byte, 1), platform::socketError);
  EXPECT_EQ(lastError(), 10058);
  EXPECT_EQ(system().shutdown(pair.client, 3), platform::socketError);
  EXPECT_EQ(lastError(), 10022);
  EXPECT_EQ(system().shutdown(pair.client, -1), platform::socketError);
  EXPECT_EQ(lastError(), 10022);
}

TEST_F(PosixWinsock, ANewSocketOfAnOldNumberKnowsNothingOfItsShutDown) {
  SocketHandle number = invalidSocket;
  {
    const Pair pair;
    EXPECT_EQ(system().shutdown(pair.client, 2), 0);
    number = pair.client;
  }
  const Pair pair;
  EXPECT_EQ(pair.client, number) << "the system gives the lowest free number";
  EXPECT_EQ(system().send(pair.client, "x", 1), 1);
}

TEST_F(PosixWinsock, TransferAndShutDownOfWhatIsNotConnectedSaySo) {
  const SocketHandle handle = tcpSocket();
  char byte = 0;
  EXPECT_EQ(system().recv(handle, &byte, 1), platform::socketError);
  EXPECT_EQ(lastError(), 10057);
  EXPECT_EQ(system().shutdown(handle, 2), platform::socketError);
  EXPECT_EQ(lastError(), 10057);
  system().closesocket(handle);
}

TEST_F(PosixWinsock, AResetIsReportedOnEveryCall) {
  Pair pair;
  pair.reset(pair.server);
  char byte = 0;
  for (int again = 0; again < 3; ++again) {
    EXPECT_EQ(system().recv(pair.client, &byte, 1), platform::socketError);
    EXPECT_EQ(lastError(), 10054);
    EXPECT_EQ(system().send(pair.client, "x", 1), platform::socketError);
    EXPECT_EQ(lastError(), 10054);
  }
}

TEST_F(PosixWinsock, AResetMakesReadableAndIsNoErrorCondition) {
  Pair pair;
  pair.reset(pair.server);
  SocketSet read;
  SocketSet write;
  SocketSet error;
  read.add(pair.client);
  error.add(pair.client);
  EXPECT_EQ(system().select(read, write, error, nullptr), 1);
  EXPECT_TRUE(read.contains(pair.client));
  EXPECT_EQ(error.count, 0U);
}

TEST_F(PosixWinsock, SendRaisesNoSignal) {
  Pair pair;
  pair.reset(pair.server);
  struct sigaction former {};
  struct sigaction fatal {};
  fatal.sa_handler = SIG_DFL;
  ASSERT_EQ(::sigaction(SIGPIPE, &fatal, &former), 0);
  for (int again = 0; again < 3; ++again)
    EXPECT_EQ(system().send(pair.client, "x", 1), platform::socketError);
  ::sigaction(SIGPIPE, &former, nullptr);
}

// --- select

TEST_F(PosixWinsock, SelectKeepsTheReadyOnesInOrderAndCountsEachSet) {
  const Pair one;
  const Pair two;
  const Pair three;
  system().send(one.server, "x", 1);
  system().send(three.server, "x", 1);
  SocketSet arrived;
  SocketSet none;
  SocketSet noneEither;
  for (const SocketHandle handle : {one.client, three.client}) {
    arrived.count = 0;
    arrived.add(handle);
    ASSERT_EQ(system().select(arrived, none, noneEither, nullptr), 1);
  }
  SocketSet read;
  SocketSet write;
  SocketSet error;
  for (const Pair* pair : {&three, &two, &one}) {
    read.add(pair->client);
    write.add(pair->client);
    error.add(pair->client);
  }
  const TimeValue now = {0, 0};
  EXPECT_EQ(system().select(read, write, error, &now), 5);
  ASSERT_EQ(read.count, 2U);
  EXPECT_EQ(read.handles[0], three.client);
  EXPECT_EQ(read.handles[1], one.client);
  EXPECT_EQ(write.count, 3U);
  EXPECT_EQ(error.count, 0U);
}

TEST_F(PosixWinsock, SelectTakesDescriptorsAbove1024) {
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

TEST_F(PosixWinsock, SelectWithNothingReadyEndsAtItsTimeWithEmptySets) {
  const Pair pair;
  SocketSet read;
  SocketSet write;
  SocketSet error;
  read.add(pair.client);
  error.add(pair.client);
  const TimeValue soon = {0, 1000};
  EXPECT_EQ(system().select(read, write, error, &soon), 0);
  EXPECT_EQ(read.count + error.count, 0U);
}

TEST(SocketSetTest, AddsAsTheSystemsMacroDoes) {
  SocketSet set;
  for (SocketHandle handle = 0; handle < 64; ++handle) {
    set.add(handle);
    set.add(handle);
    EXPECT_EQ(set.count, handle + 1);
  }
  set.add(64);
  EXPECT_EQ(set.count, 64U);
  EXPECT_TRUE(set.contains(63));
  EXPECT_FALSE(set.contains(64));
}

TEST_F(PosixWinsock, TellsThatAHandleWithATimeoutToAskForIsNoSocket) {
  int value = 7;
  EXPECT_EQ(
      system().getsockopt(platform::invalidSocket, platform::levelSocket, platform::optionSendTimeout, value),
      platform::socketError);
  EXPECT_EQ(system().WSAGetLastError(), platform::wsa::notASocket);
  EXPECT_EQ(value, 7);
}

TEST_F(PosixWinsock, ResolvesWithoutAServiceAndRefusesOneThatIsNoNumber) {
  const platform::AddressHints hints = {0, 0, platform::typeStream, 0};
  std::vector<platform::ResolvedAddress> list;
  EXPECT_EQ(system().getaddrinfo("127.0.0.1", nullptr, hints, list), 0);
  EXPECT_EQ(list.size(), 1U);
  EXPECT_NE(system().getaddrinfo("127.0.0.1", "70000x", hints, list), 0);
  EXPECT_EQ(system().getaddrinfo("127.0.0.1", "70000", hints, list), platform::wsa::typeNotFound);
  EXPECT_EQ(list.size(), 1U);
}

}  // namespace
}  // namespace tarvo::test
