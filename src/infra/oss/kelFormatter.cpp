#include "infra/oss/kelFormatter.hpp"

#include "infra/oss/kelNLSException.hpp"

#include "oss/kelFormatSettings.hpp"
#include "oss/kelLocaleCodes.hpp"
#include "oss/kelRaise.hpp"
#include "platform/kelConsole.hpp"
#include "platform/kelRuntimeLocale.hpp"
#include "platform/kelStandardLibrary.hpp"
#include "text/kelDecimalText.hpp"
#include "text/kelInvariant.hpp"
#include "text/kelMemory.hpp"
#include "text/kelTextUnits.hpp"
#include "text/kelWords.hpp"
#include "trace/kelTrace.hpp"

#include <unicode/locid.h>
#include <unicode/uchar.h>

#include <algorithm>
#include <array>
#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace tarvo::oss {

using trace::probe;
using trace::traced;

namespace {

using Units = std::u16string_view;

// --- trimming

template <class Unit>
constexpr bool isVisible(Unit unit) {
  return '!' <= unit && unit <= '~';
}

/// Returns whether the first and the last character of the text are visible, so that nothing has to be
/// trimmed. The result is true for nearly every text, and false for an empty text.
template <class Text>
constexpr bool endsVisible(const Text& text) {
  return !text.empty() && isVisible(text.front()) && isVisible(text.back());
}

/// Trims a text with the same result as icu::UnicodeString::trim. The function tests single code units,
/// because all white space is below U+10000.
Units trimmed(Units text) {
  if (endsVisible(text)) return text;
  while (!text.empty() && u_isWhitespace(text.back())) text.remove_suffix(1);
  while (!text.empty() && u_isWhitespace(text.front())) text.remove_prefix(1);
  return text;
}

// --- errors

icu::UnicodeString fromUtf8(std::string_view bytes) {
  constexpr std::size_t most = std::numeric_limits<std::int32_t>::max();
  return text::made(
      icu::UnicodeString::fromUTF8({bytes.data(), static_cast<std::int32_t>(std::min(bytes.size(), most))}));
}

/// Returns the text as an error records it. The text is converted to UTF-8 and back, which replaces an
/// unpaired surrogate by U+FFFD.
icu::UnicodeString recorded(Units text) {
  std::string bytes;
  text::made(icu::UnicodeString(text.data(), static_cast<std::int32_t>(text.size()))).toUTF8String(bytes);
  return fromUtf8(bytes);
}

[[noreturn, gnu::cold]] void raiseNoNumber(const char* type, const icu::UnicodeString& text) {
  raise<NLSException>(errors::ERR_STR_TO_NUM_CONV_ERR, errors::Name{text::invariantText(type)},
                      errors::Text{text});
}

// --- integers

template <class Integer>
constexpr const char* typeWord = nullptr;
template <>
constexpr const char* typeWord<int> = "int32_t";
template <>
constexpr const char* typeWord<unsigned int> = "uint32_t";
template <>
constexpr const char* typeWord<std::int64_t> = "int64_t";
template <>
constexpr const char* typeWord<std::uint64_t> = "uint64_t";

/// The number of digits of the largest value of an integer type.
template <class Integer>
constexpr std::size_t mostDigits = std::numeric_limits<Integer>::digits10 + 1;

/// If the trimmed text is an integer, stores it in `value` and returns true. Only the number of digits is
/// limited; a number out of range is reduced modulo 2 to the power of the type's width. The function does not
/// refuse such numbers, because programs depend on the reduction.
template <class Integer>
bool readInteger(Units text, Integer& value) {
  bool negative = false;
  if constexpr (std::is_signed_v<Integer>) {
    if (!text.empty() && (text.front() == u'-' || text.front() == u'+')) {
      negative = text.front() == u'-';
      text.remove_prefix(1);
    }
  }
  if (text.empty() || text.size() > mostDigits<Integer>) return false;
  std::make_unsigned_t<Integer> sum = 0;
  for (const char16_t unit : text) {
    const unsigned int digit = static_cast<unsigned int>(unit) - u'0';
    if (digit > 9) return false;
    sum = sum * 10 + digit;
  }
  value = static_cast<Integer>(negative ? 0 - sum : sum);
  return true;
}

template <class Integer>
Integer toInteger(const icu::UnicodeString& text) {
  return traced<probe("Formatter::stringToInteger")>([&] {
    const Units number = trimmed(text::unitsOf(text));
    Integer value = 0;
    if (!readInteger(number, value)) [[unlikely]]
      raiseNoNumber(typeWord<Integer>, recorded(number));
    return value;
  });
}

// --- text of numbers

/// Returns the buffer inside the string object, which has room for any number. A write into this buffer takes
/// less time than a replacement of the text, and allocates nothing. Returns null if the caller has called
/// `getBuffer(minCapacity)` and not yet `releaseBuffer`.
char16_t* openUnits(icu::UnicodeString& out, std::size_t length) {
  out.remove();  // makes a bogus text valid
  return out.getBuffer(static_cast<std::int32_t>(length));
}

void setAscii(icu::UnicodeString& out, std::string_view ascii) {
  char16_t* const units = openUnits(out, ascii.size());
  if (units == nullptr) return;
  std::copy(ascii.begin(), ascii.end(), units);
  out.releaseBuffer(static_cast<std::int32_t>(ascii.size()));
}

template <class Integer>
void toText(icu::UnicodeString& out, Integer value) {
  traced<probe("Formatter::numberToString")>([&] {
    using Text = text::DecimalText<Integer>;
    char16_t* const units = openUnits(out, Text::longest);
    if (units == nullptr) return;
    out.releaseBuffer(static_cast<std::int32_t>(Text::write(units, value) - units));
  });
}

constexpr char upperCaseOf(char digit) {
  return digit >= 'a' ? static_cast<char>(digit - 'a' + 'A') : digit;
}

/// Writes the hexadecimal literal of the value's 64 bits; a negative value is in two's complement.
void setHexLiteral(icu::UnicodeString& out, std::int64_t value, bool upperCase) {
  char literal[20] = {'X', '\''};  // room for the longest and a NUL
  char* end = std::to_chars(literal + 2, literal + 18, static_cast<std::uint64_t>(value), 16).ptr;
  if (upperCase) std::transform(literal + 2, end, literal + 2, upperCaseOf);
  *end++ = '\'';
  setAscii(out, {literal, static_cast<std::size_t>(end - literal)});
}

// --- floating-point numbers

/// Returns whether the thread's rounding mode is rounding to nearest. std::from_chars always rounds to
/// nearest, while strtod uses the thread's rounding mode.
bool roundsToNearest() {
  const volatile float tiny = FLT_MIN;
  return tiny + 1.0F == 1.0F - tiny;
}

constexpr std::array<double, 15> powersOfTen = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6, 1e7,
                                                1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14};

/// A fast path for short numbers. The text must not be empty. If the text consists of at most 15 digits, with
/// or without a "-" before the digits and a point among the digits, stores the value of the number and
/// returns true. The value is the quotient of the number without the point and a power of ten. The number
/// without the point is below 10^15 < 2^53. The power of ten is at most 10^14 = 5^14 * 2^14 with 5^14 < 2^33.
/// Therefore a double represents the number without the point and the power of ten exactly. The division
/// rounds only once, so the quotient equals the result of strtod. Without this fast path the conversion of
/// such a number takes 1.3 times as long.
template <class Text>
bool readFewDigits(Text text, double& value) {
  static_assert(FLT_EVAL_METHOD == 0);
  constexpr std::size_t most = 15;
  const bool negative = text.front() == '-';
  if (negative) text.remove_prefix(1);
  if (text.size() > most + 1) return false;
  std::int64_t sum = 0;
  std::size_t digits = 0;
  std::size_t beforePoint = 0;
  for (const auto unit : text) {
    const unsigned int digit = static_cast<unsigned int>(unit) - '0';
    if (digit <= 9) {
      sum = sum * 10 + digit;
      ++digits;
    } else if (unit == '.' && beforePoint == 0 && digits > 0) {
      beforePoint = digits;
    } else {
      return false;
    }
  }
  if (digits == 0 || digits > most || digits == beforePoint || !roundsToNearest()) return false;
  const std::size_t decimals = beforePoint == 0 ? 0 : digits - beforePoint;
  const double quotient = static_cast<double>(sum) / powersOfTen[decimals];
  value = negative ? -quotient : quotient;
  return true;
}

/// If `strtod` accepts the whole text, stores the value and returns true. The text must not be empty, must
/// not have white space at its ends, and must be followed by a NUL.
bool readAnyDouble(std::string_view text, double& value) {
  const char* const end = text.data() + text.size();
  // If from_chars accepts the whole text and the value is finite, strtod would return the same value. All
  // other texts are passed to strtod.
  const auto [stop, error] = platform::readDouble(text.data(), end, value);
  if (error == std::errc() && stop == end && std::isfinite(value) && roundsToNearest()) [[likely]]
    return true;
  char* last = nullptr;
  value = std::strtod(text.data(), &last);
  return last == end;
}

bool readDouble(std::string_view text, double& value) {
  const platform::EnglishRuntimeLocale english;
  return readFewDigits(text, value) || readAnyDouble(text, value);
}

/// Writes the text as bytes and a NUL. Returns false if a unit of the text is not ASCII; the bytes are then
/// not usable.
bool narrowed(Units text, char* bytes) {
  bytes[text.size()] = '\0';
  return text::narrowAscii(text.data(), text.size(), bytes);
}

/// Reads a number from a trimmed text. A text that is not all ASCII is not a number.
bool readDouble(Units text, double& value) {
  constexpr std::size_t usual = 128;
  if (text.empty()) return false;
  const platform::EnglishRuntimeLocale english;
  if (readFewDigits(text, value)) return true;
  if (text.size() < usual) [[likely]] {
    char bytes[usual];
    return narrowed(text, bytes) && readAnyDouble(std::string_view(bytes, text.size()), value);
  }
  std::string bytes(text.size(), '\0');
  return narrowed(text, bytes.data()) && readAnyDouble(std::string_view(bytes), value);
}

double toDouble(Units text) {
  const Units number = trimmed(text);
  double value = 0;
  if (!readDouble(number, value)) [[unlikely]]
    raiseNoNumber("double", recorded(number));
  return value;
}

// --- locale

/// An OEM code page for which ICU's converter is not called "windows-" followed by the number.
struct StandIn {
  unsigned int codePage;
  unsigned int ibmPage;
};

constexpr StandIn standIns[] = {{720, 864}, {737, 869}, {775, 901}, {855, 855}, {858, 858}};

/// Returns ICU's name for the converter of an OEM code page.
std::array<char, 64> converterName(unsigned int codePage) {
  std::string_view prefix = "windows-";
  for (const StandIn& row : standIns) {
    if (row.codePage != codePage) continue;
    prefix = "ibm-";
    codePage = row.ibmPage;
    break;
  }
  std::array<char, 64> name{};
  char* const number = std::copy(prefix.begin(), prefix.end(), name.data());
  std::to_chars(number, name.data() + name.size() - 1, codePage);
  return name;
}

FormatSettings settingsFor(const icu::Locale& locale) {
  const FormatFactories& make = formatFactories;
  FormatSettings settings{locale, nullptr, nullptr, nullptr, nullptr};
  settings.number.reset(make.number(locale));
  settings.date.reset(make.date(locale));
  settings.time.reset(make.time(locale));
  settings.dateAndTime.reset(make.dateAndTime(locale));
  return settings;
}

bool isComplete(const FormatSettings& settings) {
  return settings.number && settings.date && settings.time && settings.dateAndTime;
}

}  // namespace

void Formatter::int32ToString(icu::UnicodeString& out, int value) {
  toText(out, value);
}
void Formatter::uint32ToString(icu::UnicodeString& out, unsigned int value) {
  toText(out, value);
}
void Formatter::int64ToString(icu::UnicodeString& out, std::int64_t value) {
  toText(out, value);
}
void Formatter::uint64ToString(icu::UnicodeString& out, std::uint64_t value) {
  toText(out, value);
}

void Formatter::int64ToHexLiteral(icu::UnicodeString& out, std::int64_t value, bool upperCase) {
  traced<probe("Formatter::int64ToHexLiteral")>([&] { setHexLiteral(out, value, upperCase); });
}

int Formatter::stringToInt32(const icu::UnicodeString& text) {
  return toInteger<int>(text);
}
unsigned int Formatter::stringToUint32(const icu::UnicodeString& text) {
  return toInteger<unsigned int>(text);
}
std::int64_t Formatter::stringToInt64(const icu::UnicodeString& text) {
  return toInteger<std::int64_t>(text);
}
std::uint64_t Formatter::stringToUint64(const icu::UnicodeString& text) {
  return toInteger<std::uint64_t>(text);
}

double Formatter::stringToDouble(const icu::UnicodeString& text) {
  return traced<probe("Formatter::stringToDouble")>([&] { return toDouble(text::unitsOf(text)); });
}

double Formatter::stringToDouble(const char* text) {
  return traced<probe("Formatter::stringToDouble")>([&] {
    if (text == nullptr) raiseNoNumber("double", text::invariantText("NULL"));
    const std::string_view bytes(text);
    double value = 0;
    if (endsVisible(bytes) && readDouble(bytes, value)) [[likely]]
      return value;
    return toDouble(text::unitsOf(fromUtf8(bytes)));
  });
}

// --- locale

const char* Formatter::localeCode() {
  return traced<probe("Formatter::localeCode")>(
      [] { return localeCodeOf(icu::Locale::getDefault().getName()); });
}

TextList Formatter::supportedLocaleCodes() {
  return {supportedLocales().data(), supportedLocales().size()};
}

const char* Formatter::consoleCodePageName() {
  return traced<probe("Formatter::consoleCodePageName")>([] {
    static const std::array<char, 64> name = converterName(platform::currentOemCodePage());
    return name.data();
  });
}

void Formatter::setSettings() {
  traced<probe("Formatter::setSettings")>([] {
    // The language and the territory: each has two letters.
    const std::string_view code = localeCode();
    FormatSettings built =
        settingsFor(icu::Locale(std::string(code.substr(0, 2)).c_str(), std::string(code.substr(2)).c_str()));
    if (!isComplete(built)) {
      raise<NLSException>(errors::ERR_OUT_OF_MEMORY, errors::Operation{"Formatter::setSettings()"});
    }
    formatSettings() = std::move(built);
  });
}

}  // namespace tarvo::oss
