#pragma once

#include <unicode/ucnv.h>
#include <unicode/unistr.h>

#include <cstdint>

/// Code-page conversion without opening ICU's converter by name on every call, and without ICU where its answer
/// is known: single-byte code pages are looked up (kelSingleByteTable.hpp), valid UTF-8 is written and read at
/// once (kelUTF8Conversion.hpp), and so is UTF-16 in either order of bytes, without byte order marks
/// (kelUTF16Bytes.hpp). Whatever these do not take whole is ICU's.
///
/// Each thread keeps a few open converters by the exact name that asked for them and closes them when it
/// ends. Threads share nothing but the tables. Names that ICU does not know are not remembered. Where ICU has no
/// memory for a converter or a text, std::bad_alloc is raised: that is never taken for an unknown name. ICU
/// that had none for its table of names, at its first use, stays without it, and the same is raised from then on.
namespace tarvo::oss {

class SingleByteTable;
struct KeptConverter;

constexpr bool isEmpty(const char* text) {
  return text == nullptr || *text == '\0';
}

/// The name for ICU, for which "" is not the default code page.
constexpr const char* nullIfEmpty(const char* codePage) {
  return isEmpty(codePage) ? nullptr : codePage;
}

/// An open converter for the time of a scope: the thread's kept one, or one of its own when the kept one is
/// in use further out, when the name is longer than any of ICU's, or when the thread is past its end.
///
///     const CachedConverter converter("ISO-8859-1");
///     if (converter.get() == nullptr) ...                 // ICU knows no such name
///
/// It starts as a freshly opened one does, but keeps the callbacks that were set on it: set none, or put them
/// back.
class CachedConverter {
 public:
  /// Each has a place of its own to look at first: texts come in runs, of one code page to another.
  enum class Direction : std::uint8_t { toUnicode, fromUnicode };

  /// Null is ICU's default converter, whose name is asked for each time since it can change.
  explicit CachedConverter(const char* name);

  /// The same as the last use left it, for those of ICU's functions that reset it themselves.
  CachedConverter(const char* name, Direction direction);

  CachedConverter(const CachedConverter&) = delete;
  CachedConverter& operator=(const CachedConverter&) = delete;
  ~CachedConverter();

  /// Null when the converter cannot be opened. Lives as long as this object.
  UConverter* get() const { return converter_; }

  /// The code pages for which it is dispensable. Only a kept converter is of one.
  enum class Form : std::uint8_t { others, singleBytes, utf8, utf16, swappedUtf16 };
  Form form() const;

  /// Not null for single bytes.
  SingleByteTable* table() const;

 private:
  [[gnu::noinline]] void openAnew(const char* name);

  UConverter* converter_ = nullptr;
  KeptConverter* kept_ = nullptr;  // null when the converter is this object's own
};

/// What text.extract(0, text.length(), target, capacity, codePage) does and returns, to the bit: the whole
/// size in the code page, or 0 when that is unknown; negative when the size is above the largest int. At most
/// `capacity` bytes are written. A target without room is as good as none.
std::int32_t fromUnicode(const icu::UnicodeString& text, char* target, std::int32_t capacity,
                         const char* codePage);

/// What icu::UnicodeString(bytes, length, codePage) is, to the bit: bogus when the code page is unknown. A
/// length of -1 is that of the NUL-terminated text.
icu::UnicodeString toUnicode(const char* bytes, std::int32_t length, const char* codePage);

/// The same text, which stands in the caller's `capacity` units, and not on the heap, where they suffice. It
/// is not to outlive them.
icu::UnicodeString toUnicode(const char* bytes, std::int32_t length, const char* codePage, char16_t* units,
                             std::int32_t capacity);

/// What `toUnicode` and then `fromUnicode` make of the bytes, which may stand where the target is: the size; 0
/// when it is above the largest int; or -1 when those two have to convert, and then nothing has been written.
std::int32_t convertAtOnce(const char* bytes, std::int32_t length, const char* fromCodePage, char* target,
                           std::int32_t capacity, const char* toCodePage);

/// So many bytes are converted on the stack.
constexpr std::int32_t atOnce = 1024;

}  // namespace tarvo::oss
