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
/// Threads: any thread may call every member except `setSettings` at any time. On Windows `stringToDouble`
/// can affect other threads; the comment of `stringToDouble` describes the effect.
class KELINFRA_API Formatter {
 public:
  Formatter() = delete;

  // --- numbers to text

  /// Each function replaces the contents of `out` by the decimal text of `value`: the digits without
  /// grouping, with "-" before them if the number is negative. The functions allocate nothing. If the caller
  /// has called `out.getBuffer(minCapacity)` and not yet `releaseBuffer`, `out` does not change.
  static void int32ToString(icu::UnicodeString& out, int value);
  static void uint32ToString(icu::UnicodeString& out, unsigned int value);
  static void int64ToString(icu::UnicodeString& out, std::int64_t value);
  static void uint64ToString(icu::UnicodeString& out, std::uint64_t value);

  /// Replaces the contents of `out` by the hexadecimal literal of the value's 64 bits, without leading zeros.
  /// If `upperCase` is true, the literal is X'1F' for 31 and X'FFFFFFFFFFFFFFFF' for -1; otherwise the digits
  /// a to f are in lower case. The function allocates nothing. If the caller has called
  /// `out.getBuffer(minCapacity)` and not yet `releaseBuffer`, `out` does not change.
  static void int64ToHexLiteral(icu::UnicodeString& out, std::int64_t value, bool upperCase);

  // --- text to numbers

  /// Each function converts a text that contains a decimal integer, and returns the integer. The functions
  /// ignore white space around the number (as `icu::UnicodeString::trim` removes it). The rest of the text
  /// must be digits "0" to "9": at most 10 for the 32-bit types, 19 for `std::int64_t` and 20 for
  /// `std::uint64_t`, including leading zeros. For the signed types one sign may precede the digits.
  ///
  /// If a number has no more digits than allowed but is out of the type's range, the functions raise no
  /// error: they reduce the number modulo 2^32 or 2^64. For example, "4294967296" is 0 for the 32-bit types,
  /// and `stringToInt32("2147483648")` returns -2147483648.
  ///   raises   NLSException ERR_STR_TO_NUM_CONV_ERR (type, text): the text is not such a number. The first
  ///            argument is "int32_t", "uint32_t", "int64_t" or "uint64_t". The second argument is the
  ///            trimmed text, which may be empty; an unpaired surrogate in it is recorded as U+FFFD
  static int stringToInt32(const icu::UnicodeString& text);
  static unsigned int stringToUint32(const icu::UnicodeString& text);
  static std::int64_t stringToInt64(const icu::UnicodeString& text);
  static std::uint64_t stringToUint64(const icu::UnicodeString& text);

  /// Converts a text that contains a floating-point number, and returns the number. The decimal separator is
  /// "." in every locale. The function ignores white space around the number. The C runtime's `strtod` must
  /// accept the whole rest of the text in the locale "English_USA.1252", and determines the result. A number
  /// out of range is not an error: a number that is too large becomes an infinity, and a number that is too
  /// small becomes 0 or a number near 0. Hexadecimal numbers, "inf" and "nan" are accepted if the platform's
  /// `strtod` accepts them.
  ///   text     a `const char*` text is NUL-terminated UTF-8
  ///   raises   NLSException ERR_STR_TO_NUM_CONV_ERR ("double", text): the text is not such a number. The
  ///            second argument is the trimmed text, which may be empty, or "NULL" for a null pointer; an
  ///            unpaired surrogate and malformed UTF-8 are recorded as U+FFFD
  ///
  /// `stringToDouble` switches the locale of the C runtime during the conversion, and restores the locale
  /// before the function returns or throws. On Linux the switch affects only the calling thread. On Windows
  /// the switch affects the whole process: if another thread prints or reads numbers with the C runtime
  /// during the conversion, the other thread may use the switched locale.
  static double stringToDouble(const icu::UnicodeString& text);
  static double stringToDouble(const char* text);

  // --- locale

  /// Returns the code of ICU's current default locale: language and territory in four letters, such as
  /// "deCH". The function looks up the locale's name in the library's table of aliases; if the table does not
  /// contain the name, the code is "enUS". The returned text is valid as long as the library is loaded.
  static const char* localeCode();

  /// Returns the codes of the 118 supported locales, in capitals ("ENUS", "DECH"). The last element of the
  /// list is "DEFAULTLOCALE": it stands for the code that `localeCode` returns for unknown locales. The list
  /// does not change.
  static TextList supportedLocaleCodes();

  /// Returns a converter name for the console's code page: "windows-" and the number of the code page. Five
  /// code pages have another name: 720 is "ibm-864", 737 "ibm-869", 775 "ibm-901", 855 "ibm-855" and 858
  /// "ibm-858". ICU may not know the returned name. The function reads the console's code page only at the
  /// first call; later changes of the code page have no effect. The returned text is valid as long as the
  /// library is loaded.
  static const char* consoleCodePageName();

  /// Creates the library's locale settings for `localeCode()`: ICU's locale, its number format, and its
  /// formats for date, for time, and for both together, in ICU's default styles. All threads of the process
  /// share these settings. The conversions between numbers and text do not depend on the settings. If
  /// `setSettings` succeeds, ICU can format numbers, dates and times for the default locale. Call
  /// `setSettings` again after the default locale changes. If the call fails, the settings do not change.
  /// Only one thread at a time may call `setSettings`.
  ///   raises   NLSException ERR_OUT_OF_MEMORY ("Formatter::setSettings()"): ICU could not create one of the
  ///            formats
  static void setSettings();
};

}  // namespace tarvo::oss
