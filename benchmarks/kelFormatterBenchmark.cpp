#include "infra/oss/kelFormatter.hpp"

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
#include <random>
#include <string>
#include <type_traits>
#include <vector>

/// Numbers as UTF-16 text and back, beside the standard library with a widening or narrowing step, the C
/// library with the copies and switches that strictness asks for, and ICU. Every rival first has to give the
/// same answers.
namespace {

using icu::UnicodeString;
using tarvo::oss::Formatter;

constexpr std::size_t numbers = 1024;

// --- the numbers

/// All magnitudes alike, of either sign.
std::vector<std::int64_t> integers() {
  std::mt19937_64 engine(34);
  std::vector<std::int64_t> values(numbers);
  for (std::int64_t& value : values) value = static_cast<std::int64_t>(engine()) >> (engine() % 63U);
  return values;
}

/// As people and programs write them: some with a few decimals, some with all their digits.
std::vector<double> doubles() {
  std::mt19937_64 engine(34);
  std::vector<double> values(numbers);
  for (double& value : values) {
    value = static_cast<double>(engine() % 100'000'000U) / (engine() % 2 == 0 ? 100.0 : 7.0);
  }
  return values;
}

std::vector<std::string> textsOf(const std::vector<double>& values) {
  std::vector<std::string> texts;
  for (const double value : values) {
    char text[32];
    texts.emplace_back(text, std::to_chars(text, text + sizeof text, value, std::chars_format::fixed).ptr);
  }
  return texts;
}

std::vector<UnicodeString> wide(const std::vector<std::string>& texts) {
  std::vector<UnicodeString> result;
  result.reserve(texts.size());
  for (const std::string& text : texts) result.push_back(UnicodeString::fromUTF8(text));
  return result;
}

std::vector<UnicodeString> textsOf(const std::vector<std::int64_t>& values) {
  std::vector<std::string> texts;
  texts.reserve(values.size());
  for (const std::int64_t value : values) texts.push_back(std::to_string(value));
  return wide(texts);
}

// --- integers to text

void widen(UnicodeString& out, const char* text, const char* end) {
  char16_t units[32];
  out.setTo(units, static_cast<std::int32_t>(std::copy(text, end, units) - units));
}

void toCharsAndWiden(UnicodeString& out, std::int64_t value) {
  char text[24];
  widen(out, text, std::to_chars(text, text + sizeof text, value).ptr);
}

/// Less than was asked for: an array instead of the text.
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

template <auto convert>
void writes(benchmark::State& state) {
  const std::vector<std::int64_t> values = integers();
  const std::vector<UnicodeString> expected = textsOf(values);
  UnicodeString out;
  for (std::size_t i = 0; i < numbers; ++i) {
    convert(out, values[i]);
    if (out != expected[i] && convert != &toCharsAndArray) return state.SkipWithError("writes differently");
  }
  std::size_t i = 0;
  while (state.KeepRunning()) {
    convert(out, values[i++ % numbers]);
    benchmark::DoNotOptimize(out);
  }
}

// --- text to numbers

/// Checks nothing: what any parse costs at least.
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
  // NOLINTNEXTLINE(cert-err34-c): a range check is just what is not wanted
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
  // NOLINTBEGIN(concurrency-mt-unsafe): there is one thread, and no other switch on every platform
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

template <auto convert, class Text, class Value>
void reads(benchmark::State& state, const std::vector<Text>& texts, const std::vector<Value>& values) {
  const auto read = [&](std::size_t i) {
    if constexpr (std::is_same_v<Text, std::string>)
      return convert(texts[i].c_str());
    else
      return convert(texts[i]);
  };
  for (std::size_t i = 0; i < numbers; ++i) {
    if (read(i) != values[i]) return state.SkipWithError("reads differently");
  }
  std::size_t i = 0;
  while (state.KeepRunning()) benchmark::DoNotOptimize(read(i++ % numbers));
}

template <auto convert>
void readsIntegers(benchmark::State& state) {
  reads<convert>(state, textsOf(integers()), integers());
}
template <auto convert>
void readsDoubles(benchmark::State& state) {
  reads<convert>(state, wide(textsOf(doubles())), doubles());
}
template <auto convert>
void readsNarrowDoubles(benchmark::State& state) {
  reads<convert>(state, textsOf(doubles()), doubles());
}

double oursWide(const UnicodeString& text) {
  return Formatter::stringToDouble(text);
}
double oursNarrow(const char* text) {
  return Formatter::stringToDouble(text);
}

BENCHMARK(writes<&Formatter::int64ToString>)->Name("Formatter/integer to text/KELINFRA");
BENCHMARK(writes<&toCharsAndWiden>)->Name("Formatter/integer to text/to_chars and widen");
BENCHMARK(writes<&toCharsAndArray>)->Name("Formatter/integer to text/to_chars and widen into an array");
BENCHMARK(writes<&sprintfAndWiden>)->Name("Formatter/integer to text/snprintf and widen");
BENCHMARK(writes<&icuFormat>)->Name("Formatter/integer to text/ICU NumberFormat");

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
