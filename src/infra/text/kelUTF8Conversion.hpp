#pragma once

#include "text/kelCodec.hpp"

#include <cstddef>
#include <cstdint>

/// Converts valid texts between UTF-8 and UTF-16 without ICU. If a text is not valid, the functions report
/// the fact, and the caller lets ICU replace the invalid parts.
namespace tarvo::text {

/// Converts UTF-8 to UTF-16 and returns the number of units, or -1 if the text is not well-formed. Writes at
/// most one unit for each byte.
std::ptrdiff_t utf16FromUtf8(const char* bytes, std::size_t count, char16_t* units);

/// Converts UTF-16 to UTF-8, writes the first `room` bytes of the result and returns the size of the whole
/// result. The last character that is written may be incomplete. If the text has an unpaired surrogate, the
/// function returns -1; the bytes that it has written are the beginning of the result.
std::int64_t utf8FromUtf16(const char16_t* units, std::size_t count, char* bytes, std::size_t room);

/// Returns a codec that converts with `utf16FromUtf8` and `utf8FromUtf16`.
const Codec& utf8Codec();

/// Returns a codec that leaves a text to ICU if it does not fit into the target. The library uses this codec
/// if ICU's default converter is UTF-8: in this case ICU writes no incomplete character.
const Codec& uncutUtf8Codec();

}  // namespace tarvo::text
