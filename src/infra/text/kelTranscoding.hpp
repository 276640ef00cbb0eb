#pragma once

#include <unicode/unistr.h>

#include <cstdint>
#include <string_view>

/// Conversion between code pages and Unicode, with the results of ICU's functions. ICU's converters stay open
/// (kelConverterCache.hpp), and codecs convert most texts without ICU (kelCodec.hpp).
///
/// A code page is the name of an ICU converter; null is ICU's default converter. If ICU has no memory for a
/// converter or a text, std::bad_alloc is raised; this is never mistaken for an unknown name. If ICU has no
/// memory for its table of names at its first use, it stays without it, and std::bad_alloc is raised from
/// then on.
namespace tarvo::text {

constexpr bool isEmpty(const char* text) {
  return text == nullptr || *text == '\0';
}

/// The name for ICU, which does not read "" as the default code page.
constexpr const char* nullIfEmpty(const char* codePage) {
  return isEmpty(codePage) ? nullptr : codePage;
}

/// Does and returns exactly what text.extract(0, text.length(), target, capacity, codePage) does and returns:
/// the size of the whole text in the code page, or 0 if the code page is unknown; negative if the size is
/// above the largest int. Writes at most `capacity` bytes. A target without room counts as null.
std::int32_t fromUnicode(const icu::UnicodeString& text, char* target, std::int32_t capacity,
                         const char* codePage);

/// The same, into a target that grows: as long as the text is larger than the capacity, the conversion is
/// repeated into `grow(size)`. A few of ICU's converters under-report the size if the target cuts a
/// character: these need a third round. Returns a size above the capacity if `grow` returns null.
template <class Grow>
std::int32_t fromUnicode(const icu::UnicodeString& text, char* target, std::int32_t capacity,
                         const char* codePage, Grow grow) {
  std::int32_t size = fromUnicode(text, target, capacity, codePage);
  while (size > capacity) {
    target = grow(size);
    if (target == nullptr) break;
    capacity = size;
    size = fromUnicode(text, target, capacity, codePage);
  }
  return size;
}

/// Returns exactly what icu::UnicodeString(bytes, length, codePage) is: bogus if the code page is unknown.
/// The length -1 means that the bytes are NUL-terminated.
icu::UnicodeString toUnicode(const char* bytes, std::int32_t length, const char* codePage);

/// Converts at least one byte as `toUnicode` and then `fromUnicode` do. The target may overlap the bytes.
/// Returns 0, too, if the size is above the largest int and known without converting.
std::int32_t transcode(std::string_view bytes, const char* fromCodePage, char* target, std::int32_t capacity,
                       const char* toCodePage);

}  // namespace tarvo::text
