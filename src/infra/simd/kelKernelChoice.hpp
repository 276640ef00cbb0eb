#pragma once

#include "simd/kelKernels.hpp"

#include <span>

namespace tarvo::simd {

/// The kernels that this processor and this system can run, from the plainest to the best.
std::span<const Kernels* const> availableKernels();

/// The best of them, or those that `useKernels` named. Any number of threads at once.
const Kernels& kernels();

/// For tests: from now on these, one of the available; null goes back to the best.
void useKernels(const Kernels* chosen);

}  // namespace tarvo::simd
