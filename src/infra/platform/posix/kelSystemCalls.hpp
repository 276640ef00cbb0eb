#pragma once

#include <poll.h>

#include <ctime>

/// System calls that differ between POSIX systems. Each system has one source that implements these
/// functions. If a function fails, it returns a number below 0 and sets errno.
namespace tarvo::platform::posix {

/// Returns a new socket. Programs that the process starts do not inherit the socket, even if another thread
/// starts a program during the call.
int newSocket(int family, int type, int protocol) noexcept;

/// Accepts a connection on `listening`. Programs that the process starts do not inherit the new socket. A
/// signal ends the call with EINTR.
int acceptNew(int listening) noexcept;

/// Makes every present and later call of `acceptNew` on `listening` fail, and makes `pollFor` report the
/// descriptor. The descriptor stays open.
void endAccepts(int listening) noexcept;

/// Waits until one of the entries is ready, for at most `time`; if `time` is null, the wait has no limit.
/// Returns the number of ready entries. A signal ends the call with EINTR.
int pollFor(pollfd* entries, nfds_t count, const timespec* time) noexcept;

/// Sends without raising SIGPIPE: if the connection is closed for sending, the call fails with EPIPE and
/// raises no signal.
long sendQuietly(int descriptor, const char* bytes, int length, int flags) noexcept;

}  // namespace tarvo::platform::posix
