#pragma once

#include "infra/kelExport.hpp"
#include "infra/oss/kelDataBuffer.hpp"

#include <unicode/unistr.h>

#include <array>
#include <cstdint>
#include <optional>

namespace tarvo::oss {

/// Splits a text into tokens at delimiters. The constructor splits the text, and the members return the
/// tokens one after another.
///
///     StringTokenizer words("x, y,z", "UTF-8", ", ");
///     while (words.hasMoreTokens()) puts(words.getNextToken());       // prints x y z
///
/// Adjacent delimiters count as one delimiter. If the text begins with delimiters, the first token is empty.
/// Delimiters at the end of the text add no token. For example, " a b" has the tokens "", "a" and "b", and "a
/// b " has the tokens "a" and "b". A text that consists only of delimiters has one empty token; an empty text
/// has no token. Each delimiter is one UTF-16 code unit; a supplementary character in the delimiters counts
/// as two delimiters, one for each surrogate.
///
/// The tokenizer has one cursor, which starts at the first token. The members that return `const char*` and
/// the members that return `UnicodeString` move the same cursor, and a program may mix calls of both kinds.
/// Only one thread at a time may use an object. If there is no memory, or if a `const char*` text is longer
/// than 2^31 - 1 bytes, the members raise std::bad_alloc.
class KELINFRA_API StringTokenizer {
 public:
  /// Takes the text and the delimiters in the code page `codePage`, which is an ICU converter name. The
  /// members return the tokens in the same code page.
  ///   text         NUL-terminated; null is the empty text
  ///   codePage     null or "" is ICU's default converter. If ICU does not know the code page, the text is
  ///                empty. Only the first 64 bytes of the name are used to convert the tokens
  ///   delimiters   NUL-terminated; null or "" is " \r\n\t"
  StringTokenizer(const char* text, const char* codePage, const char* delimiters);
  /// Takes ASCII delimiters, NUL-terminated; null or "" means the delimiters " \r\n\t". A byte above 7F
  /// stands for the character with the same number, U+0080 to U+00FF: the constructor does not decode the
  /// delimiters as UTF-8. The members that return bytes return the tokens in ICU's default code page.
  StringTokenizer(const icu::UnicodeString& text, const char* delimiters);
  StringTokenizer(const StringTokenizer&) = delete;
  StringTokenizer& operator=(const StringTokenizer&) = delete;
  ~StringTokenizer();

  // --- ask

  /// Returns the number of all tokens, including the tokens that were already returned.
  int countTokens() const;
  bool hasMoreTokens() const;

  // --- iterate

  /// `getFirstToken` returns the first token, and `getNextToken` the token at the cursor, as NUL-terminated
  /// bytes in the tokenizer's code page. `getFirstToken` and `getNextToken` move the cursor to the token
  /// after the returned token. If there is no token to return, the members return an empty text. The returned
  /// pointer is never null, and is valid until the next call of `getFirstToken` or `getNextToken`. If a token
  /// contains U+0000, a function that reads up to the terminator reads only the part of the token before
  /// U+0000.
  ///   raises   as `DataBuffer::appendString(text, encoding)`, and std::bad_alloc if there is no memory for
  ///            the token. After an error of `getFirstToken` the cursor is at the first token; after an error
  ///            of `getNextToken` it has not moved
  const char* getFirstToken() KELINFRA_LIFETIMEBOUND;
  const char* getNextToken() KELINFRA_LIFETIMEBOUND;

  /// `getFirstTokenString` and `getNextTokenString` return the same tokens as `getFirstToken` and
  /// `getNextToken`, but as Unicode text. If there is no token to return, the functions return an empty text.
  /// NOLINTBEGIN(readability-const-return-type): programs depend on these signatures
  const icu::UnicodeString getFirstTokenString();
  const icu::UnicodeString getNextTokenString();
  // NOLINTEND(readability-const-return-type)

 private:
  struct Token {
    const char16_t* units;
    std::int32_t length;
  };

  KELINFRA_LOCAL void tokenize(const icu::UnicodeString& delimiters);
  KELINFRA_LOCAL Token current() const;
  KELINFRA_LOCAL bool appendAscii(const Token& token);
  KELINFRA_LOCAL void appendConverted(const Token& token);
  KELINFRA_LOCAL const char* takeBytes();
  KELINFRA_LOCAL icu::UnicodeString takeText();

  DataBuffer bytes_;
  std::array<char, 65> codePage_{};
  std::optional<bool> keepsAscii_;  // whether ASCII has the same bytes in the code page, once known
  int cursor_ = 0;
  int count_ = 0;
  icu::UnicodeString text_;
  std::int32_t* edges_ = nullptr;  // the start and the end of each token in the text
};

}  // namespace tarvo::oss
