#pragma once

#include "infra/kelExport.hpp"
#include "infra/oss/kelDeadline.hpp"

#include <unicode/unistr.h>

#include <list>

namespace tarvo::platform {
struct ResolvedAddress;
}

namespace tarvo::oss {

/// The client end of a TCP connection. An object stores a socket handle, the host and port of the connection,
/// and whether the object owns the handle.
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
/// An object owns its handle, and closes this handle, only if `connect` or `SocketServer::accept` put the
/// handle into that object. A copy of a `Socket` is a view: the view has the same handle but does not own the
/// handle. If a program destroys or closes a view, the connection stays open, so a program may pass lists of
/// views to `select`. A program must not use a view after the owner has closed the connection.
///
/// Times are milliseconds. A range is given as (buffer, offset, length): the bytes offset .. offset + length
/// - 1 of the caller's buffer. The class does not know the size of the buffer. If the buffer is null, or if
/// offset + length overflows, a member raises the error of code 10014 and sends and receives nothing. A range
/// of length 0 is always valid.
///
/// Threads: only one thread at a time may use an object, with two exceptions. First, one thread may read from
/// a connection while another thread writes to it. Second, any thread may call `shutdownBoth`,
/// `shutdownReceive` or `shutdownSend` on an object while other threads use the same connection in `select`,
/// `readOnce`, `read`, `readMessage`, `write` or `writeMessage`, or in one of the members with a deadline.
/// `shutdownBoth` ends a waiting read or write: the read or write raises the error of code 10058. On Linux
/// `shutdownBoth` also ends a waiting `select`, which finds the socket ready to read. On Linux
/// `shutdownReceive` ends a waiting read, and `shutdownSend` ends a waiting write. On Windows, after a
/// shutdown, a waiting `select` or a waiting call with a deadline either raises the error of code 10058 or
/// waits until its timeout or deadline. On Linux, closing the connection does not end a waiting call, and the
/// number of the closed handle can soon belong to another connection. Therefore, while a thread closes or
/// destroys an object, calls `connect`, or passes the object to `SocketServer::accept`, no other thread may
/// be in a call on this object.
///
/// Forked children: see docs/platforms.md.
///
/// Errors: every failure is a SocketException whose first message carries the file "kelSocket.cpp". If a
/// system call fails, its Winsock code determines the identifier. The codes are the same on every platform.
/// In the comments below, *the error of the code* means the error in this table:
///   10048 QN_ERR_SOCKET_ADDRESS_IN_USE      (host, port)
///   10054 QN_ERR_SOCKET_CONNECTION_RESET    (host, port)
///   10057 QN_ERR_SOCKET_NOT_CONNECTED       (host, port)
///   10058 QN_ERR_SOCKET_SHUTDOWN            (host, port)
///   10060 QN_ERR_SOCKET_TIMEOUT             (host, port)
///   10061 QN_ERR_SOCKET_CONNECTION_REFUSED  (host, port)
///   other QN_ERR_SOCKET_ERROR               (code, host, port)
/// Unless a member says otherwise, the arguments host and port are the host and port of the object. An error
/// never closes the connection.
class KELINFRA_API Socket {
 public:
  /// A record of the addresses to which a host name resolves. One process can resolve a name and pass the
  /// record to another process, which connects to the addresses of the record. The record has 3000 bytes,
  /// without padding between its fields. Numbers are little-endian. The numbers of families, types and
  /// protocols are Winsock's on every platform (the IPv6 family is 23).
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

  /// The result of a transfer with a deadline.
  struct Transfer {
    enum End {
      COMPLETE,  ///< everything was transferred
      CLOSED,    ///< the peer closed the connection first
      EXPIRED    ///< the deadline passed first
    };

    End end;
    unsigned long long bytes;  ///< bytes transferred
    /// Whether the program can use the connection further: the next call continues where this call stopped.
    bool usable;
  };

  /// A record without addresses: `connect` then resolves the name itself.
  static const _AddrInfoExternal NullAddrInfoExternal;

  /// Creates an unconnected socket. Each constructor starts the use of Winsock, the socket library of
  /// Windows; on Linux this step does nothing.
  ///   raises   ERR_WSASTARTUP_FAILED (host, port): Winsock does not start
  ///            ERR_INVALID_SOCKET_VERSION (host, port): Winsock does not have version 2.2
  Socket();
  /// Creates a view of `other`: the new object has the same handle, host and port, and does not own the
  /// handle.
  ///   raises   as the default constructor
  Socket(const Socket& other);
  /// Closes an owned handle, then ends the use of Winsock that the constructor started.
  virtual ~Socket();

  /// Not assignable: it would be unclear whether an assignment closes the old handle. To change a list of
  /// sockets, add and erase elements, and do not assign to an element.
  Socket& operator=(const Socket& other) = delete;  // keep sockets in a std::list, not in a std::vector

  // --- connect and close ------------------------------------------------------------------------------

  /// Connects to `host`, which is a name or an IPv4 or IPv6 address, and sets TCP_NODELAY on the connection.
  ///   port       a port above 65535 cannot be resolved (code 10109)
  ///   addrInfo   NullAddrInfoExternal, or a record of addresses resolved earlier. With such a record its
  ///              addresses and ports are used, and `host` and `port` are used only for errors and getters
  ///   timeout    the longest wait for one address; null waits until the system gives up. The resolution of
  ///              the name has no limit
  /// `connect` tries the addresses in order. If an attempt to connect to an address fails at once, `connect`
  /// tries the next address. If an attempt stays in progress, `connect` waits for its result. If an attempt
  /// fails after such a wait, `connect` fails and tries no further address. For example, an attempt to
  /// connect to a closed port of this machine stays in progress at first. So if a name resolves to ::1 and
  /// 127.0.0.1, `connect` tries only ::1. After a failure the object is unconnected and has no handle, but
  /// host and port keep the new values. A host name that contains a NUL counts as unknown.
  ///   raises   ERR_SOCKET_CONNECTED (host, port), the current ones: the object has a handle already
  ///            ERR_SOCKET_GETADDRINFO_ERROR (host, port, code, the system's text for the code): the name did
  ///            not resolve; 11001 is an unknown name
  ///            ERR_SOCKET_TIMEOUT (host, port)
  ///            ERR_SOCKET_NOT_CONNECTED (host, port): every address failed at once
  ///            the error of the code (host, port): an attempt that was in progress failed; the code is 10061
  ///            if the host refused the connection
  ///            the error of code 10022, without host and port: `addrInfo` cannot be read; no address was
  ///            tried
  ///            as the constructor, with host and port: Winsock does not start for the wait
  ///            NLSException QN_ERR_OUT_OF_MEMORY: see Converter::convertToBytes
  void connect(const icu::UnicodeString& host, unsigned int port, const _AddrInfoExternal& addrInfo,
               const unsigned long long* timeout);  // milliseconds by pointer: &timeout

  /// Connects with one deadline for the whole call, including the resolution of the name. The call cannot
  /// interrupt the resolution of the name: if the resolution ends after the deadline, the call raises the
  /// error only at the end of the resolution. After the deadline the call tries no address.
  ///   raises   ERR_SOCKET_TIMEOUT (host, port): the deadline passed first; the object stays unconnected
  ///            as the overload with a timeout
  void connect(const icu::UnicodeString& host, unsigned int port, const _AddrInfoExternal& addrInfo,
               const Deadline& deadline);

  /// Connects to the address that answers first, so an address that does not answer costs little time. IPv4
  /// and IPv6 addresses are tried in turn, beginning with the family of the first address. An attempt to
  /// connect to the next address starts when the attempt before it has failed, or after `stagger`
  /// milliseconds. At most 6 attempts are in progress at the same time: while none of these fails, no further
  /// address is tried. The call keeps the first connection and closes the other attempts. The call starts no
  /// thread, and sets TCP_NODELAY on the connection.
  ///   deadline   limits the whole call, including the resolution of the name. The resolution cannot be
  ///              interrupted; docs/sockets.md shows how a child process resolves. An address literal asks no
  ///              resolver
  ///   stagger    milliseconds between the starts of two attempts; less than 10 counts as 10
  /// After a failure the object is unconnected and has no handle, but host and port keep the new values.
  ///   raises   ERR_SOCKET_TIMEOUT (host, port): the deadline passed first
  ///            ERR_SOCKET_NOT_CONNECTED (host, port): every attempt failed. After the first message these
  ///            two errors have one message for each attempt, in the order of their starts:
  ///            the error of the code with the address and its port; QN_ERR_SOCKET_TIMEOUT for an attempt in
  ///            progress
  ///            ERR_SOCKET_CONNECTED (host, port), the current ones: the object has a handle already
  ///            ERR_SOCKET_GETADDRINFO_ERROR (host, port, code, the system's text for the code)
  ///            NLSException QN_ERR_OUT_OF_MEMORY: see Converter::convertToBytes
  void connectFirst(const icu::UnicodeString& host, unsigned int port, const Deadline& deadline,
                    unsigned long long stagger = 250);

  /// Connects to the addresses of a record, with its ports; `host` and `port` are used only for errors and
  /// getters. With NullAddrInfoExternal the call resolves `host`.
  ///   raises   the error of code 10022, without host and port: `addrInfo` cannot be read
  ///            as the overload without a record
  void connectFirst(const icu::UnicodeString& host, unsigned int port, const _AddrInfoExternal& addrInfo,
                    const Deadline& deadline, unsigned long long stagger = 250);

  /// Closes the handle if the object owns it, and resets host and port. `close` does not call a shutdown
  /// first. On a view, or without a handle, `close` does nothing. `close` raises nothing.
  void close();

  /// `shutdownReceive` and `shutdownSend` shut down one direction of the connection, and `shutdownBoth` shuts
  /// down both directions. None of the three functions closes the handle. Without a handle, they do nothing.
  /// The comment of the class lists the waiting calls of other threads that a shutdown ends.
  ///   raises   the error of the code
  void shutdownBoth();
  void shutdownReceive();
  void shutdownSend();

  // --- ask --------------------------------------------------------------------------------------------

  /// Returns the system's handle. If there is no handle, all bits of the result are set.
  unsigned long long handle() const;
  /// Return the host and the port of the last `connect`. After `close` the host is empty and the port is 0.
  /// The reference that `getHost` returns is valid as long as the object exists.
  const icu::UnicodeString& getHost() const KELINFRA_LIFETIMEBOUND;
  unsigned int getPort() const;
  /// `peerHost` and `peerPort` ask the system for the peer's address and port, on accepted connections too.
  /// The address is numeric, never a name: "127.0.0.1", "::1", "fe80::1%2" with the number of the interface.
  ///   raises   ERR_SOCKET_NOT_CONNECTED (host, port): no handle
  ///            the error of the code; 10057 if the connection has ended and the system has forgotten the
  ///            peer
  icu::UnicodeString peerHost() const;
  unsigned int peerPort() const;

  // --- data; all of these raise ERR_SOCKET_NOT_CONNECTED (host, port) without a handle ----------------

  /// Receives up to `length` bytes in one system call. With the length 0, `readOnce` makes the system call
  /// too, and may wait.
  ///   returns  bytes received; 0 when the peer has closed the connection
  ///   raises   the error of the code
  ///   waits    until at least one byte arrives, without limit unless `setTimeout` was called
  unsigned long long readOnce(char* buffer, unsigned long long offset, unsigned long long length);

  /// Receives until `length` bytes are in the buffer or the peer closes the connection.
  ///   length   0 returns at once without a receive
  ///   returns  the number of bytes received; it is below `length` only if the peer closed first
  ///   raises   the error of the code; the bytes received before it stay in the buffer, but the call does not
  ///            report their number
  unsigned long long read(char* buffer, unsigned long long offset, unsigned long long length);

  /// Sends all `length` bytes.
  ///   raises   the error of the code; how many bytes were sent is not known
  void write(const char* buffer, unsigned long long offset, unsigned long long length);

  /// Reads one frame: a payload length of 4 bytes, big-endian, then the payload.
  ///   frameLength     receives the payload's length, even if the payload does not fit; may be null
  ///   capacity        bytes that the caller's buffer can take from `offset` on
  ///   drainTooLarge   if true, a payload that does not fit is read and discarded, so that the next frame can
  ///                   be read
  ///   returns         the number of payload bytes received; it is below the frame's length only if the peer
  ///                   closed first. If the peer closed within the length word, the missing bytes of the word
  ///                   count as 0
  ///   raises          ERR_SOCKET_CLOSED (host, port): the peer closed before a frame began
  ///                   ERR_DEST_BUFFER_TOO_SMALL (capacity, frame length): the payload does not fit; also
  ///                   raised if the peer closes while the payload is discarded
  ///                   the error of code 10014 for a bad range, once the length word has been read
  ///                   the error of the code
  unsigned long long readMessage(char* buffer, unsigned long long* frameLength, unsigned long long offset,
                                 unsigned long long capacity, bool drainTooLarge);

  /// Sends one frame. The length word contains the low 32 bits of `length`, so a payload must be shorter than
  /// 4 GiB.
  ///   raises   the error of the code
  void writeMessage(const char* buffer, unsigned long long offset, unsigned long long length);

  /// Sends as many bytes as the system accepts without waiting. The non-blocking mode and the timeouts of the
  /// connection have no effect on this call.
  ///   returns  bytes sent, perhaps fewer than `length`; 0 when nothing can be sent now
  ///   raises   the error of the code
  unsigned long long writeOnce(const char* buffer, unsigned long long offset, unsigned long long length);

  // --- data with a deadline; all of these raise ERR_SOCKET_NOT_CONNECTED (host, port) without a handle. The
  // members with a deadline ignore the non-blocking mode and the timeouts of the connection, and do not
  // change them. If the deadline has already passed, a member transfers in one step the bytes that it can
  // transfer without waiting. docs/sockets.md names the system calls.

  /// Receives until `length` bytes are in the buffer, the peer closes the connection, or the deadline passes.
  ///   length   0 returns at once
  ///   returns  COMPLETE; CLOSED, not usable; or EXPIRED, usable: a further call receives the bytes after
  ///            those that were placed
  ///   raises   the error of the code; the bytes received before it stay in the buffer, but the call does not
  ///            report their number
  /// If this process has shut down the receiving direction of the connection, the call raises the error of
  /// code 10058 on Linux. On Windows the system does not report the shutdown, so the call returns EXPIRED at
  /// the deadline.
  Transfer readWithin(char* buffer, unsigned long long offset, unsigned long long length,
                      const Deadline& deadline);

  /// Sends until all `length` bytes are sent or the deadline passes. A byte counts as sent when the system
  /// has accepted it. The call does not find out whether the peer has received the byte.
  ///   returns  COMPLETE; or EXPIRED, usable: a further call can send the rest
  ///   raises   the error of the code; how much was sent is not known
  Transfer writeWithin(const char* buffer, unsigned long long offset, unsigned long long length,
                       const Deadline& deadline);

  /// Reads one frame as `readMessage` does. If the deadline passes inside a frame, `readMessageWithin` cannot
  /// continue the frame later. To continue frames later, use `FrameReader`: a program passes the bytes of a
  /// frame to `FrameReader` in any number of calls.
  ///   returns  COMPLETE or CLOSED with the payload bytes placed; CLOSED is not usable. EXPIRED with the
  ///            payload bytes placed; it is usable only if no byte of the frame has been received, not even
  ///            of the length word: nothing is lost then, and the next frame can be read
  ///   raises   ERR_SOCKET_CLOSED (host, port): the peer closed before a frame began
  ///            ERR_DEST_BUFFER_TOO_SMALL (capacity, frame length): the payload does not fit, even if a
  ///            drained payload ends early. If the deadline passes first, the call returns EXPIRED instead,
  ///            not usable, with 0 bytes
  ///            the error of code 10014 for a bad range, once the length word has been read
  ///            the error of the code
  Transfer readMessageWithin(char* buffer, unsigned long long* frameLength, unsigned long long offset,
                             unsigned long long capacity, bool drainTooLarge, const Deadline& deadline);

  /// Sends one frame as `writeMessage` does.
  ///   returns  COMPLETE with the payload's length; or EXPIRED with the payload bytes sent, usable only if no
  ///            byte of the frame has been sent, not even of the length word
  ///   raises   the error of the code
  Transfer writeMessageWithin(const char* buffer, unsigned long long offset, unsigned long long length,
                              const Deadline& deadline);

  // --- options; all raise ERR_SOCKET_NOT_CONNECTED (host, port) without a handle, and the error of the code

  /// If `on` is true, an operation that would wait raises the error of code 10035 instead. For a new
  /// connection this mode is off: operations wait.
  void setNonBlocking(bool on);
  /// Sets the option TCP_NODELAY. The option is on after `connect`, and off on accepted connections.
  void setNoDelay(bool on);
  /// Sets the longest time for which one receive or one send of the system waits. When this time has passed,
  /// the call raises the error of code 10060. The time 0 means no limit; a new connection has no limit.
  void setTimeout(unsigned int milliseconds);

  // --- static -----------------------------------------------------------------------------------------

  /// Waits until at least one socket is ready: a socket of `readList` can be read, a socket of `writeList`
  /// can be written, or a socket of `errorList` has an exceptional condition (a failed connect, out-of-band
  /// data). After the wait, `select` erases the sockets that are not ready from each list. The elements of
  /// the lists are views, so `select` closes no connection when it erases them. A program may pass the same
  /// list more than once.
  ///   timeout   null waits without limit, 0 does not wait; a timeout above 2^31 - 1 seconds is reduced to
  ///             that
  ///   returns   the number of sockets that are left in the three lists together; after the timeout it is 0
  ///             and all lists are empty. If all three lists are empty, 0 is returned at once. Only the first
  ///             64 different handles of a list are watched; the other sockets are erased
  ///   raises    the error of the code, with host and port of the first socket of the first list that is not
  ///             empty; the lists are not changed. 10038 means that a list contains a handle that is not an
  ///             open socket. A call that waits detects such a handle before it waits. A call with timeout 0
  ///             may miss it, and so may a call in which another socket is ready at once
  static unsigned long long select(std::list<Socket>& readList, std::list<Socket>& writeList,
                                   std::list<Socket>& errorList, const unsigned long long* timeout);

  /// Resolves `host` as `connect` does, and stores the addresses in `record` for a later `connect` in this
  /// process or in another process.
  ///   returns  0 after success. After a failure `record` is unchanged, and the value is a Winsock code of
  ///            the resolver (11001: unknown name), or 10055 if the addresses do not fit into the record
  ///   raises   NLSException QN_ERR_OUT_OF_MEMORY: see Converter::convertToBytes
  static int resolveAddrInfo(const icu::UnicodeString& host, unsigned short port, _AddrInfoExternal& record);

 private:
  friend class SocketServer;

  /// Creates a view of `handle`.
  KELINFRA_LOCAL Socket(unsigned long long handle, const icu::UnicodeString& host, unsigned int port);
  KELINFRA_LOCAL void startWinsock();
  KELINFRA_LOCAL void requireHandle() const;
  KELINFRA_LOCAL bool connectTo(const platform::ResolvedAddress& address, const unsigned long long* timeout);
  KELINFRA_LOCAL void connectUntil(const icu::UnicodeString& host, unsigned int port,
                                   const _AddrInfoExternal& addrInfo, const unsigned long long* timeout,
                                   const Deadline& deadline);
  KELINFRA_LOCAL void requireNoHandle() const;
  KELINFRA_LOCAL void finishConnect();
  KELINFRA_LOCAL void adopt(unsigned long long handle);
  KELINFRA_LOCAL void shutdown(int how);
  KELINFRA_LOCAL void setOption(int level, int option, int value);
  KELINFRA_LOCAL void drain(unsigned long long length);
  KELINFRA_LOCAL Transfer receiveWithin(char* bytes, unsigned long long length, const Deadline& deadline);
  KELINFRA_LOCAL Transfer sendWithin(const char* bytes, unsigned long long length, const Deadline& deadline);
  KELINFRA_LOCAL Transfer drainWithin(unsigned long long length, const Deadline& deadline);
  KELINFRA_LOCAL unsigned long long receive(char* buffer, unsigned long long length);

  bool ownsHandle_ = false;
  unsigned long long handle_;
  icu::UnicodeString host_;
  unsigned int port_ = 0;
};

}  // namespace tarvo::oss
