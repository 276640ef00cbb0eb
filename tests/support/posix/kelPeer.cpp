#include "support/kelPeer.hpp"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <vector>

namespace tarvo::test {
namespace {

constexpr Handle none = ~0ULL;

int descriptor(Handle handle) {
  return static_cast<int>(handle);
}

/// Returns the result of a system call; throws if it is -1.
template <class Result>
Result checked(Result result, const char* what) {
  if (result == -1) throw std::system_error(errno, std::generic_category(), what);
  return result;
}

/// Makes a system call, and repeats it as long as a signal interrupts it. Returns its result.
template <class Call>
auto unlessInterrupted(const char* what, const Call& call) {
  for (;;) {
    const auto result = call();
    if (result != -1 || errno != EINTR) return checked(result, what);
  }
}

union Address {
  sockaddr any;
  sockaddr_in ipv4;
  sockaddr_in6 ipv6;
};

socklen_t sizeOf(Family family) {
  return family == Family::ipv4 ? sizeof(sockaddr_in) : sizeof(sockaddr_in6);
}

Address loopbackAddress(Family family) {
  Address address = {};
  if (family == Family::ipv4) {
    address.ipv4.sin_family = AF_INET;
    address.ipv4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  } else {
    address.ipv6.sin6_family = AF_INET6;
    address.ipv6.sin6_addr = in6addr_loopback;
  }
  return address;
}

/// A socket that is bound to a free loopback port; stores the port's number in `port`.
Handle bound(Family family, unsigned int& port) {
  const int fd =
      checked(::socket(family == Family::ipv4 ? AF_INET : AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket");
  requireLoopback(family);
  Address address = loopbackAddress(family);
  checked(::bind(fd, &address.any, sizeOf(family)), "bind");
  socklen_t size = sizeof address;
  checked(::getsockname(fd, &address.any, &size), "getsockname");
  port = ntohs(family == Family::ipv4 ? address.ipv4.sin_port : address.ipv6.sin6_port);
  return static_cast<Handle>(fd);
}

void set(Handle handle, int level, int option, int value, const char* what) {
  checked(::setsockopt(descriptor(handle), level, option, &value, sizeof value), what);
}

void drop(Handle& handle) {
  if (handle != none) ::close(descriptor(handle));
  handle = none;
}

/// Waits until poll reports one of the `wanted` conditions, which may include POLLERR and POLLHUP.
void await(Handle handle, int wanted) {
  pollfd entry = {descriptor(handle), static_cast<short>(wanted & ~(POLLERR | POLLHUP)), 0};
  while ((entry.revents & wanted) == 0) {
    if (::poll(&entry, 1, -1) == -1 && errno != EINTR) checked(-1, "poll");
  }
}

}  // namespace

void requireLoopback(Family family) {
  const int probe = checked(::socket(family == Family::ipv4 ? AF_INET : AF_INET6, SOCK_DGRAM, 0), "socket");
  Address address = loopbackAddress(family);
  address.ipv4.sin_port = htons(9);  // IPv6 has its port at the same offset; nothing is sent
  const int result = ::connect(probe, &address.any, sizeOf(family));
  const int code = errno;
  ::close(probe);
  if (result == -1) throw std::system_error(code, std::generic_category(), loopback(family));
}

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
  checked(::listen(descriptor(listener_), 1), "listen");
}

Peer::Peer(Server server, int window) : family_(Family::ipv4), port_(server.port), listener_(none) {
  connection_ = static_cast<Handle>(checked(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket"));
  if (window != 0) {
    set(connection_, SOL_SOCKET, SO_RCVBUF, window, "receive buffer");
    set(connection_, SOL_SOCKET, SO_SNDBUF, window, "send buffer");
  }
  Address address = loopbackAddress(Family::ipv4);
  address.ipv4.sin_port = htons(static_cast<std::uint16_t>(port_));
  checked(::connect(descriptor(connection_), &address.any, sizeOf(Family::ipv4)), "connect");
}

Peer::~Peer() {
  drop(listener_);
  drop(connection_);
}

Peer& Peer::accepts() {
  connection_ = static_cast<Handle>(unlessInterrupted(
      "accept", [&] { return ::accept4(descriptor(listener_), nullptr, nullptr, SOCK_CLOEXEC); }));
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
    const ssize_t taken = unlessInterrupted(
        "send", [&] { return ::send(descriptor(connection_), bytes.data(), bytes.size(), MSG_NOSIGNAL); });
    bytes.remove_prefix(static_cast<std::size_t>(taken));
  }
  return *this;
}

Peer& Peer::saysByteByByte(std::string_view bytes) {
  set(connection_, IPPROTO_TCP, TCP_NODELAY, 1, "no delay");
  for (std::size_t i = 0; i < bytes.size(); ++i) says(bytes.substr(i, 1));
  return *this;
}

Peer& Peer::saysUrgently(char byte) {
  checked(::send(descriptor(connection_), &byte, 1, MSG_OOB | MSG_NOSIGNAL), "send");
  return *this;
}

std::string Peer::receives(std::size_t count) {
  std::string bytes(count, '\0');
  std::size_t total = 0;
  while (total < count) {
    const ssize_t got = unlessInterrupted("recv", [&] {
      return ::recv(descriptor(connection_), bytes.data() + total, count - total, MSG_WAITALL);
    });
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
  checked(::shutdown(descriptor(connection_), SHUT_WR), "shutdown");
  return *this;
}

Peer& Peer::closes() {
  drop(connection_);
  return *this;
}

Peer& Peer::resets() {
  const linger atOnce = {1, 0};
  checked(::setsockopt(descriptor(connection_), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce), "linger");
  return closes();
}

ClosedPort::ClosedPort(Family family) : handle_(bound(family, port_)) {}

ClosedPort::~ClosedPort() {
  drop(handle_);
}

FullPort::FullPort() : listener_(bound(Family::ipv4, port_)), waiting_(none) {
  // A queue of length 0 takes one connection. Once it is full, the system drops further attempts.
  checked(::listen(descriptor(listener_), 0), "listen");
  unsigned int ownPort = 0;
  waiting_ = bound(Family::ipv4, ownPort);
  Address address = loopbackAddress(Family::ipv4);
  address.ipv4.sin_port = htons(static_cast<std::uint16_t>(port_));
  checked(::connect(descriptor(waiting_), &address.any, sizeOf(Family::ipv4)), "connect");
  await(listener_, POLLIN);
}

FullPort::~FullPort() {
  drop(listener_);
  drop(waiting_);
}

void awaitBytes(Handle handle, std::size_t count) {
  std::vector<char> seen(count);
  for (;;) {
    await(handle, POLLIN);
    const ssize_t got = ::recv(descriptor(handle), seen.data(), count, MSG_PEEK | MSG_WAITALL);
    if (got == static_cast<ssize_t>(count)) return;
    if (got == -1 && errno != EINTR && errno != EAGAIN) checked(got, "recv");
  }
}

void awaitEnd(Handle handle) {
  await(handle, POLLRDHUP);
}

void awaitReset(Handle handle) {
  await(handle, POLLERR);
}

void awaitUrgent(Handle handle) {
  await(handle, POLLPRI);
}

}  // namespace tarvo::test
