#pragma once

#include "infra/kelExport.hpp"
#include "infra/oss/kelSocket.hpp"

#include <unicode/unistr.h>

#include <atomic>
#include <condition_variable>
#include <list>
#include <mutex>

namespace tarvo::oss {

/// The listening end of TCP: binds a port on the machine's wildcard address and hands out the connections.
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
/// One thread at a time, but `close` may be called from any thread while another waits in `accept`: the
/// waiter leaves at once, and `close` returns when it has. So a trace hook that runs inside `accept` must not
/// close the server: it would wait for itself.
///
/// In a forked child, `close` and the destructor close the child's descriptor only: the parent goes on
/// listening and its waiters go on waiting (docs/platforms.md).
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
  ///   port           0 lets the system choose; `getPort` then tells which. One above 65535 does not resolve.
  ///   backlog        connections that may wait to be accepted; the system caps it
  ///   reuseAddress   On Linux: binds a port although old connections linger on it, which they do for up to a
  ///                  minute after this end closed them first. That works if this library closed them, or a
  ///                  program that set SO_REUSEADDR on them; otherwise the error is 10048. A port on which
  ///                  anybody listens is never shared. On Windows lingering connections never keep a port;
  ///                  there the option means to share the port with those that listen on it now, where the
  ///                  system allows that.
  /// The system here lists IPv4 first, so IPv4 is what is listened on: a client that takes "localhost" for ::1 does
  /// not get here, one that says 127.0.0.1 does. If listen() fails after the port was bound, the server holds
  /// the port until `close`: until then `listen` raises ERR_SOCKET_LISTENING, and `accept` raises the mapped
  /// error 10022.
  ///   raises   ERR_SOCKET_LISTENING (host text, the port that it holds): it holds a port already
  ///            ERR_SOCKET_GETADDRINFO_ERROR (host text, `port`, code, the system's text for the code)
  ///            the mapped error (host text, `port`): 10048 for a port in use
  void listen(unsigned int port, unsigned int backlog, bool reuseAddress);

  /// Waits for a connection and puts it into `client`, which then owns it. A handle that `client` held before
  /// is overwritten, not closed; its host and port stay as they are.
  ///   timeout   null waits without limit, 0 only looks
  ///   raises    ERR_SOCKET_NOT_LISTENING (host text, port)
  ///             ERR_SOCKET_TIMEOUT (host text, port)
  ///             QN_ERR_SOCKET_ERROR (10022, host text, port): closed while waiting; the port is the one that
  ///             was listened on
  ///             the mapped error
  ///             as the constructor of `Socket`, with host text and port: Winsock does not start again
  void accept(Socket& client, const unsigned long long* timeout);

  /// Stops listening. Connections handed out are not touched. Harmless when not listening. Raises nothing.
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
  // `close` lets waiters leave before the handle is closed, so that none ever accepts on a handle that has
  // gone to somebody else.
  std::mutex mutex_;
  std::condition_variable waiterLeft_;
  unsigned int waiters_ = 0;
  unsigned int process_;  ///< whose threads the members above are about; a forked child differs
};

}  // namespace tarvo::oss
