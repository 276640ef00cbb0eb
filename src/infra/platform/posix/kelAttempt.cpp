#include "platform/posix/kelAttempt.hpp"

#include "platform/posix/kelDeadline.hpp"
#include "platform/posix/kelSocketFacts.hpp"

#include <poll.h>

namespace tarvo::platform::posix {

bool attemptFailed(int descriptor, short reported) noexcept {
  if (!socketFacts.has(descriptor, fact::attempt)) return false;
  if ((reported & (POLLERR | POLLHUP)) != 0) return true;
  if ((reported & POLLOUT) != 0) {
    socketFacts.add(descriptor, fact::connected);
    socketFacts.remove(descriptor, fact::attempt);
  }
  return false;
}

bool attemptFailed(int descriptor) noexcept {
  if (!socketFacts.has(descriptor, fact::attempt)) return false;
  pollfd entry = {descriptor, POLLOUT, 0};
  return pollUntil(&entry, 1, Deadline::passed()) == 1 && attemptFailed(descriptor, entry.revents);
}

}  // namespace tarvo::platform::posix
