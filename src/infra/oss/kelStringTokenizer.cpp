#include "infra/oss/kelStringTokenizer.hpp"

#include "oss/kelConverterCache.hpp"
#include "oss/kelInvariant.hpp"
#include "oss/kelMemory.hpp"
#include "trace/kelTrace.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

namespace tarvo::oss {

using trace::probe;
using trace::traced;
using trace::tracedExit;

struct StringTokenizer::Token {
  std::int32_t start;
  std::int32_t length;
};

namespace {

/// The same four characters whatever the code page.
icu::UnicodeString defaultDelimiters() {
  return invariantText(" \r\n\t");
}

icu::UnicodeString delimitersFrom(const char* delimiters) {
  return isEmpty(delimiters) ? defaultDelimiters() : invariantText(delimiters);
}

icu::UnicodeString delimitersFrom(const char* delimiters, const char* codePage) {
  return isEmpty(delimiters) ? defaultDelimiters() : toUnicode(delimiters, -1, codePage);
}

/// A set of code units below `Units`, one bit each.
template <std::size_t Units>
class UnitSet {
 public:
  explicit UnitSet(const icu::UnicodeString& members) {
    for (std::int32_t i = 0; i < members.length(); ++i) {
      const std::size_t unit = members.charAt(i);
      bits_[unit / 64] |= std::uint64_t{1} << (unit % 64);
    }
  }
  bool contains(char16_t unit) const { return unit < Units && ((bits_[unit / 64] >> (unit % 64)) & 1) != 0; }

 private:
  std::array<std::uint64_t, Units / 64> bits_{};
};

/// Writes the tokens of a text that is not empty and returns the end of what it wrote.
///
/// A CR LF need not be folded first: where it would be, both are delimiters, and a run of them is one.
template <class Token, class Delimiters>
Token* split(const char16_t* text, std::int32_t length, const Delimiters& delimiters, Token* token) {
  std::int32_t at = 0;
  do {
    const std::int32_t start = at;
    while (at < length && !delimiters.contains(text[at])) ++at;
    *token++ = {start, at - start};
    while (at < length && delimiters.contains(text[at])) ++at;
  } while (at < length);
  return token;
}

bool isAscii(const icu::UnicodeString& text) {
  for (std::int32_t i = 0; i < text.length(); ++i) {
    if (text.charAt(i) >= 128) return false;
  }
  return true;
}

}  // namespace

StringTokenizer::StringTokenizer(const char* text, const char* codePage, const char* delimiters)
    : bytes_(nullptr),
      text_(isEmpty(text) ? icu::UnicodeString() : toUnicode(text, -1, nullIfEmpty(codePage))) {
  tracedExit<probe("StringTokenizer::StringTokenizer")>([&] {
    if (!isEmpty(codePage)) {
      std::memcpy(codePage_.data(), codePage, std::min(std::strlen(codePage), codePage_.size() - 1));
    }
    tokenize(delimitersFrom(delimiters, nullIfEmpty(codePage)));
  });
}

// NOLINTNEXTLINE(modernize-pass-by-value): the signature is settled
StringTokenizer::StringTokenizer(const icu::UnicodeString& text, const char* delimiters)
    : bytes_(nullptr), text_(copied(text)) {
  tracedExit<probe("StringTokenizer::StringTokenizer")>([&] { tokenize(delimitersFrom(delimiters)); });
}

StringTokenizer::~StringTokenizer() {
  tracedExit<probe("StringTokenizer::~StringTokenizer")>([&] { std::free(tokens_); });
}

/// Room for the most tokens that a text of that length can have, so that one pass suffices; what is too much
/// goes back.
void StringTokenizer::tokenize(const icu::UnicodeString& delimiters) {
  traced<probe("StringTokenizer::tokenize")>([&] {
    if (text_.length() < 1) return;
    const std::size_t most = static_cast<std::size_t>(text_.length()) / 2 + 1;
    tokens_ = static_cast<Token*>(std::malloc(most * sizeof(Token)));
    if (tokens_ == nullptr) throw std::bad_alloc();
    const char16_t* const text = text_.getBuffer();
    const Token* const end = isAscii(delimiters)
                                 ? split(text, text_.length(), UnitSet<128>(delimiters), tokens_)
                                 : split(text, text_.length(), UnitSet<0x10000>(delimiters), tokens_);
    const auto count = static_cast<std::size_t>(end - tokens_);
    count_ = static_cast<int>(count);
    if (void* const smaller = std::realloc(tokens_, count * sizeof(Token)))
      tokens_ = static_cast<Token*>(smaller);
  });
}

int StringTokenizer::countTokens() const {
  return count_;
}

bool StringTokenizer::hasMoreTokens() const {
  return cursor_ < count_;
}

const char* StringTokenizer::getFirstToken() {
  return tracedExit<probe("StringTokenizer::getFirstToken")>([&] {
    cursor_ = 0;
    return takeBytes();
  });
}

const char* StringTokenizer::getNextToken() {
  return tracedExit<probe("StringTokenizer::getNextToken")>([&] { return takeBytes(); });
}

// NOLINTBEGIN(readability-const-return-type): see the header
const icu::UnicodeString StringTokenizer::getFirstTokenString() {
  return tracedExit<probe("StringTokenizer::getFirstTokenString")>([&] {
    cursor_ = 0;
    return takeText();
  });
}

const icu::UnicodeString StringTokenizer::getNextTokenString() {
  return tracedExit<probe("StringTokenizer::getNextTokenString")>([&] { return takeText(); });
}
// NOLINTEND(readability-const-return-type)

// The cursor moves last: what raises leaves it where it was.
const char* StringTokenizer::takeBytes() {
  bytes_.clear(false);
  if (hasMoreTokens()) {
    const Token& token = tokens_[cursor_];
    const icu::UnicodeString text = text_.tempSubString(token.start, token.length);
    bytes_.appendString(text, codePage_.data());
    // The buffer keeps to itself that it had no memory; a token is not to be lost so. A long one that begins with a NUL
    // ends there.
    if (bytes_.length() == 0 && text.charAt(0) != u'\0' &&
        fromUnicode(text, nullptr, 0, nullIfEmpty(codePage_.data())) > 0)
      throw std::bad_alloc();
    ++cursor_;
  }
  return bytes_.getString();
}

icu::UnicodeString StringTokenizer::takeText() {
  if (!hasMoreTokens()) return {};
  const Token& token = tokens_[cursor_];
  icu::UnicodeString text = made(icu::UnicodeString(text_.getBuffer() + token.start, token.length));
  ++cursor_;
  return text;
}

}  // namespace tarvo::oss
