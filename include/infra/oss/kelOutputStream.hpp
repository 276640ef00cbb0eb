#pragma once

#include "infra/kelExport.hpp"

#include <cstddef>

namespace tarvo::oss {

/// A destination for bytes. A subclass implements `write(char)`; the other members call it.
///
///     class CountingStream : public OutputStream {
///      public:
///       using OutputStream::write;             // else the other overloads are hidden
///       void write(char) override { ++count; }
///       std::size_t count = 0;
///     };
///     CountingStream stream;
///     stream.write("four");                    // stream.count -> 4
///
/// Errors: the class raises none. Errors of `write(char)` pass through the other members, and the characters
/// before it stay written. One stream is used by one thread at a time.
class KELINFRA_API OutputStream {
 public:
  virtual ~OutputStream();

  /// Calls `flush`, each time; the stream can be written to afterwards.
  virtual void close();
  /// Does nothing here.
  virtual void flush();

  virtual void write(char c) = 0;
  /// The characters of `s` without its terminator, one `write(char)` each. Null writes nothing.
  virtual void write(const char* s);
  /// Writes `length` characters, one `write(char)` each, *from the start of the first range that was ever
  /// given*: the first call in the process, on any stream, fixes the start at its buffer + offset. Every
  /// later call writes from there, whatever its buffer and offset. This is intended, because programs depend
  /// on it: always give the same range, and keep it readable as long as any code may call this member. For
  /// different ranges call `write(char)`.
  virtual void write(const char* buffer, std::size_t offset, std::size_t length);
};

}  // namespace tarvo::oss
