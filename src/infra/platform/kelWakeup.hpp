#pragma once

#include "platform/kelWinsock.hpp"

/// A pair of handles: one becomes readable when the other is triggered.
namespace tarvo::platform {

struct WakeupHandles {
  SocketHandle waiting = invalidSocket;     ///< for `Winsock::poll`
  SocketHandle triggering = invalidSocket;  ///< may be equal to `waiting`
};

/// Opens both handles and returns 0. If a call fails, the function leaves no handle open and returns the
/// Winsock code. The caller must have started Winsock.
int openWakeup(WakeupHandles& handles) noexcept;

/// Makes the waiting handle readable until the next `clearWakeup`. A signal handler may call `triggerWakeup`,
/// because the function takes no lock, allocates nothing, and keeps errno and Winsock's last error.
void triggerWakeup(const WakeupHandles& handles) noexcept;

/// Makes the waiting handle not readable.
void clearWakeup(const WakeupHandles& handles) noexcept;

void closeWakeup(const WakeupHandles& handles) noexcept;

}  // namespace tarvo::platform
