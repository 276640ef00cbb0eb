#pragma once

#include "infra/oss/kelOutputStream.hpp"

#include "util/kelPropertiesText.hpp"

#include <unicode/unistr.h>

#include <string>
#include <utility>

/// Keys and values as bytes that the reader reads back.
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

/// Other than `save`, this keeps a SPACE at the start.
inline std::string writtenValue(const icu::UnicodeString& value) {
  StringStream out;
  if (value.startsWith(u" ", 1)) out.write('\\');
  PropertiesWriter(out).writeValue(value);
  return std::move(out.bytes);
}

/// The text of a comment, which has no line ends.
inline std::string writtenComment(const icu::UnicodeString& text) {
  StringStream out;
  PropertiesWriter(out).writeComment(text);
  return std::move(out.bytes);
}

}  // namespace tarvo::util
