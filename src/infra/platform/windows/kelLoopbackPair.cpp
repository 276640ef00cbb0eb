#include "platform/windows/kelLoopbackPair.hpp"

// Before windows.h, which would include the first version of Winsock.
#include <winsock2.h>
// After winsock2.h.
#include <windows.h>
// After windows.h.
#include <ntsecapi.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <utility>

namespace tarvo::platform::windows {
namespace {

constexpr std::size_t nonceSize = 16;
using Nonce = std::array<char, nonceSize>;

/// Closes its socket at the end of the scope, and keeps the system's last error.
class Owned {
 public:
  Owned() = default;
  explicit Owned(SOCKET handle) noexcept : handle_(handle) {}
  Owned(const Owned&) = delete;
  Owned& operator=(const Owned&) = delete;
  ~Owned() { reset(INVALID_SOCKET); }

  SOCKET get() const noexcept { return handle_; }
  bool valid() const noexcept { return handle_ != INVALID_SOCKET; }
  SOCKET release() noexcept { return std::exchange(handle_, INVALID_SOCKET); }
  void reset(SOCKET handle) noexcept {
    const int code = ::WSAGetLastError();
    if (valid()) ::closesocket(handle_);
    handle_ = handle;
    ::WSASetLastError(code);
  }

 private:
  SOCKET handle_ = INVALID_SOCKET;
};

SOCKET newSocket() noexcept {
  return ::WSASocketW(AF_INET, SOCK_STREAM, IPPROTO_TCP, nullptr, 0,
                      WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
}

bool setNonBlocking(SOCKET handle) noexcept {
  u_long mode = 1;
  return ::ioctlsocket(handle, static_cast<long>(FIONBIO), &mode) == 0;
}

bool failWith(int code) noexcept {
  ::WSASetLastError(code);
  return false;
}

/// An accepted connection and the bytes that have arrived on it.
struct Candidate {
  Owned handle;
  Nonce arrived{};
  std::size_t count = 0;
};

/// The sockets while the pair is being made. Only `select` waits, so other programs that connect cannot delay
/// the pair.
class Pairing {
 public:
  /// Binds a free port that no other socket can share, and listens on it.
  bool listen() noexcept {
    address_.sin_family = AF_INET;
    address_.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
    int size = sizeof address_;
    const BOOL on = TRUE;
    return listener_.valid() && triggering_.valid() &&
           ::setsockopt(listener_.get(), SOL_SOCKET, SO_EXCLUSIVEADDRUSE, reinterpret_cast<const char*>(&on),
                        sizeof on) == 0 &&
           setNonBlocking(listener_.get()) && setNonBlocking(triggering_.get()) &&
           ::bind(listener_.get(), name(), size) == 0 && ::getsockname(listener_.get(), name(), &size) == 0 &&
           ::listen(listener_.get(), SOMAXCONN) == 0;
  }

  unsigned short port() const noexcept { return ::ntohs(address_.sin_port); }

  bool connect() noexcept {
    if (::RtlGenRandom(nonce_.data(), nonceSize) == 0) return failWith(WSASYSCALLFAILURE);
    return ::connect(triggering_.get(), name(), sizeof address_) == 0 ||
           ::WSAGetLastError() == WSAEWOULDBLOCK;
  }

  /// Accepts connections until the random number has arrived on one of them.
  bool join(unsigned int patience) noexcept {
    const ULONGLONG end = ::GetTickCount64() + patience;
    while (::GetTickCount64() < end) {
      if (!step()) return false;
      if (found_.valid()) return true;
    }
    return failWith(WSAETIMEDOUT);
  }

  void handOver(WakeupHandles& handles) noexcept {
    handles.waiting = found_.release();
    handles.triggering = triggering_.release();
  }

 private:
  sockaddr* name() noexcept { return reinterpret_cast<sockaddr*>(&address_); }

  bool step() noexcept {
    fd_set read;
    fd_set write;
    fd_set failed;
    FD_ZERO(&read);
    FD_ZERO(&write);
    FD_ZERO(&failed);
    FD_SET(listener_.get(), &read);
    FD_SET(triggering_.get(), &failed);
    if (!sent_) FD_SET(triggering_.get(), &write);
    for (const Candidate& candidate : candidates_) {
      if (candidate.handle.valid()) FD_SET(candidate.handle.get(), &read);
    }
    timeval moment = {0, 100'000};
    if (::select(0, &read, &write, &failed, &moment) == SOCKET_ERROR) return false;
    if (FD_ISSET(triggering_.get(), &failed)) return failWith(WSAECONNREFUSED);
    if (!sent_ && FD_ISSET(triggering_.get(), &write)) {
      if (::send(triggering_.get(), nonce_.data(), nonceSize, 0) != static_cast<int>(nonceSize)) return false;
      sent_ = true;
    }
    for (Candidate& candidate : candidates_) {
      if (candidate.handle.valid() && FD_ISSET(candidate.handle.get(), &read)) hear(candidate);
    }
    if (FD_ISSET(listener_.get(), &read)) acceptOne();
    return true;
  }

  /// Receives the bytes that have arrived. Closes the connection if it has ended, or if the bytes show that
  /// another process made it.
  void hear(Candidate& candidate) noexcept {
    char* const next = candidate.arrived.data() + candidate.count;
    const int got = ::recv(candidate.handle.get(), next, static_cast<int>(nonceSize - candidate.count), 0);
    if (got > 0) candidate.count += static_cast<std::size_t>(got);
    const bool same = std::memcmp(candidate.arrived.data(), nonce_.data(), candidate.count) == 0;
    if (got > 0 && same && candidate.count == nonceSize) found_.reset(candidate.handle.release());
    if (got <= 0 || !same) candidate.handle.reset(INVALID_SOCKET);
  }

  /// Accepts a connection as a candidate. The new candidate replaces the candidate that has waited longest.
  void acceptOne() noexcept {
    const SOCKET accepted = ::accept(listener_.get(), nullptr, nullptr);
    if (accepted == INVALID_SOCKET) return;
    Candidate& place = candidates_[oldest_++ % candidates_.size()];
    place.handle.reset(accepted);
    place.count = 0;
    // NOLINTNEXTLINE(performance-no-int-to-ptr): a socket is a handle
    ::SetHandleInformation(reinterpret_cast<HANDLE>(accepted), HANDLE_FLAG_INHERIT, 0);
    if (!setNonBlocking(accepted)) place.handle.reset(INVALID_SOCKET);
  }

  Owned listener_{newSocket()};
  Owned triggering_{newSocket()};
  Owned found_;
  sockaddr_in address_{};
  Nonce nonce_{};
  bool sent_ = false;
  std::array<Candidate, 16> candidates_;
  std::size_t oldest_ = 0;
};

}  // namespace

int openLoopbackPair(WakeupHandles& handles, unsigned int patience, BeforeConnect beforeConnect) noexcept {
  Pairing pairing;
  if (!pairing.listen()) return ::WSAGetLastError();
  if (beforeConnect != nullptr) beforeConnect(pairing.port());
  if (!pairing.connect() || !pairing.join(patience)) return ::WSAGetLastError();
  pairing.handOver(handles);
  return 0;
}

}  // namespace tarvo::platform::windows
