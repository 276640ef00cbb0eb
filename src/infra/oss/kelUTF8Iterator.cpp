#include "infra/oss/kelUTF8Iterator.hpp"

#include "infra/oss/kelNLSException.hpp"

#include "oss/kelRaise.hpp"
#include "text/kelInvariant.hpp"
#include "text/kelTranscoding.hpp"
#include "text/kelUTF8Text.hpp"
#include "trace/kelTrace.hpp"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

namespace tarvo::oss {

using trace::probe;
using trace::traced;
using trace::tracedExit;

// --- build and tear down

UTF8Iterator::UTF8Iterator(const char* text) {
  tracedExit<probe("UTF8Iterator::UTF8Iterator")>([&] { takeText(text); });
}

UTF8Iterator::UTF8Iterator(const icu::UnicodeString& text) {
  tracedExit<probe("UTF8Iterator::UTF8Iterator")>([&] { takeConverted(text); });
}

UTF8Iterator::UTF8Iterator(const UTF8String& text) {
  tracedExit<probe("UTF8Iterator::UTF8Iterator")>([&] { takeText(text.getString()); });
}

UTF8Iterator::~UTF8Iterator() {
  tracedExit<probe("UTF8Iterator::~UTF8Iterator")>([&] {
    if (text_ != inlineStore_.data()) std::free(text_);
  });
}

// --- take a text

bool UTF8Iterator::takeText(const char* text) {
  if (text_ != nullptr) return false;
  return traced<probe("UTF8Iterator::takeText")>([&] {
    const std::size_t length = text == nullptr ? 0 : std::strlen(text);
    char* const copy = roomFor(length);
    if (copy == nullptr) return false;
    const std::ptrdiff_t count = text::copyWellFormed(copy, text, length);
    if (count < 0) {
      giveBack(copy, length);
      raise<NLSException>(errors::ERR_MALFORMED_UTF8_STRING);
    }
    text_ = copy;
    length_ = static_cast<int>(length);
    count_ = static_cast<int>(count);
    return true;
  });
}

void UTF8Iterator::takeConverted(const icu::UnicodeString& text) {
  std::array<char, inlineCapacity + 1> room;
  std::unique_ptr<char[]> grown;
  const auto grow = [&](std::int32_t size) {
    grown.reset(new (std::nothrow) char[static_cast<std::size_t>(size) + 1]);
    return grown.get();
  };
  const std::int32_t size = text::fromUnicode(text, room.data(), inlineCapacity, "UTF-8", grow);
  if (size < 0)
    raise<NLSException>(errors::ERR_CONV_CONVERSION_ERROR, errors::Name{text::invariantText("UTF-16")},
                        errors::Name{text::invariantText("UTF-8")});
  char* const bytes = size <= std::int32_t{inlineCapacity} ? room.data() : grown.get();
  if (bytes == nullptr) return;
  bytes[size] = '\0';
  takeText(bytes);
}

/// Returns room for a text of `length` bytes, or null if there is no memory. The room is
/// followed by zero bytes, because the SIMD kernels read up to `spreadSlack` bytes after the end of a text.
char* UTF8Iterator::roomFor(std::size_t length) {
  static_assert(inlineSize >= inlineCapacity + text::spreadSlack);
  if (length <= inlineCapacity) return inlineStore_.data();
  if (length > static_cast<std::size_t>(std::numeric_limits<int>::max())) return nullptr;
  char* const block = static_cast<char*>(std::malloc(length + text::spreadSlack));
  if (block != nullptr) std::memset(block + length, 0, text::spreadSlack);
  return block;
}

void UTF8Iterator::giveBack(char* copy, std::size_t length) {
  if (copy == inlineStore_.data()) {
    std::memset(copy, 0, length);
  } else {
    std::free(copy);
  }
}

// --- ask

bool UTF8Iterator::isEmpty() const {
  return text_ == nullptr;
}

bool UTF8Iterator::hasMoreChars() const {
  return next_ != end_ || position_ < length_;  // without a text all of these are 0
}

const char* UTF8Iterator::getString() const {
  return text_;
}

int UTF8Iterator::length() const {
  return length_;
}

int UTF8Iterator::numChars() const {
  return count_;
}

// --- iterate

const char* UTF8Iterator::getFirstChar() {
  position_ = 0;
  if (!spreadMore()) return nullptr;
  return tracedExit<probe("UTF8Iterator::getFirstChar")>([&] { return step(); });
}

const char* UTF8Iterator::getNextChar() {
  if (next_ == end_) return goOn();
  const char* const character = step();
  return trace::exitIsTraced() ? leaveTraced(character) : character;
}

/// Continues `getNextChar` after the last prepared character. This rare case is in a separate function, so
/// that `getNextChar` saves no registers for all other characters.
[[gnu::noinline]] const char* UTF8Iterator::goOn() {
  return spreadMore() ? getNextChar() : nullptr;
}

[[gnu::cold, gnu::noinline]] const char* UTF8Iterator::leaveTraced(const char* character) {
  return tracedExit<probe("UTF8Iterator::getNextChar")>([&] { return character; });
}

inline const char* UTF8Iterator::step() {
  return reinterpret_cast<const char*>(next_++);
}

/// Prepares the next characters. At the beginning of the text the function prepares only a few characters,
/// because the caller may not need more characters. The remaining bytes start at the beginning of a
/// character, so the function prepares at least one character if there are remaining bytes.
bool UTF8Iterator::spreadMore() {
  if (position_ >= length_) return false;  // without a text both are 0
  const int most = position_ == 0 ? charactersAtFirst : charactersAtOnce;
  const int stretch = std::min(most, length_ - position_);
  const std::size_t count =
      text::spreadCharacters(characters_.data(), text_ + position_, static_cast<std::size_t>(stretch));
  next_ = characters_.data();
  end_ = next_ + count;
  position_ += stretch;
  while (position_ < length_ && text::continuesCharacter(text_[position_])) ++position_;
  return true;
}

}  // namespace tarvo::oss
