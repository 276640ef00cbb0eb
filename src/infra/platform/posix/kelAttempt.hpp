#pragma once

/// Attempts to connect that were in progress when `connect` returned.
namespace tarvo::platform::posix {

/// Whether an attempt on this socket has failed, judged by what a poll reports for it. Records a success.
bool attemptFailed(int descriptor, short reported) noexcept;
/// The same; polls the socket first.
bool attemptFailed(int descriptor) noexcept;

}  // namespace tarvo::platform::posix
