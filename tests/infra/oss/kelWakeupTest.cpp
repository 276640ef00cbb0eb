#include "infra/oss/kelPoller.hpp"
#include "infra/oss/kelWakeup.hpp"

#include "support/kelRows.hpp"

#include <gtest/gtest.h>

#include <thread>

namespace tarvo::test {
namespace {

using oss::Deadline;
using oss::Poller;
using oss::Wakeup;

/// A wakeup, and a poller that watches it.
struct WatchedWakeup {
  WatchedWakeup() { poller.watch(wakeup.handle(), Poller::READ); }

  bool isReady() { return poller.wait(Deadline::in(0)) == 1; }
  /// On Windows the trigger takes a moment to arrive.
  bool becomesReady() { return poller.wait(Deadline::in(60'000)) == 1; }

  Wakeup wakeup;
  Poller poller;
};

TEST(Wakeup, IsNotReadyBeforeATrigger) {
  WatchedWakeup watched;
  EXPECT_FALSE(watched.isReady());
}

TEST(Wakeup, IsReadyFromTheTriggerUntilItIsCleared) {
  WatchedWakeup watched;
  for (const int round : rowsOf({1, 2, 3})) {
    watched.wakeup.trigger();
    EXPECT_TRUE(watched.becomesReady()) << round;
    EXPECT_TRUE(watched.isReady()) << round;
    watched.wakeup.clear();
    EXPECT_FALSE(watched.isReady()) << round;
  }
}

TEST(Wakeup, CombinesAllTriggersBeforeItIsCleared) {
  constexpr int moreThanTheSystemsBuffersHold = 100'000;
  WatchedWakeup watched;
  for (int i = 0; i < moreThanTheSystemsBuffersHold; ++i) watched.wakeup.trigger();
  EXPECT_TRUE(watched.becomesReady());
  // On Windows some of the bytes may arrive after the first call.
  while (watched.isReady()) watched.wakeup.clear();
  watched.wakeup.trigger();
  EXPECT_TRUE(watched.becomesReady());
}

TEST(Wakeup, ThatIsNotReadyCanBeCleared) {
  WatchedWakeup watched;
  watched.wakeup.clear();
  EXPECT_FALSE(watched.isReady());
  watched.wakeup.trigger();
  EXPECT_TRUE(watched.becomesReady());
}

TEST(Wakeup, EndsAWaitInAnotherThread) {
  WatchedWakeup watched;
  std::thread other([&] { watched.wakeup.trigger(); });
  EXPECT_EQ(watched.poller.wait(Deadline::never()), 1U);
  EXPECT_EQ(watched.poller.ready(0).handle, watched.wakeup.handle());
  other.join();
}

TEST(Wakeup, EndsOnlyTheWaitsThatWatchIt) {
  WatchedWakeup one;
  WatchedWakeup other;
  one.wakeup.trigger();
  EXPECT_TRUE(one.becomesReady());
  EXPECT_FALSE(other.isReady());
}

}  // namespace
}  // namespace tarvo::test
