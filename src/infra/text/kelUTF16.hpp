#pragma once

#include "text/kelCodec.hpp"

#include <cstddef>
#include <cstdint>

namespace tarvo::text {

/// Returns the number of surrogate pairs, or -1 if the text has an unpaired surrogate.
std::int64_t countPairs(const char16_t* units, std::size_t count);

/// Returns whether the text has no unpaired surrogate.
bool isWellFormed(const char16_t* units, std::size_t count);

/// Returns the codec for UTF-16 in the given byte order, without byte order marks. The codec copies the units
/// or swaps their bytes. The codec leaves texts with an unpaired surrogate, and texts that end with half a
/// code unit, to ICU.
const Codec& utf16Codec(bool highByteFirst);

/// Swaps the two bytes of each unit.
void swapUtf16(char* bytes, std::size_t units);

}  // namespace tarvo::text
