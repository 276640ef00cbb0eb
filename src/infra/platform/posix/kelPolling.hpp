#pragma once

#include "platform/kelWinsock.hpp"

#include <cstddef>

namespace tarvo::platform::posix {

/// As Winsock::poll. Any descriptor can be watched, not only a socket.
int pollEntries(PollEntry* entries, std::size_t count, long long milliseconds) noexcept;

}  // namespace tarvo::platform::posix
