#pragma once

#include "platform/kelWinsock.hpp"

#include <fcntl.h>
#include <sys/socket.h>

#include <climits>

namespace tarvo::platform::posix {

/// A handle as a descriptor; -1, which is never open, for a handle that cannot be one.
inline int descriptorOf(SocketHandle handle) noexcept {
  return handle <= INT_MAX ? static_cast<int>(handle) : -1;
}

/// Asks the system. If the descriptor is closed or no socket, errno says which.
inline bool isSocket(int descriptor) noexcept {
  int type = 0;
  socklen_t size = sizeof type;
  return ::getsockopt(descriptor, SOL_SOCKET, SO_TYPE, &type, &size) == 0;
}

inline bool isNonBlocking(int descriptor) noexcept {
  return (::fcntl(descriptor, F_GETFL) & O_NONBLOCK) != 0;
}

}  // namespace tarvo::platform::posix
