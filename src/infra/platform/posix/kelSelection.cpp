#include "platform/posix/kelSelection.hpp"

#include "platform/posix/kelAttempt.hpp"
#include "platform/posix/kelDeadline.hpp"
#include "platform/posix/kelDescriptors.hpp"
#include "platform/posix/kelLastError.hpp"

#include <algorithm>

namespace tarvo::platform::posix {
namespace {

bool isZero(const TimeValue* timeout) noexcept {
  return timeout != nullptr && timeout->seconds == 0 && timeout->microseconds == 0;
}

Deadline deadlineIn(const TimeValue* timeout) noexcept {
  if (timeout == nullptr) return Deadline::never();
  return Deadline::at(now(CLOCK_MONOTONIC) + timeout->seconds * nanosecondsPerSecond +
                      timeout->microseconds * 1000LL);
}

/// Returns those events of an entry for which its socket is ready. A lost connection is readable. A failed
/// attempt to connect is an exceptional condition, and its socket is not writable.
short readyEvents(const pollfd& entry) noexcept {
  const bool failed = attemptFailed(entry.fd, entry.revents);
  short ready = 0;
  if ((entry.revents & (POLLIN | POLLHUP | POLLERR)) != 0) ready |= POLLIN;
  if ((entry.revents & POLLOUT) != 0 && !failed) ready |= POLLOUT;
  if ((entry.revents & POLLPRI) != 0 || failed) ready |= POLLPRI;
  return static_cast<short>(ready & entry.events);
}

}  // namespace

int Selection::wait(const TimeValue* timeout) noexcept {
  if (!build()) return fail(wsa::notASocket);
  Outcome outcome = poll(Deadline::passed());
  if (outcome == Outcome::failed || outcome == Outcome::ready || isZero(timeout)) return finish(outcome);
  if (!allAreSockets()) return answer(-1);
  const Deadline deadline = deadlineIn(timeout);
  do outcome = poll(deadline);
  while (outcome == Outcome::notReady);
  return finish(outcome);
}

/// Creates the poll entries. Returns false if a handle cannot be a descriptor, because the system's poll
/// would ignore such a handle.
bool Selection::build() noexcept {
  for (std::size_t kind = 0; kind < sets_.size(); ++kind) {
    next_ = 0;
    for (unsigned int i = 0; i < sets_[kind]->count; ++i) {
      const int descriptor = descriptorOf(sets_[kind]->handles[i]);
      if (descriptor < 0) return false;
      const Index index = entryOf(descriptor, kind);
      entries_[index].events = static_cast<short>(entries_[index].events | events[kind]);
      places_[kind][i] = index;
    }
  }
  return true;
}

/// Returns the entry of a descriptor; if there is no entry, one is added. A set contains each descriptor at
/// most once, so only the entries of the other sets are searched.
Selection::Index Selection::entryOf(int descriptor, std::size_t kind) noexcept {
  std::size_t index = count_;
  if (kind > 0) {
    if (next_ < count_ && entries_[next_].fd == descriptor) {
      index = next_;
    } else {
      const auto* const found = std::find_if(entries_.begin(), entries_.begin() + count_,
                                             [&](const pollfd& entry) { return entry.fd == descriptor; });
      index = static_cast<std::size_t>(found - entries_.begin());
    }
  }
  if (index == count_) {
    entries_[count_] = {descriptor, 0, 0};
    known_[count_++] = false;
  }
  next_ = index + 1;
  return static_cast<Index>(index);
}

/// Polls and leaves in each entry the events for which its socket is ready.
Selection::Outcome Selection::poll(const Deadline& deadline) noexcept {
  const int reported = pollUntil(entries_.data(), count_, deadline);
  if (reported < 0) return answer(reported), Outcome::failed;
  if (reported == 0) return Outcome::timedOut;
  bool any = false;
  for (std::size_t i = 0; i < count_; ++i) {
    pollfd& entry = entries_[i];
    if (entry.revents == 0) continue;
    if (!isSocketAt(i)) return answer(-1), Outcome::failed;
    entry.revents = readyEvents(entry);
    any = any || entry.revents != 0;
    // This descriptor is removed from the entries. Otherwise the next poll would report the descriptor again
    // at once, although its socket cannot become ready any more.
    if (entry.revents == 0) entry.fd = -1;
  }
  return any ? Outcome::ready : Outcome::notReady;
}

bool Selection::isSocketAt(std::size_t index) noexcept {
  const bool closed = (entries_[index].revents & POLLNVAL) != 0;
  if (closed) errno = EBADF;
  known_[index] = !closed && (known_[index] || isSocket(entries_[index].fd));
  return known_[index];
}

bool Selection::allAreSockets() noexcept {
  for (std::size_t i = 0; i < count_; ++i) {
    if (!known_[i] && !isSocketAt(i)) return false;
  }
  return true;
}

/// Keeps the ready handles in the sets and returns their number. If the poll has failed, returns
/// `socketError`.
int Selection::finish(Outcome outcome) noexcept {
  if (outcome == Outcome::failed) return socketError;
  int kept = 0;
  for (std::size_t kind = 0; kind < sets_.size(); ++kind) {
    SocketSet& set = *sets_[kind];
    unsigned int count = 0;
    for (unsigned int i = 0; i < set.count; ++i) {
      if ((entries_[places_[kind][i]].revents & events[kind]) != 0) set.handles[count++] = set.handles[i];
    }
    set.count = count;
    kept += static_cast<int>(count);
  }
  return kept;
}

}  // namespace tarvo::platform::posix
