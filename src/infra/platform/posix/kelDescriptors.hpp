#pragma once

#include "platform/kelWinsock.hpp"

#include <fcntl.h>
#include <sys/socket.h>

#include <climits>

namespace tarvo::platform::posix {

/// Converts a handle to a descriptor. If the handle is too large for a descriptor, returns -1, which is never
/// an open descriptor.
inline int descriptorOf(SocketHandle handle) noexcept {
  return handle <= INT_MAX ? static_cast<int>(handle) : -1;
}

/// Asks the system whether a descriptor is a socket. If the result is false, errno says whether the
/// descriptor is closed or another kind of file.
inline bool isSocket(int descriptor) noexcept {
  int type = 0;
  socklen_t size = sizeof type;
  return ::getsockopt(descriptor, SOL_SOCKET, SO_TYPE, &type, &size) == 0;
}

inline bool isNonBlocking(int descriptor) noexcept {
  return (::fcntl(descriptor, F_GETFL) & O_NONBLOCK) != 0;
}

}  // namespace tarvo::platform::posix
