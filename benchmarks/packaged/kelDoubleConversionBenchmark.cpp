#include "kelFormatterTasks.hpp"

#include <benchmark/benchmark.h>
#include <unicode/unistr.h>

#include <double-conversion/double-conversion.h>

#include <limits>
#include <string>

/// double-conversion, which also reads UTF-16, compared with Formatter.
namespace {

using namespace tarvo::benchmarks::formatter;

const double_conversion::StringToDoubleConverter& converter() {
  static const double_conversion::StringToDoubleConverter made(
      double_conversion::StringToDoubleConverter::ALLOW_LEADING_SPACES |
          double_conversion::StringToDoubleConverter::ALLOW_TRAILING_SPACES,
      0.0, std::numeric_limits<double>::quiet_NaN(), "inf", "nan");
  return made;
}

double readsUnits(const icu::UnicodeString& text) {
  int read = 0;
  return converter().StringToDouble(reinterpret_cast<const uc16*>(text.getBuffer()), text.length(), &read);
}

double readsBytes(const char* text) {
  int read = 0;
  return converter().StringToDouble(text, static_cast<int>(std::char_traits<char>::length(text)), &read);
}

BENCHMARK(readsDoubles<&readsUnits>)->Name("Formatter/text to double/double-conversion");
BENCHMARK(readsNarrowDoubles<&readsBytes>)->Name("Formatter/bytes to double/double-conversion");

}  // namespace
