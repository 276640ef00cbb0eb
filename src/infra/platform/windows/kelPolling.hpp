#pragma once

#include "platform/kelWinsock.hpp"

#include <cstddef>

namespace tarvo::platform::windows {

/// As Winsock::poll, by the system's select. Its poll is not used, because before Windows 10 version 2004 it
/// does not report an attempt to connect that has failed.
int pollEntries(PollEntry* entries, std::size_t count, long long milliseconds) noexcept;

}  // namespace tarvo::platform::windows
