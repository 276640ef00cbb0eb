#include "text/kelUTF16.hpp"

#include "machine/kelByteOrder.hpp"
#include "simd/kelUTF16Words.hpp"
#include "text/kelWords.hpp"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace tarvo::text {

using simd::isHalf;
using simd::isPair;

namespace {

bool hasHalf(const char16_t* units, std::size_t count) {
  EightUnits found{};
  std::size_t at = 0;
  for (; count - at >= vectorUnits; at += vectorUnits) found |= (eightUnitsAt(units + at) & 0xF800) == 0xD800;
  return bitsOfBoth(&found) != 0 || std::any_of(units + at, units + count, isHalf);
}

}  // namespace

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

bool isWellFormed(const char16_t* units, std::size_t count) {
  return countPairs(units, count) >= 0;
}

namespace {

constexpr std::size_t unitSize = sizeof(char16_t);

/// Copies units and swaps the two bytes of each unit, eight units at a time. The addresses may be unaligned,
/// and `from` may equal `to`.
void swapUnits(const char* from, char* to, std::size_t units) {
  std::size_t at = 0;
  for (; units - at >= vectorUnits; at += vectorUnits) {
    EightUnits wide;
    std::memcpy(&wide, from + unitSize * at, sizeof wide);
    wide = wide << 8 | wide >> 8;
    std::memcpy(to + unitSize * at, &wide, sizeof wide);
  }
  for (; at < units; ++at) {
    const char first = from[unitSize * at];
    to[unitSize * at] = from[unitSize * at + 1];
    to[unitSize * at + 1] = first;
  }
}

/// Copies `size` bytes. If `swapped` is true, swaps the two bytes of each pair; `size` must then be even.
void copyBytes(const void* from, void* to, std::size_t size, bool swapped) {
  if (swapped) {
    swapUnits(static_cast<const char*>(from), static_cast<char*>(to), size / unitSize);
  } else if (size > 0) {
    std::memmove(to, from, size);  // the ranges may overlap
  }
}

// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): never deleted through the base
class UTF16Codec final : public Codec {
 public:
  constexpr explicit UTF16Codec(bool swapped) : Codec(swapped ? Kind::swappedUtf16 : Kind::utf16) {}

  std::ptrdiff_t toUnits(const char* bytes, std::size_t count, void* units) const override {
    if (count % unitSize != 0) return icuHasTo;
    copyBytes(bytes, units, count, swapped());
    const std::size_t written = count / unitSize;
    return isWellFormed(static_cast<char16_t*>(units), written) ? static_cast<std::ptrdiff_t>(written)
                                                                : icuHasTo;
  }

  std::int64_t toBytes(const char16_t* units, std::size_t count, char* bytes, std::size_t room,
                       UConverter* /*converter*/) const override {
    if (!isWellFormed(units, count)) return icuHasTo;
    const std::size_t size = unitSize * count;
    const std::size_t written = std::min(size, room);
    const std::size_t whole = written / unitSize * unitSize;
    copyBytes(units, bytes, whole, swapped());
    const bool highFirst = swapped() == machine::isLittleEndian;
    if (written > whole) bytes[whole] = static_cast<char>(units[whole / unitSize] >> (highFirst ? 8 : 0));
    return static_cast<std::int64_t>(size);
  }

 private:
  bool swapped() const { return kind() == Kind::swappedUtf16; }
};

constexpr UTF16Codec ownOrder(false);
constexpr UTF16Codec otherOrder(true);

}  // namespace

const Codec& utf16Codec(bool highByteFirst) {
  return highByteFirst == machine::isLittleEndian ? otherOrder : ownOrder;
}

void swapUtf16(char* bytes, std::size_t units) {
  swapUnits(bytes, bytes, units);
}

}  // namespace tarvo::text
