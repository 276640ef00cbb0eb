#pragma once

#include "simd/kelBase64Kernel.hpp"
#include "simd/kelKernels.hpp"
#include "simd/kelUTF16Kernel.hpp"
#include "simd/kelUTF8Kernel.hpp"
#include "simd/kelUTF8SpreadKernel.hpp"

namespace tarvo::simd {

namespace {

/// Returns the kernels for the Highway target for which the including file is compiled.
consteval Kernels highwayKernels(const char* name) {
  return {name,
          {encodeGroups<standardAlphabet>, encodeGroups<safeAlphabet>},
          {decodeGroups<standardAlphabet>, decodeGroups<safeAlphabet>},
          countWellFormed,
          copyWellFormed,
          spreadCharacters,
          utf16FromUtf8,
          utf8FromUtf16};
}

}  // namespace

}  // namespace tarvo::simd
