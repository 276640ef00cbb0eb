#include "infra/util/kelBase64.hpp"

#include "infra/util/kelBase64Exception.hpp"

#include "oss/kelRaise.hpp"
#include "simd/kelBase64Characters.hpp"
#include "simd/kelKernelChoice.hpp"
#include "text/kelMemory.hpp"

#include <unicode/unistr.h>

#include <algorithm>
#include <array>
#include <limits>

namespace tarvo::util {

using oss::raise;
namespace errors = oss::errors;

namespace {

constexpr unsigned short pad = u'=';

/// The value that the decoding table contains for every unit that is not in the alphabet. Bit 6 is set in
/// this entry, and clear in the value of every unit of the alphabet.
constexpr unsigned char notInAlphabet = 127;

/// An alphabet in both directions: value to unit, and unit to value.
struct Alphabet {
  simd::Base64Alphabet name;
  std::array<unsigned short, 64> units{};
  std::array<unsigned char, 128> values{};

  consteval Alphabet(simd::Base64Alphabet its, const simd::Base64Characters& characters) : name(its) {
    values.fill(notInAlphabet);
    for (unsigned char value = 0; value < 64; ++value) {
      const auto character = static_cast<unsigned char>(characters[value]);
      units[value] = character;
      values[character] = value;
    }
  }

  unsigned short unitOf(unsigned int lowSixBits) const { return units[lowSixBits & 63U]; }
  unsigned int valueOf(unsigned int unit) const {
    return unit < values.size() ? values[unit] : notInAlphabet;
  }
};

constexpr Alphabet standard(simd::standardAlphabet, simd::standardCharacters);
constexpr Alphabet safe(simd::safeAlphabet, simd::safeCharacters);

/// Returns the number of groups of `size` for `count` elements; the last group may be incomplete. The
/// computation does not overflow for any count.
constexpr std::size_t groupsOf(std::size_t count, std::size_t size) {
  return count / size + (count % size == 0 ? 0 : 1);
}

// --- encode

/// Encodes complete groups, each of three bytes to four units. The kernel encodes many groups at once. The
/// groups that the kernel leaves are encoded here, one by one.
template <const Alphabet& alphabet>
void encodeGroups(unsigned short* dest, const char* bytes, std::size_t groups) {
  const std::size_t taken = simd::kernels().encodeGroups[alphabet.name](dest, bytes, groups);
  const auto* src = reinterpret_cast<const unsigned char*>(bytes) + taken * 3;
  dest += taken * 4;
  for (groups -= taken; groups != 0; --groups, src += 3, dest += 4) {
    const unsigned int b0 = src[0];
    const unsigned int b1 = src[1];
    const unsigned int b2 = src[2];
    const unsigned int bits = (b0 << 16U) | (b1 << 8U) | b2;
    dest[0] = alphabet.unitOf(bits >> 18U);
    dest[1] = alphabet.unitOf(bits >> 12U);
    dest[2] = alphabet.unitOf(bits >> 6U);
    dest[3] = alphabet.unitOf(bits);
  }
}

/// Encodes the one or two bytes after the last complete group.
template <const Alphabet& alphabet>
void encodeRest(unsigned short* dest, const char* src, std::size_t bytes) {
  const unsigned int first = static_cast<unsigned char>(src[0]);
  const unsigned int second = bytes == 2 ? static_cast<unsigned char>(src[1]) : 0;
  dest[0] = alphabet.unitOf(first >> 2U);
  dest[1] = alphabet.unitOf((first << 4U) | (second >> 4U));
  dest[2] = bytes == 2 ? alphabet.unitOf(second << 2U) : pad;
  dest[3] = pad;
}

template <const Alphabet& alphabet>
std::size_t encodeIn(unsigned short* dest, std::size_t destUnits, const char* src, std::size_t srcBytes) {
  // Compare numbers of groups, because the number of units may be too large for size_t.
  if (destUnits / 4 < groupsOf(srcBytes, 3)) {
    raise<Base64Exception>(errors::ERR_BUFFER_SIZE_TOO_SMALL, errors::Size{destUnits});
  }
  const std::size_t whole = srcBytes / 3;
  const std::size_t rest = srcBytes % 3;
  encodeGroups<alphabet>(dest, src, whole);
  if (rest != 0) encodeRest<alphabet>(dest + whole * 4, src + whole * 3, rest);
  return groupsOf(srcBytes, 3) * 4;
}

// --- decode

struct Source {
  const unsigned short* units;
  std::size_t count;
};

struct Target {
  char* bytes;
  std::size_t capacity;
  std::size_t position = 0;

  void emit(unsigned int byte) {
    if (position == capacity) {
      raise<Base64Exception>(errors::ERR_BUFFER_SIZE_TOO_SMALL, errors::Size{capacity});
    }
    bytes[position++] = static_cast<char>(byte);
  }
};

[[noreturn]] void raiseMisaligned(const Source& source) {
  // The argument of the error is the text up to its first NUL, regardless of the count. Programs depend on
  // this text, so it cannot change.
  raise<Base64Exception>(errors::ERR_BASE64_MISALIGNED_DATA,
                         errors::Text{text::made(icu::UnicodeString(source.units))});
}

/// Decodes complete groups as long as the units of a group are in the alphabet and its three bytes fit.
/// Returns the number of decoded groups. The kernel decodes many groups at once. The groups that the kernel
/// leaves are decoded here, one by one. The function raises nothing: `decodeUnits` decodes the rest.
template <const Alphabet& alphabet>
std::size_t decodeGroups(char* dest, const unsigned short* src, std::size_t groups) {
  std::size_t group = simd::kernels().decodeGroups[alphabet.name](dest, src, groups);
  src += group * 4;
  dest += group * 3;
  for (; group < groups; ++group, src += 4, dest += 3) {
    const unsigned int v0 = alphabet.valueOf(src[0]);
    const unsigned int v1 = alphabet.valueOf(src[1]);
    const unsigned int v2 = alphabet.valueOf(src[2]);
    const unsigned int v3 = alphabet.valueOf(src[3]);
    if (((v0 | v1 | v2 | v3) & 64U) != 0) return group;
    const unsigned int bits = (v0 << 18U) | (v1 << 12U) | (v2 << 6U) | v3;
    dest[0] = static_cast<char>(bits >> 16U);
    dest[1] = static_cast<char>(bits >> 8U);
    dest[2] = static_cast<char>(bits);
  }
  return groups;
}

/// Returns whether the "=" at `index` begins correct padding. `phase` is the position of the "=" in its
/// group. `unused` contains those bits of the unit before the "=" that do not belong to a byte.
bool endsAligned(const Source& source, std::size_t index, unsigned int phase, unsigned int unused) {
  if (phase < 2 || unused != 0) return false;
  const std::size_t padding = 4 - phase;
  return source.count - index == padding && source.units[source.count - 1] == pad;
}

/// Decodes unit by unit, from the start of a group to the end of the text. Raises the error for the first
/// unit that is wrong.
template <const Alphabet& alphabet>
void decodeUnits(Target& target, const Source& source, std::size_t start) {
  unsigned int phase = 0;
  unsigned int partial = 0;  // the bits that wait for the next unit, at the top of a byte
  for (std::size_t i = start; i < source.count; ++i) {
    const unsigned short unit = source.units[i];
    if (unit == pad) {
      if (!endsAligned(source, i, phase, partial)) raiseMisaligned(source);
      return;
    }
    const unsigned int value = alphabet.valueOf(unit);
    if (value == notInAlphabet) {
      raise<Base64Exception>(errors::ERR_BASE64_INVALID_DATA,
                             errors::Text{icu::UnicodeString(static_cast<char16_t>(unit))});
    }
    if (phase != 0) target.emit(partial | (value >> (6 - 2 * phase)));
    partial = (value << (2 + 2 * phase)) & 0xFFU;
    phase = (phase + 1) % 4;
  }
  if (phase != 0) raiseMisaligned(source);
}

template <const Alphabet& alphabet>
std::size_t decodeIn(char* dest, std::size_t destBytes, const unsigned short* src, std::size_t srcUnits) {
  const std::size_t taken = decodeGroups<alphabet>(dest, src, std::min(srcUnits / 4, destBytes / 3));
  Target target{dest, destBytes, taken * 3};
  decodeUnits<alphabet>(target, {src, srcUnits}, taken * 4);
  return target.position;
}

}  // namespace

std::size_t Base64::encodeSize(std::size_t byteCount) {
  constexpr std::size_t largest = std::numeric_limits<std::size_t>::max();
  const std::size_t groups = groupsOf(byteCount, 3);
  return groups <= largest / 4 ? groups * 4 : largest;
}

std::size_t Base64::decodeSize(std::size_t unitCount) {
  return groupsOf(unitCount, 4) * 3;
}

std::size_t Base64::encode(unsigned short* dest, std::size_t destUnits, const char* src,
                           std::size_t srcBytes) {
  return encodeIn<standard>(dest, destUnits, src, srcBytes);
}

std::size_t Base64::encodeSafe(unsigned short* dest, std::size_t destUnits, const char* src,
                               std::size_t srcBytes) {
  return encodeIn<safe>(dest, destUnits, src, srcBytes);
}

std::size_t Base64::decode(char* dest, std::size_t destBytes, const unsigned short* src,
                           std::size_t srcUnits) {
  return decodeIn<standard>(dest, destBytes, src, srcUnits);
}

std::size_t Base64::decodeSafe(char* dest, std::size_t destBytes, const unsigned short* src,
                               std::size_t srcUnits) {
  return decodeIn<safe>(dest, destBytes, src, srcUnits);
}

}  // namespace tarvo::util
