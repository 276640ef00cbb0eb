#include "oss/kelUTF8Conversion.hpp"

#include "oss/kelPlainRun.hpp"

#include <algorithm>
#include <array>
#include <cstring>

namespace tarvo::oss {
namespace {

constexpr std::size_t ascii = 128;

// --- from UTF-8

constexpr bool isTail(unsigned byte) {
  return (byte & 0xC0) == 0x80;
}

/// Reads one character above U+007F by the Unicode Standard's table of well-formed byte sequences. Returns its
/// bytes, or 0.
std::size_t decode(const unsigned char* from, std::size_t count, char16_t*& to) {
  const unsigned lead = from[0];
  if (count < 2 || !isTail(from[1])) return 0;
  const unsigned second = from[1] & 0x3FU;
  if (lead < 0xE0) {
    if (lead < 0xC2) return 0;
    *to++ = static_cast<char16_t>((lead & 0x1FU) << 6U | second);
    return 2;
  }
  if (count < 3 || !isTail(from[2])) return 0;
  const unsigned third = from[2] & 0x3FU;
  if (lead < 0xF0) {
    const unsigned unit = (lead & 0xFU) << 12U | second << 6U | third;
    if (unit < 0x800 || (unit & 0xF800) == 0xD800) return 0;
    *to++ = static_cast<char16_t>(unit);
    return 3;
  }
  if (count < 4 || lead > 0xF4 || !isTail(from[3])) return 0;
  const unsigned character = (lead & 0x7U) << 18U | second << 12U | third << 6U | (from[3] & 0x3FU);
  if (character < 0x10000 || character > 0x10FFFF) return 0;
  *to++ = static_cast<char16_t>(0xD7C0 + (character >> 10U));
  *to++ = static_cast<char16_t>(0xDC00 + (character & 0x3FFU));
  return 4;
}

// --- to UTF-8

constexpr std::size_t largestUnit = 3;  // so many bytes a unit needs, also half of a pair

constexpr bool isHalf(unsigned unit) {
  return (unit & 0xF800) == 0xD800;
}
constexpr bool isPair(unsigned first, unsigned second) {
  return (first & 0xFC00) == 0xD800 && (second & 0xFC00) == 0xDC00;
}

/// Writes a character of two or more bytes. Returns its units, or 0.
std::size_t encode(const char16_t* from, std::size_t count, char*& to) {
  const unsigned unit = from[0];
  const auto put = [&](unsigned byte) { *to++ = static_cast<char>(byte); };
  if (unit < 0x800) {
    put(0xC0 | unit >> 6U);
    put(0x80 | (unit & 0x3FU));
    return 1;
  }
  if (!isHalf(unit)) {
    put(0xE0 | unit >> 12U);
    put(0x80 | (unit >> 6U & 0x3FU));
    put(0x80 | (unit & 0x3FU));
    return 1;
  }
  if (count < 2 || !isPair(unit, from[1])) return 0;
  const unsigned character = ((unit & 0x3FFU) << 10U) + (from[1] & 0x3FFU) + 0x10000;
  put(0xF0 | character >> 18U);
  put(0x80 | (character >> 12U & 0x3FU));
  put(0x80 | (character >> 6U & 0x3FU));
  put(0x80 | (character & 0x3FU));
  return 2;
}

/// Writes the whole text; null when it is not valid.
char* writeAll(const char16_t* units, std::size_t count, char* to) {
  for (std::size_t at = 0; at < count;) {
    const std::size_t plain = narrowPlain(units + at, count - at, to, ascii);
    at += plain;
    to += plain;
    // A block that is not plain is not looked at again.
    for (const std::size_t end = std::min(at + plainBlock, count); at < end;) {
      if (units[at] < ascii) {
        *to++ = static_cast<char>(units[at++]);
      } else {
        const std::size_t read = encode(units + at, count - at, to);
        if (read == 0) return nullptr;
        at += read;
      }
    }
  }
  return to;
}

constexpr std::size_t eight = 8;

bool hasHalf(const char16_t* units, std::size_t count) {
  EightUnits found{};
  std::size_t at = 0;
  for (; count - at >= eight; at += eight) found |= (eightUnitsAt(units + at) & 0xF800) == 0xD800;
  return eightBytesAt(&found) != 0 || eightBytesAt(reinterpret_cast<const char*>(&found) + eight) != 0 ||
         std::any_of(units + at, units + count, isHalf);
}

/// The pairs, or -1 when a half stands alone.
std::int64_t countPairs(const char16_t* units, std::size_t count) {
  if (!hasHalf(units, count)) return 0;
  std::int64_t pairs = 0;
  for (std::size_t i = 0; i < count; ++i) {
    if (!isHalf(units[i])) continue;
    if (i + 1 == count || !isPair(units[i], units[i + 1])) return -1;
    ++pairs;
    ++i;
  }
  return pairs;
}

/// The bytes of the units each by itself, halves as three.
std::size_t bytesOf(const char16_t* units, std::size_t count) {
  constexpr std::size_t atOnce =
      32768;  // so many units add no more than 16 bits hold, in each of eight places
  std::size_t size = count;
  std::size_t at = 0;
  while (count - at >= eight) {
    EightUnits more{};  // a comparison that holds is all ones, which is -1
    for (const std::size_t end = at + std::min(count - at, atOnce) / eight * eight; at < end; at += eight) {
      const EightUnits wide = eightUnitsAt(units + at);
      more -= (wide & 0xFF80) != 0;
      more -= (wide & 0xF800) != 0;
    }
    for (std::size_t place = 0; place < eight; ++place) size += more[place];
  }
  for (; at < count; ++at) size += static_cast<std::size_t>(units[at] >= 0x80) + (units[at] >= 0x800);
  return size;
}

/// The size, or -1. A pair takes four bytes, and not the six of its halves.
std::int64_t sizeOf(const char16_t* units, std::size_t count) {
  const std::int64_t pairs = countPairs(units, count);
  return pairs < 0 ? -1 : static_cast<std::int64_t>(bytesOf(units, count)) - 2 * pairs;
}

/// Writes the beginning of a valid text that is larger than the room: what fits in any case at once, then one
/// character after the other.
void writeCut(const char16_t* units, char* bytes, std::size_t room) {
  std::size_t at = room / largestUnit;
  if (at > 0 && isPair(units[at - 1], units[at])) --at;
  auto used = static_cast<std::size_t>(writeAll(units, at, bytes) - bytes);
  std::array<char, 4> last;
  for (std::size_t size = 0; used < room; used += size) {
    const std::size_t read = isHalf(units[at]) ? 2 : 1;
    size = static_cast<std::size_t>(writeAll(units + at, read, last.data()) - last.data());
    std::memcpy(bytes + used, last.data(), std::min(size, room - used));
    at += read;
  }
}

}  // namespace

std::ptrdiff_t utf16FromUtf8(const char* bytes, std::size_t count, char16_t* units) {
  char16_t* to = units;
  for (std::size_t at = 0; at < count;) {
    const std::size_t plain = widenPlain(bytes + at, count - at, to, ascii);
    at += plain;
    to += plain;
    for (const std::size_t end = std::min(at + plainBlock, count); at < end;) {
      const auto* const from = reinterpret_cast<const unsigned char*>(bytes) + at;
      if (*from < ascii) {
        *to++ = *from;
        ++at;
      } else {
        const std::size_t read = decode(from, count - at, to);
        if (read == 0) return -1;
        at += read;
      }
    }
  }
  return to - units;
}

std::int64_t utf8FromUtf16(const char16_t* units, std::size_t count, char* bytes, std::size_t room) {
  if (room / largestUnit >= count) {
    const char* const end = writeAll(units, count, bytes);
    return end == nullptr ? -1 : end - bytes;
  }
  const std::int64_t size = sizeOf(units, count);
  if (size < 0) return size;
  if (static_cast<std::size_t>(size) <= room) {
    writeAll(units, count, bytes);
  } else {
    writeCut(units, bytes, room);
  }
  return size;
}

bool isWellFormed(const char16_t* units, std::size_t count) {
  return countPairs(units, count) >= 0;
}

}  // namespace tarvo::oss
