#include "oss/kelFormatSettings.hpp"

namespace tarvo::oss {
namespace {

constexpr icu::DateFormat::EStyle style = icu::DateFormat::kDefault;

icu::NumberFormat* makeNumber(const icu::Locale& locale) {
  UErrorCode status = U_ZERO_ERROR;
  return icu::NumberFormat::createInstance(locale, status);
}

icu::DateFormat* makeDate(const icu::Locale& locale) {
  return icu::DateFormat::createDateInstance(style, locale);
}

icu::DateFormat* makeTime(const icu::Locale& locale) {
  return icu::DateFormat::createTimeInstance(style, locale);
}

icu::DateFormat* makeDateAndTime(const icu::Locale& locale) {
  return icu::DateFormat::createDateTimeInstance(style, style, locale);
}

}  // namespace

constinit FormatFactories formatFactories{&makeNumber, &makeDate, &makeTime, &makeDateAndTime};

FormatSettings& formatSettings() {
  static FormatSettings settings;
  return settings;
}

}  // namespace tarvo::oss
