#pragma once

#include <immintrin.h>

#include <cstddef>

/// Vectors of 64 bytes, with a mask bit for each byte and table look-ups among all bytes. These functions are
/// written without Highway, because Highway has no functions for these instructions.
namespace tarvo::simd {

// NOLINTBEGIN(misc-definitions-in-headers): each including source needs a copy in its own instruction set
namespace {

using Vector = __m512i;

/// Returns a mask in which the lowest `count` bits are set.
__attribute__((always_inline)) inline __mmask64 firstBits(std::size_t count) {
  return count == 0 ? 0 : ~0ULL >> (64 - count);
}

struct alignas(64) ByteTable {
  unsigned char at[64] = {};
};

__attribute__((always_inline)) inline Vector load(const ByteTable& table) {
  return _mm512_load_si512(table.at);
}

}  // namespace
// NOLINTEND(misc-definitions-in-headers)

}  // namespace tarvo::simd
