#pragma once

#include "oss/kelMemory.hpp"

#include <unicode/unistr.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <string_view>

/// Between ICU's texts and views of their units.
namespace tarvo::util {

inline std::u16string_view unitsOf(const icu::UnicodeString& text) {
  return {text.getBuffer(), static_cast<std::size_t>(text.length())};
}

/// ICU counts units in 32 bits.
inline std::int32_t lengthOf(std::u16string_view units) {
  if (units.size() > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) {
    throw std::bad_alloc();
  }
  return static_cast<std::int32_t>(units.size());
}

inline icu::UnicodeString textOf(std::u16string_view units) {
  return oss::made(icu::UnicodeString(units.data(), lengthOf(units)));
}

}  // namespace tarvo::util
