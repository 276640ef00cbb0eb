#pragma once

/// The examples of headers and docs need not include the headers that are included here. The rest of this
/// file is used by the source that snippets.py writes, which fills `examples`.
#include <unicode/unistr.h>

#include <cstdint>
#include <cstdio>
#include <iostream>
#include <string>
#include <type_traits>
#include <vector>

// A source without any of the library's headers compiles, too.
namespace tarvo::oss {}
namespace tarvo::util {}

namespace snippets {

struct Example {
  const char* place;  // null: it is not run
  void (*run)();
};

extern const std::vector<Example> examples;

inline std::string rendered(const char* text) {
  return '"' + std::string(text) + '"';
}
inline std::string rendered(const std::string& text) {
  return rendered(text.c_str());
}
inline std::string rendered(const icu::UnicodeString& text) {
  std::string bytes;
  return rendered(text.toUTF8String(bytes));
}

template <class Value>
std::string rendered(const Value& value) {
  if constexpr (std::is_same_v<Value, bool>) {
    return value ? "true" : "false";
  } else if constexpr (std::is_floating_point_v<Value>) {
    char digits[32];
    std::snprintf(digits, sizeof digits, "%g", static_cast<double>(value));
    return digits;
  } else if constexpr (std::is_integral_v<Value>) {
    return std::to_string(value);
  } else {
    std::string list;
    for (const auto& element : value) list += (list.empty() ? "" : ", ") + rendered(element);
    return list;
  }
}

/// Prints the value of the line's example.
template <class Value>
void shows(int line, const Value& value) {
  std::printf("\x1F%d %s\x1F\n", line, rendered(value).c_str());
}

}  // namespace snippets
