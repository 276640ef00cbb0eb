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

/// `convertData` is the common part of the two overloads of Converter::convert for bytes. These overloads set
/// `terminating` to true. If `terminating` is false and the data is copied unchanged, the function requires
/// room only for the bytes, but stores a NUL after them. If the destination has exactly the size of the
/// bytes, the NUL is written to the byte after the destination.
int convertData(const ByteConversion& conversion);

}  // namespace tarvo::oss
