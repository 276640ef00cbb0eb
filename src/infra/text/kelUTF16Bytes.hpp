#pragma once

#include <cstddef>

/// UTF-16 as bytes in either byte order, without a byte order mark: the units unchanged, or with their bytes
/// swapped.
namespace tarvo::text {

/// Writes the first `size` bytes of the units; if `size` is odd, the last byte is half a unit.
void bytesFromUtf16(const char16_t* units, char* bytes, std::size_t size, bool swapped);

/// Swaps the two bytes of each unit.
void swapUtf16(char* bytes, std::size_t units);

/// Writes the units of all bytes, half as many, and returns their number. Returns -1 if the last byte is half
/// a unit or if there is a lone surrogate.
std::ptrdiff_t utf16FromBytes(const char* bytes, std::size_t count, char16_t* units, bool swapped);

}  // namespace tarvo::text
