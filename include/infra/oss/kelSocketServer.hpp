#pragma once

#include "infra/kelExport.hpp"
#include "infra/oss/kelSocket.hpp"

#include <unicode/unistr.h>

#include <atomic>
#include <condition_variable>
#include <list>
#include <mutex>

namespace tarvo::oss {

/// The server end of TCP connections: listens on a port of this machine and accepts connections from clients.
///
///     SocketServer server;
///     server.listen(0, 16, true);    // port 0: the system chooses one
///     Socket client;
///     client.connect("127.0.0.1", server.getPort(), Socket::NullAddrInfoExternal, nullptr);
///     Socket connection;
///     server.accept(connection, nullptr);
///     client.writeMessage("hello", 0, 5);
///     char request[512];
///     connection.readMessage(request, nullptr, 0, sizeof request, true);  // -> 5
///
/// Only one thread at a time may use an object, with one exception: any thread may call `close` while another
/// thread waits in `accept`. `accept` then ends at once, and `close` returns after `accept` has ended. A
/// trace function (see kelTraceFacility.hpp) that `accept` calls must not close the same server: `close`
/// would wait forever for `accept` to end.
///
/// In a forked child, `close` and the destructor close only the child's descriptor: the parent continues to
/// listen, and its threads continue to wait. If a thread of the child waits in `accept`, `close` also ends
/// the listening of the parent (docs/platforms.md).
///
/// Errors: every failure except the constructor's is a SocketException. Its first message carries the host
/// text "localhost", the port that `getPort` returns, and the file "kelSocketServer.cpp". A member may name
/// another port. If the wait itself failed, the file is "kelSocket.cpp". If a system call fails, a member
/// raises *the error of the code*, which the comment of `Socket` defines.
class KELINFRA_API SocketServer {
 public:
  /// Creates a server that does not listen.
  ///   raises   as the constructor of `Socket`
  SocketServer();
  SocketServer(const SocketServer& other) = delete;
  SocketServer& operator=(const SocketServer& other) = delete;
  /// The destructor stops listening, as `close` does.
  virtual ~SocketServer();

  /// Binds the first wildcard address of this machine that can be bound, and listens on this address. A
  /// wildcard address stands for all network interfaces of the machine.
  ///   port           0 lets the system choose a port; `getPort` then returns it. A port above 65535 cannot
  ///                  be resolved.
  ///   backlog        number of connections that may wait to be accepted; the system limits it
  ///   reuseAddress   On Linux: a port can be bound although old connections linger on it. A connection
  ///                  lingers for up to a minute if this end closed it first. The option has an effect only
  ///                  if the connection was closed by this library, or by a program that set SO_REUSEADDR on
  ///                  it; otherwise the error is 10048. A port on which a socket listens is never shared. On
  ///                  Windows: lingering connections never prevent binding a port. With the option the port
  ///                  is shared with sockets that already listen on it, if the system permits that.
  /// The supported systems list the IPv4 address first, so the server listens on IPv4. A client that resolves
  /// "localhost" to ::1 cannot connect to "localhost", but it can connect to 127.0.0.1. If the system's
  /// listen() fails after the server bound the port, the port stays bound until `close`. Until then
  /// `listen` raises the error for a server that holds a port already, and `accept` raises the error of code
  /// 10022.
  ///   raises   ERR_SOCKET_LISTENING (host text, the port that it holds): the server holds a port already
  ///            ERR_SOCKET_GETADDRINFO_ERROR (host text, `port`, code, the system's text for the code)
  ///            the error of the code (host text, `port`): 10048 for a port in use
  void listen(unsigned int port, unsigned int backlog, bool reuseAddress);

  /// Listens on an address of this machine instead of the wildcard address. With the local address
  /// "127.0.0.1" or "::1", only programs on this machine can connect. With the address of one network
  /// interface, clients can connect only through that interface.
  ///   localAddress   an address literal of IPv4 or IPv6, or a name. If a name has several addresses,
  ///                  `listen` uses the first address that can be bound
  /// The other parameters, and the state after an error, are those of `listen` without an address.
  ///   raises   ERR_SOCKET_LISTENING (host text, the port that it holds): the server holds a port already
  ///            ERR_SOCKET_GETADDRINFO_ERROR (local address, `port`, code, the system's text for the code)
  ///            the error of the code (local address, `port`): 10048 for a port in use, 10049 for an address
  ///            that this machine does not have
  ///            NLSException QN_ERR_OUT_OF_MEMORY: see Converter::convertToBytes
  void listen(const icu::UnicodeString& localAddress, unsigned int port, unsigned int backlog,
              bool reuseAddress);

  /// Waits for a connection and stores its handle in `client`, which then owns the handle. If `client`
  /// already has a handle, the new handle overwrites the old handle, which is not closed. The host and port
  /// of `client` do not change.
  ///   timeout   null waits without limit, 0 does not wait
  ///   raises    ERR_SOCKET_NOT_LISTENING (host text, port)
  ///             ERR_SOCKET_TIMEOUT (host text, port)
  ///             QN_ERR_SOCKET_ERROR (10022, host text, port): the server was closed while `accept` waited;
  ///             the argument is the port on which it listened
  ///             the error of the code
  ///             as the constructor of `Socket`, with host text and port: Winsock does not start again
  void accept(Socket& client, const unsigned long long* timeout);  // milliseconds by pointer: &timeout

  /// Stops listening; accepted connections stay open. If the server does not listen, `close` does nothing.
  /// `close` raises nothing.
  void close();

  /// Returns the port on which the server listens, or 0 if it does not listen.
  unsigned int getPort() const;

  /// Returns the listening handle. A `Poller` can watch this handle: it is ready to read when a connection
  /// can be accepted. If the server does not listen, all bits of the result are set.
  unsigned long long handle() const;

  /// Asks the system to which port the handle is bound, and returns this port, or 0 if the handle's address
  /// is neither IPv4 nor IPv6.
  ///   raises   the error of the code; 10038 without a handle
  unsigned int queryPort() const;

  /// `setSendBufferSize` and `setReceiveBufferSize` set the sizes, in bytes, of the system's buffers for each
  /// connection that `accept` returns later.
  ///   raises   ERR_SOCKET_NOT_LISTENING (host text, port): no handle; the error of the code
  void setReceiveBufferSize(int bytes);
  void setSendBufferSize(int bytes);
  /// Sets SO_REUSEADDR on the listening handle.
  ///   raises   the error of the code; 10038 without a handle
  void setReuseAddress(bool on);

 private:
  class Waiter;

  KELINFRA_LOCAL void requireNoPort();
  KELINFRA_LOCAL void bindFirst(unsigned int port, bool reuseAddress);
  KELINFRA_LOCAL void startListening(const icu::UnicodeString& host, unsigned int port, unsigned int backlog);
  KELINFRA_LOCAL unsigned int boundPort() const;
  KELINFRA_LOCAL void waitForConnection(const Waiter& waiter, const unsigned long long* timeout);
  KELINFRA_LOCAL bool selectListening(std::list<Socket>& readList, std::list<Socket>& nothing,
                                      unsigned long long limit);
  KELINFRA_LOCAL void setBufferSize(int option, int bytes);
  KELINFRA_LOCAL void setOption(unsigned long long handle, int option, int value);
  KELINFRA_LOCAL void stopListening();

  Socket listeningSocket_;
  icu::UnicodeString hostText_;
  std::atomic<unsigned int> port_{0};
  std::atomic<bool> listening_{false};
  // `close` closes the handle only after every thread has left `accept`. If `close` closed the handle
  // earlier, a thread in `accept` could use a handle number that the system has already given to another
  // socket.
  std::mutex mutex_;
  std::condition_variable waiterLeft_;
  unsigned int waiters_ = 0;
  unsigned int process_;  ///< the process whose threads use the members above
};

}  // namespace tarvo::oss
