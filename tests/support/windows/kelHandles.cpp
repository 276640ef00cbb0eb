#include "support/kelHandles.hpp"

#include "support/windows/kelWinsockStart.hpp"

#include <memory>
#include <stdexcept>

namespace tarvo::test {
namespace {

template <class Value>
Value option(Handle handle, int level, int name) {
  Value value = {};
  int size = sizeof value;
  checked(::getsockopt(handle, level, name, reinterpret_cast<char*>(&value), &size), "getsockopt");
  return value;
}

bool isSocket(Handle handle) {
  int type = 0;
  int size = sizeof type;
  return ::getsockopt(handle, SOL_SOCKET, SO_TYPE, reinterpret_cast<char*>(&type), &size) == 0;
}

using AddressList = std::unique_ptr<addrinfo, void (*)(addrinfo*)>;

AddressList lookUp(const std::string& name, int& code) {
  winsockStarted();
  addrinfo hints = {};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* list = nullptr;
  code = ::getaddrinfo(name.c_str(), "1", &hints, &list);
  return {list, [](addrinfo* first) {
            if (first != nullptr) ::freeaddrinfo(first);
          }};
}

std::string systemText(int code) {
  char* text = nullptr;
  const DWORD flags = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                      FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK;
  const DWORD count = ::FormatMessageA(flags, nullptr, static_cast<DWORD>(code), 0x400,
                                       reinterpret_cast<char*>(&text), 0, nullptr);
  const std::unique_ptr<char, HLOCAL (*)(HLOCAL)> owner(text,
                                                        [](HLOCAL block) { return ::LocalFree(block); });
  return {text, count};
}

}  // namespace

/// Counts only sockets, because the runtime opens and closes events and semaphores for its locks and threads.
std::size_t openDescriptors() {
  winsockStarted();
  DWORD all = 0;
  if (::GetProcessHandleCount(::GetCurrentProcess(), &all) == 0)
    throw std::system_error(static_cast<int>(::GetLastError()), std::system_category(),
                            "GetProcessHandleCount");
  std::size_t sockets = 0;
  constexpr Handle step = 4;
  constexpr Handle most = 1 << 20;
  DWORD seen = 0;
  for (Handle handle = step; seen < all && handle < most; handle += step) {
    DWORD flags = 0;
    if (::GetHandleInformation(reinterpret_cast<HANDLE>(handle), &flags) == 0) continue;
    ++seen;
    if (isSocket(handle)) ++sockets;
  }
  return sockets;
}

bool noDelay(Handle handle) {
  return option<int>(handle, IPPROTO_TCP, TCP_NODELAY) != 0;
}

/// Winsock does not report the mode, so this tries a read: with nothing to read, a blocking socket waits
/// until its timeout.
bool isBlocking(Handle handle) {
  const DWORD former = option<DWORD>(handle, SOL_SOCKET, SO_RCVTIMEO);
  const auto limit = [handle](DWORD milliseconds) {
    checked(::setsockopt(handle, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&milliseconds),
                         sizeof milliseconds),
            "setsockopt");
  };
  limit(1);
  char byte = 0;
  const int got = ::recv(handle, &byte, 1, MSG_PEEK);
  const int code = ::WSAGetLastError();
  limit(former);
  if (got == SOCKET_ERROR && code == WSAETIMEDOUT) return true;
  if (got == SOCKET_ERROR && code == WSAEWOULDBLOCK) return false;
  throw std::logic_error("whether the socket blocks cannot be seen");
}

unsigned long long receiveTimeout(Handle handle) {
  return option<DWORD>(handle, SOL_SOCKET, SO_RCVTIMEO);
}

unsigned long long sendTimeout(Handle handle) {
  return option<DWORD>(handle, SOL_SOCKET, SO_SNDTIMEO);
}

bool hasNoFurtherOptions(Handle handle) {
  return option<int>(handle, SOL_SOCKET, SO_KEEPALIVE) == 0 &&
         option<linger>(handle, SOL_SOCKET, SO_LINGER).l_onoff == 0 &&
         option<int>(handle, SOL_SOCKET, SO_REUSEADDR) == 0;
}

bool takesRefusal(Handle handle) {
  return option<int>(handle, SOL_SOCKET, SO_ERROR) == WSAECONNREFUSED;
}

void closeDirectly(Handle handle) {
  checked(::closesocket(handle), "closesocket");
}

Resolution resolve(const std::string& name) {
  int code = 0;
  const AddressList list = lookUp(name, code);
  return {code, systemText(code)};
}

std::string unknownNameText() {
  return systemText(WSAHOST_NOT_FOUND);
}

std::vector<Family> familiesOf(const std::string& name) {
  int code = 0;
  const AddressList list = lookUp(name, code);
  std::vector<Family> families;
  for (const addrinfo* entry = list.get(); entry != nullptr; entry = entry->ai_next)
    families.push_back(entry->ai_family == AF_INET ? Family::ipv4 : Family::ipv6);
  return families;
}

bool allowDescriptors(std::size_t) {
  return true;  // the system has no limit that a process can change
}

HighHandles::HighHandles() {
  constexpr int floor = 1100;
  do {
    const HANDLE filler = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (filler == nullptr)
      throw std::system_error(static_cast<int>(::GetLastError()), std::system_category(), "CreateEvent");
    fillers_.push_back(static_cast<int>(reinterpret_cast<Handle>(filler)));
  } while (fillers_.back() < floor);
}

HighHandles::~HighHandles() {
  for (const int filler : fillers_) ::CloseHandle(reinterpret_cast<HANDLE>(static_cast<Handle>(filler)));
}

}  // namespace tarvo::test
