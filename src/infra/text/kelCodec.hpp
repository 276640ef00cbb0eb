#pragma once

#include <unicode/ucnv.h>

#include <cstddef>
#include <cstdint>

namespace tarvo::text {

/// The result of a conversion that is left to ICU.
constexpr int icuHasTo = -1;

/// A code page that is converted without ICU: the table of a single-byte code page (kelSingleByteTable.hpp),
/// UTF-8 (kelUTF8Conversion.hpp), and UTF-16 in either byte order without byte order marks
/// (kelUTF16.hpp). Each gives ICU's result for the texts that it converts, and leaves the others to ICU.
/// Codecs live as long as the process; any thread may use them.
class Codec {
 public:
  enum class Kind : std::uint8_t { singleBytes, utf8, utf16, swappedUtf16 };

  constexpr explicit Codec(Kind kind) : kind_(kind) {}
  Codec(const Codec&) = delete;
  Codec& operator=(const Codec&) = delete;

  Kind kind() const { return kind_; }

  /// Writes the units of a text, at most one for each byte, and returns their number or `icuHasTo`. If the
  /// kind is `singleBytes`, the units may be at any address.
  virtual std::ptrdiff_t toUnits(const char* bytes, std::size_t count, void* units) const = 0;

  /// Writes the first `room` bytes of a text; the last character may be cut. Returns the size of the whole
  /// text, or `icuHasTo`: the bytes written then are the beginning of ICU's result. `converter` is the
  /// converter of the code page.
  virtual std::int64_t toBytes(const char16_t* units, std::size_t count, char* bytes, std::size_t room,
                               UConverter* converter) const = 0;

 protected:
  ~Codec() = default;

 private:
  Kind kind_;
};

}  // namespace tarvo::text
