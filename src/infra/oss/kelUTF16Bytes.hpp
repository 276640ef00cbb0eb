#pragma once

#include <cstddef>

/// UTF-16 as bytes in either order, without a byte order mark: units as they are, or with their bytes swapped.
namespace tarvo::oss {

/// Writes the first `size` bytes of the units; where that is odd the last one is half a unit.
void bytesFromUtf16(const char16_t* units, char* bytes, std::size_t size, bool swapped);

/// Swaps the bytes of each of so many units.
void swapUtf16(char* bytes, std::size_t units);

/// Writes the units of all bytes, half as many, and returns how many. -1 when the last byte is half a unit, or when
/// half of a surrogate pair stands alone.
std::ptrdiff_t utf16FromBytes(const char* bytes, std::size_t count, char16_t* units, bool swapped);

}  // namespace tarvo::oss
