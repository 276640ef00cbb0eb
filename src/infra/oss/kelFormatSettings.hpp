#pragma once

#include <unicode/datefmt.h>
#include <unicode/locid.h>
#include <unicode/numfmt.h>

#include <memory>

namespace tarvo::oss {

/// How numbers and times are written for a locale. Empty until `Formatter::setSettings` has built it.
struct FormatSettings {
  icu::Locale locale;
  std::unique_ptr<icu::NumberFormat> number;
  std::unique_ptr<icu::DateFormat> date;
  std::unique_ptr<icu::DateFormat> time;
  std::unique_ptr<icu::DateFormat> dateAndTime;
};

/// The library's one record.
FormatSettings& formatSettings();

/// ICU's makers of formats, each with ICU's default style. They give null when ICU cannot make one.
struct FormatFactories {
  icu::NumberFormat* (*number)(const icu::Locale&);
  icu::DateFormat* (*date)(const icu::Locale&);
  icu::DateFormat* (*time)(const icu::Locale&);
  icu::DateFormat* (*dateAndTime)(const icu::Locale&);
};

/// Those in use: ICU's, unless a test has put others in their place.
extern constinit FormatFactories formatFactories;

}  // namespace tarvo::oss
