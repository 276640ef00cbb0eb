#pragma once

#include "infra/kelExport.hpp"
#include "infra/oss/kelSocket.hpp"

namespace tarvo::oss {

/// Ends the wait of a `Poller` from another thread or from a signal handler.
///
///     Wakeup wakeup;  // before the signal handler is installed
///     Poller poller;
///     poller.watch(wakeup.handle(), Poller::READ);
///     wakeup.trigger();                // the only call that a signal handler makes
///     poller.wait(Deadline::never());  // -> 1
///     wakeup.clear();
///
/// Calls coalesce: after any number of calls of `trigger` the handle is ready to read until `clear` is
/// called. Call `clear` first and then look for what there is to do. Then no trigger is lost: one that comes
/// after `clear` makes the handle ready again.
///
/// On Linux the handle is an event descriptor. On Windows it is one end of a connection on the loopback
/// address, and this object holds the other end, too. The constructor sends a random number through the
/// connection, so no other program of the machine can pass for the other end.
///
/// Threads and signals: any thread may call `trigger` at any time during the lifetime of the object, also in
/// a signal handler or, on Windows, in a console control handler. It takes no lock, allocates nothing, raises
/// nothing, calls no trace hook, never waits, and keeps errno. The other members are for one thread at a
/// time. A forked child shares the handle with its parent: a trigger in either process is seen by both.
///
/// Errors: SocketException. The first message of the constructor's error carries file "kelWakeup.cpp", or
/// "kelSocket.cpp" if Winsock does not start.
class KELINFRA_API Wakeup {
 public:
  /// Opens the handle.
  ///   raises   QN_ERR_SOCKET_ERROR (code): 10024 if there is no descriptor left. On Windows
  ///            10060 if strangers prevented the connection for five seconds
  ///            as the constructor of `Socket`
  Wakeup();
  Wakeup(const Wakeup& other) = delete;
  Wakeup& operator=(const Wakeup& other) = delete;
  /// Closes the handle. After that no thread or signal handler may call `trigger`.
  ~Wakeup();

  void trigger() noexcept;
  /// Makes the handle not ready. Does nothing if it is not ready.
  void clear() noexcept;

  /// The handle that a `Poller` watches for READ. It is not a handle for `Socket`.
  unsigned long long handle() const noexcept;

 private:
  Socket started_;  ///< keeps Winsock started
  unsigned long long waiting_;
  unsigned long long triggering_;
};

}  // namespace tarvo::oss
