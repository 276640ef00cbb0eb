#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tarvo::test {

using Handle = unsigned long long;

enum class Family { ipv4, ipv6 };

/// The loopback address of a family, "127.0.0.1" or "::1".
const char* loopback(Family family);

/// Throws std::system_error if that address cannot be reached. Without a network it can be bound, and whoever
/// accepts there waits for ever.
void requireLoopback(Family family = Family::ipv4);

/// The bytes from .. from + count - 1 of an endless text that repeats nowhere near, so that a byte lost,
/// doubled or misplaced shows.
std::string pattern(std::size_t from, std::size_t count);

/// The other end of a connection, on the bare system: listens on a free loopback port and takes one connection,
/// or connects to a server of this machine; then it does what it is told.
///
///     Peer peer;
///     socket.connect(peer.host(), peer.port(), Socket::NullAddrInfoExternal, nullptr);
///     peer.accepts().sends(40).closes();
///     EXPECT_EQ(socket.read(buffer, 0, 100), 40u);
///
/// Every verb returns when the system has taken it over; `awaitBytes` and its kin tell when the near end has
/// it. A verb that the system refuses throws std::system_error.
class Peer {
 public:
  struct Server {
    unsigned int port;
  };

  explicit Peer(Family family = Family::ipv4);
  /// Connects to 127.0.0.1. A `window` other than 0 is how many bytes the system is asked to hold for it, each way.
  explicit Peer(Server server, int window = 0);
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;
  ~Peer();

  const char* host() const { return loopback(family_); }
  unsigned int port() const { return port_; }
  Handle handle() const { return connection_; }

  /// Takes the connection and listens no longer.
  Peer& accepts();

  /// Sends the next `count` bytes of the pattern; the first call starts it at 0.
  Peer& sends(std::size_t count);
  Peer& says(std::string_view bytes);
  /// A segment a byte.
  Peer& saysByteByByte(std::string_view bytes);
  Peer& saysUrgently(char byte);

  /// Waits for `count` bytes; fewer when the stream ends first.
  std::string receives(std::size_t count);
  /// Everything until the stream ends.
  std::string receivesAll();

  Peer& shutsDownSending();
  Peer& closes();
  /// Breaks the connection off: the near end learns of a reset, not of an end.
  Peer& resets();

 private:
  Family family_;
  unsigned int port_ = 0;
  Handle listener_;
  Handle connection_;
  std::size_t sent_ = 0;
};

/// A loopback port on which nobody listens, kept from everybody else for the object's life.
class ClosedPort {
 public:
  explicit ClosedPort(Family family = Family::ipv4);
  ClosedPort(const ClosedPort&) = delete;
  ClosedPort& operator=(const ClosedPort&) = delete;
  ~ClosedPort();

  unsigned int port() const { return port_; }

 private:
  unsigned int port_ = 0;
  Handle handle_;
};

/// A listening loopback port whose queue is full: a further attempt to connect stays in progress.
class FullPort {
 public:
  FullPort();
  FullPort(const FullPort&) = delete;
  FullPort& operator=(const FullPort&) = delete;
  ~FullPort();

  unsigned int port() const { return port_; }

 private:
  unsigned int port_ = 0;
  Handle listener_;
  Handle waiting_;
};

/// Wait until `count` bytes lie in the handle's receive queue, until its peer has ended the stream, until the
/// connection was reset, until urgent data is there. They take nothing away, the pending error included.
void awaitBytes(Handle handle, std::size_t count);
void awaitEnd(Handle handle);
void awaitReset(Handle handle);
void awaitUrgent(Handle handle);

}  // namespace tarvo::test
