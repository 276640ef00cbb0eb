#pragma once

#include "infra/kelExport.hpp"

namespace tarvo::oss {

/// Prints to the standard error stream, for programs that have no stream of their own at hand.
///
///     const int limit = 5;
///     ossOut << "retry " << 2 << " of " << limit << '\n';  // prints retry 2 of 5
///
/// Each insertion is `std::cerr`'s own for the type, in its formatting state at that moment (decimal unless
/// someone changed it), and returns the stream. The three character types print as characters, `bool` as 0 or
/// 1. A `const char*` is NUL-terminated. A null one sets the error bit of `std::cerr`, which then prints
/// nothing until somebody clears the bit. This class reports no error.
///
/// Threads: no lock of its own; concurrent insertions interleave as those into `std::cerr` do.
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

/// The process-wide stream. It is there as soon as the library is loaded, for static constructors of the
/// programs and libraries that use it, too, and until the process ends, exit handlers included.
extern KELINFRA_API PrintStream& ossOut;

}  // namespace tarvo::oss
