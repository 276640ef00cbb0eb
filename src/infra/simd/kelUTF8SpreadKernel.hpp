#pragma once

#include "machine/kelByteOrder.hpp"
#include "simd/kelKernels.hpp"
#include "simd/kelVectors.hpp"

HWY_BEFORE_NAMESPACE();

/// Stores each character of a text in eight bytes. The kernel finds the starts of all characters in sixteen
/// bytes at once, so the work for a character does not depend on the character before it.
namespace tarvo::simd {

// NOLINTBEGIN(misc-definitions-in-headers): each including source needs a copy in its own instruction set
namespace {

/// Table indexed by eight bits that say which of eight bytes start a character; each entry contains the
/// positions and the number of these bytes.
struct Starts {
  alignas(8) char places[256][8] = {};
  Byte counts[256] = {};

  consteval Starts() {
    for (unsigned starts = 0; starts < 256; ++starts) {
      for (unsigned place = 0; place < 8; ++place)
        if ((starts >> place & 1U) != 0) places[starts][counts[starts]++] = static_cast<char>(place);
    }
  }
};

constexpr Starts startsOfEight;

/// Returns a shuffle that repeats each of eight bytes eight times.
consteval auto eachEightTimes() {
  struct {
    alignas(64) Byte at[64];
  } order = {};
  for (unsigned place = 0; place < 64; ++place) order.at[place] = static_cast<Byte>(place / 8);
  return order;
}

constexpr auto fromEight = eachEightTimes();
constexpr Blocks offsetsInCharacter({0, 1, 2, 3, 0, 0, 0, 0, 0, 1, 2, 3, 0, 0, 0, 0});
/// Entry n is the smallest lead byte of the characters that have more than n bytes. No character has more
/// than four bytes.
constexpr Blocks leastLead({0, 0xC0, 0xE0, 0xF0, 0xFF, 0xFF, 0xFF, 0xFF,  //
                            0, 0xC0, 0xE0, 0xF0, 0xFF, 0xFF, 0xFF, 0xFF});

/// Writes eight words for the characters that start within eight bytes, and returns the number of these
/// characters. If there are fewer than eight characters, the words after the last character are not valid.
/// Reads 16 bytes.
HWY_INLINE std::size_t spreadEight(const Byte* text, std::uint64_t starts, std::uint64_t* dest) {
  const Widest d;
  const hn::Repartition<std::uint64_t, Widest> d64;
  const auto bytes = hn::LoadDup128(d, text);
  const auto word = machine::nativeAt<std::uint64_t>(startsOfEight.places[starts]);
  const auto places = hn::BitCast(d, hn::Set(d64, word));
  for (std::size_t at = 0; at < 64; at += hn::Lanes(d)) {
    const auto first = hn::TableLookupBytes(places, hn::Load(d, fromEight.at + at));
    const auto lead = hn::TableLookupBytes(bytes, first);
    const auto missing = hn::SaturatedSub(load(d, leastLead), lead);
    const auto own = hn::TableLookupBytes(bytes, first + load(d, offsetsInCharacter));
    const auto character = hn::IfThenElseZero(hn::Eq(missing, hn::Zero(d)), own);
    hn::StoreU(hn::BitCast(d64, character), d64, dest + at / 8);
  }
  return startsOfEight.counts[starts];
}

std::size_t spreadCharacters(std::uint64_t* dest, const char* text, std::size_t length) {
  const Narrow d;
  std::uint64_t* to = dest;
  for (std::size_t at = 0; at < length; at += hn::Lanes(d)) {
    const Byte* const from = bytesOf(text) + at;
    std::uint64_t starts = bitsOf(d, hn::MaskFromVec(startsOf(d, hn::LoadU(d, from))));
    if (length - at < hn::Lanes(d)) starts &= (std::uint64_t{1} << (length - at)) - 1;
    to += spreadEight(from, starts & 0xFFU, to);
    to += spreadEight(from + 8, starts >> 8U & 0xFFU, to);
  }
  return static_cast<std::size_t>(to - dest);
}

}  // namespace
// NOLINTEND(misc-definitions-in-headers)

}  // namespace tarvo::simd

HWY_AFTER_NAMESPACE();
