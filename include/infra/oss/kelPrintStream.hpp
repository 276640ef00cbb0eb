#pragma once

#include "infra/kelExport.hpp"

namespace tarvo::oss {

/// Prints to the standard error stream.
///
///     const int limit = 5;
///     ossOut << "retry " << 2 << " of " << limit << '\n';  // prints retry 2 of 5
///
/// Each insertion prints the same text as an insertion into `std::cerr`, with the formatting flags that
/// `std::cerr` has at that moment (decimal unless the program changed them), and returns the stream. The
/// three character types are printed as characters, and `bool` as 0 or 1. A `const char*` argument must be
/// NUL-terminated. A null `const char*` sets the error bit of `std::cerr`; then `std::cerr` prints nothing
/// until the program clears this bit. This class reports no errors.
///
/// Threads: the class takes no lock. Concurrent insertions interleave in the same way as concurrent
/// insertions into `std::cerr`.
class KELINFRA_API PrintStream {
 public:
  virtual ~PrintStream();

  PrintStream& operator<<(signed char value) KELINFRA_LIFETIMEBOUND;
  PrintStream& operator<<(char value) KELINFRA_LIFETIMEBOUND;
  PrintStream& operator<<(unsigned char value) KELINFRA_LIFETIMEBOUND;
  PrintStream& operator<<(short value) KELINFRA_LIFETIMEBOUND;
  PrintStream& operator<<(unsigned short value) KELINFRA_LIFETIMEBOUND;
  PrintStream& operator<<(int value) KELINFRA_LIFETIMEBOUND;
  PrintStream& operator<<(unsigned int value) KELINFRA_LIFETIMEBOUND;
  PrintStream& operator<<(long value) KELINFRA_LIFETIMEBOUND;
  PrintStream& operator<<(unsigned long value) KELINFRA_LIFETIMEBOUND;
  PrintStream& operator<<(long long value) KELINFRA_LIFETIMEBOUND;
  PrintStream& operator<<(unsigned long long value) KELINFRA_LIFETIMEBOUND;
  PrintStream& operator<<(float value) KELINFRA_LIFETIMEBOUND;
  PrintStream& operator<<(double value) KELINFRA_LIFETIMEBOUND;
  PrintStream& operator<<(const char* value) KELINFRA_LIFETIMEBOUND;
};

/// The stream of the process. A program may use the stream from the moment at which the library is loaded
/// until the process ends, also in static constructors and exit handlers.
extern KELINFRA_API PrintStream& ossOut;

}  // namespace tarvo::oss
