#include "infra/oss/kelDataBuffer.hpp"

#include "infra/oss/kelNLSException.hpp"

#include "oss/kelRaise.hpp"
#include "oss/kelTextBlock.hpp"
#include "text/kelDecimalText.hpp"
#include "text/kelHexDigits.hpp"
#include "text/kelInvariant.hpp"
#include "text/kelScratch.hpp"
#include "text/kelTranscoding.hpp"
#include "trace/kelTrace.hpp"

#include <unicode/ucnv.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

namespace tarvo::oss {

using trace::probe;
using trace::traced;
using trace::tracedExit;

namespace {

/// Throws std::bad_alloc if `inserted` is false. Only constructors call this function: the other members do
/// not report that there is no memory.
void require(bool inserted) {
  if (!inserted) throw std::bad_alloc();
}

const char* encodingName(const char* encoding) {
  return text::isEmpty(encoding) ? ucnv_getDefaultName() : encoding;
}

// Raises an error only for exactly the names "UTF-16" and "UTF-32". The function accepts "utf-16" and
// "UTF-16LE", although the zero bytes in such a text terminate the text early.
void refuseZeroBytes(const char* encoding) {
  const char* const effective = encoding == nullptr ? ucnv_getDefaultName() : encoding;
  if (std::strcmp(effective, "UTF-16") != 0 && std::strcmp(effective, "UTF-32") != 0) return;
  raise<NLSException>(errors::ERR_CONV_CONVERSION_ERROR, errors::Name{text::invariantText(effective)},
                      errors::Name{text::invariantText(encodingName(encoding))});
}

/// Returns the value of a hexadecimal digit, or -1 for other characters.
constexpr int digitValue(char c) {
  if ('0' <= c && c <= '9') return c - '0';
  if ('A' <= c && c <= 'F') return c - 'A' + 10;
  if ('a' <= c && c <= 'f') return c - 'a' + 10;
  return -1;
}

constexpr std::size_t literalFrame = 3;  // X''

bool isLiteral(const char* text, std::size_t length) {
  if (length < literalFrame || (length - literalFrame) % 2 != 0) return false;
  if (text[0] != 'X' || text[1] != '\'' || text[length - 1] != '\'') return false;
  return std::all_of(text + 2, text + length - 1, [](char c) { return digitValue(c) >= 0; });
}

void writeLiteral(char* target, const char* data, std::size_t count, bool upperCase) {
  target[0] = 'X';
  target[1] = '\'';
  text::writeHex(data, count, target + 2, upperCase);
  target[2 + 2 * count] = '\'';
}

}  // namespace

// --- build and tear down

DataBuffer::DataBuffer(int size) {
  tracedExit<probe("DataBuffer::DataBuffer")>([&] {
    if (size > TextBlock::inlineCapacity) takeZeroed(block_, size);
  });
}

DataBuffer::DataBuffer(const char* text) {
  tracedExit<probe("DataBuffer::DataBuffer")>([&] {
    if (!text::isEmpty(text)) require(append(block_, text, std::strlen(text)));
  });
}

DataBuffer::DataBuffer(const icu::UnicodeString& text) : DataBuffer(text, nullptr) {}

DataBuffer::DataBuffer(const icu::UnicodeString& text, const char* encoding) {
  tracedExit<probe("DataBuffer::DataBuffer")>([&] { require(insertConverted(0, text, encoding)); });
}

DataBuffer::DataBuffer(const DataBuffer& other) {
  tracedExit<probe("DataBuffer::DataBuffer")>([&] {
    if (other.block_.capacity <= TextBlock::inlineCapacity) {
      insert(block_, 0, other.block_.bytes, static_cast<std::size_t>(other.block_.length));
      return;
    }
    // The copy has the same length, but only the bytes up to the first zero byte are copied; the bytes after
    // it are zeros.
    takeZeroed(block_, other.block_.capacity);
    block_.length = other.block_.length;
    block_.written = block_.zeroFree = static_cast<int>(tailLength(other.block_, 0));
    std::memcpy(block_.bytes, other.block_.bytes, static_cast<std::size_t>(block_.written));
  });
}

DataBuffer::~DataBuffer() {
  tracedExit<probe("DataBuffer::~DataBuffer")>([&] {
    if (onHeap(block_)) std::free(block_.bytes);
  });
}

// --- ask

const char* DataBuffer::getString() const {
  return block_.bytes;
}

int DataBuffer::length() const {
  return block_.length;
}

int DataBuffer::capacity() const {
  return block_.capacity;
}

int DataBuffer::decodeBinary(char* target, int capacity) const {
  return traced<probe("DataBuffer::decodeBinary")>([&] {
    if (!isLiteral(block_.bytes, static_cast<std::size_t>(block_.length)))
      raise<NLSException>(errors::ERR_DB_INVALID_BINARY_DATA);
    const int count = (block_.length - static_cast<int>(literalFrame)) / 2;
    if (target == nullptr) return count;
    if (capacity < count) raise<NLSException>(errors::ERR_BUFFER_SIZE_TOO_SMALL, errors::Size{capacity});
    const char* digit = block_.bytes + 2;
    for (int i = 0; i < count; ++i, digit += 2) {
      target[i] = static_cast<char>(digitValue(digit[0]) * 16 + digitValue(digit[1]));
    }
    return count;
  });
}

// --- append and insert

void DataBuffer::appendString(const char* text) {
  if (text::isEmpty(text)) return;
  traced<probe("DataBuffer::appendString")>([&] { append(block_, text, std::strlen(text)); });
}

void DataBuffer::appendString(const char* text, int count) {
  if (text == nullptr || count < 1) return;
  traced<probe("DataBuffer::appendString")>([&] { append(block_, text, static_cast<std::size_t>(count)); });
}

void DataBuffer::appendString(const icu::UnicodeString& text, const char* encoding) {
  traced<probe("DataBuffer::appendString")>([&] { insertConverted(block_.length, text, encoding); });
}

void DataBuffer::appendString(const DataBuffer& other) {
  appendString(other.block_.bytes, other.block_.length);
}

void DataBuffer::insertString(int position, const char* text) {
  if (text::isEmpty(text)) return;
  traced<probe("DataBuffer::insertString")>([&] { insert(block_, position, text, std::strlen(text)); });
}

void DataBuffer::insertString(int position, const char* text, int count) {
  if (text == nullptr || count < 1) return;
  traced<probe("DataBuffer::insertString")>(
      [&] { insert(block_, position, text, static_cast<std::size_t>(count)); });
}

void DataBuffer::insertString(int position, const icu::UnicodeString& text, const char* encoding) {
  traced<probe("DataBuffer::insertString")>([&] { insertConverted(position, text, encoding); });
}

void DataBuffer::insertString(int position, const DataBuffer& other) {
  insertString(position, other.block_.bytes, other.block_.length);
}

template <class Number>
[[gnu::noinline]] void DataBuffer::insertNumber(Number value) {
  traced<probe("DataBuffer::appendNumber")>([&] {
    const text::DecimalText<Number> text(value);
    insert(block_, block_.length, text.view().data(), text.view().size());
  });
}

/// Fast path: if the free bytes are already zeros and tracing is off, the number is formatted in place, and
/// no other function is called.
template <class Integer>
inline void DataBuffer::appendInteger(Integer value) {
  if (trace::entryIsTraced() || !endsInZeros(block_, text::DecimalText<Integer>::longest))
    return insertNumber(value);
  tracedExit<probe("DataBuffer::appendNumber")>([&] {
    char* const store = block_.bytes;
    block_.length = block_.written =
        static_cast<int>(text::DecimalText<Integer>::write(store + block_.length, value) - store);
  });
}

void DataBuffer::appendNumber(unsigned char value) {
  appendNumber(static_cast<unsigned int>(value));
}
void DataBuffer::appendNumber(unsigned short value) {
  appendNumber(static_cast<unsigned int>(value));
}
void DataBuffer::appendNumber(unsigned int value) {
  appendInteger(value);
}
void DataBuffer::appendNumber(unsigned long value) {
  appendInteger(value);
}
void DataBuffer::appendNumber(unsigned long long value) {
  appendInteger(value);
}
void DataBuffer::appendNumber(signed char value) {
  appendNumber(static_cast<int>(value));
}
void DataBuffer::appendNumber(short value) {
  appendNumber(static_cast<int>(value));
}
void DataBuffer::appendNumber(int value) {
  appendInteger(value);
}
void DataBuffer::appendNumber(long value) {
  appendInteger(value);
}
void DataBuffer::appendNumber(long long value) {
  appendInteger(value);
}
void DataBuffer::appendNumber(double value) {
  insertNumber(value);
}

void DataBuffer::appendBinary(const char* data, int count, bool upperCase) {
  if (data == nullptr || count < 1) return;
  traced<probe("DataBuffer::appendBinary")>([&] {
    const auto bytes = static_cast<std::size_t>(count);
    const std::uint64_t literalSize = std::uint64_t{2} * bytes + literalFrame;  // 32 bits may not hold it
    if (!admits(block_, literalSize)) return;                                   // before the data is read
    const auto size = static_cast<std::size_t>(literalSize);
    if (block_.written <= block_.length && !owns(block_, data)) {  // written in place
      char* const end = openAtEnd(block_, static_cast<int>(size));
      if (end != nullptr) writeLiteral(end, data, bytes, upperCase);
      return;
    }
    text::Scratch scratch;
    char* const literal = scratch.room(size);
    if (literal == nullptr) return;
    writeLiteral(literal, data, bytes, upperCase);
    append(block_, literal, size);
  });
}

bool DataBuffer::insertConverted(int position, const icu::UnicodeString& text, const char* encoding) {
  refuseZeroBytes(encoding);
  text::Scratch scratch;
  constexpr std::int32_t inlineSize = text::Scratch::inlineSize;
  char* bytes = scratch.room(inlineSize);
  const auto grow = [&](std::int32_t size) { return bytes = scratch.room(static_cast<std::size_t>(size)); };
  const std::int32_t size = text::fromUnicode(text, bytes, inlineSize, text::nullIfEmpty(encoding), grow);
  if (size < 0) {
    raise<NLSException>(errors::ERR_CONV_CONVERSION_ERROR, errors::Name{text::invariantText("UTF-16")},
                        errors::Name{text::invariantText(encodingName(encoding))});
  }
  return bytes != nullptr && insert(block_, position, bytes, static_cast<std::size_t>(size));
}

// --- empty

/// Fast path: a short text inside the object is cleared without a call when tracing is off. Always clears 64
/// bytes, some of which may be 0 already.
void DataBuffer::clear(bool keepContents) {
  constexpr int shortText = 64;
  if (trace::entryIsTraced() || keepContents || onHeap(block_) || block_.written > shortText)
    return clearAny(keepContents);
  tracedExit<probe("DataBuffer::clear")>([&] {
    std::memset(block_.inlineBytes.data(), 0, shortText);
    block_.length = block_.written = block_.zeroFree = 0;
  });
}

[[gnu::noinline]] void DataBuffer::clearAny(bool keepContents) {
  traced<probe("DataBuffer::clear")>([&] {
    if (keepContents && !onHeap(block_)) {
      block_.bytes[0] = '\0';
      block_.length = block_.zeroFree = 0;
    } else {
      release(block_);
    }
  });
}

}  // namespace tarvo::oss
