#include "infra/oss/kelStringTokenizer.hpp"

#include "text/kelConverterCache.hpp"
#include "text/kelInvariant.hpp"
#include "text/kelMemory.hpp"
#include "text/kelTokenEdges.hpp"
#include "text/kelTranscoding.hpp"
#include "trace/kelTrace.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <numeric>

namespace tarvo::oss {

using trace::probe;
using trace::traced;
using trace::tracedExit;

namespace {

/// Returns the default delimiters, which are the same four characters in every code page.
icu::UnicodeString defaultDelimiters() {
  return text::invariantText(" \r\n\t");
}

icu::UnicodeString delimitersFrom(const char* delimiters) {
  return text::isEmpty(delimiters) ? defaultDelimiters() : text::invariantText(delimiters);
}

icu::UnicodeString delimitersFrom(const char* delimiters, const char* codePage) {
  return text::isEmpty(delimiters) ? defaultDelimiters() : text::toUnicode(delimiters, -1, codePage);
}

constexpr std::size_t asciiUnits = 128;

bool isAscii(const icu::UnicodeString& text) {
  for (std::int32_t i = 0; i < text.length(); ++i) {
    if (text.charAt(i) >= asciiUnits) return false;
  }
  return true;
}

/// Returns whether a code page encodes each ASCII character as its ASCII byte, regardless of the characters
/// before and after it.
bool keepsAscii(const char* codePage) {
  // A codec alone is not sufficient: UTF-16 has a codec too, but has two bytes for each unit.
  using Direction = text::CachedConverter::Direction;
  if (text::CachedConverter(codePage, Direction::fromUnicode).codec() == nullptr) return false;
  std::array<char16_t, asciiUnits> units;
  std::array<char, asciiUnits> ascii;
  std::array<char, asciiUnits> bytes{};
  std::iota(units.begin(), units.end(), u'\0');
  std::iota(ascii.begin(), ascii.end(), '\0');
  constexpr auto count = static_cast<std::int32_t>(asciiUnits);
  const icu::UnicodeString text(static_cast<UBool>(false), units.data(), count);
  return text::fromUnicode(text, bytes.data(), count, codePage) == count && bytes == ascii;
}

}  // namespace

StringTokenizer::StringTokenizer(const char* text, const char* codePage, const char* delimiters)
    : bytes_(nullptr),
      text_(text::isEmpty(text) ? icu::UnicodeString()
                                : text::toUnicode(text, -1, text::nullIfEmpty(codePage))) {
  tracedExit<probe("StringTokenizer::StringTokenizer")>([&] {
    if (!text::isEmpty(codePage)) {
      std::memcpy(codePage_.data(), codePage, std::min(std::strlen(codePage), codePage_.size() - 1));
    }
    tokenize(delimitersFrom(delimiters, text::nullIfEmpty(codePage)));
  });
}

// NOLINTNEXTLINE(modernize-pass-by-value): programs depend on this signature
StringTokenizer::StringTokenizer(const icu::UnicodeString& text, const char* delimiters)
    : bytes_(nullptr), text_(text::copied(text)) {
  tracedExit<probe("StringTokenizer::StringTokenizer")>([&] { tokenize(delimitersFrom(delimiters)); });
}

StringTokenizer::~StringTokenizer() {
  tracedExit<probe("StringTokenizer::~StringTokenizer")>([&] { std::free(edges_); });
}

/// Finds the tokens in one pass. The function first allocates memory for the largest number of token edges
/// that a text of this length can have. After the pass it releases the memory that the edges do not need.
void StringTokenizer::tokenize(const icu::UnicodeString& delimiters) {
  traced<probe("StringTokenizer::tokenize")>([&] {
    if (text_.length() < 1) return;
    const auto length = static_cast<std::size_t>(text_.length());
    edges_ = static_cast<std::int32_t*>(std::malloc((length + 2) * sizeof *edges_));
    if (edges_ == nullptr) throw std::bad_alloc();
    const char16_t* const text = text_.getBuffer();
    const bool few = !delimiters.isEmpty() && delimiters.length() <= text::FewDelimiters::most;
    const std::int32_t* const end =
        few ? text::findEdges(text, length, text::FewDelimiters(delimiters), edges_)
        : isAscii(delimiters)
            ? text::findEdges(text, length, text::ManyDelimiters<128>(delimiters), edges_)
            : text::findEdges(text, length, text::ManyDelimiters<0x10000>(delimiters), edges_);
    const auto count = static_cast<std::size_t>(end - edges_);
    count_ = static_cast<int>(count / 2);
    if (void* const smaller = std::realloc(edges_, count * sizeof *edges_))
      edges_ = static_cast<std::int32_t*>(smaller);
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

/// Returns the token at the cursor, and does not move the cursor.
StringTokenizer::Token StringTokenizer::current() const {
  const std::int32_t* const edges = edges_ + 2 * static_cast<std::size_t>(cursor_);
  return {text_.getBuffer() + edges[0], edges[1] - edges[0]};
}

// `takeBytes` moves the cursor at its end, so the cursor does not move if an error occurs.
const char* StringTokenizer::takeBytes() {
  bytes_.clear(false);
  if (hasMoreTokens()) {
    const Token token = current();
    if (!appendAscii(token)) appendConverted(token);
    ++cursor_;
  }
  return bytes_.getString();
}

/// Appends a short ASCII token without a conversion if the code page has the same bytes for ASCII. If the
/// token is long or not ASCII, or if the code page has other bytes for ASCII, returns false and appends
/// nothing.
bool StringTokenizer::appendAscii(const Token& token) {
  std::array<char, 64> narrow;
  if (token.length < 1 || token.length > static_cast<std::int32_t>(narrow.size())) return false;
  unsigned int any = 0;
  for (std::int32_t i = 0; i < token.length; ++i) {
    any |= token.units[i];
    narrow[static_cast<std::size_t>(i)] = static_cast<char>(token.units[i]);
  }
  if (any >= asciiUnits || codePage_[0] == '\0') return false;
  if (!keepsAscii_) keepsAscii_ = keepsAscii(codePage_.data());
  if (*keepsAscii_) bytes_.appendString(narrow.data(), token.length);
  return *keepsAscii_;
}

void StringTokenizer::appendConverted(const Token& token) {
  const icu::UnicodeString text(static_cast<UBool>(false), token.units, token.length);
  bytes_.appendString(text, codePage_.data());
  // The buffer does not report a lack of memory. If the token is not empty but the result is empty, there was
  // no memory, with one exception: the result of a long token that begins with a NUL is empty, too.
  if (bytes_.length() == 0 && text.charAt(0) != u'\0' &&
      text::fromUnicode(text, nullptr, 0, text::nullIfEmpty(codePage_.data())) > 0)
    throw std::bad_alloc();
}

// The function constructs the text in the returned object, because moving a string takes as long as
// constructing it.
icu::UnicodeString StringTokenizer::takeText() {
  icu::UnicodeString text;
  if (hasMoreTokens()) {
    const Token token = current();
    text.append(token.units, token.length);
    if (text.isBogus()) throw std::bad_alloc();
    ++cursor_;
  }
  return text;
}

}  // namespace tarvo::oss
