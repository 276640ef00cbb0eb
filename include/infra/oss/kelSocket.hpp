#pragma once

#include "infra/kelExport.hpp"

#include <unicode/unistr.h>

#include <list>

namespace tarvo::platform {
struct ResolvedAddress;
}

namespace tarvo::oss {

/// The client end of a TCP connection: one socket handle, the host and port that it was connected to, and
/// whether this object owns the handle.
///
///     const std::string request = "list";
///     char reply[4096];
///     const unsigned long long timeout = 5000;
///     Socket socket;
///     socket.connect("db.example", 4711, Socket::NullAddrInfoExternal, &timeout);
///     socket.writeMessage(request.data(), 0, request.size());
///     unsigned long long frameLength = 0;
///     const unsigned long long got = socket.readMessage(reply, &frameLength, 0, sizeof reply, true);
///
/// Only an object that connected, or that `SocketServer::accept` filled, owns its handle and closes it. A
/// copy shares the handle without owning it, so lists of `Socket` are cheap views for `select`: dropping or
/// closing a copy leaves the connection open. The copy must not outlive the owner's connection.
///
/// Times are milliseconds. Ranges are (buffer, offset, length): the bytes offset .. offset + length - 1 of
/// the caller's buffer, whose size is not known here. A range with a null buffer, or one that wraps, raises
/// the mapped error 10014, unless its length is 0; nothing is sent or received then.
///
/// Threads: one object is used by one thread at a time, with two exceptions. One reader and one writer may
/// share a connection. And any thread may call `shutdownBoth`, `shutdownReceive` or `shutdownSend` on an
/// object while other threads are inside `readOnce`, `read`, `readMessage`, `write`, `writeMessage` or
/// `select` on its connection. `shutdownBoth` ends a read or a write that waits: that call raises the mapped
/// error 10058. On Linux a `select` that waits then finds the socket ready to read, and the other two members
/// end calls that wait in their direction. On Windows a `select` may wait until its timeout, or raise the
/// mapped error 10058. Closing the connection does not end such a call on Linux, and its handle can soon
/// belong to another connection. Therefore no other call may be in progress during `close`, `connect`,
/// `SocketServer::accept` into the object, or the destructor.
///
/// Forked children: see docs/platforms.md.
///
/// Errors: every failure is a SocketException whose first message carries file "kelSocket.cpp". A failed
/// system call is raised as *the mapped error* of its Winsock code, the same on every platform:
///   10048 QN_ERR_SOCKET_ADDRESS_IN_USE      (host, port)
///   10054 QN_ERR_SOCKET_CONNECTION_RESET    (host, port)
///   10057 QN_ERR_SOCKET_NOT_CONNECTED       (host, port)
///   10058 QN_ERR_SOCKET_SHUTDOWN            (host, port)
///   10060 QN_ERR_SOCKET_TIMEOUT             (host, port)
///   10061 QN_ERR_SOCKET_CONNECTION_REFUSED  (host, port)
///   other QN_ERR_SOCKET_ERROR               (code, host, port)
/// Host and port are those of the object unless a member says otherwise. An error never closes the
/// connection.
class KELINFRA_API Socket {
 public:
  /// An already resolved address list, flat, so that one process can resolve a name and another connect: 3000
  /// bytes, packed, little-endian, in Winsock's numbers on every platform (the IPv6 family is 23).
  ///
  ///   used        2   bytes in use after this field; 0: no list, `connect` resolves the host name
  ///   host        n   the name that was resolved, NUL-terminated, at most 1024 bytes before the NUL
  ///   port        2   the port that was resolved
  ///   then entries, back to back, while at least 42 bytes of the used area remain:
  ///     flags, family, socket type, protocol     4 each, signed
  ///     address length                           8
  ///     address                                  that many bytes, a Winsock socket address
  ///     canonical-name length                    2
  ///     canonical name                           that many bytes, no NUL
  struct _AddrInfoExternal {  // NOLINT(bugprone-reserved-identifier): programs depend on this name
    unsigned char bytes[3000];
  };

  /// A record without an address list: `connect` resolves the name itself.
  static const _AddrInfoExternal NullAddrInfoExternal;

  /// An unconnected socket. Starts Winsock, as every construction does.
  ///   raises   ERR_WSASTARTUP_FAILED (host, port): Winsock does not start
  ///            ERR_INVALID_SOCKET_VERSION (host, port): it is not version 2.2
  Socket();
  /// A view of the other's handle, host and port, which does not own the handle.
  ///   raises   as the default constructor
  Socket(const Socket& other);
  /// Closes an owned handle, then releases the object's start of Winsock.
  virtual ~Socket();

  /// Not assignable: it would be unclear whether the old handle is closed. To refill a list use push_back or
  /// insert.
  Socket& operator=(const Socket& other) = delete;

  // --- connect and close ------------------------------------------------------------------------------

  /// Connects to `host`, a name or an address literal of IPv4 or IPv6, and sets TCP_NODELAY on the
  /// connection.
  ///   port       one above 65535 does not resolve (10109)
  ///   addrInfo   a list resolved earlier: its addresses and ports are used, and `host` and `port` appear
  ///              only in errors and getters. Or NullAddrInfoExternal
  ///   timeout    for the attempt on one address; null waits until the system gives up. The name's resolution
  ///              has no limit
  /// The addresses are tried in order as long as each fails at once. If an attempt is in progress, the call
  /// waits for it, and its failure ends the call: later addresses are not tried. (An attempt on a closed port
  /// of this machine is in progress at first, too. So if a name means ::1 and 127.0.0.1, only the first is
  /// tried.) On a failure the object stays unconnected and no handle is left open, but host and port keep the
  /// new values. A host name that contains a NUL is unknown.
  ///   raises   ERR_SOCKET_CONNECTED (host, port), the current ones: there is a handle already
  ///            ERR_SOCKET_GETADDRINFO_ERROR (host, port, code, the system's text for the code): the name did
  ///            not resolve; 11001 is an unknown name
  ///            ERR_SOCKET_TIMEOUT (host, port)
  ///            ERR_SOCKET_NOT_CONNECTED (host, port): every address failed at once
  ///            the mapped error (host, port): an attempt failed later, 10061 for a refused one
  ///            the mapped error 10022, without host and port: `addrInfo` cannot be read; nothing was tried
  ///            as the constructor, with host and port: Winsock does not start for the wait
  ///            NLSException QN_ERR_OUT_OF_MEMORY: see Converter::convertToBytes
  void connect(const icu::UnicodeString& host, unsigned int port, const _AddrInfoExternal& addrInfo,
               const unsigned long long* timeout);

  /// Closes an owned handle and forgets host and port; does nothing on a view or without a handle. Does not
  /// shut the connection down first. Raises nothing.
  void close();

  /// Each ends a direction of the connection, or both, without closing the handle. Each does nothing without
  /// a handle. The class comment says which calls of other threads they end.
  ///   raises   the mapped error
  void shutdownBoth();
  void shutdownReceive();
  void shutdownSend();

  // --- ask --------------------------------------------------------------------------------------------

  /// The system's handle; all bits set if there is no handle.
  unsigned long long handle() const;
  /// The host and port of the last `connect`; empty and 0 after `close`. Live as long as the object.
  const icu::UnicodeString& getHost() const KELINFRA_LIFETIMEBOUND;
  unsigned int getPort() const;

  // --- data; all of these raise ERR_SOCKET_NOT_CONNECTED (host, port) without a handle ----------------

  /// One receive of up to `length` bytes; a length of 0 is passed to the system too, which may wait.
  ///   returns  bytes received; 0 when the peer has closed the connection
  ///   raises   the mapped error
  ///   waits    until something arrives, without limit unless `setTimeout` was called
  unsigned long long readOnce(char* buffer, unsigned long long offset, unsigned long long length);

  /// Receives until `length` bytes are placed or the peer closes.
  ///   length   0 returns at once without a receive
  ///   returns  bytes placed; fewer than length only when the peer closed first
  ///   raises   the mapped error; the bytes received before it stay in the buffer, their number is lost
  unsigned long long read(char* buffer, unsigned long long offset, unsigned long long length);

  /// Sends all `length` bytes.
  ///   raises   the mapped error; how much was sent is not known
  void write(const char* buffer, unsigned long long offset, unsigned long long length);

  /// Reads one frame: a payload length of 4 bytes, big-endian, then the payload.
  ///   frameLength     receives the payload's length, also when it does not fit; may be null
  ///   capacity        bytes that the caller's buffer can take from offset on
  ///   drainTooLarge   reads a payload that does not fit and drops it, so that the next frame can be read
  ///   returns         payload bytes placed; fewer than the frame's length only when the peer closed first.
  ///                   If the peer cut the length word short, its missing bytes count as 0
  ///   raises          ERR_SOCKET_CLOSED (host, port): the peer closed before a frame began
  ///                   ERR_DEST_BUFFER_TOO_SMALL (capacity, frame length): the payload does not fit, even if
  ///                   a drained payload ends early
  ///                   the mapped error 10014 for a bad range, once the length word has been read
  ///                   the mapped error
  unsigned long long readMessage(char* buffer, unsigned long long* frameLength, unsigned long long offset,
                                 unsigned long long capacity, bool drainTooLarge);

  /// Sends one frame. The length word has the low 32 bits of `length`: a frame has at most 4 GiB - 1 bytes.
  ///   raises   the mapped error
  void writeMessage(const char* buffer, unsigned long long offset, unsigned long long length);

  // --- options; all raise ERR_SOCKET_NOT_CONNECTED (host, port) without a handle, and the mapped error ---

  /// Whether operations that would wait fail with 10035 instead. Connections start blocking.
  void setNonBlocking(bool on);
  /// TCP_NODELAY; on after `connect`, off on accepted connections.
  void setNoDelay(bool on);
  /// The longest wait of one receive and of one send; a longer one fails with QN_ERR_SOCKET_TIMEOUT. 0 waits
  /// without limit, as does a new connection.
  void setTimeout(unsigned int milliseconds);

  // --- static -----------------------------------------------------------------------------------------

  /// Waits until a socket of the first list can be read, one of the second written, or one of the third has
  /// an exceptional condition (a failed connect, out-of-band data), then erases from each list what is not
  /// ready. The elements are views; erasing them closes nothing. A list may be given in more than one place.
  ///   timeout   null waits without limit, 0 does not wait; above 2^31 - 1 seconds it is cut to that
  ///   returns   the number of ready sockets, each counted in every list; 0 after the timeout, with all lists
  ///             empty. Three empty lists return 0 at once. Only the first 64 different handles of a list are
  ///             watched; the rest is erased
  ///   raises    the mapped error, with host and port of the first socket of the first list that is not
  ///             empty; the lists are not changed. 10038: a list contains a handle that is not an open
  ///             socket. A call that waits notices it before it waits. A call with timeout 0, or one in which
  ///             another socket is ready at once, may not notice it
  static unsigned long long select(std::list<Socket>& readList, std::list<Socket>& writeList,
                                   std::list<Socket>& errorList, const unsigned long long* timeout);

  /// Resolves `host` as `connect` does and fills `record` for a later `connect`, in this process or another.
  ///   returns  0; otherwise `record` is untouched and the value is the resolver's Winsock code (11001:
  ///            unknown name), or 10055 when the list does not fit into the record
  ///   raises   NLSException QN_ERR_OUT_OF_MEMORY: see Converter::convertToBytes
  static int resolveAddrInfo(const icu::UnicodeString& host, unsigned short port, _AddrInfoExternal& record);

 private:
  friend class SocketServer;

  /// A view of a bare handle.
  KELINFRA_LOCAL Socket(unsigned long long handle, const icu::UnicodeString& host, unsigned int port);
  KELINFRA_LOCAL void startWinsock();
  KELINFRA_LOCAL void requireHandle() const;
  KELINFRA_LOCAL bool connectTo(const platform::ResolvedAddress& address, const unsigned long long* timeout);
  KELINFRA_LOCAL void finishConnect();
  KELINFRA_LOCAL void adopt(unsigned long long handle);
  KELINFRA_LOCAL void shutdown(int how);
  KELINFRA_LOCAL void setOption(int level, int option, int value);
  KELINFRA_LOCAL void drain(unsigned long long length);
  KELINFRA_LOCAL unsigned long long receive(char* buffer, unsigned long long length);

  bool ownsHandle_ = false;
  unsigned long long handle_;
  icu::UnicodeString host_;
  unsigned int port_ = 0;
};

}  // namespace tarvo::oss
