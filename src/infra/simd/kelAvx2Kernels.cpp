#include "simd/kelHighwayKernels.hpp"

namespace tarvo::simd {

constinit const Kernels avx2Kernels = highwayKernels("avx2");

}  // namespace tarvo::simd
