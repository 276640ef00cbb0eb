#include "support/kelPeer.hpp"

#include "support/windows/kelWinsockStart.hpp"

#include <iphlpapi.h>

#include <algorithm>
#include <climits>
#include <vector>

namespace tarvo::test {
namespace {

constexpr Handle none = ~0ULL;

union Address {
  sockaddr any;
  sockaddr_in ipv4;
  sockaddr_in6 ipv6;
};

int sizeOf(Family family) {
  return family == Family::ipv4 ? sizeof(sockaddr_in) : sizeof(sockaddr_in6);
}

Address loopbackAddress(Family family) {
  Address address = {};
  if (family == Family::ipv4) {
    address.ipv4.sin_family = AF_INET;
    address.ipv4.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
  } else {
    address.ipv6.sin6_family = AF_INET6;
    address.ipv6.sin6_addr = in6addr_loopback;
  }
  return address;
}

/// A socket that is bound to a free loopback port; stores the port's number in `port`.
Handle bound(Family family, unsigned int& port) {
  winsockStarted();
  const Handle handle =
      checked(::socket(family == Family::ipv4 ? AF_INET : AF_INET6, SOCK_STREAM, IPPROTO_TCP), "socket");
  Address address = loopbackAddress(family);
  checked(::bind(handle, &address.any, sizeOf(family)), "bind");
  int size = sizeof address;
  checked(::getsockname(handle, &address.any, &size), "getsockname");
  port = ::ntohs(family == Family::ipv4 ? address.ipv4.sin_port : address.ipv6.sin6_port);
  return handle;
}

void drop(Handle& handle) {
  if (handle != none) ::closesocket(handle);
  handle = none;
}

void set(Handle handle, int level, int option, int value, const char* what) {
  checked(::setsockopt(handle, level, option, reinterpret_cast<const char*>(&value), sizeof value), what);
}

/// Waits until WSAPoll reports one of the `wanted` conditions, which may include POLLERR and POLLHUP.
void await(Handle handle, int wanted) {
  WSAPOLLFD entry = {handle, static_cast<short>(wanted & ~(POLLERR | POLLHUP)), 0};
  while ((entry.revents & wanted) == 0) checked(::WSAPoll(&entry, 1, -1), "WSAPoll");
}

/// The system's table of IPv4 connections.
std::vector<MIB_TCPROW> connections() {
  std::vector<unsigned char> room;
  ULONG size = 0;
  DWORD code = ERROR_INSUFFICIENT_BUFFER;
  while (code == ERROR_INSUFFICIENT_BUFFER) {
    room.resize(size);
    code = ::GetTcpTable(reinterpret_cast<MIB_TCPTABLE*>(room.data()), &size, FALSE);
  }
  if (code != NO_ERROR)
    throw std::system_error(static_cast<int>(code), std::system_category(), "GetTcpTable");
  const auto* const table = reinterpret_cast<const MIB_TCPTABLE*>(room.data());
  return {table->table, table->table + table->dwNumEntries};
}

bool isEstablished(Handle handle) {
  sockaddr_in own = {};
  sockaddr_in other = {};
  int size = sizeof own;
  checked(::getsockname(handle, reinterpret_cast<sockaddr*>(&own), &size), "getsockname");
  if (::getpeername(handle, reinterpret_cast<sockaddr*>(&other), &size) != 0) return false;
  const std::vector<MIB_TCPROW> all = connections();
  return std::any_of(all.begin(), all.end(), [&](const MIB_TCPROW& row) {
    return row.dwLocalPort == own.sin_port && row.dwRemotePort == other.sin_port &&
           row.dwState == MIB_TCP_STATE_ESTAB;
  });
}

}  // namespace

// The loopback is part of Winsock and needs no network.
void requireLoopback(Family /*family*/) {}

const char* loopback(Family family) {
  return family == Family::ipv4 ? "127.0.0.1" : "::1";
}

std::string pattern(std::size_t from, std::size_t count) {
  std::string bytes(count, '\0');
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t position = from + i;
    bytes[i] = static_cast<char>((position * 31 + position / 251 + position / 65521) & 0xFF);
  }
  return bytes;
}

Peer::Peer(Family family) : family_(family), listener_(bound(family, port_)), connection_(none) {
  checked(::listen(listener_, 1), "listen");
}

Peer::Peer(Server server, int window) : family_(Family::ipv4), port_(server.port), listener_(none) {
  winsockStarted();
  connection_ = checked(::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP), "socket");
  if (window != 0) {
    set(connection_, SOL_SOCKET, SO_RCVBUF, window, "receive buffer");
    set(connection_, SOL_SOCKET, SO_SNDBUF, window, "send buffer");
  }
  Address address = loopbackAddress(Family::ipv4);
  address.ipv4.sin_port = ::htons(static_cast<u_short>(port_));
  checked(::connect(connection_, &address.any, sizeOf(Family::ipv4)), "connect");
}

Peer::~Peer() {
  drop(listener_);
  drop(connection_);
}

Peer& Peer::accepts() {
  connection_ = checked(::accept(listener_, nullptr, nullptr), "accept");
  drop(listener_);
  return *this;
}

Peer& Peer::sends(std::size_t count) {
  says(pattern(sent_, count));
  sent_ += count;
  return *this;
}

Peer& Peer::says(std::string_view bytes) {
  while (!bytes.empty()) {
    const int count = static_cast<int>(std::min<std::size_t>(bytes.size(), INT_MAX));
    bytes.remove_prefix(
        static_cast<std::size_t>(checked(::send(connection_, bytes.data(), count, 0), "send")));
  }
  return *this;
}

Peer& Peer::saysByteByByte(std::string_view bytes) {
  set(connection_, IPPROTO_TCP, TCP_NODELAY, 1, "no delay");
  for (std::size_t i = 0; i < bytes.size(); ++i) says(bytes.substr(i, 1));
  return *this;
}

Peer& Peer::saysUrgently(char byte) {
  checked(::send(connection_, &byte, 1, MSG_OOB), "send");
  return *this;
}

std::string Peer::receives(std::size_t count) {
  std::string bytes(count, '\0');
  std::size_t total = 0;
  while (total < count) {
    const int room = static_cast<int>(std::min<std::size_t>(count - total, INT_MAX));
    const int got = checked(::recv(connection_, bytes.data() + total, room, 0), "recv");
    if (got == 0) break;
    total += static_cast<std::size_t>(got);
  }
  bytes.resize(total);
  return bytes;
}

std::string Peer::receivesAll() {
  std::string all;
  for (;;) {
    const std::string piece = receives(4096);
    all += piece;
    if (piece.size() < 4096) return all;
  }
}

Peer& Peer::shutsDownSending() {
  checked(::shutdown(connection_, SD_SEND), "shutdown");
  return *this;
}

Peer& Peer::closes() {
  drop(connection_);
  return *this;
}

Peer& Peer::resets() {
  const linger atOnce = {1, 0};
  checked(
      ::setsockopt(connection_, SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&atOnce), sizeof atOnce),
      "linger");
  return closes();
}

ClosedPort::ClosedPort(Family family) : handle_(bound(family, port_)) {}

ClosedPort::~ClosedPort() {
  drop(handle_);
}

FullPort::FullPort() : listener_(bound(Family::ipv4, port_)), waiting_(none) {
  // A queue of length 0 takes one connection. Once it is full, the system under Wine drops further attempts.
  checked(::listen(listener_, 0), "listen");
  unsigned int ownPort = 0;
  waiting_ = bound(Family::ipv4, ownPort);
  Address address = loopbackAddress(Family::ipv4);
  address.ipv4.sin_port = ::htons(static_cast<u_short>(port_));
  checked(::connect(waiting_, &address.any, sizeOf(Family::ipv4)), "connect");
  await(listener_, POLLRDNORM);
}

FullPort::~FullPort() {
  drop(listener_);
  drop(waiting_);
}

void awaitBytes(Handle handle, std::size_t count) {
  std::vector<char> seen(count);
  for (;;) {
    await(handle, POLLRDNORM);
    const int got = ::recv(handle, seen.data(), static_cast<int>(count), MSG_PEEK);
    if (got == static_cast<int>(count)) return;
    if (got == SOCKET_ERROR && ::WSAGetLastError() != WSAEWOULDBLOCK) checked(got, "recv");
    ::SwitchToThread();
  }
}

// Wine's poll reports the end of the stream only after all bytes before it were read.
void awaitEnd(Handle handle) {
  while (isEstablished(handle)) ::SwitchToThread();
}

void awaitReset(Handle handle) {
  await(handle, POLLERR);
}

void awaitUrgent(Handle handle) {
  fd_set urgent = {1, {handle}};
  checked(::select(0, nullptr, nullptr, &urgent, nullptr), "select");
}

}  // namespace tarvo::test
