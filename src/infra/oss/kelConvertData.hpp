#pragma once

#include <cstdint>

namespace tarvo::oss {

/// A conversion of bytes from one code page to another.
struct ByteConversion {
  char* destination;      ///< null asks only for the size
  int destinationLength;  ///< bytes
  const char* fromCodePage;
  const char* data;
  std::int64_t length;  ///< of the data; below 1 the data is empty
  const char* toCodePage;
  bool text;         ///< the debug lines show the data
  bool terminating;  ///< sizes include a terminating NUL
};

/// The common part of the two overloads of Converter::convert for bytes. Both overloads set `terminating` to
/// true. If `terminating` is false and the data is copied unchanged, the destination needs room only for the
/// bytes, but a NUL is still stored after them: one byte after the end of a destination of exactly that
/// length.
int convertData(const ByteConversion& conversion);

}  // namespace tarvo::oss
