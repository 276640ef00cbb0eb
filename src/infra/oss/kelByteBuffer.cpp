#include "infra/oss/kelByteBuffer.hpp"

#include "infra/oss/kelDefaultAlternateBuffer.hpp"

#include "oss/kelConverterCache.hpp"
#include "oss/kelGrowAhead.hpp"
#include "oss/kelShortMove.hpp"
#include "platform/kelLargePages.hpp"
#include "trace/kelTrace.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

namespace tarvo::oss {

using trace::probe;
using trace::traced;
using trace::tracedExit;

namespace {

/// What a content of `length` bytes needs with its terminator. A sum that wraps becomes a need that no
/// storage meets.
constexpr unsigned long long withTerminator(unsigned long long length) {
  return std::max(length + 1, length);
}

}  // namespace

/// Its block may be larger than the capacity that it tells, which goes by the powers of two alone.
class ByteBuffer::Storage final : private DefaultAlternateBuffer<char> {
 public:
  using DefaultAlternateBuffer::capacity;
  using DefaultAlternateBuffer::data;
  using DefaultAlternateBuffer::usedSize;

  /// Whether the block has room for so many bytes.
  bool holds(unsigned long long need) const { return need <= blockSize_; }

  /// Takes `need` bytes of the capacity in use.
  void use(unsigned long long need) { DefaultAlternateBuffer::resize(need); }

  /// Takes `need` bytes in use. The contents are lost unless the block holds them.
  void resize(unsigned long long need) {
    if (!holds(need)) {
      blockSize_ = 0;
      use(need);
      tookBlock(capacity());
    } else if (need > capacity()) {
      setStorage(data(), capacityFor(need));
    }
    use(need);
  }

  /// Room for `length` bytes, and the terminator behind them.
  void makeRoom(unsigned long long length) {
    resize(withTerminator(length));
    data()[length] = '\0';
  }

  /// Tries to get a block for `need` bytes and as many again.
  void reserveAhead(unsigned long long need) {
    if (need > largestAhead / 2) return;
    const unsigned long long size = 2 * capacityFor(need);
    char* const block = new (std::nothrow) char[static_cast<std::size_t>(size)];
    if (block == nullptr) return;
    setStorage(block, size / 2);
    tookBlock(size);
  }

  void swap(Storage& other) noexcept {
    DefaultAlternateBuffer::swap(other);
    std::swap(blockSize_, other.blockSize_);
  }

 private:
  void tookBlock(unsigned long long size) {
    blockSize_ = size;
    platform::preferLargePages(data(), static_cast<std::size_t>(size));
  }

  unsigned long long blockSize_ = 0;
};

ByteBuffer::ByteBuffer(unsigned long long size) {
  tracedExit<probe("ByteBuffer::ByteBuffer")>([&] {
    auto storage = std::make_unique<Storage>();
    storage->makeRoom(size);
    std::memset(storage->data(), 0, size);
    storage->use(1);
    storage_ = storage.release();
  });
}

ByteBuffer::ByteBuffer(const char* const data, unsigned long long length) {
  tracedExit<probe("ByteBuffer::ByteBuffer")>([&] {
    auto storage = std::make_unique<Storage>();
    storage->makeRoom(length);
    if (data != nullptr) std::memcpy(storage->data(), data, length);
    storage_ = storage.release();
  });
}

ByteBuffer::ByteBuffer(const icu::UnicodeString& text, const char* codepage) {
  tracedExit<probe("ByteBuffer::ByteBuffer")>([&] {
    auto storage = std::make_unique<Storage>();
    std::int32_t size = text.isEmpty() ? 0 : fromUnicode(text, nullptr, 0, codepage);
    // More than once for the few of ICU's converters that tell a size too small when a character is cut by the room.
    for (std::int32_t room = 0; size > room;) {
      room = size;
      storage->makeRoom(static_cast<std::uint32_t>(room));
      size = fromUnicode(text, storage->data(), room, codepage);
    }
    if (size < 0) throw std::bad_alloc();  // above the largest int
    storage->makeRoom(static_cast<std::uint32_t>(size));
    storage_ = storage.release();
  });
}

ByteBuffer::ByteBuffer(const ByteBuffer& other) : ByteBuffer(other.get(), other.length()) {}

ByteBuffer::~ByteBuffer() {
  tracedExit<probe("ByteBuffer::clear")>([&] { delete storage_; });
}

const char* ByteBuffer::get() const {
  return storage_->data();
}

unsigned long long ByteBuffer::length() const {
  return storage_->usedSize() == 0 ? 0 : storage_->usedSize() - 1;
}

unsigned long long ByteBuffer::getSize() const {
  return length();
}

unsigned long long ByteBuffer::capacity() const {
  return storage_->capacity();
}

bool ByteBuffer::compare(const char* const data, unsigned long long length) const {
  return data != nullptr && length == this->length() &&
         (length == 0 || std::memcmp(get(), data, length) == 0);
}

bool ByteBuffer::operator==(const ByteBuffer& other) const {
  return compare(other.get(), other.length());
}

// The short piece that fits, untraced, has a path of its own: it calls nothing and saves no register. The size is set
// before the bytes are written: behind them the capacity would have to be looked at again.
void ByteBuffer::append(const char* const data, unsigned long long length) {
  if (data == nullptr || length == 0) return;
  Storage& storage = *storage_;
  const unsigned long long used = storage.usedSize();
  if (trace::entryIsTraced() || length > shortPiece || used + length > storage.capacity()) {
    return appendAny(data, length);
  }
  tracedExit<probe("ByteBuffer::append")>([&] {
    storage.use(used + length);
    char* const end = storage.data() + used - 1;
    moveShort(end, data, length);
    end[length] = '\0';
  });
}

[[gnu::noinline]] void ByteBuffer::appendAny(const char* data, unsigned long long length) {
  traced<probe("ByteBuffer::append")>([&] {
    const unsigned long long before = this->length();
    const unsigned long long after = before + length;
    if (after < length) throw std::bad_alloc();
    if (storage_->holds(withTerminator(after))) {
      std::memmove(storage_->data() + before, data, length);
      storage_->makeRoom(after);
      return;
    }
    Storage grown;
    if (storage_->capacity() >= growsAheadFrom) grown.reserveAhead(withTerminator(after));
    grown.makeRoom(after);
    if (before > 0) std::memcpy(grown.data(), storage_->data(), before);
    std::memcpy(grown.data() + before, data, length);
    storage_->swap(grown);
  });
}

void ByteBuffer::set(const char* const data, unsigned long long length) {
  if (data == nullptr) return;
  traced<probe("ByteBuffer::set")>([&] { assign(data, length); });
}

void ByteBuffer::clear() {
  traced<probe("ByteBuffer::clear")>([&] { storage_->makeRoom(0); });
}

// NOLINTNEXTLINE(bugprone-unhandled-self-assignment): assign moves its bytes, onto themselves if need be
ByteBuffer& ByteBuffer::operator=(const ByteBuffer& other) {
  if (other.get() == nullptr) return *this;
  traced<probe("ByteBuffer::operator=")>([&] { assign(other.get(), other.length()); });
  return *this;
}

// Moves, since the data may be a piece of this buffer. It then fits where it is, unless it is the whole
// block, which must outlive the copy.
void ByteBuffer::assign(const char* data, unsigned long long length) {
  Storage wholeBlock;
  if (data == storage_->data() && !storage_->holds(withTerminator(length))) wholeBlock.swap(*storage_);
  storage_->resize(withTerminator(length));
  std::memmove(storage_->data(), data, length);
  storage_->data()[length] = '\0';
}

}  // namespace tarvo::oss
