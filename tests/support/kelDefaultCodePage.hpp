#pragma once

#include <unicode/ucnv.h>
#include <unicode/unistr.h>

#include <memory>
#include <string>

namespace tarvo::test {

/// Converts `text` with ICU's default converter, through ICU's C interface. The default differs between
/// systems, and some builds of ICU do not allow to change it.
inline std::string inDefaultCodePage(const icu::UnicodeString& text) {
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<UConverter, void (*)(UConverter*)> converter(ucnv_open(nullptr, &status),
                                                                     &ucnv_close);
  std::string bytes(static_cast<std::size_t>(text.length()) * 8, '\0');
  const int count = ucnv_fromUChars(converter.get(), bytes.data(), static_cast<int>(bytes.size()),
                                    text.getBuffer(), text.length(), &status);
  bytes.resize(U_SUCCESS(status) ? static_cast<std::size_t>(count) : 0);
  return bytes;
}

}  // namespace tarvo::test
