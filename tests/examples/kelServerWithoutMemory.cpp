// Linked with the document server's sources: makes the allocations of the thread that accepts clients fail,
// from SIGUSR1 until SIGUSR2. With KELINFRA_TEST_ONE_REQUEST in the environment only one allocation fails
// after each SIGUSR1: the first one after the first signal, the second one after the second, up to the 20th;
// then the first one again.

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <new>
#include <thread>

namespace {

constexpr int every = -1;
std::atomic<int> toFail = 0;  // counts down; the allocation that finds 1 fails; or `every`
std::atomic<int> signals = 0;
const std::thread::id mainThread = std::this_thread::get_id();
const bool oneRequest = std::getenv("KELINFRA_TEST_ONE_REQUEST") != nullptr;

extern "C" void begin(int) {
  toFail = oneRequest ? 1 + signals++ % 20 : every;
}

extern "C" void end(int) {
  toFail = 0;
}

[[maybe_unused]] const bool installed =
    std::signal(SIGUSR1, begin) != SIG_ERR && std::signal(SIGUSR2, end) != SIG_ERR;

bool isRefused() {
  if (toFail == 0 || std::this_thread::get_id() != mainThread) return false;
  return toFail == every || toFail-- == 1;
}

}  // namespace

void* operator new(std::size_t size) {
  void* const memory = isRefused() ? nullptr : std::malloc(std::max<std::size_t>(size, 1));
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void operator delete(void* memory) noexcept {
  std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}
