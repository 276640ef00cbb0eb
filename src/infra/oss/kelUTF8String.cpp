#include "infra/oss/kelUTF8String.hpp"

#include "infra/oss/kelConverter.hpp"
#include "infra/oss/kelNLSException.hpp"

#include "oss/kelRaise.hpp"
#include "oss/kelTextBlock.hpp"
#include "text/kelMemory.hpp"
#include "text/kelTranscoding.hpp"
#include "text/kelUTF8Conversion.hpp"
#include "text/kelUTF8Text.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

namespace tarvo::oss {

namespace {

constexpr const char* utf8 = "UTF-8";

/// Appends `more` to `text`. If there is no memory for a larger text, `text` does not change, whereas ICU's
/// own append would lose its contents. (If `text` shares its units with another string, `text` becomes
/// bogus.) If `text` is empty, `text` takes over the units of `more`, unless the capacity of `more` is much
/// larger than needed.
void appendTo(icu::UnicodeString& text, icu::UnicodeString more) {
  constexpr std::int64_t most = std::numeric_limits<std::int32_t>::max();
  const std::int64_t length = std::int64_t{text.length()} + more.length();
  if (length > most) throw std::bad_alloc();
  if (length <= text.getCapacity() && !text.isBogus()) {
    if (text.append(more).isBogus()) throw std::bad_alloc();  // its units were shared
    return;
  }
  if (text.isEmpty() && more.getCapacity() / 2 <= length) {
    text = std::move(more);
    return;
  }
  icu::UnicodeString grown(static_cast<std::int32_t>(std::min(length + length / 4, most)), 0, 0);
  text = text::made(std::move(grown.append(text).append(more)));
}

/// Decodes the bytes directly into the free space of the string. A text of N bytes never becomes more than N
/// units. If the string has less free space, or if the bytes are not well-formed UTF-8, returns false and
/// appends nothing.
bool appendInPlace(icu::UnicodeString& text, const char* bytes, std::size_t count) {
  const std::int32_t length = text.length();
  const auto room = static_cast<std::size_t>(text.getCapacity() - length);
  if (count == 0 || count > room) return false;  // a bogus text has no room
  char16_t* const units = text.getBuffer(length + static_cast<std::int32_t>(count));
  if (units == nullptr) {
    if (text.isBogus()) throw std::bad_alloc();  // its units were shared, and there is no memory for a copy
    return false;                                // the caller holds it open
  }
  const std::ptrdiff_t written = text::utf16FromUtf8(bytes, count, units + length);
  text.releaseBuffer(length + static_cast<std::int32_t>(std::max(written, std::ptrdiff_t{0})));
  return written >= 0;
}

}  // namespace

// --- build and tear down

UTF8String::UTF8String(int size) : DataBuffer(size) {}

UTF8String::UTF8String(const char* text) : DataBuffer(text) {}

UTF8String::UTF8String(const icu::UnicodeString& text) : DataBuffer(0) {
  appendString(text);
  // An append does not report a lack of memory. If the result of a text that is not empty is empty, there was
  // no memory. There is one exception: the result of a long text that begins with a NUL is empty, too.
  if (length() == 0 && !text.isEmpty() && text.charAt(0) != u'\0') throw std::bad_alloc();
}

UTF8String::UTF8String(const UTF8String& other) = default;

UTF8String::~UTF8String() = default;

// --- ask

const char* UTF8String::getString() const {
  return DataBuffer::getString();
}

void UTF8String::getString(icu::UnicodeString& text) const {
  const char* const bytes = getString();
  if (!appendInPlace(text, bytes, std::strlen(bytes)) && !text::isHeldOpen(text))
    appendTo(text, text::toUnicode(bytes, -1, utf8));
}

int UTF8String::getString(char* target, int capacity, const char* codepage) const {
  return Converter::convert(target, capacity, utf8, getString(), codepage);
}

/// The argument is the left operand of the comparison, so the sign is the reverse of the usual sign.
signed char UTF8String::compare(const char* text) const {
  if (text == nullptr) return -1;
  const int difference = std::strcmp(text, getString());
  return static_cast<signed char>((difference > 0) - (difference < 0));
}

signed char UTF8String::compare(const UTF8String& other) const {
  return compare(other.getString());
}

int UTF8String::numChars() const {
  const std::ptrdiff_t count = text::countLeniently(getString(), static_cast<std::size_t>(length()));
  if (count < 0) raise<NLSException>(errors::ERR_MALFORMED_UTF8_STRING);
  return static_cast<int>(count);
}

// --- change

UTF8String& UTF8String::operator=(const icu::UnicodeString& text) {
  clear(false);
  appendString(text);
  return *this;
}

UTF8String& UTF8String::operator=(const char* text) {
  if (owns(block_, text)) return *this = UTF8String(text).getString();
  clear(false);
  appendString(text);
  return *this;
}

void UTF8String::appendString(const char* text) {
  DataBuffer::appendString(text);
}

void UTF8String::appendString(const char* text, int count) {
  DataBuffer::appendString(text, count);
}

void UTF8String::appendString(const icu::UnicodeString& text) {
  DataBuffer::appendString(text, utf8);
}

void UTF8String::appendString(const UTF8String& other) {
  DataBuffer::appendString(other.getString());
}

void UTF8String::insertString(int position, const char* text) {
  DataBuffer::insertString(position, text);
}

void UTF8String::insertString(int position, const char* text, int count) {
  DataBuffer::insertString(position, text, count);
}

void UTF8String::insertString(int position, const icu::UnicodeString& text) {
  DataBuffer::insertString(position, text, utf8);
}

void UTF8String::insertString(int position, const UTF8String& other) {
  DataBuffer::insertString(position, other.getString());
}

}  // namespace tarvo::oss
