#pragma once

#include "infra/kelExport.hpp"
#include "infra/oss/kelDataBuffer.hpp"

#include <unicode/unistr.h>

#include <array>
#include <cstdint>
#include <optional>

namespace tarvo::oss {

/// Splits a text at any of a set of delimiters. The constructor splits it once; the members return the tokens
/// one by one.
///
///     StringTokenizer words("x, y,z", "UTF-8", ", ");
///     while (words.hasMoreTokens()) puts(words.getNextToken());       // prints x y z
///
/// Adjacent delimiters count as one. Delimiters at the end of the text give no token; those at its start give
/// one empty token: " a b" is "", "a", "b", while "a b " is "a", "b". A text that consists of delimiters only
/// is one empty token; an empty text gives no token. Delimiters are UTF-16 code units; the two halves of a
/// supplementary character are two delimiters.
///
/// There is one cursor. The `const char*` forms and the `UnicodeString` forms both move it, in any order; it
/// starts at the first token. One thread at a time. If there is no memory, or if a narrow text is longer than
/// 2^31 - 1 bytes, std::bad_alloc is raised.
class KELINFRA_API StringTokenizer {
 public:
  /// Takes text and delimiters in the code page `codePage`, an ICU converter name; tokens are returned in it
  /// too.
  ///   text         NUL-terminated; null is the empty text
  ///   codePage     null or "" is ICU's default converter. One that ICU does not know makes the text empty.
  ///                Only its first 64 bytes are used to convert the tokens
  ///   delimiters   NUL-terminated; null or "" is " \r\n\t"
  StringTokenizer(const char* text, const char* codePage, const char* delimiters);
  /// Takes ASCII delimiters, NUL-terminated; null or "" is " \r\n\t". A byte above 7F is the delimiter with
  /// the same number, U+0080 to U+00FF: it is not read as a part of a UTF-8 character. Tokens are returned in
  /// ICU's default code page.
  StringTokenizer(const icu::UnicodeString& text, const char* delimiters);
  StringTokenizer(const StringTokenizer&) = delete;
  StringTokenizer& operator=(const StringTokenizer&) = delete;
  ~StringTokenizer();

  // --- ask

  /// The number of all tokens, including those already returned.
  int countTokens() const;
  bool hasMoreTokens() const;

  // --- iterate

  /// Return the first token, and the token at the cursor, as NUL-terminated bytes in the tokenizer's code
  /// page, and move the cursor to the token after it. Return an empty text if there is no such token. Never
  /// null; valid until the next call of either. A zero byte in a token, as U+0000 gives, ends it for code
  /// that reads up to the terminator.
  ///   raises   as `DataBuffer::appendString(text, encoding)`, and std::bad_alloc if there is no memory for
  ///            the token. `getFirstToken` then leaves the cursor at the first token, `getNextToken` leaves
  ///            it where it was
  const char* getFirstToken() KELINFRA_LIFETIMEBOUND;
  const char* getNextToken() KELINFRA_LIFETIMEBOUND;

  /// Return the same tokens as text, or an empty text if there is no such token.
  // NOLINTBEGIN(readability-const-return-type): programs depend on these signatures
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
