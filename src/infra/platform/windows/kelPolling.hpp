#pragma once

#include "platform/kelWinsock.hpp"

#include <cstddef>

namespace tarvo::platform::windows {

/// Does the same as Winsock::poll, with the system's select. The function does not use the system's poll
/// (WSAPoll), which does not report a failed attempt to connect before Windows 10 version 2004.
int pollEntries(PollEntry* entries, std::size_t count, long long milliseconds) noexcept;

}  // namespace tarvo::platform::windows
