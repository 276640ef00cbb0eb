#pragma once

// Must be included before windows.h, which would include the first version of Winsock.
#include <winsock2.h>
// Must be included after winsock2.h.
#include <windows.h>

#include <atomic>
#include <cstddef>

/// The process's listening sockets.
///
/// In Winsock a wait on a listening socket ends only if the socket is closed. After the close, the system can
/// give the number of the socket to another socket before the waiting thread returns. Therefore each listener
/// has a waker: a datagram socket that is connected to itself. A thread that waits for a listener also waits
/// for the listener's waker. To wake such threads, the library sends a byte to the waker, which makes the
/// waker readable. Nothing reads the byte, so the waker stays readable.
namespace tarvo::platform::windows {

struct Listener {
  SOCKET waker = INVALID_SOCKET;
  bool blocking = true;  ///< as set by callers; for the system every listener is non-blocking
  bool woken = false;

  bool known() const noexcept { return waker != INVALID_SOCKET; }
};

class Listeners {
 public:
  /// Adds `handle` to the listeners. If a waker cannot be created, returns false and sets the system's last
  /// error.
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

  // The types of these members need no construction or destruction, because programs may open listeners
  // before main begins and close them after main has ended.
  SRWLOCK lock_ = SRWLOCK_INIT;
  Entry* first_ = nullptr;
  std::atomic<std::size_t> count_{0};  ///< avoids look-ups while there are no listeners
};

extern constinit Listeners listeners;

}  // namespace tarvo::platform::windows
