#pragma once

#include <poll.h>

#include <ctime>

/// The calls that systems with POSIX interfaces spell differently. Each system has one source that implements
/// them. A result below 0 is a failure, and errno says which.
namespace tarvo::platform::posix {

/// A new socket that programs which the process starts do not inherit, not even if another thread starts one
/// during the call.
int newSocket(int family, int type, int protocol) noexcept;

/// Takes a connection from the queue of `listening`; the new socket is not inherited either. A signal ends
/// the call with EINTR.
int acceptNew(int listening) noexcept;

/// Makes every call of `acceptNew` on `listening` fail and `pollFor` report it, now and later. The descriptor
/// stays open.
void endAccepts(int listening) noexcept;

/// Waits until one of the entries is ready, for at most `time`; null is without limit. Returns the number of
/// ready entries. A signal ends the call with EINTR.
int pollFor(pollfd* entries, nfds_t count, const timespec* time) noexcept;

/// Sends without raising SIGPIPE: a connection that is closed for sending gives EPIPE only.
long sendQuietly(int descriptor, const char* bytes, int length) noexcept;

}  // namespace tarvo::platform::posix
