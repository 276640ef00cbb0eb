#pragma once

#include <unicode/ucnv.h>

#include <cstddef>
#include <cstdint>

namespace tarvo::text {

/// The result of a codec that has not converted the text. ICU has to convert the text instead.
constexpr int icuHasTo = -1;

/// A converter for a code page that the library converts without ICU: the table of a single-byte code page
/// (kelSingleByteTable.hpp), UTF-8 (kelUTF8Conversion.hpp), and UTF-16 in either byte order without byte
/// order marks (kelUTF16.hpp). If a codec converts a text, the result is the same as the result of ICU. The
/// codec leaves all other texts to ICU. Codecs exist as long as the process; any thread may use them.
class Codec {
 public:
  enum class Kind : std::uint8_t { singleBytes, utf8, utf16, swappedUtf16 };

  constexpr explicit Codec(Kind kind) : kind_(kind) {}
  Codec(const Codec&) = delete;
  Codec& operator=(const Codec&) = delete;

  Kind kind() const { return kind_; }

  /// Converts bytes to UTF-16 and returns the number of units, or `icuHasTo`. Writes at most one unit for
  /// each byte. If the kind of the codec is `singleBytes`, the address of the units may be unaligned.
  virtual std::ptrdiff_t toUnits(const char* bytes, std::size_t count, void* units) const = 0;

  /// Converts UTF-16 to bytes and writes the first `room` bytes of the result; the last character may be
  /// incomplete. Returns the size of the whole result, or `icuHasTo`. Even if the function returns
  /// `icuHasTo`, the bytes that it has written are the beginning of ICU's result. `converter` is the ICU
  /// converter for the code page.
  virtual std::int64_t toBytes(const char16_t* units, std::size_t count, char* bytes, std::size_t room,
                               UConverter* converter) const = 0;

 protected:
  ~Codec() = default;

 private:
  Kind kind_;
};

}  // namespace tarvo::text
