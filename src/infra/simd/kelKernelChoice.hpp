#pragma once

#include "simd/kelKernels.hpp"

#include <span>

namespace tarvo::simd {

/// The kernels that this processor and this system can run, from the plainest to the best.
std::span<const Kernels* const> availableKernels();

/// The best of them, or those set by `useKernels`. Any number of threads may call it at once.
const Kernels& kernels();

/// For tests: uses these kernels, one of the available ones, from now on; null returns to the best.
void useKernels(const Kernels* chosen);

}  // namespace tarvo::simd
