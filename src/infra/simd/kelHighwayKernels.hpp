#pragma once

#include "simd/kelBase64Kernel.hpp"
#include "simd/kelKernels.hpp"
#include "simd/kelUTF16Kernel.hpp"
#include "simd/kelUTF8Kernel.hpp"
#include "simd/kelUTF8SpreadKernel.hpp"

namespace tarvo::simd {

namespace {

/// The kernels for the Highway target of the including file.
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
