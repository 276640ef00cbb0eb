#pragma once

#include "infra/kelExport.hpp"
#include "infra/oss/kelSocket.hpp"

#include <unicode/unistr.h>

#include <atomic>
#include <condition_variable>
#include <list>
#include <mutex>

namespace tarvo::oss {

/// The listening end of TCP: binds a port on the machine's wildcard address and accepts the connections.
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
/// One thread at a time, but `close` may be called from any thread while another waits in `accept`: that call
/// then ends at once, and `close` returns after it. Therefore a trace hook that runs inside `accept` must not
/// close the server: it would wait for itself.
///
/// In a forked child, `close` and the destructor close only the child's descriptor: the parent continues to
/// listen, and its threads continue to wait, unless a thread of the child waits in `accept`
/// (docs/platforms.md).
///
/// Errors: every failure except the constructor's is a SocketException. Its first message carries the host
/// text "localhost", the port that `getPort` returns (unless a member says otherwise) and the file
/// "kelSocketServer.cpp" ("kelSocket.cpp" if the wait itself failed). Failed system calls are raised as *the
/// mapped error* (see `Socket`).
class KELINFRA_API SocketServer {
 public:
  /// A server that does not listen.
  ///   raises   as the constructor of `Socket`
  SocketServer();
  SocketServer(const SocketServer& other) = delete;
  SocketServer& operator=(const SocketServer& other) = delete;
  /// Closes as `close` does.
  virtual ~SocketServer();

  /// Binds the first wildcard address that the system offers and that can be bound, and listens on it.
  ///   port           0 lets the system choose; `getPort` then returns it. One above 65535 does not resolve.
  ///   backlog        connections that may wait to be accepted; the system caps it
  ///   reuseAddress   On Linux: binds a port although old connections linger on it, which they do for up to a
  ///                  minute after this end closed them first. That works if this library closed them, or a
  ///                  program that set SO_REUSEADDR on them; otherwise the error is 10048. A port on which
  ///                  a socket listens is never shared. On Windows lingering connections never keep a port;
  ///                  there the option means to share the port with those that listen on it now, where the
  ///                  system allows that.
  /// The supported systems list IPv4 first, so the server listens on IPv4: a client for which "localhost" is
  /// ::1 cannot connect, but it can connect to 127.0.0.1. If listen() fails after the port was bound, the
  /// server holds the port until `close`: until then `listen` raises ERR_SOCKET_LISTENING, and `accept`
  /// raises the mapped error 10022.
  ///   raises   ERR_SOCKET_LISTENING (host text, the port that it holds): it holds a port already
  ///            ERR_SOCKET_GETADDRINFO_ERROR (host text, `port`, code, the system's text for the code)
  ///            the mapped error (host text, `port`): 10048 for a port in use
  void listen(unsigned int port, unsigned int backlog, bool reuseAddress);

  /// Waits for a connection and puts it into `client`, which then owns it. A handle that `client` held before
  /// is overwritten, not closed; its host and port stay as they are.
  ///   timeout   null waits without limit, 0 does not wait
  ///   raises    ERR_SOCKET_NOT_LISTENING (host text, port)
  ///             ERR_SOCKET_TIMEOUT (host text, port)
  ///             QN_ERR_SOCKET_ERROR (10022, host text, port): closed while waiting; the port is the one that
  ///             was listened on
  ///             the mapped error
  ///             as the constructor of `Socket`, with host text and port: Winsock does not start again
  void accept(Socket& client, const unsigned long long* timeout);

  /// Stops listening. Accepted connections stay open. Does nothing if the server does not listen. Raises
  /// nothing.
  void close();

  /// The port listened on; 0 when not listening.
  unsigned int getPort() const;

  /// Asks the system which port the handle is bound to; 0 for an address that is neither IPv4 nor IPv6.
  ///   raises   the mapped error; 10038 without a handle
  unsigned int queryPort() const;

  /// Set the buffer sizes, in bytes, that accepted connections start with.
  ///   raises   ERR_SOCKET_NOT_LISTENING (host text, port): no handle; the mapped error
  void setReceiveBufferSize(int bytes);
  void setSendBufferSize(int bytes);
  /// SO_REUSEADDR on the listening handle.
  ///   raises   the mapped error; 10038 without a handle
  void setReuseAddress(bool on);

 private:
  class Waiter;

  KELINFRA_LOCAL void bindFirst(unsigned int port, bool reuseAddress);
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
  // `close` waits until no thread is in `accept` before it closes the handle: otherwise such a thread could
  // accept on a handle that belongs to another socket by then.
  std::mutex mutex_;
  std::condition_variable waiterLeft_;
  unsigned int waiters_ = 0;
  unsigned int process_;  ///< the process whose threads use the members above
};

}  // namespace tarvo::oss
