#include "infra/oss/kelFormatter.hpp"

#include "kelFormatterTasks.hpp"

#include <benchmark/benchmark.h>
#include <unicode/fmtable.h>
#include <unicode/numfmt.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <charconv>
#include <clocale>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

/// Numbers to UTF-16 text and back, compared with the standard library plus a widening or narrowing step,
/// with the C library plus the copies and locale switches that a strict parse needs, and with ICU. Each
/// candidate must give the same answers before it is timed.
namespace {

using namespace tarvo::benchmarks::formatter;
using icu::UnicodeString;
using tarvo::oss::Formatter;

// --- integers to text

void widen(UnicodeString& out, const char* text, const char* end) {
  char16_t units[32];
  out.setTo(units, static_cast<std::int32_t>(std::copy(text, end, units) - units));
}

void toCharsAndWiden(UnicodeString& out, std::int64_t value) {
  char text[24];
  widen(out, text, std::to_chars(text, text + sizeof text, value).ptr);
}

/// Does less work than the task: writes an array and leaves the text empty.
void toCharsAndArray(UnicodeString&, std::int64_t value) {
  char text[24];
  char16_t units[24];
  benchmark::DoNotOptimize(std::copy(text, std::to_chars(text, text + sizeof text, value).ptr, units));
  benchmark::DoNotOptimize(units);
}

void sprintfAndWiden(UnicodeString& out, std::int64_t value) {
  char text[24];
  const int length = std::snprintf(text, sizeof text, "%lld", static_cast<long long>(value));
  widen(out, text, text + length);
}

std::unique_ptr<icu::NumberFormat> plainFormat() {
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::NumberFormat> format(icu::NumberFormat::createInstance(icu::Locale::getUS(), status));
  format->setGroupingUsed(false);
  return format;
}

const icu::NumberFormat& format() {
  static const std::unique_ptr<icu::NumberFormat> made = plainFormat();
  return *made;
}

void icuFormat(UnicodeString& out, std::int64_t value) {
  out.remove();
  format().format(value, out);
}

bool equals(const UnicodeString& out, const UnicodeString& expected) {
  return out == expected;
}

/// The text is empty: the digits are in an array, and `toCharsAndWiden` checks the same digits.
bool isElsewhere(const UnicodeString& out, const UnicodeString&) {
  return out.isEmpty();
}

template <auto convert>
void writesText(benchmark::State& state) {
  writes<convert, UnicodeString, &equals>(state);
}

// --- text to numbers

/// This candidate checks nothing, so it does the least work that any parse needs.
std::int64_t digitLoop(const UnicodeString& text) {
  const char16_t* unit = text.getBuffer();
  const char16_t* const end = unit + text.length();
  const bool negative = *unit == u'-';
  if (negative) ++unit;
  std::uint64_t value = 0;
  for (; unit != end; ++unit) value = value * 10 + (static_cast<unsigned int>(*unit) - u'0');
  return static_cast<std::int64_t>(negative ? 0 - value : value);
}

std::int64_t trimAndSscanf(const UnicodeString& text) {
  UnicodeString trimmed(text);
  std::string bytes;
  trimmed.trim().toUTF8String(bytes);
  if (bytes.empty() || bytes.find_first_not_of("0123456789", bytes[0] == '-' ? 1 : 0) != std::string::npos)
    return 0;
  long long value = 0;
  // NOLINTNEXTLINE(cert-err34-c): the value is in range
  return std::sscanf(bytes.c_str(), "%lld", &value) == 1 ? value : 0;
}

std::int64_t icuParseInteger(const UnicodeString& text) {
  icu::Formattable value;
  UErrorCode status = U_ZERO_ERROR;
  format().parse(text, value, status);
  return value.getInt64(status);
}

double fromChars(const char* text) {
  double value = 0;
  const char* const end = text + std::char_traits<char>::length(text);
  return std::from_chars(text, end, value).ptr == end ? value : 0;
}

double narrowAndFromChars(const UnicodeString& text) {
  char bytes[64];
  const std::int32_t length = text.length();
  const char16_t* const units = text.getBuffer();
  if (length > 64) return 0;
  for (std::int32_t i = 0; i < length; ++i) bytes[i] = static_cast<char>(units[i]);
  double value = 0;
  return std::from_chars(bytes, bytes + length, value).ptr == bytes + length ? value : 0;
}

double strtodWhole(const char* text) {
  char* end = nullptr;
  const double value = std::strtod(text, &end);
  return *end == '\0' ? value : 0;
}

double strtodUnderSetlocale(const char* text) {
  // NOLINTBEGIN(concurrency-mt-unsafe): one thread; no other way exists on every platform
  const std::string former = std::setlocale(LC_ALL, nullptr);
  if (std::setlocale(LC_ALL, "C") == nullptr) return 0;
  const double value = strtodWhole(text);
  return std::setlocale(LC_ALL, former.c_str()) == nullptr ? 0 : value;
  // NOLINTEND(concurrency-mt-unsafe)
}

double trimSetlocaleAndStrtod(const UnicodeString& text) {
  UnicodeString trimmed(text);
  std::string bytes;
  return strtodUnderSetlocale(trimmed.trim().toUTF8String(bytes).c_str());
}

double icuParseDouble(const UnicodeString& text) {
  icu::Formattable value;
  UErrorCode status = U_ZERO_ERROR;
  format().parse(text, value, status);
  return value.getDouble(status);
}

double oursWide(const UnicodeString& text) {
  return Formatter::stringToDouble(text);
}
double oursNarrow(const char* text) {
  return Formatter::stringToDouble(text);
}

BENCHMARK(writesText<&Formatter::int64ToString>)->Name("Formatter/integer to text/KELINFRA");
BENCHMARK(writesText<&toCharsAndWiden>)->Name("Formatter/integer to text/to_chars and widen");
BENCHMARK((writes<&toCharsAndArray, UnicodeString, &isElsewhere>))
    ->Name("Formatter/integer to text/to_chars and widen into an array");
BENCHMARK(writesText<&sprintfAndWiden>)->Name("Formatter/integer to text/snprintf and widen");
BENCHMARK(writesText<&icuFormat>)->Name("Formatter/integer to text/ICU NumberFormat");

BENCHMARK(readsIntegers<&Formatter::stringToInt64>)->Name("Formatter/text to integer/KELINFRA");
BENCHMARK(readsIntegers<&digitLoop>)->Name("Formatter/text to integer/a bare digit loop");
BENCHMARK(readsIntegers<&trimAndSscanf>)->Name("Formatter/text to integer/trim, convert, sscanf");
BENCHMARK(readsIntegers<&icuParseInteger>)->Name("Formatter/text to integer/ICU NumberFormat");

BENCHMARK(readsDoubles<&oursWide>)->Name("Formatter/text to double/KELINFRA");
BENCHMARK(readsDoubles<&narrowAndFromChars>)->Name("Formatter/text to double/narrow and from_chars");
BENCHMARK(readsDoubles<&trimSetlocaleAndStrtod>)->Name("Formatter/text to double/trim, setlocale, strtod");
BENCHMARK(readsDoubles<&icuParseDouble>)->Name("Formatter/text to double/ICU NumberFormat");

BENCHMARK(readsNarrowDoubles<&oursNarrow>)->Name("Formatter/bytes to double/KELINFRA");
BENCHMARK(readsNarrowDoubles<&fromChars>)->Name("Formatter/bytes to double/from_chars");
BENCHMARK(readsNarrowDoubles<&strtodWhole>)->Name("Formatter/bytes to double/strtod");
BENCHMARK(readsNarrowDoubles<&strtodUnderSetlocale>)->Name("Formatter/bytes to double/setlocale and strtod");

}  // namespace
