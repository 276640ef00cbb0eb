#pragma once

#include <unicode/unistr.h>

#include <cstdint>
#include <string_view>

/// Converts between code pages and Unicode, with the same results as ICU's functions. ICU's converters are
/// kept open (kelConverterCache.hpp), and codecs convert most texts without ICU (kelCodec.hpp).
///
/// A code page is the name of an ICU converter; null is ICU's default converter. If ICU has no memory for a
/// converter or a text, std::bad_alloc is raised; the functions distinguish a lack of memory from an unknown
/// name. If ICU has no memory for its table of names when it uses the table for the first time, ICU never
/// loads the table again, and every later call raises std::bad_alloc.
namespace tarvo::text {

constexpr bool isEmpty(const char* text) {
  return text == nullptr || *text == '\0';
}

/// Returns the name to pass to ICU: null if `codePage` is empty, because ICU does not use the default code
/// page for "".
constexpr const char* nullIfEmpty(const char* codePage) {
  return isEmpty(codePage) ? nullptr : codePage;
}

/// Does exactly the same as text.extract(0, text.length(), target, capacity, codePage). Returns the size of
/// the whole text in the code page, 0 if the code page is unknown, or a negative number if the size is above
/// the largest int. Writes at most `capacity` bytes. A target with a capacity of 0 counts as null.
std::int32_t fromUnicode(const icu::UnicodeString& text, char* target, std::int32_t capacity,
                         const char* codePage);

/// Converts as the function above, into a target that can grow: while the text is larger than the capacity,
/// the conversion is repeated into the target that `grow(size)` returns. A few of ICU's converters
/// under-report the size if a character does not fit completely, so a third conversion may be necessary. If
/// `grow` returns null, the result is a size above the capacity.
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

/// Returns the same string as icu::UnicodeString(bytes, length, codePage). If ICU does not know the code
/// page, the string is bogus. The length -1 means that the bytes are NUL-terminated.
icu::UnicodeString toUnicode(const char* bytes, std::int32_t length, const char* codePage);

/// Converts bytes from one code page to another. The result is the same as with `toUnicode` followed by
/// `fromUnicode`. The source must have at least one byte. The target may overlap the bytes. If the size is
/// known without a conversion and above the largest int, the result is 0.
std::int32_t transcode(std::string_view bytes, const char* fromCodePage, char* target, std::int32_t capacity,
                       const char* toCodePage);

}  // namespace tarvo::text
