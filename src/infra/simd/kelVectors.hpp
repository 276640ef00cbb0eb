#pragma once

// The vector operations of the target for which the including file is compiled. Highway picks the widest
// target that the compiler's flags allow. The macros below keep it from requiring instructions that no kernel
// needs.
#define HWY_DISABLE_PCLMUL_AES
#define HWY_DISABLE_BMI2_FMA
#define HWY_DISABLE_F16C
#include <hwy/highway.h>
#include <immintrin.h>

#include <cstddef>
#include <cstdint>

namespace tarvo::simd {

namespace {

namespace hn = hwy::HWY_NAMESPACE;

using Byte = std::uint8_t;
using Widest = hn::ScalableTag<Byte>;
using Narrow = hn::Full128<Byte>;

HWY_INLINE const Byte* bytesOf(const char* text) {
  return reinterpret_cast<const Byte*>(text);
}

HWY_INLINE Byte* bytesOf(char* text) {
  return reinterpret_cast<Byte*>(text);
}

// --- constants

/// The same 16 bytes for each block of a vector of the largest width: GCC 12 widens a narrower constant
/// inside the loop.
struct alignas(64) Blocks {
  Byte at[64] = {};

  consteval explicit Blocks(const Byte (&block)[16]) {
    for (unsigned place = 0; place < 64; ++place) at[place] = block[place % 16];
  }
  consteval explicit Blocks(std::uint32_t four) {
    for (unsigned place = 0; place < 64; ++place) at[place] = static_cast<Byte>(four >> place % 4 * 8);
  }
};

template <class D>
HWY_INLINE hn::Vec<D> load(D d, const Blocks& blocks) {
  return hn::Load(d, blocks.at);
}

template <std::uint32_t four>
constexpr Blocks fours{four};

/// The same four bytes in the whole vector, or the same byte.
template <std::uint32_t four, class D>
HWY_INLINE hn::Vec<D> eachFour(D d) {
  return hn::BitCast(d, load(hn::Repartition<Byte, D>(), fours<four>));
}

template <Byte byte, class D>
HWY_INLINE hn::Vec<D> each(D d) {
  return eachFour<byte * 0x01010101U>(d);
}

// --- bytes of UTF-8

/// FF for each byte that starts a character.
template <class D, class V>
HWY_INLINE V startsOf(D d, V bytes) {
  const hn::Repartition<std::int8_t, D> signedBytes;
  const auto starts = hn::Gt(hn::BitCast(signedBytes, bytes), each<0xBF>(signedBytes));
  return hn::BitCast(d, hn::VecFromMask(signedBytes, starts));
}

template <class D, class V>
HWY_INLINE bool allZero(D d, V bytes) {
  return hn::AllTrue(d, hn::Eq(bytes, hn::Zero(d)));
}

template <class D, class V>
HWY_INLINE bool allAscii(D d, V bytes) {
  return allZero(d, hn::And(bytes, each<0x80>(d)));
}

// --- operations that Highway 1.0.3 does not have

/// One bit for each element.
template <class D, class M>
HWY_INLINE std::uint64_t bitsOf(D d, M mask) {
  std::uint64_t bits = 0;
  hn::StoreMaskBits(d, mask, reinterpret_cast<std::uint8_t*>(&bits));
  return bits;
}

/// The units of a and then of b, block by block, each as a byte: those above 255 become 255, those above
/// 32767 become 0.
HWY_INLINE hn::Vec128<Byte> packedBlocks(hn::Vec128<std::uint16_t> a, hn::Vec128<std::uint16_t> b) {
  return hn::Vec128<Byte>{_mm_packus_epi16(a.raw, b.raw)};
}

/// For each pair of bytes, the first times the multiplier's first plus the second times the multiplier's
/// second.
HWY_INLINE hn::Vec128<std::uint16_t> sumsOfProducts(hn::Vec128<Byte> a, hn::Vec128<Byte> multiplier) {
  return hn::Vec128<std::uint16_t>{_mm_maddubs_epi16(a.raw, multiplier.raw)};
}

/// The same for each pair of units.
HWY_INLINE hn::Vec128<std::uint32_t> sumsOfProducts(hn::Vec128<std::uint16_t> a,
                                                    hn::Vec128<std::uint16_t> multiplier) {
  return hn::Vec128<std::uint32_t>{_mm_madd_epi16(a.raw, multiplier.raw)};
}

#if HWY_MAX_BYTES >= 32
HWY_INLINE hn::Vec256<Byte> packedBlocks(hn::Vec256<std::uint16_t> a, hn::Vec256<std::uint16_t> b) {
  return hn::Vec256<Byte>{_mm256_packus_epi16(a.raw, b.raw)};
}

HWY_INLINE hn::Vec256<std::uint16_t> sumsOfProducts(hn::Vec256<Byte> a, hn::Vec256<Byte> multiplier) {
  return hn::Vec256<std::uint16_t>{_mm256_maddubs_epi16(a.raw, multiplier.raw)};
}

HWY_INLINE hn::Vec256<std::uint32_t> sumsOfProducts(hn::Vec256<std::uint16_t> a,
                                                    hn::Vec256<std::uint16_t> multiplier) {
  return hn::Vec256<std::uint32_t>{_mm256_madd_epi16(a.raw, multiplier.raw)};
}
#endif

}  // namespace

}  // namespace tarvo::simd
