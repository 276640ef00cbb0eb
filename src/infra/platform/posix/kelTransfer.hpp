#pragma once

/// Winsock's transfers and `shutdown` on descriptors. The functions return the results and errors that
/// kelWinsock.hpp defines.
namespace tarvo::platform::posix {

/// `flags` is 0, or MSG_DONTWAIT for a transfer that does not wait.
int send(int descriptor, const char* bytes, int length, int flags) noexcept;
int receive(int descriptor, char* bytes, int length, int flags) noexcept;
int shutDown(int descriptor, int how) noexcept;

}  // namespace tarvo::platform::posix
