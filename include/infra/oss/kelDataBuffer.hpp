#pragma once

#include "infra/kelExport.hpp"

#include <unicode/unistr.h>

#include <array>
#include <cstddef>

namespace tarvo::oss {

/// The storage of a DataBuffer. The struct is a detail of `DataBuffer`, and programs must not use it.
///
///  bytes                                                                 size, if on the heap
///  |  no byte is 0  |  the rest of the text  |  old bytes  |  all 0        |  undefined  |
///  0             zeroFree                 length        written        capacity + 1
///
/// `zeroFree` is at most `written`, and `length` and `written` are at most `capacity`. If the text ends in
/// zero bytes, `written` is below `length`. If a text becomes shorter, the old bytes after its new end
/// remain.
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

/// A text builder: a NUL-terminated byte string. The object stores texts of up to 4096 bytes inside itself,
/// and longer texts on the heap.
///
///     DataBuffer line("id=");
///     line.appendNumber(4711);
///     line.appendString(u" straße ", "UTF-8");
///     line.appendBinary("\x0A\xFF", 2, true);
///     puts(line.getString());        // prints id=4711 straße X'0AFF'
///
/// A DataBuffer is for text, not for arbitrary bytes: a zero byte in the contents terminates the text for
/// every operation that computes a length. An insert moves only the bytes from the insert position up to the
/// next zero byte; the moved bytes overwrite the bytes that follow. If an append or insert needs a larger
/// block of memory, it copies three texts into the block, each only up to its first zero byte: the text
/// before the insert position, the added text, and the text after the insert position.
///
/// Heap storage may be up to four times larger than the text; `capacity` does not report the excess. For
/// blocks of 4 MiB or more the class asks the system for large memory pages.
///
/// Positions, counts, lengths and capacities are bytes. The argument of an append or insert may be the text
/// of the same buffer, or a part of this text: the result is the same as with a copy of the argument. Only
/// one thread at a time may use an object.
///
/// Memory: if there is no memory for a text, or if the buffer would need a capacity above the largest int, an
/// append or insert changes nothing and reports no error, but a constructor raises std::bad_alloc. ICU
/// allocates a converter when a thread uses a code page for the first time. If this allocation fails, the
/// member that converts the text raises std::bad_alloc.
///
/// Code pages are ICU converter names, NUL-terminated; null or "" is ICU's default converter. A character
/// that a code page does not contain becomes the substitution byte of the code page. If ICU does not know the
/// code page, a member adds nothing. Members that convert a text raise the following errors, with the file
/// name "kelDataBuffer.cpp"; after such an error the buffer is unchanged:
///   NLSException ERR_CONV_CONVERSION_ERROR (encoding, encoding): the encoding is exactly "UTF-16" or
///     "UTF-32", or it is null and the default converter has one of these names. The zero bytes of a text in
///     UTF-16 or UTF-32 would terminate the text
///   NLSException ERR_CONV_CONVERSION_ERROR ("UTF-16", encoding): the converted size is above the largest int
/// If the caller passes null or "" as the encoding, the argument `encoding` of the error is the name of the
/// default converter.
class KELINFRA_API DataBuffer {
 public:
  /// Creates an empty buffer with room for `size` bytes. If `size` is at most 4096 or negative, the
  /// constructor allocates nothing, because the object has room for 4096 bytes inside itself.
  explicit DataBuffer(int size);
  /// Creates a buffer with a copy of the text up to its terminator. A null pointer counts as an empty text.
  explicit DataBuffer(const char* text);
  /// Creates a buffer that holds the text in ICU's default code page.
  explicit DataBuffer(const icu::UnicodeString& text);
  /// Creates a buffer that holds the text in the code page `encoding`.
  DataBuffer(const icu::UnicodeString& text, const char* encoding);
  /// Copies the text and the length of `other`. The capacity of the copy is the capacity of `other`, but at
  /// least 4096. If the copy is on the heap, the constructor copies only the bytes up to the first zero byte,
  /// and sets the rest of the text to zero.
  DataBuffer(const DataBuffer& other);
  virtual ~DataBuffer();

  DataBuffer& operator=(const DataBuffer&) = delete;

  // --- ask

  /// Returns the text; never null. The pointer is valid until the buffer's next change. The caller may read
  /// all bytes up to `capacity()`: the bytes after the text are 0, except for old bytes that `clear(true)`
  /// kept.
  const char* getString() const KELINFRA_LIFETIMEBOUND;
  int length() const;
  /// Returns the capacity in bytes. While the text is inside the object, the capacity is 4096. If the program
  /// passed a size above 4096 to the constructor, the capacity is this size. After an append or insert that
  /// needed a larger block, the capacity is length + count + 4096, where `length` is the length of the old
  /// text and `count` the length of the added text.
  int capacity() const;

  /// Decodes the hexadecimal literal in the buffer, such as X'0aff', into bytes at `target`. The digits may
  /// be upper-case or lower-case.
  ///   target    room for `capacity` bytes, or null to ask only for the size
  ///   returns   the byte count
  ///   raises    NLSException ERR_DB_INVALID_BINARY_DATA (no arguments): the buffer does not hold such a
  ///             literal
  ///             NLSException ERR_BUFFER_SIZE_TOO_SMALL (capacity): fewer bytes than needed; none is written
  int decodeBinary(char* target, int capacity) const;

  // --- append

  /// Appends the text up to its terminator. If `text` is null, nothing changes.
  void appendString(const char* text);
  /// Appends the `count` bytes at `text`, including zero bytes. If `text` is null or `count` is below 1,
  /// nothing changes.
  void appendString(const char* text, int count);
  /// Appends the text in the code page `encoding`.
  void appendString(const icu::UnicodeString& text, const char* encoding);
  /// Appends `other.length()` bytes of `other`.
  void appendString(const DataBuffer& other);

  /// Each overload appends the number in decimal. The character types count as numbers too: the `unsigned
  /// char` 200 is appended as "200".
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
  /// Appends the number in fixed notation, with "." and six decimals in every locale. An infinity is appended
  /// as "inf" or "-inf", and a number that is not a number as "nan".
  void appendNumber(double value);

  /// Appends `count` bytes as a hexadecimal literal: X'0aff', or X'0AFF' if `upperCase` is true. If `data` is
  /// null or `count` is below 1, nothing changes.
  void appendBinary(const char* data, int count, bool upperCase);

  // --- insert: a position below 0 means 0, and a position above length() means length()

  /// Each overload inserts, at `position`, the text that `appendString` would append for the same arguments.
  /// The text from `position` on moves to the end of the inserted text.
  void insertString(int position, const char* text);
  void insertString(int position, const char* text, int count);
  void insertString(int position, const icu::UnicodeString& text, const char* encoding);
  void insertString(int position, const DataBuffer& other);

  // --- empty

  /// Sets the length to 0 and the capacity to 4096, and releases heap storage. If `keepContents` is true and
  /// the text is inside the object, `clear` sets only the first byte to zero. A later insert then also moves
  /// the old bytes from the insert position up to the first zero byte. If `keepContents` is false or the text
  /// is on the heap, `clear` sets all bytes to zero, which takes time proportional to the number of bytes
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
