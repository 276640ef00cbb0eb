#pragma once

#include "infra/kelExport.hpp"

#include <unicode/unistr.h>

#include <array>
#include <cstddef>

namespace tarvo::oss {

/// The storage of a DataBuffer. It is private to that class; a program has no use for it.
///
///  bytes                                                                 size, if on the heap
///  |  no byte is 0  |  the rest of the text  |  old bytes  |  all 0        |  undefined  |
///  0             zeroFree                 length        written        capacity + 1
///
/// `zeroFree` is at most `written`, and `length` and `written` are at most `capacity`. `written` is below
/// `length` if the text ends in zeros. Old bytes remain after a text that was shortened.
struct TextBlock {
  static constexpr int inlineCapacity = 4096;

  std::array<char, inlineCapacity + 1> inlineBytes{};  ///< all 0 while a heap block is in use
  char* bytes = inlineBytes.data();
  int capacity = inlineCapacity;
  int length = 0;
  int zeroFree = 0;
  int written = 0;       // not next to `length`: GCC would store both at once, and the next append would wait
  std::size_t size = 0;  ///< of the heap block; 0 without one
};

/// A text builder: a NUL-terminated byte string with 4096 bytes of room inside the object and heap storage
/// for longer texts.
///
///     DataBuffer line("id=");
///     line.appendNumber(4711);
///     line.appendString(u" straße ", "UTF-8");
///     line.appendBinary("\x0A\xFF", 2, true);
///     puts(line.getString());        // prints id=4711 straße X'0AFF'
///
/// It is for text, not for arbitrary bytes: a zero byte in the contents terminates the text for every
/// operation that computes a length. An insert moves only the bytes from its position up to the next zero
/// byte; they overwrite what follows. When the text moves to a larger block, the part before the position,
/// the added text and the part after the position are each cut at their first zero byte.
///
/// Heap storage may be up to four times larger than the text; `capacity` does not report the excess. For
/// blocks of 4 MiB or more the system is asked for large pages.
///
/// Positions, counts, lengths and capacities are bytes. A text to be added may be the buffer's own text or a
/// part of it; it is added as if it had been copied first. One thread at a time.
///
/// Memory: if there is no memory for a text, or if the buffer would need a capacity above the largest int, an
/// append or insert changes nothing and reports nothing; a constructor raises std::bad_alloc. ICU allocates a
/// converter when a thread first uses a code page; if it cannot, every member that converts raises
/// std::bad_alloc.
///
/// Code pages are ICU converter names, NUL-terminated; null or "" is ICU's default converter. A character
/// that a code page cannot hold becomes its substitution byte; if ICU does not know the code page, nothing is
/// added. Members that convert raise, from "kelDataBuffer.cpp", the buffer unchanged:
///   NLSException ERR_CONV_CONVERSION_ERROR (encoding, encoding): it is exactly "UTF-16" or "UTF-32", or null
///                                          while the default converter has one of these names; the zero
///                                          bytes of such a text would terminate it
///   NLSException ERR_CONV_CONVERSION_ERROR ("UTF-16", encoding): the converted size is above the largest int
/// If no encoding was given, `encoding` is the default converter's name.
class KELINFRA_API DataBuffer {
 public:
  /// Empty, with room for `size` bytes. If `size` is at most 4096, even negative, nothing is allocated: the
  /// room inside the object suffices.
  explicit DataBuffer(int size);
  /// A copy of the text up to its terminator; null is the empty text.
  explicit DataBuffer(const char* text);
  /// The text in ICU's default code page.
  explicit DataBuffer(const icu::UnicodeString& text);
  /// The text in the code page `encoding`.
  DataBuffer(const icu::UnicodeString& text, const char* encoding);
  /// A copy of text and length. The capacity is the other's if that is above 4096, else 4096. A copy on the
  /// heap takes only the bytes up to the first zero byte; the rest of its length is zeros.
  DataBuffer(const DataBuffer& other);
  virtual ~DataBuffer();

  DataBuffer& operator=(const DataBuffer&) = delete;

  // --- ask

  /// The text, never null; valid until the next change. The bytes up to `capacity()` may be read: those
  /// after the text are 0, except where `clear(true)` left older ones.
  const char* getString() const KELINFRA_LIFETIMEBOUND;
  int length() const;
  /// 4096 while the text is inside the object. If a constructor was given a larger size, it is that size.
  /// After an append or insert that did not fit it is length + count + 4096.
  int capacity() const;

  /// Decodes the literal X'0aff' that the buffer holds, digits of either case, into `target`.
  ///   target    room for `capacity` bytes, or null to ask only for the size
  ///   returns   the byte count
  ///   raises    NLSException ERR_DB_INVALID_BINARY_DATA (no arguments): the buffer holds anything else
  ///             NLSException ERR_BUFFER_SIZE_TOO_SMALL (capacity): fewer bytes than needed; none is written
  int decodeBinary(char* target, int capacity) const;

  // --- append

  /// Appends the text up to its terminator; null and empty texts change nothing.
  void appendString(const char* text);
  /// Appends `count` bytes, zero bytes included; `count` is not checked against the text's own length. A null
  /// text and a count below 1 change nothing.
  void appendString(const char* text, int count);
  /// Appends the text in the code page `encoding`.
  void appendString(const icu::UnicodeString& text, const char* encoding);
  /// Appends the other's bytes, as many as its length.
  void appendString(const DataBuffer& other);

  /// Append the number in decimal. Character types are numbers too: `unsigned char` 200 is "200".
  void appendNumber(unsigned char value);
  void appendNumber(unsigned short value);
  void appendNumber(unsigned int value);
  void appendNumber(unsigned long value);
  void appendNumber(unsigned long long value);
  void appendNumber(signed char value);
  void appendNumber(short value);
  void appendNumber(int value);
  void appendNumber(long value);
  void appendNumber(long long value);
  /// Appends fixed notation with a point and six decimals, whatever the locale; "inf", "-inf" or "nan".
  void appendNumber(double value);

  /// Appends `count` bytes as the literal X'0aff', or X'0AFF' in upper case. Null data and a count below 1
  /// change nothing.
  void appendBinary(const char* data, int count, bool upperCase);

  // --- insert: the position is clamped into [0, length()], nothing is overwritten

  /// Inserts what `appendString` appends for the same arguments.
  void insertString(int position, const char* text);
  void insertString(int position, const char* text, int count);
  void insertString(int position, const icu::UnicodeString& text, const char* encoding);
  void insertString(int position, const DataBuffer& other);

  // --- empty

  /// Length 0 and capacity 4096; heap storage is released. If `keepContents` is true and the text is inside
  /// the object, only the first byte is zeroed: a later insert moves those old bytes that follow its
  /// position, up to the first zero byte. Otherwise all bytes are 0; the time is proportional to the bytes
  /// that were written.
  void clear(bool keepContents);

 private:
  friend class UTF8String;

  KELINFRA_LOCAL bool insertConverted(int position, const icu::UnicodeString& text, const char* encoding);
  template <class Number>
  KELINFRA_LOCAL void insertNumber(Number value);
  template <class Integer>
  KELINFRA_LOCAL void appendInteger(Integer value);
  KELINFRA_LOCAL void clearAny(bool keepContents);

  TextBlock block_;
};

}  // namespace tarvo::oss
