#include "platform/posix/kelTransfer.hpp"

#include "platform/kelWinsock.hpp"
#include "platform/posix/kelAttempt.hpp"
#include "platform/posix/kelDeadline.hpp"
#include "platform/posix/kelDescriptors.hpp"
#include "platform/posix/kelLastError.hpp"
#include "platform/posix/kelSocketFacts.hpp"
#include "platform/posix/kelSocketOptions.hpp"
#include "platform/posix/kelSystemCalls.hpp"

#include <poll.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <array>
#include <cstddef>

namespace tarvo::platform::posix {
namespace {

/// The constants of a direction of transfer: send or receive.
struct Direction {
  int timeoutOption;
  short event;
  Facts ended;
};

constexpr Direction receiving = {SO_RCVTIMEO, POLLIN, fact::receiveEnded};
constexpr Direction sending = {SO_SNDTIMEO, POLLOUT, fact::sendEnded};

Deadline deadlineOf(int descriptor, const Direction& direction, long long started) noexcept {
  timeval limit{};
  socklen_t size = sizeof limit;
  ::getsockopt(descriptor, SOL_SOCKET, direction.timeoutOption, &limit, &size);
  if (limit.tv_sec == 0 && limit.tv_usec == 0) return Deadline::never();
  return Deadline::at(started + static_cast<long long>(limit.tv_sec) * nanosecondsPerSecond +
                      limit.tv_usec * 1000LL);
}

/// Repeats `call` while signals interrupt it. All repetitions together last at most the socket's timeout.
template <class Call>
long resumed(int descriptor, const Direction& direction, Call call) noexcept {
  const long long started = now(CLOCK_MONOTONIC_COARSE);
  long result = call();
  if (result >= 0 || errno != EINTR) return result;
  const Deadline deadline = deadlineOf(descriptor, direction, started);
  do {
    pollfd entry = {descriptor, direction.event, 0};
    if (pollUntil(&entry, 1, deadline) == 0) {
      errno = EAGAIN;
      return -1;
    }
    result = call();
  } while (result < 0 && errno == EINTR);
  return result;
}

/// Returns whether an errno value means that the connection has ended. The system reports such an errno value
/// to one call only.
bool endsConnection(int error) noexcept {
  switch (error) {
    case ECONNRESET:
    case EPIPE:
    case ETIMEDOUT:
    case ECONNABORTED:
    case EHOSTUNREACH:
    case EHOSTDOWN:
    case ENETUNREACH:
    case ENETDOWN:
      return true;
    default:
      return false;
  }
}

/// Returns whether the socket was never connected. If a socket was never connected, the system reports the
/// same error to a send as after a reset, but a different error to a receive.
bool wasNeverConnected(int descriptor) noexcept {
  char byte = 0;
  return ::recv(descriptor, &byte, sizeof byte, MSG_PEEK | MSG_DONTWAIT) < 0 && errno == ENOTCONN;
}

int failTransfer(int descriptor, const Direction& direction, int flags) noexcept {
  const int error = errno;
  if (error == EAGAIN) {
    const bool waited = (flags & MSG_DONTWAIT) == 0 && !isNonBlocking(descriptor);
    return fail(waited ? wsa::timedOut : wsa::wouldBlock);
  }
  if (!endsConnection(error)) return fail(winsockCode(error));
  if (error == EPIPE && socketFacts.has(descriptor, direction.ended)) return fail(wsa::shutDown);
  const bool reset = error == EPIPE || error == ECONNRESET;
  if (attemptFailed(descriptor)) return fail(reset ? wsa::notConnected : winsockCode(error));
  if (error == EPIPE && wasNeverConnected(descriptor)) return fail(wsa::notConnected);
  socketFacts.add(descriptor, fact::connectionLost);
  return fail(winsockCode(error));
}

template <class Call>
int transfer(int descriptor, const Direction& direction, int flags, Call call) noexcept {
  if (socketFacts.has(descriptor, direction.ended)) return fail(wsa::shutDown);
  const long result = resumed(descriptor, direction, call);
  return result < 0 ? failTransfer(descriptor, direction, flags) : static_cast<int>(result);
}

// --- the end of the stream ----------------------------------------------------------------------------

/// Returns whether both directions of the socket are closed.
bool hangsUp(int descriptor) noexcept {
  pollfd entry = {descriptor, 0, 0};
  return pollUntil(&entry, 1, Deadline::passed()) == 1 && (entry.revents & POLLHUP) != 0;
}

/// Waits until a thread that is inside a send has recorded its result. The system reports a reset to only one
/// call: if a send gets the reset, a receive that ends at the same moment gets an end of stream. If sending
/// is still open, there was no reset, and the function does not wait. If both directions are closed, a send
/// returns at once, so the wait is short. The limit is for a forked child: a thread of the parent that was
/// sending does not exist in the child and never records a result.
void awaitSender(int descriptor) noexcept {
  constexpr long long patience = nanosecondsPerSecond / 10;
  if (!socketFacts.isSending(descriptor) || !hangsUp(descriptor)) return;
  const Deadline deadline = Deadline::at(now(CLOCK_MONOTONIC) + patience);
  while (socketFacts.isSending(descriptor)) {
    if (deadline.hasPassed()) return socketFacts.setSending(descriptor, false);
    ::sched_yield();
  }
}

/// Returns the result of a receive that got no bytes: 0 if the peer ended the stream, or a failure if the
/// recorded facts show that the connection failed.
int endOfStream(int descriptor) noexcept {
  awaitSender(descriptor);
  const Facts facts = socketFacts.of(descriptor);
  if ((facts & fact::receiveEnded) != 0) return fail(wsa::shutDown);
  if ((facts & fact::connectionLost) != 0) return fail(wsa::connectionReset);
  return attemptFailed(descriptor) ? fail(wsa::notConnected) : 0;
}

/// Marks the socket as sending for the duration of a scope.
class Sending {
 public:
  explicit Sending(int descriptor) noexcept : descriptor_(descriptor) {
    socketFacts.setSending(descriptor_, true);
  }
  Sending(const Sending&) = delete;
  Sending& operator=(const Sending&) = delete;
  ~Sending() { socketFacts.setSending(descriptor_, false); }

 private:
  int descriptor_;
};

}  // namespace

int send(int descriptor, const char* bytes, int length, int flags) noexcept {
  const Sending marked(descriptor);
  return transfer(descriptor, sending, flags, [&] { return sendQuietly(descriptor, bytes, length, flags); });
}

int receive(int descriptor, char* bytes, int length, int flags) noexcept {
  const int result = transfer(descriptor, receiving, flags, [&] {
    return ::recv(descriptor, bytes, static_cast<std::size_t>(length), flags);
  });
  return result == 0 && length > 0 ? endOfStream(descriptor) : result;
}

int shutDown(int descriptor, int how) noexcept {
  constexpr std::array<int, 3> natives = {SHUT_RD, SHUT_WR, SHUT_RDWR};
  constexpr std::array<Facts, 3> ends = {fact::receiveEnded, fact::sendEnded,
                                         fact::receiveEnded | fact::sendEnded};
  if (how < shutdownReceive || how > shutdownBoth) return fail(wsa::invalidArgument);
  const auto index = static_cast<std::size_t>(how);
  // The function records the shutdown before the system call, because the system call wakes threads that read
  // this record.
  const Facts before = socketFacts.of(descriptor);
  if (how != shutdownReceive) leavePortReusable(descriptor, before);
  socketFacts.add(descriptor, ends[index]);
  if (::shutdown(descriptor, natives[index]) == 0) return 0;
  const int error = errno;
  socketFacts.remove(descriptor, static_cast<Facts>(ends[index] & ~before));
  return fail(winsockCode(error));
}

}  // namespace tarvo::platform::posix
