#pragma once

#include "platform/posix/kelSocketFacts.hpp"

/// Winsock's socket options for descriptors. The functions do the same as Winsock::setsockopt and
/// Winsock::getsockopt.
namespace tarvo::platform::posix {

int setOption(int descriptor, int level, int option, int value) noexcept;
int getOption(int descriptor, int level, int option, int& value) noexcept;

/// Sets SO_REUSEADDR on a connection, so that servers can bind its port while the connection lingers. Call
/// this function before this process closes the connection or shuts down sending. The system copies the
/// option to its record of the lingering connection, and can create this record even before the close. (On
/// Windows only the option of the new server matters.) The function does nothing if `facts` show that the
/// connection cannot linger or that its sending was shut down before.
void leavePortReusable(int descriptor, Facts facts) noexcept;

}  // namespace tarvo::platform::posix
