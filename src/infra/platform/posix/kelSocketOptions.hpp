#pragma once

#include "platform/posix/kelSocketFacts.hpp"

/// Winsock's socket options on descriptors: as Winsock::setsockopt and Winsock::getsockopt.
namespace tarvo::platform::posix {

int setOption(int descriptor, int level, int option, int value) noexcept;
int getOption(int descriptor, int level, int option, int& value) noexcept;

/// Lets servers bind the port of a connection while the connection lingers. Call it before this end closes
/// or shuts down sending: the system copies the option to the record of a lingering connection, which can
/// exist before the close. To Winsock only the new server's own option matters. Does nothing if `facts` say
/// that the connection cannot linger or that its sending was shut down before.
void leavePortReusable(int descriptor, Facts facts) noexcept;

}  // namespace tarvo::platform::posix
