#pragma once

#include <cstdint>

namespace tarvo::oss {

/// Bytes on their way from one code page to another.
struct ByteConversion {
  char* destination;      ///< null asks for the size alone
  int destinationLength;  ///< bytes
  const char* fromCodePage;
  const char* data;
  std::int64_t length;  ///< of the data; below 1 there is none
  const char* toCodePage;
  bool text;         ///< The debug lines show the data.
  bool terminating;  ///< Every size counts a terminating NUL.
};

/// What the two byte overloads of Converter::convert share; both set `terminating`, and results and errors
/// are theirs. Without it the destination of an unchanged copy needs room for the bytes alone, and yet a NUL
/// is stored behind them: one byte past a destination of exactly that length.
int convertData(const ByteConversion& conversion);

}  // namespace tarvo::oss
