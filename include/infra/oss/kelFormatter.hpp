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

/// Converts numbers to text and back, independently of the locale, and holds the library's locale settings.
/// All members are static.
///
///     icu::UnicodeString text;
///     Formatter::int64ToString(text, -42);                        // text -> "-42"
///     const int port = Formatter::stringToInt32(" 8080 ");        // -> 8080
///     const double ratio = Formatter::stringToDouble("1.5");      // -> 1.5
///
/// Threads: every member except `setSettings` may be called from any thread at any time. On Windows
/// `stringToDouble` can affect other threads; see there.
class KELINFRA_API Formatter {
 public:
  Formatter() = delete;

  // --- numbers to text

  /// `out` becomes the decimal text of `value`: "-" and digits, no grouping. The former text of `out` is
  /// replaced; nothing is allocated. If the caller holds the buffer of `out` open (`getBuffer(minCapacity)`),
  /// `out` is not changed. The same holds for `int64ToHexLiteral`.
  static void int32ToString(icu::UnicodeString& out, int value);
  static void uint32ToString(icu::UnicodeString& out, unsigned int value);
  static void int64ToString(icu::UnicodeString& out, std::int64_t value);
  static void uint64ToString(icu::UnicodeString& out, std::uint64_t value);

  /// `out` becomes the hexadecimal literal of the value's 64 bits, without leading zeros: X'1F' for 31,
  /// X'FFFFFFFFFFFFFFFF' for -1, in lower case unless `upperCase` is true.
  static void int64ToHexLiteral(icu::UnicodeString& out, std::int64_t value, bool upperCase);

  // --- text to numbers

  /// The value of a decimal integer. White space around it is ignored (as `icu::UnicodeString::trim` removes
  /// it). The rest must be digits "0" to "9", at most 10 of them for 32 bits, 19 for `std::int64_t` and 20
  /// for `std::uint64_t`, leading zeros counted. The signed types allow one sign before them.
  ///
  /// A value out of the type's range that has no more digits than that is no error: it is reduced modulo 2 to
  /// the power of the type's width. For example, "4294967296" is 0 for 32 bits, and
  /// `stringToInt32("2147483648")` is -2147483648.
  ///   raises   NLSException ERR_STR_TO_NUM_CONV_ERR (type, text): anything else. The type is "int32_t",
  ///            "uint32_t", "int64_t" or "uint64_t", the text is the trimmed one, perhaps empty;
  ///            half a surrogate pair in it is recorded as U+FFFD
  static int stringToInt32(const icu::UnicodeString& text);
  static unsigned int stringToUint32(const icu::UnicodeString& text);
  static std::int64_t stringToInt64(const icu::UnicodeString& text);
  static std::uint64_t stringToUint64(const icu::UnicodeString& text);

  /// The value of a floating-point number with "." before the decimals, whatever locale is set. White space
  /// around it is ignored. The rest is converted as by the runtime's `strtod` in the locale
  /// "English_USA.1252", which must accept all of it. Therefore a value out of range is no error: it is an
  /// infinity or about 0. Hexadecimal, "inf" and "nan" forms are accepted where the platform accepts them.
  ///   text     the narrow form is UTF-8, NUL-terminated
  ///   raises   NLSException ERR_STR_TO_NUM_CONV_ERR ("double", text): anything else. The text is the trimmed
  ///            one, perhaps empty, and "NULL" for a null pointer; half a surrogate pair and malformed UTF-8
  ///            are recorded as U+FFFD
  ///
  /// The runtime locale is switched during the conversion and restored before the member returns or throws.
  /// On Linux the switch affects only the calling thread. On Windows it affects the whole process: other
  /// threads that print or read numbers with the runtime at that time can notice it.
  static double stringToDouble(const icu::UnicodeString& text);
  static double stringToDouble(const char* text);

  // --- locale

  /// The code of ICU's current default locale: language and territory in four letters, such as "deCH". It is
  /// looked up by name in the library's table of aliases and is "enUS" if the table does not contain it.
  /// Lives as long as the library is loaded.
  static const char* localeCode();

  /// The 118 supported locales, in capitals ("ENUS", "DECH"). The last is "DEFAULTLOCALE", the alias of the
  /// code that `localeCode` falls back to. Does not change.
  static TextList supportedLocaleCodes();

  /// ICU's name for the converter of the console's code page: "windows-" and its number. Five pages have
  /// another name: 720 is "ibm-864", 737 "ibm-869", 775 "ibm-901", 855 "ibm-855" and 858 "ibm-858". ICU may
  /// not know the name. The code page is read once, at the first call; later changes of the console's code
  /// page have no effect. Lives as long as the library is loaded.
  static const char* consoleCodePageName();

  /// Builds the library's locale settings for `localeCode()`: ICU's locale, its number format, and its
  /// formats for date, time, and both together in ICU's default styles. There is one such record in the
  /// process. The conversions above never depend on it. If the call succeeds, ICU can format for the default
  /// locale; call it again after that locale changes. On an error the former settings stay. One thread at a
  /// time.
  ///   raises   NLSException ERR_OUT_OF_MEMORY ("Formatter::setSettings()"): ICU could not create one of the
  ///            formats
  static void setSettings();
};

}  // namespace tarvo::oss
