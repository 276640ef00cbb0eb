#pragma once

#include "infra/kelExport.hpp"
#include "infra/oss/kelDataBuffer.hpp"

#include <unicode/unistr.h>

namespace tarvo::oss {

/// A text builder for UTF-8: a `DataBuffer` that also converts to and from Unicode text, compares texts and
/// counts characters.
///
///     UTF8String name(u"Grüße");
///     name.appendString(", ");
///     name.insertString(0, u"» ");
///     name.numChars();                         // -> 9
///     name.length();                           // -> 12
///     name.compare("z");                       // -> -1
///
/// The text is UTF-8 by convention: bytes are stored without a check. To check a text, use `UTF8Iterator`.
/// Storage, growth, allocation failures and zero bytes in the text have the same rules as in `DataBuffer`.
/// Positions are byte offsets and may be inside a character. Only one thread at a time may use an object.
///
/// Members that convert Unicode text to UTF-8 raise this error, from "kelDataBuffer.cpp":
///   NLSException ERR_CONV_CONVERSION_ERROR ("UTF-16", "UTF-8"): the converted size is above the largest int
/// If an append or insert raises this error, the string is unchanged; if an assignment raises this error, the
/// string is empty.
class KELINFRA_API UTF8String : public DataBuffer {
 public:
  /// Creates an empty string with room for `size` bytes.
  explicit UTF8String(int size);
  /// Creates a string with a copy of the bytes up to the terminator. A null pointer counts as an empty text.
  explicit UTF8String(const char* text);
  /// Creates a string that holds the text in UTF-8; an unpaired surrogate becomes U+FFFD.
  explicit UTF8String(const icu::UnicodeString& text);
  /// Copies as `DataBuffer` does.
  UTF8String(const UTF8String& other);
  ~UTF8String() override;

  UTF8String& operator=(const UTF8String&) = delete;

  // --- ask

  /// Returns the bytes; never null. The pointer is valid until the string's next change.
  const char* getString() const KELINFRA_LIFETIMEBOUND;
  /// Appends this string, up to its terminator, to `text`; a bogus `text` becomes valid. Bytes that are not
  /// well-formed UTF-8 become U+FFFD. If the caller has called `text.getBuffer(minCapacity)` and not yet
  /// `releaseBuffer`, `text` does not change.
  ///   raises   std::bad_alloc: there is no memory. `text` is then unchanged, or bogus if it shared its units
  ///            with a copy.
  void getString(icu::UnicodeString& text) const;
  /// Converts this string, up to its terminator, into another code page.
  ///   target, capacity, codepage, returns   as in `Converter::convert`; if the target is null, only the size
  ///                                         is returned
  ///   raises   as `Converter::convert`, from code page "UTF-8", from "kelConverter.cpp"
  int getString(char* target, int capacity, const char* codepage) const;

  /// Compares the argument with this string, by unsigned bytes up to the terminator. In UTF-8, the order of
  /// unsigned bytes is also the order of code points. The result is -1 if the argument comes before this
  /// string, 0 if both are equal, and 1 if the argument comes after this string. The sign of the result is
  /// the reverse of the sign of strcmp(this, argument). For a null argument the result is -1.
  signed char compare(const char* text) const;
  signed char compare(const UTF8String& other) const;

  /// Returns the number of characters in all `length()` bytes. `numChars` inspects only the first byte of
  /// each character and skips the bytes that should follow. Therefore an overlong form, a surrogate and an
  /// incomplete character at the end each count as one character.
  ///   raises   NLSException ERR_MALFORMED_UTF8_STRING (no arguments): a character starts with 80 to BF or F8
  ///            to FF
  int numChars() const;

  // --- change

  /// Each overload clears the string as `clear(false)` does, and then stores the text: Unicode text is
  /// converted to UTF-8, and bytes are copied up to the terminator without a check. A null pointer counts as
  /// an empty text. The bytes may be a part of this string. If there is no memory for a text above 4096
  /// bytes, the string becomes empty and no error is raised.
  ///   raises   std::bad_alloc: the bytes are a part of this string, and there is no memory for a copy of
  ///            them; the string is unchanged
  UTF8String& operator=(const icu::UnicodeString& text) KELINFRA_LIFETIMEBOUND;
  UTF8String& operator=(const char* text) KELINFRA_LIFETIMEBOUND;

  /// The overloads with `const char*` append bytes as `DataBuffer` does. The overload with Unicode text
  /// appends the text in UTF-8. The overload with `other` appends the text of `other` up to its terminator.
  void appendString(const char* text);
  void appendString(const char* text, int count);
  void appendString(const icu::UnicodeString& text);
  void appendString(const UTF8String& other);

  /// The overloads of `insertString` insert, at a byte position, the text that `appendString` would append
  /// for the same arguments. A position below 0 means 0, and a position above length() means length().
  void insertString(int position, const char* text);
  void insertString(int position, const char* text, int count);
  void insertString(int position, const icu::UnicodeString& text);
  void insertString(int position, const UTF8String& other);
};

}  // namespace tarvo::oss
