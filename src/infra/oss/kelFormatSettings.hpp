#pragma once

#include <unicode/datefmt.h>
#include <unicode/locid.h>
#include <unicode/numfmt.h>

#include <memory>

namespace tarvo::oss {

/// The formats of a locale for numbers and times. The record is empty until `Formatter::setSettings` fills
/// it.
struct FormatSettings {
  icu::Locale locale;
  std::unique_ptr<icu::NumberFormat> number;
  std::unique_ptr<icu::DateFormat> date;
  std::unique_ptr<icu::DateFormat> time;
  std::unique_ptr<icu::DateFormat> dateAndTime;
};

/// Returns the record. The process has only one record.
FormatSettings& formatSettings();

/// The ICU functions that create formats, each in ICU's default style. A function returns null if ICU cannot
/// create the format.
struct FormatFactories {
  icu::NumberFormat* (*number)(const icu::Locale&);
  icu::DateFormat* (*date)(const icu::Locale&);
  icu::DateFormat* (*time)(const icu::Locale&);
  icu::DateFormat* (*dateAndTime)(const icu::Locale&);
};

/// The functions that the library calls to create formats: ICU's functions, unless a test has replaced them.
extern constinit FormatFactories formatFactories;

}  // namespace tarvo::oss
