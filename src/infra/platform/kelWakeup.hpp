#pragma once

#include "platform/kelWinsock.hpp"

/// A pair of handles: one becomes readable when the other is triggered.
namespace tarvo::platform {

struct WakeupHandles {
  SocketHandle waiting = invalidSocket;     ///< for `Winsock::poll`
  SocketHandle triggering = invalidSocket;  ///< may be the same one
};

/// Returns 0, or the Winsock code of the failure; then nothing is open. Winsock must have been started.
int openWakeup(WakeupHandles& handles) noexcept;

/// Makes the waiting handle readable until `clearWakeup`, however often it is called. It can be called inside
/// a signal handler: it takes no lock, allocates nothing, and keeps errno and Winsock's last error.
void triggerWakeup(const WakeupHandles& handles) noexcept;

/// Makes the waiting handle not readable.
void clearWakeup(const WakeupHandles& handles) noexcept;

void closeWakeup(const WakeupHandles& handles) noexcept;

}  // namespace tarvo::platform
