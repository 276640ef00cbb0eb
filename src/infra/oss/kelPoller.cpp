#include "infra/oss/kelPoller.hpp"

#include "oss/kelPollTime.hpp"
#include "oss/kelSocketError.hpp"
#include "platform/kelWinsock.hpp"
#include "trace/kelTrace.hpp"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <unordered_map>
#include <vector>

namespace tarvo::oss {

using platform::PollEntry;
using platform::winsock;
using trace::probe;
using trace::traced;
using trace::tracedExit;

static_assert(Poller::READ == PollEntry::read && Poller::WRITE == PollEntry::write);

struct Poller::Watched {
  std::vector<PollEntry> entries;
  std::unordered_map<unsigned long long, std::size_t> places;  ///< the index of each handle's entry
  std::vector<Ready> ready;
};

Poller::Poller() {
  tracedExit<probe("Poller::Poller")>([&] { watched_ = std::make_unique<Watched>(); });
}

Poller::~Poller() {
  tracedExit<probe("Poller::~Poller")>([] {});
}

void Poller::watch(unsigned long long handle, unsigned int wanted) {
  traced<probe("Poller::watch")>([&] {
    const auto mask = static_cast<unsigned char>(wanted & (READ | WRITE));
    std::vector<PollEntry>& entries = watched_->entries;
    if (entries.size() == entries.capacity()) entries.reserve(std::max<std::size_t>(16, entries.size() * 2));
    const auto [place, isNew] = watched_->places.try_emplace(handle, entries.size());
    if (isNew) entries.push_back({handle, mask, 0});  // does not allocate: see `reserve` above
    entries[place->second].wanted = mask;
  });
}

void Poller::forget(unsigned long long handle) {
  traced<probe("Poller::forget")>([&] {
    const auto known = watched_->places.find(handle);
    if (known == watched_->places.end()) return;
    const std::size_t place = known->second;
    const PollEntry last = watched_->entries.back();
    watched_->entries[place] = last;
    watched_->entries.pop_back();
    watched_->places[last.handle] = place;
    watched_->places.erase(handle);
  });
}

unsigned long long Poller::wait(const Deadline& deadline) {
  return traced<probe("Poller::wait")>([&]() -> unsigned long long {
    std::vector<PollEntry>& entries = watched_->entries;
    watched_->ready.clear();
    if (std::all_of(entries.begin(), entries.end(), [](const PollEntry& e) { return e.wanted == 0; }))
      return 0;
    int count = 0;
    do {
      count = winsock().poll(entries.data(), entries.size(), pollTime(deadline));
      if (count == platform::socketError) raiseLastError({});
    } while (count == 0 && !deadline.hasPassed());
    if (count == 0) return 0;
    for (const PollEntry& entry : entries) {
      const bool canRead = (entry.ready & PollEntry::read) != 0;
      const bool canWrite = (entry.ready & PollEntry::write) != 0;
      if (canRead || canWrite) watched_->ready.push_back({entry.handle, canRead, canWrite});
    }
    return watched_->ready.size();
  });
}

const Poller::Ready& Poller::ready(unsigned long long index) const {
  return watched_->ready[static_cast<std::size_t>(index)];
}

}  // namespace tarvo::oss
