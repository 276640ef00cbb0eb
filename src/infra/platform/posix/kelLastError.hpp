#pragma once

#include "platform/kelWinsock.hpp"
#include "platform/posix/kelWinsockCodes.hpp"

#include <cerrno>

/// Winsock's last error of the calling thread, and two functions that set it and return the result of a call.
namespace tarvo::platform::posix {

int lastError() noexcept;
void setLastError(int newCode) noexcept;

/// Records a Winsock code and returns `socketError`.
inline int fail(int code) noexcept {
  setLastError(code);
  return socketError;
}

/// `result` is what a system call returned. If the call succeeded, returns `result`. If the call failed, sets
/// the last error to the Winsock code for errno and returns `socketError`.
inline int answer(long result) noexcept {
  return result < 0 ? fail(winsockCode(errno)) : static_cast<int>(result);
}

}  // namespace tarvo::platform::posix
