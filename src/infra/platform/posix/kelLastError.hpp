#pragma once

#include "platform/kelWinsock.hpp"
#include "platform/posix/kelWinsockCodes.hpp"

#include <cerrno>

/// Winsock's last error of the calling thread, and two functions with which the platform layer returns its
/// results.
namespace tarvo::platform::posix {

int lastError() noexcept;
void setLastError(int newCode) noexcept;

/// Records a Winsock code and returns `socketError`.
inline int fail(int code) noexcept {
  setLastError(code);
  return socketError;
}

/// The result of a system call; if it failed, errno becomes the last error.
inline int answer(long result) noexcept {
  return result < 0 ? fail(winsockCode(errno)) : static_cast<int>(result);
}

}  // namespace tarvo::platform::posix
