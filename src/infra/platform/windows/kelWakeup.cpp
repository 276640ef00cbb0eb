#include "platform/kelWakeup.hpp"

#include "platform/windows/kelLoopbackPair.hpp"

// Before windows.h, which would include the first version of Winsock.
#include <winsock2.h>

namespace tarvo::platform {

int openWakeup(WakeupHandles& handles) noexcept {
  constexpr unsigned int patience = 5000;
  return windows::openLoopbackPair(handles, patience, nullptr);
}

void triggerWakeup(const WakeupHandles& handles) noexcept {
  const int before = ::WSAGetLastError();
  // If the buffers are full, `send` fails, but the other end is readable already.
  ::send(handles.triggering, "", 1, 0);
  ::WSASetLastError(before);
}

void clearWakeup(const WakeupHandles& handles) noexcept {
  char bytes[256];
  while (::recv(handles.waiting, bytes, sizeof bytes, 0) > 0) {
  }
}

void closeWakeup(const WakeupHandles& handles) noexcept {
  ::closesocket(handles.waiting);
  ::closesocket(handles.triggering);
}

}  // namespace tarvo::platform
