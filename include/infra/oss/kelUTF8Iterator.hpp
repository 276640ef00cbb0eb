#pragma once

#include "infra/kelExport.hpp"
#include "infra/oss/kelUTF8String.hpp"

#include <unicode/unistr.h>

#include <array>
#include <cstddef>
#include <cstdint>

namespace tarvo::oss {

/// Iterates over the characters of a UTF-8 text.
///
///     UTF8Iterator characters("Gr\xC3\xBC\xC3\x9F");
///     while (characters.hasMoreChars()) puts(characters.getNextChar());       // prints G r ü ß
///
/// An iterator takes one text in its lifetime, and copies this text. If the text has at most 4096 bytes, the
/// copy is inside the object. The constructor checks the whole text. The text must be well-formed UTF-8 by
/// the Unicode Standard: it must not contain overlong forms, surrogates, characters above U+10FFFF or
/// incomplete characters. The size of the object is about 6 KiB. Only one thread at a time may use an object.
///
/// If there is no memory for the copy, or if the text is longer than the largest int, the iterator holds no
/// text: no error is raised, and `isEmpty` returns true. An iterator over an empty string is different: it
/// holds a text of length 0. A member raises std::bad_alloc only if ICU has no memory when a thread converts
/// Unicode text for the first time.
class KELINFRA_API UTF8Iterator {
 public:
  /// Each constructor takes the text up to its terminator. The constructor for Unicode text converts the text
  /// to UTF-8 up to its first U+0000; an unpaired surrogate becomes U+FFFD. A null pointer counts as an empty
  /// text.
  ///   raises   NLSException ERR_MALFORMED_UTF8_STRING (no arguments): the text is not well-formed
  ///            NLSException ERR_CONV_CONVERSION_ERROR ("UTF-16", "UTF-8"): the Unicode text's size is above
  ///            the largest int
  explicit UTF8Iterator(const char* text);
  explicit UTF8Iterator(const icu::UnicodeString& text);
  explicit UTF8Iterator(const UTF8String& text);
  UTF8Iterator(const UTF8Iterator&) = delete;
  UTF8Iterator& operator=(const UTF8Iterator&) = delete;
  ~UTF8Iterator();

  // --- ask

  /// Returns true if the iterator holds no text, and false if it holds an empty text. To find out whether
  /// there are more characters, call `hasMoreChars`.
  bool isEmpty() const;
  bool hasMoreChars() const;
  /// Returns the iterator's copy of the text, or null if the iterator holds no text. The pointer is valid as
  /// long as the iterator exists.
  const char* getString() const KELINFRA_LIFETIMEBOUND;
  /// Returns the number of bytes.
  int length() const;
  /// Returns the number of characters.
  int numChars() const;

  // --- iterate

  /// `getFirstChar` returns the first character, and `getNextChar` the character at the cursor, as 1 to 4
  /// bytes and a NUL. `getFirstChar` and `getNextChar` move the cursor to the character after the returned
  /// character. If there is no character to return, the result is null. The returned pointer is valid until
  /// the next call of `getFirstChar` or `getNextChar`.
  const char* getFirstChar() KELINFRA_LIFETIMEBOUND;
  const char* getNextChar() KELINFRA_LIFETIMEBOUND;

  // --- change

  /// If the iterator holds no text, takes a text as the constructor does, and returns true. If the iterator
  /// already holds a text, even an empty text, or if there is no memory, returns false and changes nothing.
  ///   raises   as the constructor; the iterator does not change
  bool takeText(const char* text);

 private:
  static constexpr std::size_t inlineCapacity = 4096;
  static constexpr std::size_t inlineSize = inlineCapacity + 24;  // reads go this far past the end

  static constexpr int charactersAtOnce = 256;
  static constexpr int charactersAtFirst = 64;

  KELINFRA_LOCAL void takeConverted(const icu::UnicodeString& text);
  KELINFRA_LOCAL char* roomFor(std::size_t length);
  KELINFRA_LOCAL void giveBack(char* copy, std::size_t length);
  KELINFRA_LOCAL bool spreadMore();
  KELINFRA_LOCAL const char* step();
  KELINFRA_LOCAL const char* goOn();
  KELINFRA_LOCAL static const char* leaveTraced(const char* character);

  std::array<char, inlineSize> inlineStore_{};
  char* text_ = nullptr;
  const std::uint64_t* next_ = nullptr;
  const std::uint64_t* end_ = nullptr;
  int position_ = 0;  // the characters from here on are not yet in characters_
  int count_ = 0;
  int length_ = 0;
  std::array<std::uint64_t, charactersAtOnce>
      characters_;  // the bytes of each, then zeros; from next_ to end_
};

}  // namespace tarvo::oss
