#pragma once

#include "infra/kelExport.hpp"
#include "infra/oss/kelDefaultAlternateBuffer.hpp"

#include <unicode/unistr.h>

namespace tarvo::oss {

/// A growable byte array with an explicit length, for raw data that may hold zeros. A NUL follows the last
/// byte.
///
///     ByteBuffer payload(4096);
///     payload.append("key", 4);      // with its NUL
///     payload.append("value", 6);
///     payload.length();              // -> 10
///
/// Capacities are powers of two, from 4 to 2^30, terminator included; `clear` and `set` keep the capacity.
/// Lengths are bytes. One thread at a time. Source ranges may lie in the buffer itself.
///
/// The only failure is std::bad_alloc: there is no memory, a sum of lengths wraps, or more than 2^30 bytes
/// are needed. `append` then leaves the buffer as it was; `set` and `operator=` leave it empty and without
/// storage (`get()` null, length 0). A buffer without storage can be used again.
class KELINFRA_API ByteBuffer {
 public:
  /// An empty buffer with room for `size` bytes.
  explicit ByteBuffer(unsigned long long size);
  /// A buffer of `length` bytes copied from `data`. If `data` is null, the `length` bytes are uninitialised
  /// and no member can fill them in place: replace them by `set` or `operator=` before anything reads them.
  /// The terminator is written.
  ByteBuffer(const char* const data, unsigned long long length);
  /// The text in the code page `codepage`, an ICU converter name; null is ICU's default converter. Empty when
  /// the code page is unknown. "" is not the default converter here: it keeps the characters that ICU calls
  /// invariant (ASCII without LF, !, #, $, @, [, \, ], ^, `, {, |, } and ~) and replaces each other UTF-16
  /// code unit by a byte 0.
  ByteBuffer(const icu::UnicodeString& text, const char* codepage);
  ByteBuffer(const ByteBuffer& other);
  virtual ~ByteBuffer();

  // --- ask --------------------------------------------------------------------------------------------

  /// The bytes and their terminator; null without storage. Valid until the next change.
  const char* get() const KELINFRA_LIFETIMEBOUND;
  /// Bytes before the terminator.
  unsigned long long length() const;
  /// The same as `length`.
  unsigned long long getSize() const;
  /// The number of bytes allocated, including the terminator.
  unsigned long long capacity() const;
  /// Whether the buffer holds exactly these bytes; false for null.
  bool compare(const char* const data, unsigned long long length) const;
  /// Whether `other` has storage and both hold the same bytes. Therefore no buffer equals an `other` without
  /// storage, not even `other` itself; but a buffer without storage equals an empty `other` that has storage.
  bool operator==(const ByteBuffer& other) const;

  // --- change -----------------------------------------------------------------------------------------

  /// Appends a copy of `length` bytes. Null data or a length of 0 changes nothing.
  void append(const char* const data, unsigned long long length);
  /// Replaces the contents. Null data changes nothing; a length of 0 empties the buffer.
  void set(const char* const data, unsigned long long length);
  /// Length 0; the capacity stays.
  void clear();
  /// Replaces the contents by the other's. Assigning a buffer to itself, or one without storage, changes
  /// nothing.
  ByteBuffer& operator=(const ByteBuffer& other) KELINFRA_LIFETIMEBOUND;

 private:
  using Storage = DefaultAlternateBuffer<char>;

  KELINFRA_LOCAL void appendAny(const char* data, unsigned long long length);
  KELINFRA_LOCAL void assign(const char* data, unsigned long long length);

  Storage* storage_;
};

}  // namespace tarvo::oss
