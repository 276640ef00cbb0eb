#pragma once

#include "infra/kelExport.hpp"

#include <cstddef>

namespace tarvo::oss {

/// A destination for bytes. A subclass implements `write(char)`; the other overloads of `write` call it for
/// each byte.
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
/// Errors: this class raises no errors. If `write(char)` of a subclass throws, the exception leaves the other
/// overloads too, and the characters written before stay written. One stream is used by one thread at a time.
class KELINFRA_API OutputStream {
 public:
  virtual ~OutputStream();

  /// Calls `flush` and does nothing else: the stream can still be written to and closed again.
  virtual void close();
  /// Does nothing in this class.
  virtual void flush();

  virtual void write(char c) = 0;
  /// Calls `write(char)` for each character of `s` before the terminator. Null writes nothing.
  virtual void write(const char* s);
  /// Calls `write(char)` for `length` characters. *Only the first call in the process uses its `buffer` and
  /// `offset`*, on whatever stream it is. Every later call ignores them and starts at the address
  /// `buffer + offset` of that first call. This behaviour is frozen because programs depend on it. Therefore
  /// always pass the same range, and keep it readable as long as any code may call this member. For different
  /// ranges call `write(char)`.
  virtual void write(const char* buffer, std::size_t offset, std::size_t length);
};

}  // namespace tarvo::oss
