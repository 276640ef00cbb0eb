#pragma once

#include "simd/kelKernels.hpp"

#include <span>

namespace tarvo::simd {

/// Returns the kernels that this processor and this system can run, from the simplest to the fastest.
std::span<const Kernels* const> availableKernels();

/// Returns the fastest available kernels, or the kernels that were set by `useKernels`. Any number of threads
/// may call this function at the same time.
const Kernels& kernels();

/// For tests: sets the kernels that are used from now on. `chosen` is one of the available kernels; null
/// restores the fastest kernels.
void useKernels(const Kernels* chosen);

}  // namespace tarvo::simd
