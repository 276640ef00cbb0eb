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
/// After one or more calls of `trigger`, the handle is ready to read until `clear` is called. After a wait,
/// call `clear` first, and look for work only after `clear`. In this order no trigger is lost, because a call
/// of `trigger` after `clear` makes the handle ready again.
///
/// On Linux the handle is an event descriptor. On Windows the handle is one end of a connection on the
/// loopback address, and the object also owns the other end. The constructor sends a random number through
/// the connection and uses only the end that received this number, so the other end is never a socket of
/// another program.
///
/// Threads and signals: any thread may call `trigger` at any time during the lifetime of the object, also in
/// a signal handler or, on Windows, in a console control handler. `trigger` takes no lock, allocates nothing,
/// raises nothing, calls no trace hook, never waits, and keeps errno. Only one thread at a time may call the
/// other members. A forked child shares the handle with its parent: a call of `trigger` in one process makes
/// the handle ready in both.
///
/// Errors: SocketException. The first message of the constructor's error carries file "kelWakeup.cpp", or
/// "kelSocket.cpp" if Winsock does not start.
class KELINFRA_API Wakeup {
 public:
  /// Opens the handle.
  ///   raises   QN_ERR_SOCKET_ERROR (code): 10024 if there is no descriptor left; on Windows, 10060 if
  ///            connections of other programs prevented the connection for five seconds
  ///            as the constructor of `Socket`
  Wakeup();
  Wakeup(const Wakeup& other) = delete;
  Wakeup& operator=(const Wakeup& other) = delete;
  /// Closes the handle. After the destructor, no thread and no signal handler may call `trigger`.
  ~Wakeup();

  /// Makes the handle ready to read. If the handle is ready already, the handle stays ready.
  void trigger() noexcept;
  /// Makes the handle not ready. Does nothing if the handle is not ready.
  void clear() noexcept;

  /// Returns the handle that a `Poller` watches for READ. A `Socket` cannot use this handle.
  unsigned long long handle() const noexcept;

 private:
  Socket started_;  ///< keeps Winsock started
  unsigned long long waiting_;
  unsigned long long triggering_;
};

}  // namespace tarvo::oss
