#pragma once

#include "infra/oss/kelOutputStream.hpp"

#include "util/kelPropertiesText.hpp"

#include <unicode/unistr.h>

#include <string>
#include <utility>

/// Functions that write keys and values as bytes that the reader reads back unchanged.
namespace tarvo::util {

class StringStream : public oss::OutputStream {
 public:
  using oss::OutputStream::write;
  void write(char c) override { bytes += c; }

  std::string bytes;
};

inline std::string writtenKey(const icu::UnicodeString& key) {
  StringStream out;
  PropertiesWriter(out).writeKey(key);
  return std::move(out.bytes);
}

/// Writes a value. Unlike `save`, this function keeps a SPACE at the start of the value.
inline std::string writtenValue(const icu::UnicodeString& value) {
  StringStream out;
  if (value.startsWith(u" ", 1)) out.write('\\');
  PropertiesWriter(out).writeValue(value);
  return std::move(out.bytes);
}

/// Writes the text of a comment without line ends.
inline std::string writtenComment(const icu::UnicodeString& text) {
  StringStream out;
  PropertiesWriter(out).writeComment(text);
  return std::move(out.bytes);
}

}  // namespace tarvo::util
