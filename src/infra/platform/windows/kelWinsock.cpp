#include "platform/kelWinsock.hpp"

#include "platform/kelWinsockChecks.hpp"
#include "platform/windows/kelListeners.hpp"
#include "platform/windows/kelPolling.hpp"

#include <ws2tcpip.h>
// Must be included after winsock2.h.
#include <windows.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <memory>

namespace tarvo::platform {
namespace {

using windows::Listener;
using windows::listeners;

static_assert(sizeof(SocketHandle) == sizeof(SOCKET) && invalidSocket == INVALID_SOCKET &&
              socketError == SOCKET_ERROR);
static_assert(inetAddressSize == sizeof(sockaddr_in) && inet6AddressSize == sizeof(sockaddr_in6));
static_assert(SocketSet::most == FD_SETSIZE && familyInet == AF_INET && familyInet6 == AF_INET6);
static_assert(passiveFlag == AI_PASSIVE && numericHostFlag == AI_NUMERICHOST);
static_assert(optionReuseAddress == SO_REUSEADDR && optionError == SO_ERROR && optionNoDelay == TCP_NODELAY);

/// A socket address. The length of the address is the length for its family; the system ignores the bytes
/// after the address.
struct NativeAddress {
  explicit NativeAddress(const unsigned char* bytes) noexcept
      : name(reinterpret_cast<const sockaddr*>(bytes)),
        length(name->sa_family == AF_INET ? sizeof(sockaddr_in) : sizeof(sockaddr_in6)) {}

  const sockaddr* name;
  int length;
};

int fail(int code) noexcept {
  ::WSASetLastError(code);
  return socketError;
}

SocketHandle refuse(int code) noexcept {
  ::WSASetLastError(code);
  return invalidSocket;
}

/// Closes a socket without changing the last error.
SocketHandle discard(SOCKET handle) noexcept {
  const int code = ::WSAGetLastError();
  ::closesocket(handle);
  return refuse(code);
}

/// Returns the result of a call that can wait. If `shutdown` in another thread has cancelled the call, the
/// error becomes `wsa::shutDown`.
int unlessCancelled(int result) noexcept {
  const bool cancelled = result == socketError && ::WSAGetLastError() == WSA_OPERATION_ABORTED;
  return cancelled ? fail(wsa::shutDown) : result;
}

int setBlocking(SOCKET handle, bool blocking) noexcept {
  u_long mode = blocking ? 0 : 1;
  return ::ioctlsocket(handle, static_cast<long>(FIONBIO), &mode);
}

/// Returns whether a connection that has ended was reset. Not every system reports a reset to a read: under
/// Wine a read returns the end of stream, but a poll reports an error.
bool wasReset(SOCKET handle) noexcept {
  WSAPOLLFD entry = {handle, POLLRDNORM, 0};
  return ::WSAPoll(&entry, 1, 0) == 1 && (entry.revents & POLLERR) != 0;
}

/// Returns whether a stream has ended because another thread of this process shut down receiving while this
/// thread waited. To find out, the function calls recv again, which does not wait at the end of a stream.
bool wasShutDownHere(SOCKET handle) noexcept {
  char byte = 0;
  return ::recv(handle, &byte, sizeof byte, MSG_PEEK) == SOCKET_ERROR && ::WSAGetLastError() == WSAESHUTDOWN;
}

// --- text ---------------------------------------------------------------------------------------------

/// Converts UTF-8 to the system's UTF-16 text. Null stays null.
class WideText {
 public:
  explicit WideText(const char* text) : null_(text == nullptr) {
    if (null_) return;
    const int count = ::MultiByteToWideChar(CP_UTF8, 0, text, -1, nullptr, 0);
    wide_.resize(static_cast<std::size_t>(count));
    ::MultiByteToWideChar(CP_UTF8, 0, text, -1, wide_.data(), count);
  }

  const wchar_t* get() const noexcept { return null_ ? nullptr : wide_.c_str(); }

 private:
  bool null_;
  std::wstring wide_;
};

std::string toUtf8(const wchar_t* wide) {
  const int count = ::WideCharToMultiByte(CP_UTF8, 0, wide, -1, nullptr, 0, nullptr, nullptr);
  std::string text(static_cast<std::size_t>(count), '\0');
  ::WideCharToMultiByte(CP_UTF8, 0, wide, -1, text.data(), count, nullptr, nullptr);
  text.resize(text.size() - 1);  // the NUL
  return text;
}

ResolvedAddress toResolved(const ADDRINFOW& entry) {
  ResolvedAddress resolved;
  resolved.flags = entry.ai_flags;
  resolved.family = entry.ai_family;
  resolved.socketType = entry.ai_socktype;
  resolved.protocol = entry.ai_protocol;
  const auto* const bytes = reinterpret_cast<const unsigned char*>(entry.ai_addr);
  resolved.address.assign(bytes, bytes + entry.ai_addrlen);
  if (entry.ai_canonname != nullptr) resolved.canonicalName = toUtf8(entry.ai_canonname);
  return resolved;
}

// Winsock counts how often it was started. On some systems the count of starts is too low if two threads
// start Winsock at the same moment. In such a case a later WSACleanup ends all sockets of the process. This
// lock prevents that.
SRWLOCK startLock = SRWLOCK_INIT;

int start(WORD version, WSADATA& data) noexcept {
  ::AcquireSRWLockExclusive(&startLock);
  const int code = ::WSAStartup(version, &data);
  ::ReleaseSRWLockExclusive(&startLock);
  return code;
}

int cleanUp() noexcept {
  ::AcquireSRWLockExclusive(&startLock);
  const int result = ::WSACleanup();
  ::ReleaseSRWLockExclusive(&startLock);
  return result;
}

/// Starts Winsock for the duration of a scope.
class Started {
 public:
  Started() noexcept {
    WSADATA data;
    code_ = start(winsockVersion, data);
  }
  Started(const Started&) = delete;
  Started& operator=(const Started&) = delete;
  ~Started() {
    if (code_ == 0) cleanUp();
  }

  int code() const noexcept { return code_; }

 private:
  int code_;
};

// --- select -------------------------------------------------------------------------------------------

/// The system's fd_set with a longer array. The system allows a longer array: it reads as many handles as
/// `count` says.
struct WatchedSet {
  static constexpr unsigned int most = 2 * SocketSet::most;

  u_int count = 0;
  SOCKET handles[most];

  void add(SOCKET handle) noexcept { handles[count++] = handle; }
  bool contains(SOCKET handle) const noexcept {
    return std::find(handles, handles + count, handle) != handles + count;
  }
  fd_set* get() noexcept { return reinterpret_cast<fd_set*>(this); }
};
static_assert(offsetof(WatchedSet, handles) == offsetof(fd_set, fd_array));

/// The handles of a set. In the array, the waker of a listener follows the listener.
struct Watch {
  explicit Watch(const SocketSet& set) noexcept {
    for (unsigned int i = 0; i < set.count; ++i) {
      watched.add(set.handles[i]);
      const Listener listener = listeners.find(set.handles[i]);
      wakers[i] = listener.waker;
      if (listener.known()) watched.add(listener.waker);
    }
  }

  /// Keeps only the ready handles in `set`.
  void keepReady(SocketSet& set) const noexcept {
    unsigned int kept = 0;
    for (unsigned int i = 0; i < set.count; ++i) {
      const bool woken = wakers[i] != INVALID_SOCKET && watched.contains(wakers[i]);
      if (woken || watched.contains(set.handles[i])) set.handles[kept++] = set.handles[i];
    }
    set.count = kept;
  }

  WatchedSet watched;
  std::array<SOCKET, SocketSet::most> wakers;
};

/// Waits until a connection is pending or the listener was woken.
int awaitPending(SOCKET listening, const Listener& listener) noexcept {
  WatchedSet read;
  read.add(listening);
  read.add(listener.waker);
  return ::select(0, read.get(), nullptr, nullptr, nullptr);
}

// --- transfers that do not wait -----------------------------------------------------------------------

/// Returns 0 if the handle is ready. Otherwise returns the code with which a transfer that must not wait
/// fails.
int refusalNow(SocketHandle handle, unsigned char wanted) noexcept {
  PollEntry entry = {handle, wanted, 0};
  const int ready = windows::pollEntries(&entry, 1, 0);
  if (ready == socketError) return ::WSAGetLastError();
  return ready == 0 ? wsa::wouldBlock : 0;
}

/// The largest number of bytes that a writable socket accepts without waiting.
int pieceFor(SOCKET handle) noexcept {
  constexpr int most = 1 << 16;
  int room = 0;
  int size = sizeof room;
  if (::getsockopt(handle, SOL_SOCKET, SO_SNDBUF, reinterpret_cast<char*>(&room), &size) != 0) return 1;
  return std::clamp(room / 4, 1, most);
}

int readName(decltype(&::getsockname) function, SOCKET handle, unsigned char* address,
             std::size_t& length) noexcept {
  sockaddr_storage storage{};
  int size = sizeof storage;
  if (function(handle, reinterpret_cast<sockaddr*>(&storage), &size) != 0) return socketError;
  length = std::min(length, static_cast<std::size_t>(size));
  std::memcpy(address, &storage, length);
  return 0;
}

// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): one object, never deleted, constant-initialised
class SystemWinsock final : public Winsock {
 public:
  int WSAStartup(std::uint16_t version, StartupData& data) override {
    WSADATA answer{};
    const int code = start(version, answer);
    data.version = answer.wVersion;
    return code;
  }

  int WSACleanup() override { return cleanUp(); }

  int WSAGetLastError() override { return ::WSAGetLastError(); }

  void WSASetLastError(int code) override { ::WSASetLastError(code); }

  SocketHandle socket(int family, int type, int protocol) override {
    if (const int refusal = socketRefusal(family, type); refusal != 0) return refuse(refusal);
    return ::WSASocketW(family, type, protocol, nullptr, 0, WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
  }

  int connect(SocketHandle handle, const unsigned char* address, std::size_t length) override {
    if (const int refusal = addressRefusal(address, length); refusal != 0) return fail(refusal);
    const NativeAddress native(address);
    return ::connect(handle, native.name, native.length);
  }

  int bind(SocketHandle handle, const unsigned char* address, std::size_t length) override {
    if (const int refusal = addressRefusal(address, length); refusal != 0) return fail(refusal);
    const NativeAddress native(address);
    return ::bind(handle, native.name, native.length);
  }

  int listen(SocketHandle handle, unsigned int backlog) override {
    if (::listen(handle, static_cast<int>(std::min<unsigned int>(backlog, INT_MAX))) != 0) return socketError;
    if (!listeners.add(handle)) return socketError;
    return setBlocking(handle, false);
  }

  SocketHandle accept(SocketHandle listening) override {
    for (;;) {
      const Listener listener = listeners.find(listening);
      if (listener.woken) return refuse(wsa::invalidArgument);
      const SOCKET accepted = ::accept(listening, nullptr, nullptr);
      if (accepted != INVALID_SOCKET) return asNew(accepted);
      const bool pending = ::WSAGetLastError() != WSAEWOULDBLOCK;
      if (pending || !listener.known() || !listener.blocking) return invalidSocket;
      if (awaitPending(listening, listener) == socketError) return invalidSocket;
    }
  }

  void wakeAccept(SocketHandle listening) override { listeners.wake(listening); }

  int closesocket(SocketHandle handle) override {
    listeners.remove(handle);
    return ::closesocket(handle);
  }

  int select(SocketSet& read, SocketSet& write, SocketSet& error, const TimeValue* timeout) override {
    Watch reading(read);
    Watch writing(write);
    Watch failing(error);
    timeval limit{};
    if (timeout != nullptr) limit = {timeout->seconds, timeout->microseconds};
    const int count = ::select(0, reading.watched.get(), writing.watched.get(), failing.watched.get(),
                               timeout == nullptr ? nullptr : &limit);
    if (unlessCancelled(count) == socketError) return socketError;
    reading.keepReady(read);
    writing.keepReady(write);
    failing.keepReady(error);
    return static_cast<int>(read.count + write.count + error.count);
  }

  int send(SocketHandle handle, const char* bytes, int length) override {
    return unlessCancelled(::send(handle, bytes, length, 0));
  }

  int recv(SocketHandle handle, char* bytes, int length) override {
    const int result = unlessCancelled(::recv(handle, bytes, length, 0));
    if (result != 0 || length <= 0) return result;
    if (wasShutDownHere(handle)) return fail(wsa::shutDown);
    return wasReset(handle) ? fail(wsa::connectionReset) : 0;
  }

  // The system has no call that transfers without waiting on a blocking socket. But after select has reported
  // a socket as readable, a read does not wait if only one thread reads. After select has reported a socket
  // as writable, the system accepts, without waiting, a piece that is short compared with the send buffer.
  int sendNow(SocketHandle handle, const char* bytes, int length) override {
    if (const int code = refusalNow(handle, PollEntry::write); code != 0) return fail(code);
    return send(handle, bytes, std::min(length, pieceFor(handle)));
  }

  int recvNow(SocketHandle handle, char* bytes, int length) override {
    if (const int code = refusalNow(handle, PollEntry::read); code != 0) return fail(code);
    return recv(handle, bytes, length);
  }

  int poll(PollEntry* entries, std::size_t count, long long milliseconds) override {
    return unlessCancelled(windows::pollEntries(entries, count, milliseconds));
  }

  int shutdown(SocketHandle handle, int how) override {
    if (::shutdown(handle, how) != 0) return socketError;
    // The system's shutdown does not end calls that wait, so this function cancels the waiting calls. The
    // system can only cancel the calls in both directions. NOLINTNEXTLINE(performance-no-int-to-ptr): a
    // socket is a handle
    if (how == shutdownBoth) ::CancelIoEx(reinterpret_cast<HANDLE>(handle), nullptr);
    return 0;
  }

  int ioctlsocketNonBlocking(SocketHandle handle, unsigned long mode) override {
    if (listeners.setBlocking(handle, mode == 0)) return 0;
    return setBlocking(handle, mode == 0);
  }

  int setsockopt(SocketHandle handle, int level, int option, int value) override {
    return ::setsockopt(handle, level, option, reinterpret_cast<const char*>(&value), sizeof value);
  }

  int getsockopt(SocketHandle handle, int level, int option, int& value) override {
    // For some options the system writes a value of only one byte.
    int whole = 0;
    int size = sizeof whole;
    if (::getsockopt(handle, level, option, reinterpret_cast<char*>(&whole), &size) != 0) return socketError;
    value = whole;
    return 0;
  }

  int getsockname(SocketHandle handle, unsigned char* address, std::size_t& length) override {
    return readName(::getsockname, handle, address, length);
  }

  int getpeername(SocketHandle handle, unsigned char* address, std::size_t& length) override {
    return readName(::getpeername, handle, address, length);
  }

  int getaddrinfo(const char* node, const char* service, const AddressHints& hints,
                  std::vector<ResolvedAddress>& list) override {
    if (isBeyondPorts(service)) return wsa::typeNotFound;
    // A program that only resolves names has no Socket that has started Winsock.
    const Started started;
    if (started.code() != 0) return started.code();
    ADDRINFOW wanted{};
    wanted.ai_flags = hints.flags & (passiveFlag | numericHostFlag);
    wanted.ai_family = hints.family;
    wanted.ai_socktype = hints.socketType;
    wanted.ai_protocol = hints.protocol;
    ADDRINFOW* first = nullptr;
    const int code = ::GetAddrInfoW(WideText(node).get(), WideText(service).get(), &wanted, &first);
    if (code != 0) return code;
    const std::unique_ptr<ADDRINFOW, decltype(&::FreeAddrInfoW)> owner(first, &::FreeAddrInfoW);
    for (const ADDRINFOW* entry = first; entry != nullptr; entry = entry->ai_next)
      list.push_back(toResolved(*entry));
    return 0;
  }

  std::string systemText(int code) override {
    constexpr DWORD flags =
        FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK;
    constexpr DWORD language = MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT);
    std::array<char, 1024> text;
    const DWORD count = ::FormatMessageA(flags, nullptr, static_cast<DWORD>(code), language, text.data(),
                                         static_cast<DWORD>(text.size()), nullptr);
    return {text.data(), count};
  }

 private:
  /// Makes an accepted socket blocking and not inheritable. Without this change the accepted socket would be
  /// non-blocking like its listener, and child processes would inherit the socket.
  static SocketHandle asNew(SOCKET accepted) noexcept {
    if (setBlocking(accepted, true) != 0) return discard(accepted);
    // NOLINTNEXTLINE(performance-no-int-to-ptr): a socket is a handle
    ::SetHandleInformation(reinterpret_cast<HANDLE>(accepted), HANDLE_FLAG_INHERIT, 0);
    return accepted;
  }
};

constinit SystemWinsock windowsWinsock;

}  // namespace

constinit Winsock* currentWinsock = &windowsWinsock;

Winsock& systemWinsock() noexcept {
  return windowsWinsock;
}

}  // namespace tarvo::platform
