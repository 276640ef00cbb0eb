#pragma once

/// The results of attempts to connect that were in progress when `connect` returned.
namespace tarvo::platform::posix {

/// Returns whether an attempt to connect this socket has failed. `reported` are the events that a poll has
/// returned for the socket. If the attempt has succeeded, that is recorded.
bool attemptFailed(int descriptor, short reported) noexcept;
/// Polls the socket and then does the same with the events that the poll returns.
bool attemptFailed(int descriptor) noexcept;

}  // namespace tarvo::platform::posix
