#pragma once

#include <unicode/locid.h>

namespace tarvo::test {

/// Sets another default locale of ICU until the end of the scope.
class DefaultLocale {
 public:
  explicit DefaultLocale(const char* name) : former_(icu::Locale::getDefault()) { set(icu::Locale(name)); }
  DefaultLocale(const DefaultLocale&) = delete;
  DefaultLocale& operator=(const DefaultLocale&) = delete;
  ~DefaultLocale() { set(former_); }

 private:
  static void set(const icu::Locale& locale) {
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale::setDefault(locale, status);
  }

  icu::Locale former_;
};

}  // namespace tarvo::test
