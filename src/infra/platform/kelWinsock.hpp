#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// The interface between the networking classes and the system. On every platform this interface has the
/// functions, numbers and results of Winsock. Each platform has one source that implements `systemWinsock`.
/// Tests replace the implementation by one whose calls fail on request.
///
/// Unless the comment of a function says otherwise, the function returns 0 or a count if it succeeds, and
/// `socketError` (-1) if it fails. After a failure `WSAGetLastError` returns the code of the failure to the
/// calling thread, until the thread makes the next call. If a handle is closed, or if it is not a socket, the
/// code is `wsa::notASocket` on every platform. A signal neither ends a call nor extends its timeout. No call
/// raises SIGPIPE.
namespace tarvo::platform {

using SocketHandle = unsigned long long;

inline constexpr SocketHandle invalidSocket = ~0ULL;
inline constexpr int socketError = -1;

/// Winsock's error codes that the library or its platforms use.
namespace wsa {
inline constexpr int notEnoughMemory = 8;
inline constexpr int interrupted = 10004;
inline constexpr int accessDenied = 10013;
inline constexpr int badAddress = 10014;
inline constexpr int invalidArgument = 10022;
inline constexpr int tooManyOpen = 10024;
inline constexpr int wouldBlock = 10035;
inline constexpr int notASocket = 10038;
inline constexpr int noProtocolOption = 10042;
inline constexpr int socketTypeNotSupported = 10044;
inline constexpr int familyNotSupported = 10047;
inline constexpr int addressInUse = 10048;
inline constexpr int connectionReset = 10054;
inline constexpr int noBuffers = 10055;
inline constexpr int notConnected = 10057;
inline constexpr int shutDown = 10058;
inline constexpr int timedOut = 10060;
inline constexpr int connectionRefused = 10061;
inline constexpr int systemCallFailure = 10107;
inline constexpr int typeNotFound = 10109;
inline constexpr int hostNotFound = 11001;
inline constexpr int tryAgain = 11002;
inline constexpr int noRecovery = 11003;
}  // namespace wsa

/// Winsock's numbers for the arguments of the functions below. The platform's headers may define other
/// numbers.
inline constexpr int familyUnspecified = 0;
inline constexpr int familyInet = 2;
inline constexpr int familyInet6 = 23;
inline constexpr int typeStream = 1;
inline constexpr int passiveFlag = 1;
inline constexpr int numericHostFlag = 4;
inline constexpr int levelSocket = 0xFFFF;
inline constexpr int levelTcp = 6;
inline constexpr int optionReuseAddress = 0x0004;
inline constexpr int optionSendBuffer = 0x1001;
inline constexpr int optionReceiveBuffer = 0x1002;
inline constexpr int optionSendTimeout = 0x1005;
inline constexpr int optionReceiveTimeout = 0x1006;
inline constexpr int optionError = 0x1007;
inline constexpr int optionNoDelay = 0x0001;
inline constexpr int shutdownReceive = 0;
inline constexpr int shutdownSend = 1;
inline constexpr int shutdownBoth = 2;

/// Sizes of Winsock's socket addresses. A Winsock address is a sequence of bytes that is the same on every
/// processor. A Winsock address begins with the family (2 bytes, little-endian) and the port (2 bytes,
/// big-endian). In an IPv4 address, the 4 bytes of the address follow the port. In an IPv6 address, the flow
/// label, the 16 bytes of the address and the scope (4 bytes, little-endian) follow the port.
inline constexpr std::size_t inetAddressSize = 16;
inline constexpr std::size_t inet6AddressSize = 28;
inline constexpr std::size_t scopeOffset = 24;

inline constexpr std::uint16_t winsockVersion = 0x0202;

struct StartupData {
  std::uint16_t version = 0;
};

/// Has the same members as Winsock's fd_set.
struct SocketSet {
  static constexpr unsigned int most = 64;

  unsigned int count = 0;
  SocketHandle handles[most];

  /// Adds a handle as FD_SET does: if the set already contains the handle, or if the set is full, nothing
  /// changes.
  void add(SocketHandle handle) noexcept {
    if (count < most && !contains(handle)) handles[count++] = handle;
  }

  bool contains(SocketHandle handle) const noexcept {
    for (unsigned int i = 0; i < count; ++i) {
      if (handles[i] == handle) return true;
    }
    return false;
  }
};

/// Winsock's timeval, whose members have 32 bits.
struct TimeValue {
  std::int32_t seconds;
  std::int32_t microseconds;
};

/// A handle that `Winsock::poll` waits for.
struct PollEntry {
  static constexpr unsigned char read = 1;
  static constexpr unsigned char write = 2;

  SocketHandle handle = invalidSocket;
  unsigned char wanted = 0;  ///< `read`, `write`, both, or 0 for a handle that is not watched
  unsigned char ready = 0;   ///< set by `poll`: for which of these the handle is ready
};

struct AddressHints {
  int flags;
  int family;
  int socketType;
  int protocol;
};

/// One result of the resolver.
struct ResolvedAddress {
  int flags = 0;
  int family = 0;
  int socketType = 0;
  int protocol = 0;
  std::vector<unsigned char> address;  ///< a Winsock socket address
  std::string canonicalName;           ///< empty if the resolver gives no name
};

// The destructor is not virtual, because no implementation is destroyed through this base class. Therefore
// the platform's object can be constant-initialised.
class Winsock {  // NOLINT(cppcoreguidelines-virtual-class-destructor): see above
 public:
  /// Returns 0 or an error code, and sets `data.version` to the version that was started. The system counts
  /// the calls of `WSAStartup`, and the program must call `WSACleanup` once for each of them.
  virtual int WSAStartup(std::uint16_t version, StartupData& data) = 0;
  virtual int WSACleanup() = 0;
  virtual int WSAGetLastError() = 0;
  virtual void WSASetLastError(int code) = 0;

  /// Returns a new socket, which programs that the process starts do not inherit. For a family other than
  /// IPv4 and IPv6 the code of the failure is `familyNotSupported`. For a type other than Winsock's five
  /// types the code is `socketTypeNotSupported`. If the platform layer keeps a record of its sockets and has
  /// no memory for the record, the code is `noBuffers`.
  virtual SocketHandle socket(int family, int type, int protocol) = 0;
  /// Connects to a Winsock address. The code of a failure is `wouldBlock` if the socket is non-blocking and
  /// the attempt is in progress, and `noBuffers` if the system lacks the resources for the attempt. The code
  /// is `familyNotSupported` if the family of the address is neither IPv4 nor IPv6, and `badAddress` if the
  /// address is too short.
  virtual int connect(SocketHandle handle, const unsigned char* address, std::size_t length) = 0;
  virtual int bind(SocketHandle handle, const unsigned char* address, std::size_t length) = 0;
  /// The code is `noBuffers` if the platform keeps a record of its listeners and has no memory for it.
  virtual int listen(SocketHandle handle, unsigned int backlog) = 0;
  /// Waits for a connection and accepts it. The accepted socket is blocking, and child processes do not
  /// inherit the socket. The code of a failure is `invalidArgument` after a call of `wakeAccept`, and
  /// `noBuffers` as for `socket`.
  virtual SocketHandle accept(SocketHandle listening) = 0;
  /// Ends every present and later `accept` on `listening`, and makes the socket readable for every `select`.
  /// The socket stays open. Call `wakeAccept` before `closesocket`, so that all waiting threads leave
  /// `accept` and `select` before the socket is closed. Otherwise a thread could wait on a handle that
  /// already belongs to another socket.
  virtual void wakeAccept(SocketHandle listening) = 0;
  /// Closes the socket. After an error the socket is closed, too, if the handle was an open socket.
  virtual int closesocket(SocketHandle handle) = 0;

  /// Waits until a socket is ready, keeps only the ready sockets in each set, in their order, and returns the
  /// number of sockets in the three sets. If `timeout` is null, the wait has no limit. A connection that was
  /// reset or closed is readable. A failed connect is in the error set and not in the write set, and its
  /// pending error is kept. If a handle is not an open socket, a call that waits reports the error before it
  /// waits. If a call does not wait, or if another socket is ready at once, the call may not detect such a
  /// handle.
  virtual int select(SocketSet& read, SocketSet& write, SocketSet& error, const TimeValue* timeout) = 0;

  /// The code of a failure is `wouldBlock` if a non-blocking socket would wait, and `timedOut` if a blocking
  /// socket has waited until its timeout. After this process has shut down sending or receiving, a call in
  /// that direction fails with `shutDown`. If both directions are shut down while a call waits in another
  /// thread, that call fails with `shutDown`, too. After one call has reported a reset, every call fails with
  /// `connectionReset`.
  virtual int send(SocketHandle handle, const char* bytes, int length) = 0;
  virtual int recv(SocketHandle handle, char* bytes, int length) = 0;
  virtual int shutdown(SocketHandle handle, int how) = 0;

  /// `sendNow` and `recvNow` do the same as `send` and `recv`, but never wait. They ignore the mode and the
  /// timeouts of the socket, and do not change them. If no byte can be transferred at once, the code is
  /// `wouldBlock`. Only one thread at a time may send, and only one thread at a time may receive.
  virtual int sendNow(SocketHandle handle, const char* bytes, int length) = 0;
  virtual int recvNow(SocketHandle handle, char* bytes, int length) = 0;

  /// Waits until at least one of the entries is ready, sets `ready` in each entry, and returns the number of
  /// ready entries. The number of entries has no limit. Waits at most `milliseconds`; if `milliseconds` is
  /// negative, the wait has no limit. If the connection of a socket is lost or closed, or if its attempt to
  /// connect has failed, the socket is ready for every requested event. The next call on the socket then
  /// reports the reason. The code of a failure is `notASocket` if a handle is not open, and `noBuffers` if
  /// there is no memory for the system's list.
  virtual int poll(PollEntry* entries, std::size_t count, long long milliseconds) = 0;

  /// Sets FIONBIO: with `mode` 1 the socket is non-blocking.
  virtual int ioctlsocketNonBlocking(SocketHandle handle, unsigned long mode) = 0;
  /// The value of every option has 4 bytes. Timeouts are milliseconds.
  virtual int setsockopt(SocketHandle handle, int level, int option, int value) = 0;
  virtual int getsockopt(SocketHandle handle, int level, int option, int& value) = 0;
  /// Writes at most `length` bytes of the socket's local Winsock address, and sets `length` to the number of
  /// bytes written.
  virtual int getsockname(SocketHandle handle, unsigned char* address, std::size_t& length) = 0;
  /// Does the same as `getsockname`, for the address of the peer. The code of a failure is `notConnected` if
  /// the socket has no peer.
  virtual int getpeername(SocketHandle handle, unsigned char* address, std::size_t& length) = 0;

  /// Returns 0 and stores the addresses in `list` in the resolver's order, or returns an error code:
  /// `hostNotFound`, `tryAgain` or another code. If `node` is null, it means this machine. If `service` is a
  /// number above 65535, the code is `typeNotFound`.
  virtual int getaddrinfo(const char* node, const char* service, const AddressHints& hints,
                          std::vector<ResolvedAddress>& list) = 0;
  /// Returns the system's text for a code of the resolver, as FormatMessageA does: one line of at most 1023
  /// bytes, which may be empty.
  virtual std::string systemText(int code) = 0;

 protected:
  ~Winsock() = default;
};

/// Returns the platform's implementation.
Winsock& systemWinsock() noexcept;

/// The implementation that the library uses: `systemWinsock()`, unless a test has replaced it.
extern constinit Winsock* currentWinsock;

inline Winsock& winsock() noexcept {
  return *currentWinsock;
}

}  // namespace tarvo::platform
