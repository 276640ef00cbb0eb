#pragma once

#include "infra/kelExport.hpp"
#include "infra/oss/kelDefaultAlternateBuffer.hpp"

#include <unicode/unistr.h>

namespace tarvo::oss {

/// A growable byte array with an explicit length, for raw data that may contain zero bytes. A NUL follows the
/// last byte.
///
///     ByteBuffer payload(4096);
///     payload.append("key", 4);      // with its NUL
///     payload.append("value", 6);
///     payload.length();              // -> 10
///
/// Capacities are powers of two, from 4 to 2^30 bytes, and include the terminator. `clear` keeps the
/// capacity. A length is a number of bytes without the terminator. Only one thread at a time may use an
/// object. The argument of `append` or `set` may be a part of the buffer itself.
///
/// The class raises only std::bad_alloc: if there is no memory, if a sum of lengths overflows, or if a buffer
/// would need more than 2^30 bytes. After a failed `append` the buffer is unchanged. After a failed `set` or
/// `operator=` the buffer has no storage: `get()` returns null and the length is 0. A program can use a
/// buffer without storage again: the next change allocates storage.
class KELINFRA_API ByteBuffer {
 public:
  /// Creates an empty buffer with room for `size` bytes.
  explicit ByteBuffer(unsigned long long size);
  /// Creates a buffer with a copy of the `length` bytes at `data`, and a terminator. If `data` is null, the
  /// `length` bytes are uninitialised. No member changes single bytes: call `set` or `operator=` to replace
  /// uninitialised bytes before the program reads the buffer.
  ByteBuffer(const char* const data, unsigned long long length);
  /// Creates a buffer that holds `text` in the code page `codepage`, an ICU converter name; null means ICU's
  /// default converter. If the code page is unknown, the buffer is empty. The code page "" does not mean the
  /// default converter here. With "", the constructor converts only the characters that ICU calls invariant:
  /// ASCII without LF, !, #, $, @, [, \, ], ^, `, {, |, } and ~. Every other UTF-16 code unit becomes a zero
  /// byte.
  ByteBuffer(const icu::UnicodeString& text, const char* codepage);
  ByteBuffer(const ByteBuffer& other);
  virtual ~ByteBuffer();

  // --- ask --------------------------------------------------------------------------------------------

  /// Returns the bytes and their terminator, or null if the buffer has no storage. The pointer is valid until
  /// the buffer's next change.
  const char* get() const KELINFRA_LIFETIMEBOUND;
  /// Returns the number of bytes before the terminator.
  unsigned long long length() const;
  /// Returns the same as `length`.
  unsigned long long getSize() const;
  /// Returns the number of allocated bytes, including the terminator.
  unsigned long long capacity() const;
  /// Returns true if the buffer holds exactly the `length` bytes at `data`; false if `data` is null.
  bool compare(const char* const data, unsigned long long length) const;
  /// Returns true if `other` has storage and both buffers hold the same bytes. If `other` has no storage, the
  /// result is false, even if `other` is this buffer. If only this buffer has no storage, it counts as empty:
  /// the result is true if `other` is empty.
  bool operator==(const ByteBuffer& other) const;

  // --- change -----------------------------------------------------------------------------------------

  /// Appends a copy of the `length` bytes at `data`. If `data` is null or `length` is 0, nothing changes.
  void append(const char* const data, unsigned long long length);
  /// Replaces the contents by a copy of the `length` bytes at `data`; a length of 0 empties the buffer. If
  /// `data` is null, nothing changes.
  void set(const char* const data, unsigned long long length);
  /// Sets the length to 0 and keeps the capacity.
  void clear();
  /// Replaces the contents by a copy of the contents of `other`. If `other` is the buffer itself or has no
  /// storage, nothing changes.
  ByteBuffer& operator=(const ByteBuffer& other) KELINFRA_LIFETIMEBOUND;

 private:
  using Storage = DefaultAlternateBuffer<char>;

  KELINFRA_LOCAL void appendAny(const char* data, unsigned long long length);
  KELINFRA_LOCAL void assign(const char* data, unsigned long long length);

  Storage* storage_;
};

}  // namespace tarvo::oss
