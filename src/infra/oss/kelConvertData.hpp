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

/// The common part of the two byte overloads of Converter::convert; both set `terminating` and return its
/// results and errors. Without `terminating` the destination of an unchanged copy needs room only for the
/// bytes, but a NUL is stored after them: one byte past a destination of exactly that length.
int convertData(const ByteConversion& conversion);

}  // namespace tarvo::oss
