#pragma once

#include "infra/kelExport.hpp"
#include "infra/oss/kelDataBuffer.hpp"

#include <unicode/unistr.h>

namespace tarvo::oss {

/// A text builder for UTF-8: a `DataBuffer` that converts to and from Unicode, compares and counts.
///
///     UTF8String name(u"Grüße");
///     name.appendString(", ");
///     name.insertString(0, u"» ");
///     name.numChars();                         // -> 9
///     name.length();                           // -> 12
///     name.compare("z");                       // -> -1
///
/// The text is UTF-8 by convention: bytes are stored unchecked, and of the members only `numChars` inspects
/// them. `UTF8Iterator` checks a text. Storage, growth, allocation failure and zero bytes in the text are as
/// in `DataBuffer`, and so are positions: byte offsets, which may split a character. One thread at a time.
///
/// Members that convert from Unicode raise, from "kelDataBuffer.cpp":
///   NLSException ERR_CONV_CONVERSION_ERROR ("UTF-16", "UTF-8"): the converted size is above the largest int
/// An append or insert then leaves the string unchanged, an assignment leaves it empty.
class KELINFRA_API UTF8String : public DataBuffer {
 public:
  /// Empty, with room for `size` bytes.
  explicit UTF8String(int size);
  /// A copy of the bytes up to the terminator; null is the empty text.
  explicit UTF8String(const char* text);
  /// The text in UTF-8; half of a surrogate pair becomes U+FFFD.
  explicit UTF8String(const icu::UnicodeString& text);
  /// Copies as `DataBuffer` does.
  UTF8String(const UTF8String& other);
  ~UTF8String() override;

  UTF8String& operator=(const UTF8String&) = delete;

  // --- ask

  /// The bytes, never null; valid until the next change.
  const char* getString() const KELINFRA_LIFETIMEBOUND;
  /// Appends the text, up to its terminator, to `text`, which keeps its contents; a bogus `text` becomes
  /// valid. Bytes that are not well-formed become U+FFFD. If the caller holds the buffer of `text` open
  /// (`getBuffer(minCapacity)`), `text` is not changed.
  ///   raises   std::bad_alloc: there is no memory. `text` is as it was, or bogus if it shared its units with
  ///            a copy.
  void getString(icu::UnicodeString& text) const;
  /// Converts the text, up to its terminator, into another code page.
  ///   target, capacity, codepage, returns   as in `Converter::convert`: a null target asks for the size
  ///   raises   as `Converter::convert`, from code page "UTF-8", from "kelConverter.cpp"
  int getString(char* target, int capacity, const char* codepage) const;

  /// Compares the argument with this string, by unsigned bytes up to the terminator, which is the order of
  /// code points. The direction is the reverse of the usual one: -1 if the argument comes before this
  /// string, 0 if they are equal, 1 if the argument comes after it. A null argument gives -1.
  signed char compare(const char* text) const;
  signed char compare(const UTF8String& other) const;

  /// The number of characters in all `length()` bytes. Only lead bytes are inspected: the bytes after a lead
  /// byte are skipped unchecked, so overlong forms, surrogates and a character that the end cuts short count
  /// as one each.
  ///   raises   NLSException ERR_MALFORMED_UTF8_STRING (no arguments): a character starts with 80 to BF or F8
  ///            to FF
  int numChars() const;

  // --- change

  /// Replace the contents, first emptied as by `clear(false)`: by Unicode text in UTF-8, or by bytes up to
  /// the terminator, unchecked; null is the empty text. The bytes may be the string's own. If there is no
  /// memory for a text above 4096 bytes, the string becomes empty and nothing is reported.
  ///   raises   std::bad_alloc: the bytes are the string's own, and there is no memory for a copy of them;
  ///            the string is unchanged
  UTF8String& operator=(const icu::UnicodeString& text) KELINFRA_LIFETIMEBOUND;
  UTF8String& operator=(const char* text) KELINFRA_LIFETIMEBOUND;

  /// Append bytes as `DataBuffer` does, Unicode text in UTF-8, and the other's text up to its terminator.
  void appendString(const char* text);
  void appendString(const char* text, int count);
  void appendString(const icu::UnicodeString& text);
  void appendString(const UTF8String& other);

  /// Insert the same at a byte position, which is clamped into [0, length()].
  void insertString(int position, const char* text);
  void insertString(int position, const char* text, int count);
  void insertString(int position, const icu::UnicodeString& text);
  void insertString(int position, const UTF8String& other);
};

}  // namespace tarvo::oss
