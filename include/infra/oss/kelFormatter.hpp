#pragma once

#include "infra/kelExport.hpp"

#include <unicode/unistr.h>

#include <cstddef>
#include <cstdint>

namespace tarvo::oss {

/// A constant list of NUL-terminated texts that live as long as the library is loaded.
class TextList {
 public:
  constexpr TextList(const char* const* first, std::size_t size) : first_(first), size_(size) {}

  constexpr std::size_t size() const { return size_; }
  /// `index` below `size()`.
  constexpr const char* operator[](std::size_t index) const { return first_[index]; }

  constexpr const char* const* begin() const { return first_; }
  constexpr const char* const* end() const { return first_ + size_; }

 private:
  const char* const* first_;
  std::size_t size_;
};

/// Numbers as text and back, the same in every locale, and the library's locale settings. All members are
/// static.
///
///     icu::UnicodeString text;
///     Formatter::int64ToString(text, -42);                        // text -> "-42"
///     const int port = Formatter::stringToInt32(" 8080 ");        // -> 8080
///     const double ratio = Formatter::stringToDouble("1.5");      // -> 1.5
///
/// Threads: every member but `setSettings` may be called from any thread at any time. See `stringToDouble`
/// for what other threads can notice of it.
class KELINFRA_API Formatter {
 public:
  Formatter() = delete;

  // --- numbers to text

  /// `out` becomes the decimal text of `value`: "-" and digits, no grouping. The former text of `out` is
  /// replaced; nothing is allocated. An `out` whose buffer is held open (`getBuffer(minCapacity)`) is not
  /// changed. The same holds for `int64ToHexLiteral`.
  static void int32ToString(icu::UnicodeString& out, int value);
  static void uint32ToString(icu::UnicodeString& out, unsigned int value);
  static void int64ToString(icu::UnicodeString& out, std::int64_t value);
  static void uint64ToString(icu::UnicodeString& out, std::uint64_t value);

  /// `out` becomes the hexadecimal literal of the value's 64 bits, without leading zeros: X'1F' for 31,
  /// X'FFFFFFFFFFFFFFFF' for -1, with small letters unless `upperCase`.
  static void int64ToHexLiteral(icu::UnicodeString& out, std::int64_t value, bool upperCase);

  // --- text to numbers

  /// The value of a decimal integer. White space around it is ignored (as `icu::UnicodeString::trim` removes
  /// it). The rest must be digits "0" to "9", at most 10 of them for 32 bits, 19 for `std::int64_t` and 20
  /// for `std::uint64_t`, leading zeros counted. The signed types allow one sign before them.
  ///
  /// A value out of the type's range that has no more digits than that is no error: it is reduced modulo 2 to
  /// the power of the type's width. So "4294967296" is 0 for 32 bits, and `stringToInt32("2147483648")` is
  /// -2147483648.
  ///   raises   NLSException ERR_STR_TO_NUM_CONV_ERR (type, text): anything else. The type is "int32_t",
  ///            "uint32_t", "int64_t" or "uint64_t", the text is the trimmed one, perhaps empty;
  ///            half a surrogate pair in it is recorded as U+FFFD
  static int stringToInt32(const icu::UnicodeString& text);
  static unsigned int stringToUint32(const icu::UnicodeString& text);
  static std::int64_t stringToInt64(const icu::UnicodeString& text);
  static std::uint64_t stringToUint64(const icu::UnicodeString& text);

  /// The value of a floating-point number with "." before the decimals, whatever locale is set, white space
  /// around it left out: what the runtime's `strtod` makes of it, by the rules of its locale
  /// "English_USA.1252", provided that it takes the whole text. What is out of range is therefore an infinity
  /// or about 0 and no error; hexadecimal, "inf" and "nan" forms are taken where the platform takes them.
  ///   text     the narrow form is UTF-8, NUL-terminated
  ///   raises   NLSException ERR_STR_TO_NUM_CONV_ERR ("double", text): anything else. The text is what was
  ///            left by the trimming, perhaps empty, and "NULL" for a null pointer; half a surrogate pair and
  ///            malformed UTF-8 are recorded as U+FFFD
  ///
  /// The runtime locale is switched for the time of the conversion, and is the caller's own again when the
  /// value or the error leaves. On Linux the switch is the calling thread's; on Windows it is the process's,
  /// so that other threads that print or read numbers by the runtime meanwhile can see it.
  static double stringToDouble(const icu::UnicodeString& text);
  static double stringToDouble(const char* text);

  // --- locale

  /// The code of ICU's default locale as it now is: language and territory in four letters, such as "deCH",
  /// found by name in the library's table of aliases; "enUS" when it is not there. Lives as long as the
  /// library is loaded.
  static const char* localeCode();

  /// The 118 locales that are supported, in capitals ("ENUS", "DECH"); the last is "DEFAULTLOCALE", which
  /// stands for what `localeCode` falls back to. Does not change.
  static TextList supportedLocaleCodes();

  /// ICU's name for the converter of the console's code page: "windows-" and its number, or "ibm-" and the
  /// number of the page that stands in for 720, 737, 775, 855 and 858. ICU need not know it. Asked of the
  /// system once and kept; a console whose code page is changed later keeps its name here. Lives as long as
  /// the library is loaded.
  static const char* consoleCodePageName();

  /// Builds the library's locale settings for `localeCode()`: ICU's locale, its number format, and its
  /// formats for date, time, and both together in ICU's default styles. There is one such record in the
  /// process. The conversions above never depend on it. A caller learns that ICU can format for the default
  /// locale, and calls it again when that locale has changed. On an error the former settings stay. One
  /// thread at a time.
  ///   raises   NLSException ERR_OUT_OF_MEMORY ("Formatter::setSettings()"): ICU could not create one of the
  ///            formats
  static void setSettings();
};

}  // namespace tarvo::oss
