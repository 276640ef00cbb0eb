#include "platform/posix/kelSystemCalls.hpp"

#include <sys/socket.h>

#include <cstddef>

namespace tarvo::platform::posix {

int newSocket(int family, int type, int protocol) noexcept {
  return ::socket(family, type | SOCK_CLOEXEC, protocol);
}

int acceptNew(int listening) noexcept {
  return ::accept4(listening, nullptr, nullptr, SOCK_CLOEXEC);
}

void endAccepts(int listening) noexcept {
  ::shutdown(listening, SHUT_RDWR);
}

int pollFor(pollfd* entries, nfds_t count, const timespec* time) noexcept {
  return ::ppoll(entries, count, time, nullptr);
}

long sendQuietly(int descriptor, const char* bytes, int length, int flags) noexcept {
  return ::send(descriptor, bytes, static_cast<std::size_t>(length), flags | MSG_NOSIGNAL);
}

}  // namespace tarvo::platform::posix
