#pragma once

#include "infra/kelExport.hpp"

#include <unicode/unistr.h>

#include <cstddef>
#include <cstdint>

namespace tarvo::oss {

/// A constant list of NUL-terminated texts. The texts are valid as long as the library is loaded.
class TextList {
 public:
  constexpr TextList(const char* const* first, std::size_t size) : first_(first), size_(size) {}

  constexpr std::size_t size() const { return size_; }
  /// `index` must be below `size()`.
  constexpr const char* operator[](std::size_t index) const { return first_[index]; }

  constexpr const char* const* begin() const { return first_; }
  constexpr const char* const* end() const { return first_ + size_; }

 private:
  const char* const* first_;
  std::size_t size_;
};

/// Converts numbers to text and back, independently of the locale, and provides the library's locale
/// settings. All members are static.
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

  /// Each function replaces the contents of `out` by the decimal text of `value`: "-" for a negative number,
  /// and digits without grouping. Nothing is allocated. If the caller has called `out.getBuffer(minCapacity)`
  /// and not yet `releaseBuffer`, `out` does not change.
  static void int32ToString(icu::UnicodeString& out, int value);
  static void uint32ToString(icu::UnicodeString& out, unsigned int value);
  static void int64ToString(icu::UnicodeString& out, std::int64_t value);
  static void uint64ToString(icu::UnicodeString& out, std::uint64_t value);

  /// Replaces the contents of `out` by the hexadecimal literal of the value's 64 bits, without leading zeros.
  /// If `upperCase` is true, the literal is X'1F' for 31 and X'FFFFFFFFFFFFFFFF' for -1; otherwise the digits
  /// a to f are in lower case. Nothing is allocated. An open buffer of `out` is treated as by
  /// `int32ToString`.
  static void int64ToHexLiteral(icu::UnicodeString& out, std::int64_t value, bool upperCase);

  // --- text to numbers

  /// Each function returns the value of a decimal integer. White space around the number is ignored (as
  /// `icu::UnicodeString::trim` removes it). The rest must be digits "0" to "9": at most 10 for the 32-bit
  /// types, 19 for `std::int64_t` and 20 for `std::uint64_t`, including leading zeros. For the signed types
  /// one sign may precede the digits.
  ///
  /// If a number is out of the type's range but has no more digits than allowed, no error is raised: the
  /// value is reduced modulo 2^32 or 2^64. For example, "4294967296" is 0 for the 32-bit types, and
  /// `stringToInt32("2147483648")` returns -2147483648.
  ///   raises   NLSException ERR_STR_TO_NUM_CONV_ERR (type, text): the text is not such a number. The first
  ///            argument is "int32_t", "uint32_t", "int64_t" or "uint64_t". The second argument is the
  ///            trimmed text, which may be empty; half a surrogate pair in it is recorded as U+FFFD
  static int stringToInt32(const icu::UnicodeString& text);
  static unsigned int stringToUint32(const icu::UnicodeString& text);
  static std::int64_t stringToInt64(const icu::UnicodeString& text);
  static std::uint64_t stringToUint64(const icu::UnicodeString& text);

  /// Returns the value of a floating-point number. The decimal separator is "." in every locale. White space
  /// around the number is ignored. The rest is converted as the C runtime's `strtod` converts it in the
  /// locale "English_USA.1252", and `strtod` must accept all of it. Therefore a number out of range is no
  /// error: the result is an infinity, or 0 or a number near 0. Hexadecimal numbers, "inf" and "nan" are
  /// accepted if the platform's `strtod` accepts them.
  ///   text     a `const char*` text is NUL-terminated UTF-8
  ///   raises   NLSException ERR_STR_TO_NUM_CONV_ERR ("double", text): the text is not such a number. The
  ///            second argument is the trimmed text, which may be empty, or "NULL" for a null pointer; half a
  ///            surrogate pair and malformed UTF-8 are recorded as U+FFFD
  ///
  /// The locale of the C runtime is switched during the conversion and restored before the function returns
  /// or throws. On Linux the switch affects only the calling thread. On Windows the switch affects the whole
  /// process: if other threads print or read numbers with the C runtime at that time, they may use the
  /// switched locale.
  static double stringToDouble(const icu::UnicodeString& text);
  static double stringToDouble(const char* text);

  // --- locale

  /// Returns the code of ICU's current default locale: language and territory in four letters, such as
  /// "deCH". The locale's name is looked up in the library's table of aliases; if the table does not contain
  /// it, the code is "enUS". The text is valid as long as the library is loaded.
  static const char* localeCode();

  /// Returns the codes of the 118 supported locales, in capitals ("ENUS", "DECH"). The last one is
  /// "DEFAULTLOCALE", the alias of the code that `localeCode` returns for unknown locales. The list does not
  /// change.
  static TextList supportedLocaleCodes();

  /// Returns a converter name for the console's code page: "windows-" and the number of the code page. Five
  /// code pages have another name: 720 is "ibm-864", 737 "ibm-869", 775 "ibm-901", 855 "ibm-855" and 858
  /// "ibm-858". ICU may not know the name. The console's code page is read once, at the first call; later
  /// changes have no effect. The text is valid as long as the library is loaded.
  static const char* consoleCodePageName();

  /// Creates the library's locale settings for `localeCode()`: ICU's locale, its number format, and its
  /// formats for date, for time, and for both together, in ICU's default styles. The process has one such
  /// record. The conversions above do not depend on it. If the call succeeds, ICU can format for the default
  /// locale. Call the function again after the default locale changes. If the call fails, the former settings
  /// stay. Only one thread at a time may call it.
  ///   raises   NLSException ERR_OUT_OF_MEMORY ("Formatter::setSettings()"): ICU could not create one of the
  ///            formats
  static void setSettings();
};

}  // namespace tarvo::oss
