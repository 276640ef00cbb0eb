#include "simd/kelHighwayKernels.hpp"

namespace tarvo::simd {

constinit const Kernels vectorKernels = highwayKernels("vector");

}  // namespace tarvo::simd
