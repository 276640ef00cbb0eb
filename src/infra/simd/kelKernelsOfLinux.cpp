#include "simd/kelKernelChoice.hpp"

#include <sys/auxv.h>

namespace tarvo::simd {

namespace {

constexpr const Kernels* all[] = {&plainKernels, &vectorKernels};

}  // namespace

/// The build defines KELINFRA_VECTOR_CAPABILITIES: the processor capabilities that the vector kernels need.
std::span<const Kernels* const> availableKernels() {
  constexpr unsigned long needed = KELINFRA_VECTOR_CAPABILITIES;
  const bool hasVectors = (getauxval(AT_HWCAP) & needed) == needed;
  return std::span(all).first(hasVectors ? 2 : 1);
}

}  // namespace tarvo::simd
