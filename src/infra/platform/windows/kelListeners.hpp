#pragma once

// Before windows.h, which would include the first version of Winsock.
#include <winsock2.h>
// After winsock2.h.
#include <windows.h>

#include <atomic>
#include <cstddef>

/// The process's listening sockets.
///
/// In Winsock only closing a listening socket ends a wait on it, and then its number can belong to another
/// socket before the waiting thread knows. Therefore each listener has a waker: a datagram socket connected
/// to itself. A thread that waits for a listener waits for its waker too. One byte sent to a waker makes it
/// readable for good.
namespace tarvo::platform::windows {

struct Listener {
  SOCKET waker = INVALID_SOCKET;
  bool blocking = true;  ///< as set by callers; for the system every listener is non-blocking
  bool woken = false;

  bool known() const noexcept { return waker != INVALID_SOCKET; }
};

class Listeners {
 public:
  /// Adds `handle` to the listeners. Returns false, with the system's last error set, if there is no waker
  /// for it.
  bool add(SOCKET handle) noexcept;
  /// Closes the waker if `handle` is a listener.
  void remove(SOCKET handle) noexcept;
  void wake(SOCKET handle) noexcept;
  /// Returns false if `handle` is not a listener.
  bool setBlocking(SOCKET handle, bool blocking) noexcept;
  Listener find(SOCKET handle) noexcept;

 private:
  struct Entry {
    SOCKET handle;
    Listener listener;
    Entry* next;
  };

  Entry* entryOf(SOCKET handle) noexcept;

  // Needs no construction or destruction: programs may open listeners before main and close them after it.
  SRWLOCK lock_ = SRWLOCK_INIT;
  Entry* first_ = nullptr;
  std::atomic<std::size_t> count_{0};  ///< avoids look-ups while there are no listeners
};

extern constinit Listeners listeners;

}  // namespace tarvo::platform::windows
