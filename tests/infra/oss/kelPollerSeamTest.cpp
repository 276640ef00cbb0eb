#include "infra/oss/kelPoller.hpp"
#include "infra/oss/kelSocketException.hpp"

#include "support/kelAllocationsSeam.hpp"
#include "support/kelFakeWinsockSeam.hpp"
#include "support/kelRaises.hpp"

#include <gtest/gtest.h>

#include <new>
#include <vector>

namespace tarvo::test {
namespace {

using oss::Deadline;
using oss::Poller;
using platform::PollEntry;

TEST(Poller, RaisesTheCodeOfAFailedWait) {
  FakeWinsock fake;
  Poller poller;
  poller.watch(7, Poller::READ);
  fake.failing("poll").with(10055);
  EXPECT_THAT([&] { poller.wait(Deadline::never()); },
              Raises<oss::SocketException>("QN_ERR_SOCKET_ERROR", 10055).from("kelPoller.cpp"));
}

TEST(Poller, WaitsAgainIfTheSystemEndsAWaitEarly) {
  FakeWinsock fake;
  std::vector<long long> limits;
  fake.on.poll = [&](PollEntry* entries, std::size_t count, long long milliseconds) {
    limits.push_back(milliseconds);
    entries[count - 1].ready = limits.size() == 3 ? PollEntry::read : 0;
    return limits.size() == 3 ? 1 : 0;
  };
  Poller poller;
  poller.watch(7, Poller::READ);
  EXPECT_EQ(poller.wait(Deadline::never()), 1U);
  EXPECT_EQ(limits, (std::vector<long long>{-1, -1, -1}));
}

TEST(Poller, WatchesNothingMoreIfMemoryIsExhausted) {
  FakeWinsock fake;
  constexpr unsigned long long watched = 16;  // the next one needs more memory
  int failures = 0;
  for (std::size_t nth = 1;; ++nth) {
    Poller poller;
    for (unsigned long long handle = 0; handle < watched; ++handle) poller.watch(handle, 0);
    bool refused = false;
    {
      const FailingAllocation failing(nth);
      try {
        poller.watch(watched, Poller::READ);
      } catch (const std::bad_alloc&) {
        refused = true;
      }
    }
    if (!refused) break;
    EXPECT_EQ(poller.wait(Deadline::in(0)), 0U);
    std::size_t entries = 0;
    fake.on.poll = [&](PollEntry*, std::size_t count, long long) {
      entries = count;
      return 0;
    };
    poller.watch(0, Poller::READ);
    poller.wait(Deadline::in(0));
    EXPECT_EQ(entries, watched) << "request " << nth;
    ++failures;
  }
  EXPECT_GE(failures, 2);
}

}  // namespace
}  // namespace tarvo::test
