#pragma once

#include <unicode/ucnv.h>
#include <unicode/unistr.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <unordered_map>

/// Conversion with ICU alone, as a program without KELINFRA does it. Each thread keeps its converters open.
namespace tarvo::benchmarks::service {

struct CloseConverter {
  void operator()(UConverter* converter) const { ucnv_close(converter); }
};

/// Raises std::runtime_error for an unknown code page.
inline UConverter* converterOf(const std::string& codePage) {
  thread_local std::unordered_map<std::string, std::unique_ptr<UConverter, CloseConverter>> converters;
  std::unique_ptr<UConverter, CloseConverter>& converter = converters[codePage];
  if (!converter) {
    UErrorCode status = U_ZERO_ERROR;
    converter.reset(ucnv_open(codePage.c_str(), &status));
    if (U_FAILURE(status)) throw std::runtime_error(u_errorName(status));
  }
  return converter.get();
}

inline icu::UnicodeString toUnicode(const std::string& bytes, const std::string& codePage) {
  UConverter* const converter = converterOf(codePage);
  icu::UnicodeString text;
  const auto length = static_cast<std::int32_t>(bytes.size());
  const std::int32_t room = 2 * length + 1;
  UErrorCode status = U_ZERO_ERROR;
  char16_t* const units = text.getBuffer(room);
  const std::int32_t count = ucnv_toUChars(converter, units, room, bytes.data(), length, &status);
  text.releaseBuffer(U_FAILURE(status) ? 0 : count);
  if (U_FAILURE(status)) throw std::runtime_error(u_errorName(status));
  return text;
}

}  // namespace tarvo::benchmarks::service
