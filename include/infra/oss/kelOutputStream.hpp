#pragma once

#include "infra/kelExport.hpp"

#include <cstddef>

namespace tarvo::oss {

/// A destination for bytes. A subclass implements `write(char)`; the other overloads of `write` call
/// `write(char)` for each byte.
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
/// Errors: this class raises no errors. The other overloads do not catch an exception that `write(char)` of a
/// subclass throws; the characters before it stay written. Only one thread at a time may use a stream.
class KELINFRA_API OutputStream {
 public:
  virtual ~OutputStream();

  /// Calls `flush` and does nothing else: after `close` a program can still write to the stream and close it
  /// again.
  virtual void close();
  /// Does nothing in this class.
  virtual void flush();

  virtual void write(char c) = 0;
  /// Calls `write(char)` for each character of `s` before the terminator. If `s` is null, nothing is written.
  virtual void write(const char* s);
  /// Calls `write(char)` for `length` characters. *Only the first call of this overload in the process, on
  /// any stream, uses its `buffer` and `offset`*. Every later call, on any stream, ignores its own `buffer`
  /// and `offset` and starts at the address `buffer + offset` of the first call. The overload cannot change,
  /// because programs depend on this behaviour. Therefore always pass the same range to this overload, and
  /// keep the range readable as long as any code may call this overload. To write different ranges, call
  /// `write(char)` for each character.
  virtual void write(const char* buffer, std::size_t offset, std::size_t length);
};

}  // namespace tarvo::oss
