#pragma once

#include <cstddef>
#include <cstdint>

/// UTF-8 to UTF-16 and back of valid texts, without a converter. What is not valid is told, and is ICU's to
/// replace.
namespace tarvo::oss {

/// Writes the text as UTF-16 units, at most as many as there are bytes, and returns how many. -1 when it is no
/// well-formed UTF-8.
std::ptrdiff_t utf16FromUtf8(const char* bytes, std::size_t count, char16_t* units);

/// The text in UTF-8, of which `room` bytes are written, the last character cut short where they end. Returns
/// the whole size; -1 when half of a surrogate pair stands alone, and then what has been written is what the
/// text begins with.
std::int64_t utf8FromUtf16(const char16_t* units, std::size_t count, char* bytes, std::size_t room);

/// Whether no half of a surrogate pair stands alone.
bool isWellFormed(const char16_t* units, std::size_t count);

}  // namespace tarvo::oss
