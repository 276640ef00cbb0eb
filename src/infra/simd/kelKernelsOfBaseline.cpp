#include "simd/kelKernelChoice.hpp"

namespace tarvo::simd {

namespace {

constexpr const Kernels* all[] = {&plainKernels, &vectorKernels};

}  // namespace

std::span<const Kernels* const> availableKernels() {
  return all;
}

}  // namespace tarvo::simd
