#include "text/kelUTF16Bytes.hpp"

#include "machine/kelByteOrder.hpp"
#include "text/kelPlainRun.hpp"
#include "text/kelUTF8Conversion.hpp"

#include <cstdint>
#include <cstring>

namespace tarvo::text {
namespace {

constexpr std::size_t unitSize = sizeof(char16_t);

/// Swaps eight units at a time. Neither side has to be aligned; both may be the same.
void swapUnits(const char* from, char* to, std::size_t units) {
  std::size_t at = 0;
  for (; (units - at) * unitSize >= sizeof(EightUnits); at += sizeof(EightUnits) / unitSize) {
    EightUnits eight;
    std::memcpy(&eight, from + unitSize * at, sizeof eight);
    eight = eight << 8 | eight >> 8;
    std::memcpy(to + unitSize * at, &eight, sizeof eight);
  }
  for (; at < units; ++at) {
    const char first = from[unitSize * at];
    to[unitSize * at] = from[unitSize * at + 1];
    to[unitSize * at + 1] = first;
  }
}

/// Copies `size` bytes; the number is even if they are swapped.
void copyBytes(const void* from, void* to, std::size_t size, bool swapped) {
  if (swapped) {
    swapUnits(static_cast<const char*>(from), static_cast<char*>(to), size / unitSize);
  } else if (size > 0) {
    std::memmove(to, from, size);  // the ranges may overlap
  }
}

}  // namespace

void bytesFromUtf16(const char16_t* units, char* bytes, std::size_t size, bool swapped) {
  const std::size_t whole = size / unitSize * unitSize;
  copyBytes(units, bytes, whole, swapped);
  const bool highFirst = swapped == machine::isLittleEndian;
  if (size > whole) bytes[whole] = static_cast<char>(units[whole / unitSize] >> (highFirst ? 8 : 0));
}

void swapUtf16(char* bytes, std::size_t units) {
  swapUnits(bytes, bytes, units);
}

std::ptrdiff_t utf16FromBytes(const char* bytes, std::size_t count, char16_t* units, bool swapped) {
  if (count % unitSize != 0) return -1;
  copyBytes(bytes, units, count, swapped);
  const std::size_t written = count / unitSize;
  return isWellFormed(units, written) ? static_cast<std::ptrdiff_t>(written) : -1;
}

}  // namespace tarvo::text
