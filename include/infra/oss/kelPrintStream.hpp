#pragma once

#include "infra/kelExport.hpp"

namespace tarvo::oss {

/// Prints to the standard error stream, for programs that have no other stream at hand.
///
///     const int limit = 5;
///     ossOut << "retry " << 2 << " of " << limit << '\n';  // prints retry 2 of 5
///
/// Each insertion prints as the same insertion into `std::cerr` does, in the formatting state that
/// `std::cerr` has at that moment (decimal unless the program changed it), and returns the stream. The three
/// character types print as characters, `bool` as 0 or 1. A `const char*` is NUL-terminated. A null one sets
/// the error bit of `std::cerr`, which then prints nothing until the program clears the bit. This class
/// reports no error.
///
/// Threads: the class takes no lock; concurrent insertions interleave as those into `std::cerr` do.
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

/// The process-wide stream. It can be used as soon as the library is loaded, also by static constructors of
/// the programs and libraries that use it, and until the process ends, exit handlers included.
extern KELINFRA_API PrintStream& ossOut;

}  // namespace tarvo::oss
