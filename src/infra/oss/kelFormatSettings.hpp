#pragma once

#include <unicode/datefmt.h>
#include <unicode/locid.h>
#include <unicode/numfmt.h>

#include <memory>

namespace tarvo::oss {

/// The formats of a locale for numbers and times. Empty until `Formatter::setSettings` builds it.
struct FormatSettings {
  icu::Locale locale;
  std::unique_ptr<icu::NumberFormat> number;
  std::unique_ptr<icu::DateFormat> date;
  std::unique_ptr<icu::DateFormat> time;
  std::unique_ptr<icu::DateFormat> dateAndTime;
};

/// The library's only record.
FormatSettings& formatSettings();

/// ICU's functions that create formats, each in ICU's default style. They return null if ICU cannot create
/// one.
struct FormatFactories {
  icu::NumberFormat* (*number)(const icu::Locale&);
  icu::DateFormat* (*date)(const icu::Locale&);
  icu::DateFormat* (*time)(const icu::Locale&);
  icu::DateFormat* (*dateAndTime)(const icu::Locale&);
};

/// The functions in use: ICU's, unless a test has replaced them.
extern constinit FormatFactories formatFactories;

}  // namespace tarvo::oss
