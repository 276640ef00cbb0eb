#pragma once

#include <unicode/ucnv.h>
#include <unicode/unistr.h>

#include <cstdint>

/// Code-page conversion that neither opens ICU's converters by name on every call nor calls ICU where its
/// result is known: single-byte code pages use a table (kelSingleByteTable.hpp), valid UTF-8 is converted
/// directly (kelUTF8Conversion.hpp), and so is UTF-16 in either byte order without byte order marks
/// (kelUTF16Bytes.hpp). ICU converts every text that these do not convert completely.
///
/// Each thread keeps up to eight open converters, by the exact name that was asked for, and closes them when
/// it ends. Threads share only the tables. Names that ICU does not know are not remembered. If ICU has no
/// memory for a converter or a text, std::bad_alloc is raised; this is never mistaken for an unknown name. If
/// ICU has no memory for its table of names at its first use, it stays without it, and std::bad_alloc is
/// raised from then on.
namespace tarvo::text {

class SingleByteTable;
struct KeptConverter;

constexpr bool isEmpty(const char* text) {
  return text == nullptr || *text == '\0';
}

/// The name for ICU, which does not read "" as the default code page.
constexpr const char* nullIfEmpty(const char* codePage) {
  return isEmpty(codePage) ? nullptr : codePage;
}

/// An open converter for the duration of a scope. Usually it is one that the thread keeps. A separate one is
/// opened if the kept one is in use further up the stack, if the name is longer than any of ICU's, or if the
/// thread is ending.
///
///     const CachedConverter converter("ISO-8859-1");
///     if (converter.get() == nullptr) ...                 // ICU knows no such name
///
/// It starts in the state of a freshly opened one, but keeps the callbacks that were set on it: set none, or
/// restore them.
class CachedConverter {
 public:
  /// Each direction remembers the converter found last: consecutive texts often use the same code pages.
  enum class Direction : std::uint8_t { toUnicode, fromUnicode };

  /// Null is ICU's default converter; its name is read on every call since it can change.
  explicit CachedConverter(const char* name);

  /// The same, but in the state that the last use left: for functions of ICU that reset the converter
  /// themselves.
  CachedConverter(const char* name, Direction direction);

  CachedConverter(const CachedConverter&) = delete;
  CachedConverter& operator=(const CachedConverter&) = delete;
  ~CachedConverter();

  /// Null when the converter cannot be opened. Lives as long as this object.
  UConverter* get() const { return converter_; }

  /// The code pages that are converted without ICU. A converter that is not kept is `others`.
  enum class Form : std::uint8_t { others, singleBytes, utf8, utf16, swappedUtf16 };
  Form form() const;

  /// Not null if the form is `singleBytes`.
  SingleByteTable* table() const;

 private:
  [[gnu::noinline]] void openNew(const char* name);

  UConverter* converter_ = nullptr;
  KeptConverter* kept_ = nullptr;  // null: not kept, and this object closes the converter
};

/// Does and returns exactly what text.extract(0, text.length(), target, capacity, codePage) does and returns:
/// the size of the whole text in the code page, or 0 if the code page is unknown; negative if the size is
/// above the largest int. Writes at most `capacity` bytes. A target without room counts as null.
std::int32_t fromUnicode(const icu::UnicodeString& text, char* target, std::int32_t capacity,
                         const char* codePage);

/// Returns exactly what icu::UnicodeString(bytes, length, codePage) is: bogus if the code page is unknown.
/// The length -1 means that the bytes are NUL-terminated.
icu::UnicodeString toUnicode(const char* bytes, std::int32_t length, const char* codePage);

/// The same text, stored in the caller's `capacity` units if they suffice, otherwise on the heap. It must not
/// outlive the units.
icu::UnicodeString toUnicode(const char* bytes, std::int32_t length, const char* codePage, char16_t* units,
                             std::int32_t capacity);

/// Converts as `toUnicode` and then `fromUnicode` do; the target may overlap the bytes. Returns the size, or
/// 0 if it is above the largest int. Returns -1, and has written nothing, if the caller has to call those
/// two.
std::int32_t convertAtOnce(const char* bytes, std::int32_t length, const char* fromCodePage, char* target,
                           std::int32_t capacity, const char* toCodePage);

/// Up to this many bytes are converted on the stack.
constexpr std::int32_t atOnce = 1024;

}  // namespace tarvo::text
