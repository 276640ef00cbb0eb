#pragma once

/// Non-blocking attempts to connect: an attempt may still be in progress when `connect` returns. These
/// functions find out its result.
namespace tarvo::platform::posix {

/// Returns whether an attempt to connect this socket has failed. `reported` contains the events that a poll
/// has returned for the socket. If the attempt has succeeded, the function records this fact.
bool attemptFailed(int descriptor, short reported) noexcept;
/// Polls the socket, and then does the same as the overload with `reported`, with the events that the poll
/// returns.
bool attemptFailed(int descriptor) noexcept;

}  // namespace tarvo::platform::posix
