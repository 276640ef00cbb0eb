#pragma once

/// Winsock's socket options on descriptors: as Winsock::setsockopt and Winsock::getsockopt.
namespace tarvo::platform::posix {

int setOption(int descriptor, int level, int option, int value) noexcept;
int getOption(int descriptor, int level, int option, int& value) noexcept;

}  // namespace tarvo::platform::posix
