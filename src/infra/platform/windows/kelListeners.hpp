#pragma once

// Before windows.h, which would bring in the first Winsock.
#include <winsock2.h>
// Behind it.
#include <windows.h>

#include <atomic>
#include <cstddef>

/// The process's listening sockets.
///
/// Winsock ends a wait on a listening socket only by closing it, and then its number can mean another socket before
/// the waiting thread knows. So each has a waker: a datagram socket connected to itself. Whoever waits for the one
/// watches the other as well, and one byte sent to a waker makes it readable for good.
namespace tarvo::platform::windows {

struct Listener {
  SOCKET waker = INVALID_SOCKET;
  bool blocking = true;  ///< what callers set; to the system every listener is non-blocking
  bool woken = false;

  bool known() const noexcept { return waker != INVALID_SOCKET; }
};

class Listeners {
 public:
  /// Makes `handle` one of them. False, with the system's last error, when it gets no waker.
  bool add(SOCKET handle) noexcept;
  /// Closes the waker if `handle` is a listener.
  void remove(SOCKET handle) noexcept;
  void wake(SOCKET handle) noexcept;
  /// False when `handle` is no listener.
  bool setBlocking(SOCKET handle, bool blocking) noexcept;
  Listener find(SOCKET handle) noexcept;

 private:
  struct Entry {
    SOCKET handle;
    Listener listener;
    Entry* next;
  };

  Entry* entryOf(SOCKET handle) noexcept;

  // Nothing here has to be constructed or destroyed: programs may open listeners before main and close them behind it.
  SRWLOCK lock_ = SRWLOCK_INIT;
  Entry* first_ = nullptr;
  std::atomic<std::size_t> count_{0};  ///< so that handles are not looked up where there are none
};

extern constinit Listeners listeners;

}  // namespace tarvo::platform::windows
