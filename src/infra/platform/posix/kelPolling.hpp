#pragma once

#include "platform/kelWinsock.hpp"

#include <cstddef>

namespace tarvo::platform::posix {

/// As Winsock::poll. The function can watch any descriptor, not only a socket.
int pollEntries(PollEntry* entries, std::size_t count, long long milliseconds) noexcept;

}  // namespace tarvo::platform::posix
