#include "infra/oss/kelPrintStream.hpp"

#include "platform/kelRuntimeLocale.hpp"

// Because of this header, std::cerr is constructed before any static constructor of the library's users runs.
// No other source may include <iostream>, because each such source adds a static constructor that runs when
// the library is loaded.
#include <iostream>
#include <new>

namespace tarvo::oss {
namespace {

template <class Value>
PrintStream& print(PrintStream& stream, Value value) {
  std::cerr << value;
  return stream;
}

/// Prints a floating-point number. The standard library formats the number with the C runtime, so the locale
/// must not change during the call.
template <class Value>
PrintStream& printFloating(PrintStream& stream, Value value) {
  const platform::RuntimeLocaleLock locale;
  return print(stream, value);
}

alignas(PrintStream) unsigned char storage[sizeof(PrintStream)];

}  // namespace

// The stream is constructed when the library is loaded, after std::cerr and before any static constructor of
// the library's users. The stream is never destroyed, so exit handlers that run late can print.
PrintStream& ossOut = *new (storage) PrintStream;

PrintStream::~PrintStream() = default;

PrintStream& PrintStream::operator<<(signed char value) {
  return print(*this, value);
}

PrintStream& PrintStream::operator<<(char value) {
  return print(*this, value);
}

PrintStream& PrintStream::operator<<(unsigned char value) {
  return print(*this, value);
}

PrintStream& PrintStream::operator<<(short value) {
  return print(*this, value);
}

PrintStream& PrintStream::operator<<(unsigned short value) {
  return print(*this, value);
}

PrintStream& PrintStream::operator<<(int value) {
  return print(*this, value);
}

PrintStream& PrintStream::operator<<(unsigned int value) {
  return print(*this, value);
}

PrintStream& PrintStream::operator<<(long value) {
  return print(*this, value);
}

PrintStream& PrintStream::operator<<(unsigned long value) {
  return print(*this, value);
}

PrintStream& PrintStream::operator<<(long long value) {
  return print(*this, value);
}

PrintStream& PrintStream::operator<<(unsigned long long value) {
  return print(*this, value);
}

PrintStream& PrintStream::operator<<(float value) {
  return printFloating(*this, value);
}

PrintStream& PrintStream::operator<<(double value) {
  return printFloating(*this, value);
}

PrintStream& PrintStream::operator<<(const char* value) {
  return print(*this, value);
}

}  // namespace tarvo::oss
