#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tarvo::test {

using Handle = unsigned long long;

enum class Family { ipv4, ipv6 };

/// The loopback address of a family: "127.0.0.1" or "::1".
const char* loopback(Family family);

/// Throws std::system_error if the loopback address cannot be reached. Tests call this function first,
/// because without a network the address can still be bound, and accept() would then wait for ever.
void requireLoopback(Family family = Family::ipv4);

/// The bytes from .. from + count - 1 of an endless test pattern. The pattern does not repeat within the
/// lengths that tests use, so a comparison detects lost, doubled and misplaced bytes.
std::string pattern(std::size_t from, std::size_t count);

/// The other end of a connection, made with system calls instead of the library. It listens on a free
/// loopback port and accepts one connection, or it connects to a server on this machine.
///
///     Peer peer;
///     socket.connect(peer.host(), peer.port(), Socket::NullAddrInfoExternal, nullptr);
///     peer.accepts().sends(40).closes();
///     EXPECT_EQ(socket.read(buffer, 0, 100), 40u);
///
/// Each member returns as soon as the system has accepted the call. `awaitBytes` and the functions after it
/// wait until the effect has reached the library's end. A member throws std::system_error if a system call
/// fails.
class Peer {
 public:
  struct Server {
    unsigned int port;
  };

  explicit Peer(Family family = Family::ipv4);
  /// Connects to 127.0.0.1. A `window` other than 0 sets the sizes of the system's send and receive buffers,
  /// in bytes.
  explicit Peer(Server server, int window = 0);
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;
  ~Peer();

  const char* host() const { return loopback(family_); }
  unsigned int port() const { return port_; }
  Handle handle() const { return connection_; }

  /// Accepts the connection and stops listening.
  Peer& accepts();

  /// Sends the next `count` bytes of the pattern; the first call starts at byte 0 of it.
  Peer& sends(std::size_t count);
  Peer& says(std::string_view bytes);
  /// Sends each byte in a separate segment.
  Peer& saysByteByByte(std::string_view bytes);
  Peer& saysUrgently(char byte);

  /// Waits for `count` bytes; returns fewer if the stream ends first.
  std::string receives(std::size_t count);
  /// All bytes until the stream ends.
  std::string receivesAll();

  Peer& shutsDownSending();
  Peer& closes();
  /// Resets the connection: the library's end gets a reset instead of the end of stream.
  Peer& resets();

 private:
  Family family_;
  unsigned int port_ = 0;
  Handle listener_;
  Handle connection_;
  std::size_t sent_ = 0;
};

/// A loopback port on which nobody listens. The port is reserved while the object exists.
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

/// Wait until the receive queue of the handle contains `count` bytes, until the peer has ended the stream,
/// until the connection is reset, or until urgent data has arrived. These functions read nothing, and they do
/// not clear a pending error.
void awaitBytes(Handle handle, std::size_t count);
void awaitEnd(Handle handle);
void awaitReset(Handle handle);
void awaitUrgent(Handle handle);

}  // namespace tarvo::test
