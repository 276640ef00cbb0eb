#include "text/kelUTF8Conversion.hpp"

#include "simd/kelKernelChoice.hpp"
#include "simd/kelUTF16Words.hpp"
#include "text/kelUTF16.hpp"
#include "text/kelWords.hpp"

#include <algorithm>
#include <array>
#include <cstring>

namespace tarvo::text {

using simd::decode;
using simd::encode;
using simd::isHalf;
using simd::isPair;

namespace {

constexpr std::size_t ascii = 128;

constexpr std::size_t largestUnit = 3;  // the most bytes that a unit needs, also half of a pair

/// Texts of at least this many bytes or units use a kernel.
constexpr std::size_t worthKernel = 96;

// --- to UTF-8

/// Writes the whole text and returns the end of the bytes written; returns null if the text is not valid.
char* writeAll(const char16_t* units, std::size_t count, char* to) {
  std::size_t at = 0;
  if (count >= worthKernel) {
    const simd::Converted done =
        simd::kernels().utf8FromUtf16(to, reinterpret_cast<const unsigned short*>(units), count);
    at = done.taken;
    to += done.written;
  }
  while (at < count) {
    const std::size_t plain = narrowPlain(units + at, count - at, to, ascii);
    at += plain;
    to += plain;
    // If a unit of a block is not ASCII, the function converts the block unit by unit to its end.
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

/// Returns the size of the units in UTF-8, counting three bytes for each surrogate.
std::size_t sizeWithoutPairs(const char16_t* units, std::size_t count) {
  // If at most this number of units are counted, each of the eight sums fits into 16 bits.
  constexpr std::size_t atOnce = 32768;
  std::size_t size = count;
  std::size_t at = 0;
  while (count - at >= vectorUnits) {
    EightUnits more{};  // a comparison that is true is all ones, which is -1
    for (const std::size_t end = at + std::min(count - at, atOnce) / vectorUnits * vectorUnits; at < end;
         at += vectorUnits) {
      const EightUnits wide = eightUnitsAt(units + at);
      more -= (wide & 0xFF80) != 0;
      more -= (wide & 0xF800) != 0;
    }
    for (std::size_t place = 0; place < vectorUnits; ++place) size += more[place];
  }
  for (; at < count; ++at) size += static_cast<std::size_t>(units[at] >= 0x80) + (units[at] >= 0x800);
  return size;
}

/// Returns the size of the text in UTF-8, or -1 if the text has an unpaired surrogate. A surrogate pair takes
/// four bytes, while its two surrogates were counted with six bytes.
std::int64_t sizeOf(const char16_t* units, std::size_t count) {
  const std::int64_t pairs = countPairs(units, count);
  return pairs < 0 ? -1 : static_cast<std::int64_t>(sizeWithoutPairs(units, count)) - 2 * pairs;
}

/// Writes the beginning of a valid text that is larger than the room. The function first converts the units
/// that surely fit, that is, even if each unit takes the largest number of bytes. It converts the remaining
/// units one character at a time.
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
  std::size_t at = 0;
  if (count >= worthKernel) {
    const simd::Converted done =
        simd::kernels().utf16FromUtf8(reinterpret_cast<unsigned short*>(units), bytes, count);
    at = done.taken;
    to += done.written;
  }
  while (at < count) {
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

namespace {

// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): never deleted through the base
class UTF8Codec final : public Codec {
 public:
  constexpr explicit UTF8Codec(bool cuts) : Codec(Kind::utf8), cuts_(cuts) {}

  std::ptrdiff_t toUnits(const char* bytes, std::size_t count, void* units) const override {
    return utf16FromUtf8(bytes, count, static_cast<char16_t*>(units));
  }

  std::int64_t toBytes(const char16_t* units, std::size_t count, char* bytes, std::size_t room,
                       UConverter* /*converter*/) const override {
    if (!cuts_ && room > 0 && count > room / largestUnit) {
      const std::int64_t size = utf8FromUtf16(units, count, bytes, 0);
      if (size < 0 || static_cast<std::size_t>(size) > room) return icuHasTo;
    }
    return utf8FromUtf16(units, count, bytes, room);
  }

 private:
  bool cuts_;
};

constexpr UTF8Codec cutting(true);
constexpr UTF8Codec uncut(false);

}  // namespace

const Codec& utf8Codec() {
  return cutting;
}

const Codec& uncutUtf8Codec() {
  return uncut;
}

}  // namespace tarvo::text
