#pragma once

#include "text/kelMemory.hpp"
#include "text/kelWords.hpp"

#include <unicode/unistr.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <string_view>

/// Converts ICU's strings to views of their units, and views to strings.
namespace tarvo::text {

inline std::u16string_view unitsOf(const icu::UnicodeString& text) {
  return {text.getBuffer(), static_cast<std::size_t>(text.length())};
}

constexpr std::size_t wordUnits = sizeof(std::uint64_t) / sizeof(char16_t);

/// Returns whether `units` contains `unit`. Compares four units at a time; the standard library's find
/// compares only one.
inline bool holds(std::u16string_view units, char16_t unit) noexcept {
  for (; units.size() >= wordUnits; units.remove_prefix(wordUnits)) {
    const std::uint64_t others = wordAt(units.data()) ^ inEachUnit(unit);
    if (((others - inEachUnit(1)) & ~others & inEachUnit(0x8000)) != 0) return true;
  }
  return units.find(unit) != std::u16string_view::npos;
}

/// Returns whether left < right. The standard library compares unit by unit, which is slow for keys with long
/// common beginnings.
inline bool isLess(std::u16string_view left, std::u16string_view right) noexcept {
  const std::size_t both = std::min(left.size(), right.size());
  std::size_t at = 0;
  while (both - at >= wordUnits && wordAt(left.data() + at) == wordAt(right.data() + at)) at += wordUnits;
  while (at < both && left[at] == right[at]) ++at;
  return at < both ? left[at] < right[at] : left.size() < right.size();
}

/// The order of `isLess`, for maps.
struct Less {
  using is_transparent = void;
  bool operator()(std::u16string_view left, std::u16string_view right) const noexcept {
    return isLess(left, right);
  }
};

/// Returns the number of units as ICU's 32-bit type; throws std::bad_alloc if there are more.
inline std::int32_t lengthOf(std::u16string_view units) {
  if (units.size() > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) {
    throw std::bad_alloc();
  }
  return static_cast<std::int32_t>(units.size());
}

inline icu::UnicodeString textOf(std::u16string_view units) {
  return made(icu::UnicodeString(units.data(), lengthOf(units)));
}

}  // namespace tarvo::text
