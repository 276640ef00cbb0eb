#pragma once

#include "machine/kelByteOrder.hpp"

// The vector operations of the target for which the including file is compiled. Highway picks the widest
// target that the compiler's flags allow. Without the macros below, Highway would require instructions that
// no kernel uses.
#define HWY_DISABLE_PCLMUL_AES
#define HWY_DISABLE_BMI2_FMA
#define HWY_DISABLE_F16C
// The following targets of Highway are disabled, because the kernels need the size of a vector at compile
// time.
#define HWY_DISABLED_TARGETS (HWY_SVE | HWY_SVE2 | HWY_SVE_256 | HWY_SVE2_128)
#include <hwy/highway.h>

#include <cstddef>
#include <cstdint>

HWY_BEFORE_NAMESPACE();

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

/// A constant that repeats the same 16 bytes for each block of the widest vector. The constant has the width
/// of the widest vector, because GCC 12 would widen a narrower constant inside the loop.
struct alignas(64) Blocks {
  Byte at[64] = {};

  constexpr explicit Blocks(const Byte (&block)[16]) {
    for (unsigned place = 0; place < 64; ++place) at[place] = block[place % 16];
  }
  consteval Blocks(std::uint32_t four, std::size_t laneSize) {
    for (std::size_t place = 0; place < 64; ++place)
      at[machine::isLittleEndian ? place : place ^ (laneSize - 1)] = static_cast<Byte>(four >> place % 4 * 8);
  }
};

template <class D>
HWY_INLINE hn::Vec<D> load(D d, const Blocks& blocks) {
  return hn::Load(d, blocks.at);
}

template <std::uint32_t four, std::size_t laneSize>
constexpr Blocks fours{four, laneSize};

/// Returns a vector that repeats the same four bytes. The first lane gets the lowest byte.
template <std::uint32_t four, class D>
HWY_INLINE hn::Vec<D> eachFour(D d) {
  constexpr std::size_t laneSize = machine::isLittleEndian ? 1 : sizeof(hn::TFromD<D>);
  return hn::BitCast(d, load(hn::Repartition<Byte, D>(), fours<four, laneSize>));
}

template <Byte byte, class D>
HWY_INLINE hn::Vec<D> each(D d) {
  return eachFour<byte * 0x01010101U>(d);
}

// --- lanes and their bytes, the lowest first

constexpr Blocks placesInReversed(std::size_t laneSize) {
  Byte places[16] = {};
  for (std::size_t place = 0; place < 16; ++place) places[place] = static_cast<Byte>(place ^ (laneSize - 1));
  return Blocks(places);
}

template <std::size_t laneSize>
constexpr Blocks reversed = placesInReversed(laneSize);

template <class D, class V>
HWY_INLINE hn::Vec<D> lanesOf(D d, V bytes) {
  if constexpr (machine::isLittleEndian) return hn::BitCast(d, bytes);
  const hn::Repartition<Byte, D> d8;
  return hn::BitCast(d, hn::TableLookupBytes(bytes, load(d8, reversed<sizeof(hn::TFromD<D>)>)));
}

template <class D>
HWY_INLINE auto bytesOfLanes(D d, hn::Vec<D> lanes) {
  const hn::Repartition<Byte, D> d8;
  return hn::BitCast(d8, lanesOf(d, hn::BitCast(d8, lanes)));
}

// --- bytes of UTF-8

/// Returns a vector that contains FF for each byte that starts a character, and 0 for the other bytes.
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

/// Returns the mask as a number with one bit for each element.
template <class D, class M>
HWY_INLINE std::uint64_t bitsOf(D d, M mask) {
  std::uint64_t bits = 0;
  hn::StoreMaskBits(d, mask, reinterpret_cast<std::uint8_t*>(&bits));
  return machine::littleEndian(bits);
}

// x86 has one instruction for each of these:
// packedBlocks  the units of a and then of b, block by block, each as a byte: those above 255 become 255,
//               those above 32767 become 0
// joinedSixes   for each four bytes of six bits the number of 24 bits; the first byte is highest
// lookUpLow     TableLookupBytes by the low nibbles of the indices; indices above 127 give anything

#if HWY_ARCH_X86
HWY_INLINE hn::Vec128<Byte> packedBlocks(hn::Vec128<std::uint16_t> a, hn::Vec128<std::uint16_t> b) {
  return hn::Vec128<Byte>{_mm_packus_epi16(a.raw, b.raw)};
}

HWY_INLINE hn::Vec128<std::uint32_t> joinedSixes(Narrow d, hn::Vec128<Byte> sixes) {
  const __m128i twelves = _mm_maddubs_epi16(sixes.raw, eachFour<0x01400140>(d).raw);
  return hn::Vec128<std::uint32_t>{_mm_madd_epi16(twelves, eachFour<0x00011000>(d).raw)};
}

template <class D, class V>
HWY_INLINE V lookUpLow(D, V table, V indices) {
  return hn::TableLookupBytes(table, indices);
}
#else
HWY_INLINE hn::Vec128<Byte> packedBlocks(hn::Vec128<std::uint16_t> a, hn::Vec128<std::uint16_t> b) {
  const hn::Full64<Byte> half;
  const hn::Full128<std::int16_t> d16;
  return hn::Combine(Narrow(), hn::DemoteTo(half, hn::BitCast(d16, b)),
                     hn::DemoteTo(half, hn::BitCast(d16, a)));
}

/// Returns a vector that contains, for each lane, the sum of the first half of the lane, shifted left, and
/// the second half of the lane.
template <int bits, std::uint32_t lowHalves, class D>
HWY_INLINE hn::Vec<D> joinedHalves(D d, hn::Vec<D> lanes) {
  const auto low = hn::And(lanes, eachFour<lowHalves>(d));
  const auto high = hn::ShiftRight<sizeof(hn::TFromD<D>) * 4>(lanes);
  const bool lowFirst = machine::isLittleEndian;
  return hn::Or(hn::ShiftLeft<bits>(lowFirst ? low : high), lowFirst ? high : low);
}

HWY_INLINE hn::Vec128<std::uint32_t> joinedSixes(Narrow, hn::Vec128<Byte> sixes) {
  const hn::Full128<std::uint16_t> d16;
  const hn::Full128<std::uint32_t> d32;
  const auto twelves = joinedHalves<6, 0x00FF00FF>(d16, hn::BitCast(d16, sixes));
  return joinedHalves<12, 0x0000FFFF>(d32, hn::BitCast(d32, twelves));
}

template <class D, class V>
HWY_INLINE V lookUpLow(D d, V table, V indices) {
  return hn::TableLookupBytes(table, hn::And(indices, each<0x0F>(d)));
}
#endif

#if HWY_MAX_BYTES >= 32
HWY_INLINE hn::Vec256<Byte> packedBlocks(hn::Vec256<std::uint16_t> a, hn::Vec256<std::uint16_t> b) {
  return hn::Vec256<Byte>{_mm256_packus_epi16(a.raw, b.raw)};
}

HWY_INLINE hn::Vec256<std::uint32_t> joinedSixes(hn::Full256<Byte> d, hn::Vec256<Byte> sixes) {
  const __m256i twelves = _mm256_maddubs_epi16(sixes.raw, eachFour<0x01400140>(d).raw);
  return hn::Vec256<std::uint32_t>{_mm256_madd_epi16(twelves, eachFour<0x00011000>(d).raw)};
}
#endif

}  // namespace

}  // namespace tarvo::simd

HWY_AFTER_NAMESPACE();
