#pragma once

#include "text/kelMemory.hpp"

#include <unicode/unistr.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <string_view>

namespace tarvo::text {

/// Converts ASCII texts of the library to Unicode, with ICU's conversion of invariant characters. If the text
/// is null, the result is the empty string.
inline icu::UnicodeString invariantText(std::string_view ascii) {
  if (ascii.size() > std::numeric_limits<std::int32_t>::max())
    throw std::bad_alloc();  // ICU's texts cannot be longer
  return made(icu::UnicodeString(ascii.data(), static_cast<std::int32_t>(ascii.size()), US_INV));
}

inline icu::UnicodeString invariantText(const char* ascii) {
  return ascii == nullptr ? icu::UnicodeString() : invariantText(std::string_view(ascii));
}

}  // namespace tarvo::text
