#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// The interface between the networking classes and the system: Winsock's functions, numbers and results on
/// every platform. Each platform has one source that implements `systemWinsock`; tests replace it by a
/// failing one.
///
/// Unless a function says otherwise, 0 or a count is success, and `socketError` (-1) is a failure. Then
/// `WSAGetLastError` returns its code, in the calling thread, until the next call. A handle that is closed or
/// not a socket gives `wsa::notASocket` on every platform. A signal neither ends a call nor lengthens it. No
/// call raises SIGPIPE.
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

/// Winsock's numbers for the arguments of the functions below, never those of the platform's headers.
inline constexpr int familyUnspecified = 0;
inline constexpr int familyInet = 2;
inline constexpr int familyInet6 = 23;
inline constexpr int typeStream = 1;
inline constexpr int passiveFlag = 1;
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

/// Sizes of Winsock's socket addresses.
/// A Winsock address is a row of bytes, the same on every processor: the family, 2 bytes, little-endian; the
/// port, 2 bytes, big-endian; then for IPv4 the address, for IPv6 the flow label, the address and the scope,
/// 4 bytes, little-endian.
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

  /// Like FD_SET: a handle that is in the set already is not added, nor is any handle if the set is full.
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

// Not owned or destroyed through the base, so that the platform's object can be constant-initialised.
class Winsock {  // NOLINT(cppcoreguidelines-virtual-class-destructor): see above
 public:
  /// Returns 0 or the code; `data.version` is the version that was started. The system counts the starts.
  virtual int WSAStartup(std::uint16_t version, StartupData& data) = 0;
  virtual int WSACleanup() = 0;
  virtual int WSAGetLastError() = 0;
  virtual void WSASetLastError(int code) = 0;

  /// A new socket, not inherited by programs that the process starts. `familyNotSupported` for any family
  /// except IPv4 and IPv6, `socketTypeNotSupported` for any type except Winsock's five, `noBuffers` if the
  /// platform keeps a record of its sockets and has no memory for it.
  virtual SocketHandle socket(int family, int type, int protocol) = 0;
  /// `wouldBlock` for a non-blocking attempt in progress, `noBuffers` if the system lacks what it needs to
  /// begin. The address is a Winsock address: `familyNotSupported` if its family is neither IPv4 nor IPv6,
  /// `badAddress` if it is too short.
  virtual int connect(SocketHandle handle, const unsigned char* address, std::size_t length) = 0;
  virtual int bind(SocketHandle handle, const unsigned char* address, std::size_t length) = 0;
  /// `noBuffers` if the platform keeps a record of its listeners and has no memory for it.
  virtual int listen(SocketHandle handle, unsigned int backlog) = 0;
  /// The accepted socket is blocking and not inherited by child processes. Waits as long as nothing is
  /// pending; `invalidArgument` once `wakeAccept` was called; `noBuffers` as for `socket`.
  virtual SocketHandle accept(SocketHandle listening) = 0;
  /// Makes `listening` readable for every `select` and ends every `accept` on it, now and later, without
  /// closing it: threads that wait return before the number can belong to another socket.
  virtual void wakeAccept(SocketHandle listening) = 0;
  /// Closes the socket even if it reports another error. Refuses only a handle that is not an open socket.
  virtual int closesocket(SocketHandle handle) = 0;

  /// Waits until a socket is ready and leaves the ready ones in each set, in order; returns their number over
  /// the three sets. Null `timeout` waits without limit. A reset or closed connection is readable; a failed
  /// connect is in the error set, not in the write set, and its pending error stays. A handle that is not an
  /// open socket is noticed before the call waits; if another socket is ready, or if the call does not wait,
  /// it may go unnoticed.
  virtual int select(SocketSet& read, SocketSet& write, SocketSet& error, const TimeValue* timeout) = 0;

  /// `wouldBlock` for a non-blocking socket that would wait, `timedOut` for a blocking one after its timeout;
  /// `shutDown` after the direction was shut down here, also for a call that waited in another thread while
  /// both directions were shut down;
  /// `connectionReset` on every call after the first that reported a reset.
  virtual int send(SocketHandle handle, const char* bytes, int length) = 0;
  virtual int recv(SocketHandle handle, char* bytes, int length) = 0;
  virtual int shutdown(SocketHandle handle, int how) = 0;

  /// FIONBIO: `mode` 1 for non-blocking.
  virtual int ioctlsocketNonBlocking(SocketHandle handle, unsigned long mode) = 0;
  /// All options have a 4-byte value. Timeouts are milliseconds.
  virtual int setsockopt(SocketHandle handle, int level, int option, int value) = 0;
  virtual int getsockopt(SocketHandle handle, int level, int option, int& value) = 0;
  /// Writes at most `length` bytes of the handle's local Winsock address and sets `length` to their number.
  virtual int getsockname(SocketHandle handle, unsigned char* address, std::size_t& length) = 0;

  /// Returns 0 and fills `list` in the resolver's order, or returns the code: `hostNotFound`, `tryAgain`, ...
  /// Null `node` means this machine. A `service` that is a number above 65535 is `typeNotFound`.
  virtual int getaddrinfo(const char* node, const char* service, const AddressHints& hints,
                          std::vector<ResolvedAddress>& list) = 0;
  /// FormatMessageA for a resolver's code: the system's text, one line, at most 1023 bytes; may be empty.
  virtual std::string systemText(int code) = 0;

 protected:
  ~Winsock() = default;
};

/// The platform's implementation.
Winsock& systemWinsock() noexcept;

/// The implementation that the library uses: the platform's, unless a test has replaced it.
extern constinit Winsock* currentWinsock;

inline Winsock& winsock() noexcept {
  return *currentWinsock;
}

}  // namespace tarvo::platform
