#pragma once

#include "infra/kelExport.hpp"
#include "infra/oss/kelDeadline.hpp"
#include "infra/oss/kelSocket.hpp"

#include <memory>

namespace tarvo::oss {

/// Waits for any number of connections, listeners and wakeups at once. `Socket::select` watches 64 handles at
/// most and erases the others from its lists. A Poller keeps what it watches from one wait to the next.
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
/// A Poller watches handles: those of `Socket`, `SocketServer` and `Wakeup`. It does not own them. A view of
/// a `Socket` and its owner have the same handle, and this handle is watched once. Forget a handle before it
/// is closed: the system soon gives its number to another connection, which would be watched instead. Until
/// then `wait` raises the error of code 10038, as for the handle of an object without a connection.
///
/// Threads: one at a time. To end a wait from another thread or from a signal handler, watch a `Wakeup`. A
/// signal alone does not end a wait, and neither does the end of a `SocketServer` in another thread.
/// `Socket::shutdownBoth` in another thread makes the connection ready on Linux; on Windows the wait may go
/// on or raise the error of code 10058.
///
/// Errors: SocketException whose first message carries file "kelPoller.cpp". It is QN_ERR_SOCKET_ERROR with
/// the code of Winsock as its only argument. If memory is exhausted, `watch` raises std::bad_alloc and
/// changes nothing; `wait` may raise it, too.
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

  /// Watches a handle, or changes what is awaited for it.
  ///   wanted   READ, WRITE or both. With 0 the handle is kept and not awaited. Await WRITE only while bytes
  ///            wait to be sent: a connection can nearly always take bytes
  void watch(unsigned long long handle, unsigned int wanted);
  /// Watches the handle no longer. If it is not watched, nothing happens.
  void forget(unsigned long long handle);

  /// Waits until something is ready or the deadline passes. A deadline that has passed checks once.
  ///   returns   how many handles are ready; 0 after the deadline, and 0 at once if nothing is awaited
  ///   raises    QN_ERR_SOCKET_ERROR (code): 10038 for a handle that is not open, 10055 without memory for
  ///             the system's list. The watched handles stay the same, and no handle is ready
  unsigned long long wait(const Deadline& deadline);

  /// Returns one of the handles that the last `wait` found ready. The reference is valid until the next
  /// `wait`; `watch` and `forget` do not change it. The handles come in the order in which they were first
  /// watched, but after `forget` the handle watched last takes the free place. A connection that is lost is
  /// ready for all that was awaited: the next call on it raises the reason.
  ///   index   must be below the number that `wait` returned
  const Ready& ready(unsigned long long index) const KELINFRA_LIFETIMEBOUND;

 private:
  struct Watched;

  Socket started_;  ///< keeps Winsock started
  std::unique_ptr<Watched> watched_;
};

}  // namespace tarvo::oss
