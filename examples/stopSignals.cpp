#include "stopSignals.hpp"

#include <atomic>
#include <csignal>

namespace documents {

namespace {

std::atomic<bool> requested = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler may not wait for a lock");

// A handler interrupts whatever is under way, so a flag is all that it sets. On Windows it runs in a thread
// of its own, which is why the flag is atomic.
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
