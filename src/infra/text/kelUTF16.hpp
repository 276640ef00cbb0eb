#pragma once

#include "text/kelCodec.hpp"

#include <cstddef>
#include <cstdint>

namespace tarvo::text {

/// The number of surrogate pairs, or -1 if there is a lone surrogate.
std::int64_t countPairs(const char16_t* units, std::size_t count);

/// Whether the text has no lone surrogate.
bool isWellFormed(const char16_t* units, std::size_t count);

/// UTF-16 as bytes in either byte order, without a byte order mark: the units unchanged, or with their bytes
/// swapped. ICU converts texts with a lone surrogate or with half a unit at the end.
const Codec& utf16Codec(bool highByteFirst);

/// Swaps the two bytes of each unit.
void swapUtf16(char* bytes, std::size_t units);

}  // namespace tarvo::text
