#include "platform/posix/kelPolling.hpp"

#include "platform/posix/kelAttempt.hpp"
#include "platform/posix/kelDeadline.hpp"
#include "platform/posix/kelDescriptors.hpp"
#include "platform/posix/kelLastError.hpp"

#include <poll.h>

#include <algorithm>
#include <array>
#include <limits>
#include <memory>
#include <new>

namespace tarvo::platform::posix {
namespace {

/// A poll list of up to this length is stored on the stack.
constexpr std::size_t shortList = 16;

Deadline deadlineIn(long long milliseconds) noexcept {
  if (milliseconds < 0) return Deadline::never();
  constexpr long long perMillisecond = nanosecondsPerSecond / 1000;
  const long long start = now(CLOCK_MONOTONIC);
  const long long most = (std::numeric_limits<long long>::max() - start) / perMillisecond;
  return Deadline::at(start + std::min(milliseconds, most) * perMillisecond);
}

/// Returns false for a handle that cannot be a descriptor, because the system's poll would ignore such a
/// handle.
bool fill(pollfd& native, const PollEntry& entry) noexcept {
  native = {-1, 0, 0};
  if (entry.wanted == 0) return true;
  native.fd = descriptorOf(entry.handle);
  if ((entry.wanted & PollEntry::read) != 0) native.events |= POLLIN;
  if ((entry.wanted & PollEntry::write) != 0) native.events |= POLLOUT;
  return native.fd >= 0;
}

unsigned char readyOf(const pollfd& native, const PollEntry& entry) noexcept {
  attemptFailed(native.fd, native.revents);  // records that an attempt has succeeded
  unsigned char ready = 0;
  if ((native.revents & (POLLIN | POLLHUP | POLLERR)) != 0) ready |= PollEntry::read;
  if ((native.revents & (POLLOUT | POLLHUP | POLLERR)) != 0) ready |= PollEntry::write;
  return ready & entry.wanted;
}

int pollList(PollEntry* entries, pollfd* list, std::size_t count, const Deadline& deadline) noexcept {
  for (std::size_t i = 0; i < count; ++i) {
    if (!fill(list[i], entries[i])) return fail(wsa::notASocket);
  }
  if (const int reported = pollUntil(list, count, deadline); reported < 0) return answer(reported);
  int ready = 0;
  for (std::size_t i = 0; i < count; ++i) {
    if ((list[i].revents & POLLNVAL) != 0) return fail(wsa::notASocket);
    entries[i].ready = list[i].revents == 0 ? 0 : readyOf(list[i], entries[i]);
    if (entries[i].ready != 0) ++ready;
  }
  return ready;
}

}  // namespace

int pollEntries(PollEntry* entries, std::size_t count, long long milliseconds) noexcept {
  const Deadline deadline = deadlineIn(milliseconds);
  if (count <= shortList) {
    std::array<pollfd, shortList> list;
    return pollList(entries, list.data(), count, deadline);
  }
  const std::unique_ptr<pollfd[]> list(new (std::nothrow) pollfd[count]);
  return list == nullptr ? fail(wsa::noBuffers) : pollList(entries, list.get(), count, deadline);
}

}  // namespace tarvo::platform::posix
