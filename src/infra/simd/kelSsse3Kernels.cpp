#include "simd/kelHighwayKernels.hpp"

namespace tarvo::simd {

constinit const Kernels ssse3Kernels = highwayKernels("ssse3");

}  // namespace tarvo::simd
