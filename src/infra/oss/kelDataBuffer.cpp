#include "infra/oss/kelDataBuffer.hpp"

#include "infra/oss/kelNLSException.hpp"

#include "oss/kelRaise.hpp"
#include "platform/kelLargePages.hpp"
#include "text/kelConverterCache.hpp"
#include "text/kelDecimalText.hpp"
#include "text/kelHexDigits.hpp"
#include "text/kelInvariant.hpp"
#include "text/kelShortMove.hpp"
#include "trace/kelTrace.hpp"

#include <unicode/ucnv.h>

#include <algorithm>
#include <concepts>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <new>

namespace tarvo::oss {

using trace::probe;
using trace::traced;
using trace::tracedExit;

namespace {

// The capacity beyond the need that a text gets when it outgrows its storage.
constexpr int spareCapacity = 4096;
// If more than this many bytes after a text have to be zero, they come from the system as untouched zeros and
// are not cleared here: a count may be far above the length of its text.
constexpr std::size_t largeSpare = 65536;
constexpr int largestCapacity = std::numeric_limits<int>::max();
// A text that outgrows a block of this size probably grows further: the next block is four times as large,
// not twice, unless it would be above `largestAhead`. This avoids half of the copies, and the pages that are
// not written to take no memory yet.
constexpr std::size_t growsAheadFrom = std::size_t{32} << 10U;
constexpr std::size_t largestAhead = std::size_t{32} << 20U;

/// Bytes for the duration of one call, on the stack if they fit. Null if there is no memory.
class Scratch {
 public:
  explicit Scratch(std::size_t size)
      : bytes_(size <= inline_.size() ? inline_.data() : static_cast<char*>(std::malloc(size))) {}
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
  ~Scratch() {
    if (bytes_ != inline_.data()) std::free(bytes_);
  }

  static constexpr std::size_t inlineSize = 4096;
  char* get() { return bytes_; }

 private:
  std::array<char, inlineSize> inline_;
  char* bytes_;
};

std::size_t lengthUpTo(const char* text, std::size_t limit) {
  const void* const end = std::memchr(text, '\0', limit);
  return end == nullptr ? limit : static_cast<std::size_t>(static_cast<const char*>(end) - text);
}

/// Constructors report that there is no memory; the other members do not.
void require(bool inserted) {
  if (!inserted) throw std::bad_alloc();
}

char* allocateZeroed(std::size_t size) {
  return static_cast<char*>(std::calloc(size, 1));
}

const char* encodingName(const char* encoding) {
  return text::isEmpty(encoding) ? ucnv_getDefaultName() : encoding;
}

// Refuses only exactly these names. "utf-16" and "UTF-16LE" are accepted, and the zero bytes of their texts
// end the text early.
void refuseZeroBytes(const char* encoding) {
  const char* const effective = encoding == nullptr ? ucnv_getDefaultName() : encoding;
  if (std::strcmp(effective, "UTF-16") != 0 && std::strcmp(effective, "UTF-32") != 0) return;
  raise<NLSException>("ERR_CONV_CONVERSION_ERROR", text::invariantText(effective),
                      text::invariantText(encodingName(encoding)));
}

/// The value of a hexadecimal digit, or -1.
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
    if (size > inlineCapacity) takeZeroedBlock(size);
  });
}

DataBuffer::DataBuffer(const char* text) {
  tracedExit<probe("DataBuffer::DataBuffer")>([&] {
    if (!text::isEmpty(text)) require(append(text, std::strlen(text)));
  });
}

DataBuffer::DataBuffer(const icu::UnicodeString& text) : DataBuffer(text, nullptr) {}

DataBuffer::DataBuffer(const icu::UnicodeString& text, const char* encoding) {
  tracedExit<probe("DataBuffer::DataBuffer")>([&] { require(insertConverted(0, text, encoding)); });
}

DataBuffer::DataBuffer(const DataBuffer& other) {
  tracedExit<probe("DataBuffer::DataBuffer")>([&] {
    if (other.capacity_ <= inlineCapacity) {
      insert(0, other.store_, static_cast<std::size_t>(other.length_));
      return;
    }
    // The length is copied, although the bytes are copied only up to the first 0.
    takeZeroedBlock(other.capacity_);
    length_ = other.length_;
    written_ = zeroFree_ = static_cast<int>(other.tailLength(0));
    std::memcpy(store_, other.store_, static_cast<std::size_t>(written_));
  });
}

DataBuffer::~DataBuffer() {
  tracedExit<probe("DataBuffer::~DataBuffer")>([&] {
    if (onHeap()) std::free(store_);
  });
}

/// Used by constructors.
void DataBuffer::takeZeroedBlock(int capacity) {
  const std::size_t size = static_cast<std::size_t>(capacity) + 1;
  char* const block = allocateZeroed(size);
  if (block == nullptr) throw std::bad_alloc();
  store_ = block;
  blockSize_ = size;
  capacity_ = capacity;
}

// --- ask

const char* DataBuffer::getString() const {
  return store_;
}

int DataBuffer::length() const {
  return length_;
}

int DataBuffer::capacity() const {
  return capacity_;
}

int DataBuffer::decodeBinary(char* target, int capacity) const {
  return traced<probe("DataBuffer::decodeBinary")>([&] {
    if (!isLiteral(store_, static_cast<std::size_t>(length_)))
      raise<NLSException>("ERR_DB_INVALID_BINARY_DATA");
    const int count = (length_ - static_cast<int>(literalFrame)) / 2;
    if (target == nullptr) return count;
    if (capacity < count) raise<NLSException>("ERR_BUFFER_SIZE_TOO_SMALL", capacity);
    const char* digit = store_ + 2;
    for (int i = 0; i < count; ++i, digit += 2) {
      target[i] = static_cast<char>(digitValue(digit[0]) * 16 + digitValue(digit[1]));
    }
    return count;
  });
}

// --- append and insert

void DataBuffer::appendString(const char* text) {
  if (text::isEmpty(text)) return;
  traced<probe("DataBuffer::appendString")>([&] { append(text, std::strlen(text)); });
}

void DataBuffer::appendString(const char* text, int count) {
  if (text == nullptr || count < 1) return;
  traced<probe("DataBuffer::appendString")>([&] { append(text, static_cast<std::size_t>(count)); });
}

void DataBuffer::appendString(const icu::UnicodeString& text, const char* encoding) {
  traced<probe("DataBuffer::appendString")>([&] { insertConverted(length_, text, encoding); });
}

void DataBuffer::appendString(const DataBuffer& other) {
  appendString(other.store_, other.length_);
}

void DataBuffer::insertString(int position, const char* text) {
  if (text::isEmpty(text)) return;
  traced<probe("DataBuffer::insertString")>([&] { insert(position, text, std::strlen(text)); });
}

void DataBuffer::insertString(int position, const char* text, int count) {
  if (text == nullptr || count < 1) return;
  traced<probe("DataBuffer::insertString")>([&] { insert(position, text, static_cast<std::size_t>(count)); });
}

void DataBuffer::insertString(int position, const icu::UnicodeString& text, const char* encoding) {
  traced<probe("DataBuffer::insertString")>([&] { insertConverted(position, text, encoding); });
}

void DataBuffer::insertString(int position, const DataBuffer& other) {
  insertString(position, other.store_, other.length_);
}

template <class Number>
[[gnu::noinline]] void DataBuffer::insertNumber(Number value) {
  traced<probe("DataBuffer::appendNumber")>([&] {
    const text::DecimalText<Number> text(value);
    insert(length_, text.view().data(), text.view().size());
  });
}

/// Fast path: if the free space is already zero, formats in place; makes no calls when tracing is off.
template <class Integer>
inline void DataBuffer::appendInteger(Integer value) {
  if (trace::entryIsTraced() || !endsInZeros(text::DecimalText<Integer>::longest)) return insertNumber(value);
  tracedExit<probe("DataBuffer::appendNumber")>([&] {
    char* const store = store_;
    length_ = written_ = static_cast<int>(text::DecimalText<Integer>::write(store + length_, value) - store);
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
    const std::size_t size = 2 * bytes + literalFrame;
    if (!admits(size)) return;                 // before the data is read
    if (written_ <= length_ && !owns(data)) {  // written in place
      char* const end = openAtEnd(static_cast<int>(size));
      if (end != nullptr) writeLiteral(end, data, bytes, upperCase);
      return;
    }
    Scratch literal(size);
    if (literal.get() == nullptr) return;
    writeLiteral(literal.get(), data, bytes, upperCase);
    append(literal.get(), size);
  });
}

bool DataBuffer::insertConverted(int position, const icu::UnicodeString& text, const char* encoding) {
  refuseZeroBytes(encoding);
  const char* const codePage = text::nullIfEmpty(encoding);
  // Repeats if the buffer on the stack is too small. A third round is needed for those few of ICU's
  // converters that under-report the size if the buffer cuts a character.
  for (std::int32_t capacity = Scratch::inlineSize;;) {
    Scratch room(static_cast<std::size_t>(capacity));
    if (room.get() == nullptr) return false;
    const std::int32_t size = text::fromUnicode(text, room.get(), capacity, codePage);
    if (size < 0) {
      raise<NLSException>("ERR_CONV_CONVERSION_ERROR", text::invariantText("UTF-16"),
                          text::invariantText(encodingName(encoding)));
    }
    if (size <= capacity) return insert(position, room.get(), static_cast<std::size_t>(size));
    capacity = size;
  }
}

// --- insertion: every addition ends here, except an append that fits

/// Inserts at least one byte at the end. If zeros follow the text, as they usually do, nothing has to move,
/// even if the added text is a part of the buffer. Inline, since a short text takes less time than a call.
[[gnu::always_inline]] inline bool DataBuffer::append(const char* text, std::size_t count) {
  if (count > text::shortPiece || !endsInZeros(count)) return appendAny(text, count);
  char* const end = store_ + length_;
  length_ = written_ = length_ + static_cast<int>(count);
  text::moveShort(end, text, count);
  return true;
}

[[gnu::noinline]] bool DataBuffer::appendAny(const char* text, std::size_t count) {
  if (!endsInZeros(count)) return insert(length_, text, count);
  std::memmove(store_ + length_, text, count);
  length_ = written_ = length_ + static_cast<int>(count);
  return true;
}

/// Inserts `count` bytes. Returns false if no capacity suffices or if there is no memory.
bool DataBuffer::insert(int position, const char* text, std::size_t count) {
  if (count < 1) return true;
  if (!admits(count)) return false;
  const int added = static_cast<int>(count);
  position = std::clamp(position, 0, length_);
  return owns(text) ? insertCopied(position, text, added) : insertForeign(position, text, added);
}

/// For a text that is inside the storage that is about to change.
bool DataBuffer::insertCopied(int position, const char* text, int count) {
  const std::size_t used =
      fits(count) ? static_cast<std::size_t>(count) : lengthUpTo(text, static_cast<std::size_t>(count));
  Scratch copy(used + 1);
  if (copy.get() == nullptr) return false;
  std::memcpy(copy.get(), text, used);
  copy.get()[used] = '\0';
  return insertForeign(position, copy.get(), count);
}

bool DataBuffer::insertForeign(int position, const char* text, int count) {
  if (!fits(count)) return insertGrowing(position, text, count);
  insertFitting(position, text, count);
  return true;
}

/// The tail is the bytes from the position up to the first 0, not up to the length. So bytes after a 0 inside
/// the text stay where they are, and old bytes left by `clear(true)` move. Other bytes after the new text do
/// not change. A tail of old bytes moves only as far as it fits.
void DataBuffer::insertFitting(int position, const char* text, int count) {
  char* const gap = store_ + position;
  const int tail = std::min(static_cast<int>(tailLength(position)), capacity_ - position - count);
  if (tail > 0) std::memmove(gap + count, gap, static_cast<std::size_t>(tail));
  std::memcpy(gap, text, static_cast<std::size_t>(count));
  length_ += count;
  written_ = std::max(written_, position + count + tail);
  zeroFree_ = std::min(zeroFree_, position);
}

/// The text becomes the bytes before the position, the new text and the tail, each up to its first 0; zeros
/// follow.
bool DataBuffer::insertGrowing(int position, const char* text, int count) {
  const std::size_t added = lengthUpTo(text, static_cast<std::size_t>(count));
  char* const gap = growAround(position, count, added);
  if (gap == nullptr) return false;
  std::memcpy(gap, text, added);
  return true;
}

/// Makes a gap of `added` bytes in the text and returns it; null if there is no memory. `count` is the
/// requested number of bytes, of which `added` precede the first 0. The capacity is always length + count +
/// 4096. The block at least doubles, so a text built of many pieces is copied only a few times.
char* DataBuffer::growAround(int position, int count, std::size_t added) {
  const int capacity = length_ + count + spareCapacity;
  const std::size_t needed = static_cast<std::size_t>(capacity) + 1;
  const std::size_t head = headLength(position);
  const std::size_t tail = tailLength(position);
  const std::size_t total = head + added + tail;
  std::size_t unknown = needed;  // from here on the bytes are known to be 0
  if (needed - total > largeSpare) {
    if (!moveToZeroed(needed)) return nullptr;
    unknown = std::max(total, static_cast<std::size_t>(written_));
  } else if (needed > blockSize_ && !enlarge(needed)) {
    return nullptr;
  }
  std::memmove(store_ + head + added, store_ + position, tail);
  std::memset(store_ + total, 0, unknown - total);
  capacity_ = capacity;
  length_ = written_ = zeroFree_ = static_cast<int>(total);
  return store_ + head;
}

/// Makes room at the end for `count` bytes, which the caller writes and of which none is 0. The length
/// includes them already, and zeros follow the room. Null if there is no memory.
char* DataBuffer::openAtEnd(int count) {
  if (!fits(count)) return growAround(length_, count, static_cast<std::size_t>(count));
  char* const end = store_ + length_;
  length_ = written_ = length_ + count;
  return end;
}

/// Enlarges the heap block to at least twice its size, or allocates one of the size needed. The bytes written
/// so far stay; the others are undefined.
bool DataBuffer::enlarge(std::size_t needed) {
  char* const old = onHeap() ? store_ : nullptr;
  const std::size_t times = blockSize_ >= growsAheadFrom && 4 * blockSize_ <= largestAhead ? 4 : 2;
  const std::size_t ahead = std::min(times * blockSize_, static_cast<std::size_t>(largestCapacity) + 1);
  std::size_t size = std::max(needed, ahead);
  void* block = std::realloc(old, size);
  if (block == nullptr && size > needed) block = std::realloc(old, size = needed);
  if (block == nullptr) return false;
  if (old == nullptr) leaveInlineStore(static_cast<char*>(block));
  store_ = static_cast<char*>(block);
  blockSize_ = size;
  platform::preferLargePages(block, size);
  return true;
}

/// Moves the text to a heap block of the size needed. The bytes after it are 0 and have not been touched.
bool DataBuffer::moveToZeroed(std::size_t needed) {
  char* const block = allocateZeroed(needed);
  if (block == nullptr) return false;
  if (onHeap()) {
    std::memcpy(block, store_, static_cast<std::size_t>(written_));
    std::free(store_);
  } else {
    leaveInlineStore(block);
  }
  store_ = block;
  blockSize_ = needed;
  return true;
}

/// Moves the text out of the inline store, which is all 0 while the heap is in use.
void DataBuffer::leaveInlineStore(char* block) {
  std::memcpy(block, inlineStore_.data(), static_cast<std::size_t>(written_));
  std::memset(inlineStore_.data(), 0, static_cast<std::size_t>(written_));
}

// --- empty

/// Fast path: a short text inside the object is cleared without a call when tracing is off. Always clears 64
/// bytes, some of which may be 0 already.
void DataBuffer::clear(bool keepContents) {
  constexpr int shortText = 64;
  if (trace::entryIsTraced() || keepContents || onHeap() || written_ > shortText)
    return clearAny(keepContents);
  tracedExit<probe("DataBuffer::clear")>([&] {
    std::memset(inlineStore_.data(), 0, shortText);
    length_ = written_ = zeroFree_ = 0;
  });
}

[[gnu::noinline]] void DataBuffer::clearAny(bool keepContents) {
  traced<probe("DataBuffer::clear")>([&] {
    if (keepContents && !onHeap()) {
      store_[0] = '\0';
      length_ = zeroFree_ = 0;
    } else {
      release();
    }
  });
}

/// Returns to the inline store, all of it 0. While the heap is in use the inline store is 0 already.
void DataBuffer::release() {
  if (onHeap()) {
    std::free(store_);
  } else {
    std::memset(inlineStore_.data(), 0, static_cast<std::size_t>(written_));
  }
  store_ = inlineStore_.data();
  capacity_ = inlineCapacity;
  length_ = written_ = zeroFree_ = 0;
  blockSize_ = 0;
}

// --- the state of the store

/// Whether the capacity for `count` more bytes is still an int.
bool DataBuffer::admits(std::size_t count) const {
  const int most = std::max(capacity_ - length_, largestCapacity - spareCapacity - length_);
  return count <= static_cast<std::size_t>(most);
}

/// Whether there is room for `count` more bytes after the text and all of it is 0.
bool DataBuffer::endsInZeros(std::size_t count) const {
  return count <= static_cast<std::size_t>(capacity_ - length_) && written_ <= length_;
}

bool DataBuffer::fits(int count) const {
  return count <= capacity_ - length_;
}

bool DataBuffer::onHeap() const {
  return store_ != inlineStore_.data();
}

bool DataBuffer::owns(const char* text) const {
  const std::less<> before;
  return !before(text, store_) && !before(store_ + capacity_, text);
}

/// The number of bytes before the position, or before the first 0 among them.
std::size_t DataBuffer::headLength(int position) const {
  const int known = std::min(zeroFree_, position);
  return static_cast<std::size_t>(known) +
         lengthUpTo(store_ + known, static_cast<std::size_t>(position - known));
}

/// The number of bytes from the position up to the first 0.
std::size_t DataBuffer::tailLength(int position) const {
  return position < written_ ? std::strlen(store_ + position) : 0;
}

}  // namespace tarvo::oss
