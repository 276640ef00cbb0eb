#include "stopSignals.hpp"

#include <atomic>
#include <csignal>

namespace documents {

namespace {

std::atomic<bool> requested = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler may not wait for a lock");

// A handler can interrupt any statement, so it only sets a flag. On Windows it runs in another thread, so the
// flag is atomic.
extern "C" void requestStop(int number) {
  requested = true;
  (void)std::signal(number, SIG_DFL);
}

}  // namespace

void watchStopSignals() {
  (void)std::signal(SIGINT, requestStop);
  (void)std::signal(SIGTERM, requestStop);
}

bool stopRequested() {
  return requested;
}

}  // namespace documents
