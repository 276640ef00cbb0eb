#pragma once

#include <immintrin.h>

#include <cstddef>

/// 64 bytes at once, with a bit for each and look-ups among them. Highway has no names for these instructions.
namespace tarvo::simd {

// NOLINTBEGIN(misc-definitions-in-headers): every source that includes this is to have its own, in its instructions
namespace {

using Vector = __m512i;

/// The first `count` bits.
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
