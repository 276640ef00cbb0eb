#pragma once

#include <unicode/unistr.h>

#include <array>
#include <cstdint>
#include <string>

namespace tarvo::test {

/// A code page whose ICU converter sometimes reports a size that is too small if the buffer ends inside a
/// character, and a text with which this happens.
struct CutCharacters {
  const char* codePage;
  icu::UnicodeString piece;

  icu::UnicodeString times(int count) const {
    icu::UnicodeString text;
    for (; count > 0; --count) text.append(piece);
    return text;
  }
};

inline std::array<CutCharacters, 2> cutCharacters() {
  return {{{"LMBCS-1", u"\u01A6\u02CA\u018D\u01F0\u0375\u030D\u03B6"},
           {"ISCII,version=0", u"\u0965\u0964\u094E\u097A\u0927\u0978\u0934"}}};
}

/// All bytes of a text. The buffer is larger than needed, so that ICU reports the size correctly.
inline std::string allBytes(const icu::UnicodeString& text, const char* codePage) {
  std::string bytes(64 + 12 * static_cast<std::size_t>(text.length()), '\0');
  const std::int32_t size =
      text.extract(0, text.length(), bytes.data(), static_cast<std::uint32_t>(bytes.size()), codePage);
  bytes.resize(static_cast<std::size_t>(size));
  return bytes;
}

}  // namespace tarvo::test
