#include "infra/oss/kelPoller.hpp"
#include "infra/oss/kelWakeup.hpp"

#include "support/kelHandles.hpp"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

namespace tarvo::test {
namespace {

using oss::Deadline;
using oss::Poller;
using oss::Wakeup;

int descriptorOf(const Wakeup& wakeup) {
  return static_cast<int>(wakeup.handle());
}

/// While an object of this class exists, SIGUSR1 triggers a wakeup.
class TriggerBySignal {
 public:
  explicit TriggerBySignal(Wakeup& wakeup) {
    target = &wakeup;
    struct sigaction action = {};
    action.sa_handler = [](int) {
      target.load()->trigger();
      ++handled;
    };
    ::sigaction(SIGUSR1, &action, &before_);
  }
  TriggerBySignal(const TriggerBySignal&) = delete;
  TriggerBySignal& operator=(const TriggerBySignal&) = delete;
  ~TriggerBySignal() { ::sigaction(SIGUSR1, &before_, nullptr); }

  static inline std::atomic<Wakeup*> target;
  static inline std::atomic<int> handled;

 private:
  struct sigaction before_ = {};
};

TEST(WakeupPosix, KeepsErrno) {
  Wakeup wakeup;
  errno = ERANGE;
  wakeup.trigger();
  EXPECT_EQ(errno, ERANGE);
}

TEST(WakeupPosix, KeepsErrnoAndDoesNotWaitIfTheCounterIsFull) {
  Wakeup wakeup;
  const std::uint64_t full = ~std::uint64_t{0} - 1;
  ASSERT_EQ(::write(descriptorOf(wakeup), &full, sizeof full), ssize_t{sizeof full});
  errno = ERANGE;
  wakeup.trigger();
  EXPECT_EQ(errno, ERANGE);
  Poller poller;
  poller.watch(wakeup.handle(), Poller::READ);
  EXPECT_EQ(poller.wait(Deadline::in(0)), 1U);
  wakeup.clear();
  EXPECT_EQ(poller.wait(Deadline::in(0)), 0U);
}

TEST(WakeupPosix, IsNotInheritedByPrograms) {
  const Wakeup wakeup;
  EXPECT_NE(::fcntl(descriptorOf(wakeup), F_GETFD) & FD_CLOEXEC, 0);
}

TEST(WakeupPosix, ClosesItsDescriptors) {
  const std::size_t before = openDescriptors();
  { const Wakeup wakeup; }
  EXPECT_EQ(openDescriptors(), before);
}

TEST(WakeupPosix, InASignalHandlerEndsAWait) {
  Wakeup wakeup;
  Poller poller;
  poller.watch(wakeup.handle(), Poller::READ);
  const TriggerBySignal handler(wakeup);
  const pthread_t waiting = ::pthread_self();
  std::thread sender([waiting] { ::pthread_kill(waiting, SIGUSR1); });
  EXPECT_EQ(poller.wait(Deadline::never()), 1U);
  sender.join();
}

// A trigger that locked or allocated would wait for the thread that it interrupts.
TEST(WakeupPosix, MayInterruptAThreadThatAllocatesAndWaits) {
  constexpr int signals = 200;
  Wakeup wakeup;
  Poller poller;
  poller.watch(wakeup.handle(), Poller::READ);
  const TriggerBySignal handler(wakeup);
  TriggerBySignal::handled = 0;
  const pthread_t target = ::pthread_self();
  std::thread sender([target] {
    for (int i = 0; i < signals; ++i) {
      const int seen = TriggerBySignal::handled;
      ::pthread_kill(target, SIGUSR1);
      while (TriggerBySignal::handled == seen) std::this_thread::yield();
    }
  });
  while (TriggerBySignal::handled < signals) {
    const std::vector<std::string> allocated(3, std::string(100, 'x'));
    poller.watch(~0ULL, 0);
    poller.forget(~0ULL);
    poller.wait(Deadline::in(0));
    wakeup.clear();
  }
  sender.join();
  EXPECT_EQ(TriggerBySignal::handled, signals);
}

}  // namespace
}  // namespace tarvo::test
