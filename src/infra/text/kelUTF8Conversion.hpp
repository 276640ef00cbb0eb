#pragma once

#include "text/kelCodec.hpp"

#include <cstddef>
#include <cstdint>

/// Converts valid texts between UTF-8 and UTF-16 without a converter. Reports texts that are not valid; the
/// caller then lets ICU replace the invalid parts.
namespace tarvo::text {

/// Writes the text as UTF-16, at most one unit for each byte, and returns the number of units; -1 if the text
/// is not well-formed UTF-8.
std::ptrdiff_t utf16FromUtf8(const char* bytes, std::size_t count, char16_t* units);

/// Writes the first `room` bytes of the text in UTF-8; the last character may be cut. Returns the size of the
/// whole text. Returns -1 if there is a lone surrogate; the bytes written then are the beginning of the text.
std::int64_t utf8FromUtf16(const char16_t* units, std::size_t count, char* bytes, std::size_t room);

/// The same as a codec.
const Codec& utf8Codec();

/// The same, but a text that does not fit is left to ICU, which cuts no character if its default converter is
/// UTF-8.
const Codec& uncutUtf8Codec();

}  // namespace tarvo::text
