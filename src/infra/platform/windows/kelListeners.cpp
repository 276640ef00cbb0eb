#include "platform/windows/kelListeners.hpp"

#include <ws2tcpip.h>

#include <memory>
#include <new>
#include <utility>

namespace tarvo::platform::windows {
namespace {

class Locked {
 public:
  explicit Locked(SRWLOCK& lock) noexcept : lock_(lock) { ::AcquireSRWLockExclusive(&lock_); }
  Locked(const Locked&) = delete;
  Locked& operator=(const Locked&) = delete;
  ~Locked() { ::ReleaseSRWLockExclusive(&lock_); }

 private:
  SRWLOCK& lock_;
};

/// Returns a datagram socket that is connected to itself. If the socket cannot be created or connected,
/// returns INVALID_SOCKET and sets the system's last error.
SOCKET makeWaker() noexcept {
  const SOCKET waker =
      ::WSASocketW(AF_INET, SOCK_DGRAM, 0, nullptr, 0, WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
  if (waker == INVALID_SOCKET) return INVALID_SOCKET;
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
  auto* const name = reinterpret_cast<sockaddr*>(&address);
  int size = sizeof address;
  if (::bind(waker, name, size) == 0 && ::getsockname(waker, name, &size) == 0 &&
      ::connect(waker, name, size) == 0) {
    return waker;
  }
  const int code = ::WSAGetLastError();
  ::closesocket(waker);
  ::WSASetLastError(code);
  return INVALID_SOCKET;
}

}  // namespace

constinit Listeners listeners;

bool Listeners::add(SOCKET handle) noexcept {
  if (find(handle).known()) return true;
  std::unique_ptr<Entry> entry(new (std::nothrow) Entry{handle, {}, nullptr});
  if (entry == nullptr) {
    ::WSASetLastError(WSAENOBUFS);
    return false;
  }
  entry->listener.waker = makeWaker();
  if (!entry->listener.known()) return false;
  const Locked locked(lock_);
  entry->next = first_;
  first_ = entry.release();
  ++count_;
  return true;
}

void Listeners::remove(SOCKET handle) noexcept {
  if (count_ == 0) return;
  const Locked locked(lock_);
  for (Entry** place = &first_; *place != nullptr; place = &(*place)->next) {
    if ((*place)->handle != handle) continue;
    const std::unique_ptr<Entry> removed(std::exchange(*place, (*place)->next));
    ::closesocket(removed->listener.waker);
    --count_;
    return;
  }
}

void Listeners::wake(SOCKET handle) noexcept {
  const Locked locked(lock_);
  Entry* const entry = entryOf(handle);
  if (entry == nullptr || std::exchange(entry->listener.woken, true)) return;
  ::send(entry->listener.waker, "", 1, 0);
}

bool Listeners::setBlocking(SOCKET handle, bool blocking) noexcept {
  if (count_ == 0) return false;
  const Locked locked(lock_);
  Entry* const entry = entryOf(handle);
  if (entry != nullptr) entry->listener.blocking = blocking;
  return entry != nullptr;
}

Listener Listeners::find(SOCKET handle) noexcept {
  if (count_ == 0) return {};
  const Locked locked(lock_);
  const Entry* const entry = entryOf(handle);
  return entry == nullptr ? Listener{} : entry->listener;
}

Listeners::Entry* Listeners::entryOf(SOCKET handle) noexcept {
  Entry* entry = first_;
  while (entry != nullptr && entry->handle != handle) entry = entry->next;
  return entry;
}

}  // namespace tarvo::platform::windows
