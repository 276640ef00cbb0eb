#pragma once

#include "infra/kelExport.hpp"
#include "infra/oss/kelDeadline.hpp"
#include "infra/oss/kelSocket.hpp"

#include <memory>

namespace tarvo::oss {

/// Waits for any number of connections, listeners and wakeups at once. `Socket::select`, in contrast, watches
/// at most 64 handles in each list. A Poller keeps its handles from one wait to the next.
///
///     SocketServer server;
///     server.listen("127.0.0.1", 0, 5, false);
///     Socket client;
///     client.connect("127.0.0.1", server.getPort(), Socket::NullAddrInfoExternal, nullptr);
///     Poller poller;
///     poller.watch(server.handle(), Poller::READ);
///     poller.watch(client.handle(), Poller::READ | Poller::WRITE);
///     poller.wait(Deadline::in(60000));  // -> 2
///     poller.ready(0).handle == server.handle();  // -> true
///     poller.ready(1).canWrite;  // -> true
///     poller.ready(1).canRead;   // -> false
///
/// A Poller watches the handles of `Socket`, `SocketServer` and `Wakeup` objects, and does not own them. A
/// copy of a `Socket` has the same handle as the `Socket` that owns the connection, and the Poller watches
/// this handle once. Call `forget` before a watched handle is closed. Otherwise `wait` raises the error of
/// code 10038, until the system gives the number of the closed handle to another connection. From then on,
/// the Poller watches the other connection. If the program passes the handle of an object without a
/// connection to `watch`, `wait` raises the error of code 10038, too.
///
/// Threads: only one thread at a time may use a Poller. To end a wait from another thread or from a signal
/// handler, watch a `Wakeup`. A signal does not end a wait. If another thread closes a watched
/// `SocketServer`, the wait continues. If another thread calls `Socket::shutdownBoth` for a watched
/// connection, the connection becomes ready on Linux. On Windows the wait may then continue, or raise the
/// error of code 10058.
///
/// Errors: each failure is a SocketException with the file name "kelPoller.cpp" and the identifier
/// QN_ERR_SOCKET_ERROR (code). The argument is the Winsock code of the failed call. If memory is exhausted,
/// `watch` raises std::bad_alloc and changes nothing. `wait` may raise std::bad_alloc, too.
class KELINFRA_API Poller {
 public:
  enum Wanted : unsigned int {
    READ = 1,  ///< bytes, the end of the stream, a connection to accept, or a wakeup
    WRITE = 2  ///< room for bytes
  };

  struct Ready {
    unsigned long long handle;
    bool canRead;
    bool canWrite;
  };

  /// Watches nothing.
  ///   raises   as the constructor of `Socket`, with file "kelSocket.cpp"
  Poller();
  Poller(const Poller& other) = delete;
  Poller& operator=(const Poller& other) = delete;
  ~Poller();

  /// Watches a handle. If the Poller watches the handle already, `watch` only replaces `wanted`.
  ///   wanted   READ, WRITE, or READ | WRITE. If `wanted` is 0, the Poller keeps the handle, but `wait`
  ///            ignores the handle. Pass WRITE only while there are bytes to send: a connection is nearly
  ///            always ready to write, so that `wait` would return at once
  void watch(unsigned long long handle, unsigned int wanted);
  /// Stops watching the handle. Does nothing if the Poller does not watch the handle.
  void forget(unsigned long long handle);

  /// Waits until at least one handle is ready or the deadline passes. If the deadline has passed already,
  /// `wait` checks the handles once and does not wait.
  ///   returns   the number of ready handles; 0 if no handle was ready before the deadline. If no handle has
  ///             READ or WRITE in `wanted`, `wait` returns 0 at once
  ///   raises    QN_ERR_SOCKET_ERROR (code): 10038 if a handle is not open, 10055 if there is no memory for
  ///             the system's list. After an error the Poller watches the same handles as before, and no
  ///             handle is ready
  unsigned long long wait(const Deadline& deadline);

  /// Returns one of the handles that the last `wait` found ready. The reference is valid until the next
  /// `wait`; `watch` and `forget` do not invalidate it. The ready handles are in the order in which the
  /// program first passed them to `watch`. After `forget`, however, the last handle in this order takes the
  /// place of the forgotten handle. A lost connection is ready for everything in `wanted`; the next call on
  /// this connection raises the error.
  ///   index   must be below the number that `wait` returned
  const Ready& ready(unsigned long long index) const KELINFRA_LIFETIMEBOUND;

 private:
  struct Watched;

  Socket started_;  ///< keeps Winsock started
  std::unique_ptr<Watched> watched_;
};

}  // namespace tarvo::oss
