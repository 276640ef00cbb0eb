#pragma once

#include "infra/kelExport.hpp"

namespace tarvo::oss {

/// Prints to the standard error stream.
///
///     const int limit = 5;
///     ossOut << "retry " << 2 << " of " << limit << '\n';  // prints retry 2 of 5
///
/// Each `<<` prints the same text as a `<<` to `std::cerr`, and returns the stream. The formatting flags of
/// `std::cerr` apply: numbers are decimal unless the program changed these flags. The three character types
/// are printed as characters, and `bool` as 0 or 1. A `const char*` argument must be NUL-terminated. A null
/// `const char*` sets the error bit of `std::cerr`; then `std::cerr` prints nothing until the program clears
/// this bit. This class reports no errors.
///
/// Threads: the class takes no lock. If several threads print at the same time, their texts can mix, as with
/// `std::cerr`.
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

/// The print stream of the process. A program may use `ossOut` from the moment at which the library is loaded
/// until the process ends, also in static constructors and exit handlers.
extern KELINFRA_API PrintStream& ossOut;

}  // namespace tarvo::oss
