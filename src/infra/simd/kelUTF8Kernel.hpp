#pragma once

#include "simd/kelKernels.hpp"
#include "simd/kelUTF8Words.hpp"
#include "simd/kelVectors.hpp"

HWY_BEFORE_NAMESPACE();

/// Checks UTF-8 with vectors of any width. Every byte is checked together with the three bytes before it. For
/// this purpose the kernel loads the text three more times, from one, two and three bytes earlier. Therefore
/// the check of a part of a text does not depend on the checks of other parts, and a part may be checked
/// twice.
namespace tarvo::simd {

// NOLINTBEGIN(misc-definitions-in-headers): each including source needs a copy in its own instruction set
namespace {

// --- faults of two adjacent bytes

/// A kind of fault in two adjacent bytes. Three sets of nibbles describe a fault: the high nibbles of the
/// first byte, the low nibbles of the first byte, and the high nibbles of the second byte. Bit n of a set
/// stands for nibble n.
struct Fault {
  unsigned firstHigh;
  unsigned firstLow;
  unsigned secondHigh;
};

constexpr unsigned anyLow = 0xFFFF;
constexpr unsigned continuations = 0x0F00;  // 8_ to B_

constexpr Fault faults[8] = {
    {0xF000, anyLow, static_cast<unsigned>(0xFFFF & ~continuations)},  // a lead byte without a continuation
    {0x00FF, anyLow, continuations},                                   // a continuation after ASCII
    {1U << 0xCU, 0x0003, continuations},                               // overlong: C0, C1
    {1U << 0xEU, 1U << 0x0U, 0x0300},                                  // overlong: E0 80 to 9F
    {1U << 0xEU, 1U << 0xDU, 0x0C00},                                  // surrogates: ED A0 to BF
    {1U << 0xFU, 0xFFE1, 1U << 8U},          // overlong: F0 8_; too large: F5 to FF, 8_
    {1U << 0xFU, 0xFFF0, 0x0E00},            // too large: F4 to FF, 90 to BF
    {continuations, anyLow, continuations},  // no fault if a lead byte further left needs both: bit 7
};

/// Returns a table that contains, for each value of a nibble, the faults that are possible with this nibble.
/// There are three tables: for the two nibbles of a byte and for the high nibble of the next byte. The two
/// bytes have a fault if all three tables contain the fault.
consteval Blocks faultsOf(unsigned Fault::*halves) {
  Byte with[16] = {};
  for (unsigned half = 0; half < 16; ++half) {
    for (unsigned fault = 0; fault < 8; ++fault)
      with[half] |= static_cast<Byte>((faults[fault].*halves >> half & 1U) << fault);
  }
  return Blocks(with);
}

constexpr Blocks ofFirstHigh = faultsOf(&Fault::firstHigh);
constexpr Blocks ofFirstLow = faultsOf(&Fault::firstLow);
constexpr Blocks ofSecondHigh = faultsOf(&Fault::secondHigh);

/// Returns a vector that is not 0 where a byte cannot follow the three bytes to its left. `bytes` are the
/// bytes at `text`.
template <class D, class V>
HWY_INLINE V faultsAt(D d, const Byte* text, V bytes) {
  const auto first = hn::LoadU(d, text - 1);
  const auto found =
      hn::And(hn::And(hn::TableLookupBytes(load(d, ofFirstHigh), hn::ShiftRight<4>(first)),
                      hn::TableLookupBytes(load(d, ofFirstLow), hn::And(first, each<0x0F>(d)))),
              hn::TableLookupBytes(load(d, ofSecondHigh), hn::ShiftRight<4>(bytes)));
  // Bit 7 of a byte is set if the byte two positions before it is E0 to FF, or if the byte three positions
  // before it is F0 to FF.
  const auto asked = hn::Or(hn::SaturatedSub(hn::LoadU(d, text - 2), each<0xE0 - 0x80>(d)),
                            hn::SaturatedSub(hn::LoadU(d, text - 3), each<0xF0 - 0x80>(d)));
  return hn::Xor(found, hn::And(asked, each<0x80>(d)));
}

// --- stretches

/// A check in progress. The last character that was counted may still turn out to be malformed.
struct Progress {
  const Byte* text;
  Byte* dest;  // null: no copy is made
  std::size_t length;
  Taken taken;
};

template <bool copies, class D>
HWY_INLINE auto bytesAt(D d, const Progress& progress, std::size_t at) {
  const auto bytes = hn::LoadU(d, progress.text + at);
  if constexpr (copies) hn::StoreU(bytes, d, progress.dest + at);
  return bytes;
}

template <class D, class V>
HWY_INLINE std::size_t total(D d64, V sums) {
  return static_cast<std::size_t>(hn::GetLane(hn::SumOfLanes(d64, sums)));
}

/// Checks four vectors at a time, while at least four are left. If all four vectors are ASCII, the only
/// possible fault is that the character before the first vector is incomplete.
template <bool copies, class D>
HWY_INLINE bool takeFours(D d, Progress& progress) {
  const hn::Repartition<std::uint64_t, D> d64;
  const std::size_t size = hn::Lanes(d);
  if (progress.length - progress.taken.bytes < 4 * size) return true;
  auto found = hn::Zero(d);
  auto sums = hn::Zero(d64);
  bool asciiBefore = false;
  std::size_t at = progress.taken.bytes;
  for (; progress.length - at >= 4 * size; at += 4 * size) {
    const Byte* const text = progress.text + at;
    const auto v0 = bytesAt<copies>(d, progress, at);
    const auto v1 = bytesAt<copies>(d, progress, at + size);
    const auto v2 = bytesAt<copies>(d, progress, at + 2 * size);
    const auto v3 = bytesAt<copies>(d, progress, at + 3 * size);
    if (allAscii(d, hn::Or(hn::Or(v0, v1), hn::Or(v2, v3)))) {
      if (!asciiBefore) found = hn::Or(found, faultsAt(d, text, v0));
      asciiBefore = true;
      progress.taken.characters += 4 * size;
      continue;
    }
    asciiBefore = false;
    const auto low = hn::Or(faultsAt(d, text, v0), faultsAt(d, text + size, v1));
    const auto high = hn::Or(faultsAt(d, text + 2 * size, v2), faultsAt(d, text + 3 * size, v3));
    found = hn::Or(found, hn::Or(low, high));
    const auto starts = (startsOf(d, v0) + startsOf(d, v1)) + (startsOf(d, v2) + startsOf(d, v3));
    sums = sums + hn::SumsOf8(hn::Zero(d) - starts);
  }
  progress.taken.bytes = at;
  progress.taken.characters += total(d64, sums);
  return allZero(d, found);
}

/// Checks one vector at a time.
template <bool copies, class D>
HWY_INLINE bool takeOnes(D d, Progress& progress) {
  const hn::Repartition<std::uint64_t, D> d64;
  const std::size_t size = hn::Lanes(d);
  if (progress.length - progress.taken.bytes < size) return true;
  auto found = hn::Zero(d);
  auto sums = hn::Zero(d64);
  for (; progress.length - progress.taken.bytes >= size; progress.taken.bytes += size) {
    const auto bytes = bytesAt<copies>(d, progress, progress.taken.bytes);
    found = hn::Or(found, faultsAt(d, progress.text + progress.taken.bytes, bytes));
    sums = sums + hn::SumsOf8(hn::Zero(d) - startsOf(d, bytes));
  }
  progress.taken.characters += total(d64, sums);
  return allZero(d, found);
}

/// The bytes from which a mask is loaded at the offset `left`: the mask has zeros for the bytes that were
/// counted before, and ones for the last `left` bytes.
alignas(32) constexpr Byte countMasks[32] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                                             1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};

/// Checks the last bytes of a text, which are fewer than 16, in a vector that also contains earlier bytes.
/// The function checks these earlier bytes again but does not count them.
template <bool copies>
HWY_INLINE bool takeLast(Narrow d, Progress& progress) {
  const hn::Repartition<std::uint64_t, Narrow> d64;
  const std::size_t left = progress.length - progress.taken.bytes;
  if (left == 0) return true;
  const std::size_t at = progress.length - hn::Lanes(d);
  const auto bytes = bytesAt<copies>(d, progress, at);
  const auto counted = hn::And(startsOf(d, bytes), hn::LoadU(d, countMasks + left));
  progress.taken.characters += total(d64, hn::SumsOf8(counted));
  return allZero(d, faultsAt(d, progress.text + at, bytes));
}

/// Returns whether the last character before `end` is complete.
HWY_INLINE bool endsWhole(const Byte* end) {
  return end[-1] < 0xC0 && end[-2] < 0xE0 && end[-3] < 0xF0;
}

// --- texts

/// Checks the first bytes of a text word by word, because they do not have three bytes to their left. Stops
/// when the next byte has three bytes to its left.
HWY_INLINE bool takeFirst(Progress& progress) {
  const char* const text = reinterpret_cast<const char*>(progress.text);
  while (progress.taken.bytes < 3) {
    if (!takeWord(wordAt(text + progress.taken.bytes), progress.taken)) return false;
  }
  return true;
}

/// Shorter texts, which have no room for a vector and three bytes to its left, are checked word by word.
constexpr std::size_t leastLength = 3 + 16;

template <bool copies>
HWY_INLINE std::ptrdiff_t takeWellFormed(Progress progress) {
  const Narrow narrow;
  const Widest widest;
  if constexpr (copies) hn::StoreU(hn::LoadU(narrow, progress.text), narrow, progress.dest);
  if (!takeFirst(progress) || !takeFours<copies>(widest, progress)) return -1;
  if (hn::Lanes(widest) > hn::Lanes(narrow) && !takeOnes<copies>(widest, progress)) return -1;
  if (!takeOnes<copies>(narrow, progress) || !takeLast<copies>(narrow, progress)) return -1;
  return endsWhole(progress.text + progress.length) ? static_cast<std::ptrdiff_t>(progress.taken.characters)
                                                    : -1;
}

std::ptrdiff_t countWellFormed(const char* text, std::size_t length) {
  if (length < leastLength) return countByWords(text, length);
  return takeWellFormed<false>({bytesOf(text), nullptr, length, {}});
}

std::ptrdiff_t copyWellFormed(char* dest, const char* text, std::size_t length) {
  if (length >= leastLength) return takeWellFormed<true>({bytesOf(text), bytesOf(dest), length, {}});
  if (length > 0) std::memcpy(dest, text, length);
  return countByWords(dest, length);
}

}  // namespace
// NOLINTEND(misc-definitions-in-headers)

}  // namespace tarvo::simd

HWY_AFTER_NAMESPACE();
