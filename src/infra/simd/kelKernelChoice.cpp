#include "simd/kelKernelChoice.hpp"

#include <atomic>

namespace tarvo::simd {

namespace {

/// The kernels in use. The pointer is null until the first call, because the library runs no code when it is
/// loaded.
constinit std::atomic<const Kernels*> inUse = nullptr;

const Kernels& choose() {
  const Kernels* const best = availableKernels().back();
  // No synchronisation is needed, because all threads choose the same kernels, which are constant.
  inUse.store(best, std::memory_order_relaxed);
  return *best;
}

}  // namespace

const Kernels& kernels() {
  const Kernels* const chosen = inUse.load(std::memory_order_relaxed);
  return chosen != nullptr ? *chosen : choose();
}

void useKernels(const Kernels* chosen) {
  inUse.store(chosen, std::memory_order_relaxed);
}

}  // namespace tarvo::simd
