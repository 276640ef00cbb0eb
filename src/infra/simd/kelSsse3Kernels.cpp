#include "simd/kelBase64Kernel.hpp"
#include "simd/kelKernels.hpp"
#include "simd/kelUtf8Kernel.hpp"

namespace tarvo::simd {

const Kernels ssse3Kernels = {"ssse3",
                              {encodeGroups<standardAlphabet>, encodeGroups<safeAlphabet>},
                              {decodeGroups<standardAlphabet>, decodeGroups<safeAlphabet>},
                              countWellFormed,
                              copyWellFormed};

}  // namespace tarvo::simd
