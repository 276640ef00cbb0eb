#include "infra/oss/kelByteBuffer.hpp"

#include "platform/kelLargePages.hpp"
#include "text/kelTranscoding.hpp"
#include "text/kelWords.hpp"
#include "trace/kelTrace.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

namespace tarvo::oss {

using trace::probe;
using trace::traced;
using trace::tracedExit;

namespace {

using Storage = DefaultAlternateBuffer<char>;

/// Returns the storage size for `length` bytes and their terminator. If the sum overflows, the result is a
/// size that no storage can have.
constexpr unsigned long long withTerminator(unsigned long long length) {
  return std::max(length + 1, length);
}

/// Resizes the storage for `length` bytes and writes the terminator after them.
void makeRoom(Storage& storage, unsigned long long length) {
  storage.resize(withTerminator(length));
  storage.data()[length] = '\0';
}

/// Moves bytes into storage. The storage has room for the `length` bytes, so `length` fits into a size_t.
void moveBytes(char* target, const char* source, unsigned long long length) {
  std::memmove(target, source, static_cast<std::size_t>(length));
}

}  // namespace

ByteBuffer::ByteBuffer(unsigned long long size) {
  tracedExit<probe("ByteBuffer::ByteBuffer")>([&] {
    auto storage = std::make_unique<Storage>();
    makeRoom(*storage, size);
    std::memset(storage->data(), 0, static_cast<std::size_t>(size));
    storage->resize(1);
    storage_ = storage.release();
  });
}

ByteBuffer::ByteBuffer(const char* const data, unsigned long long length) {
  tracedExit<probe("ByteBuffer::ByteBuffer")>([&] {
    auto storage = std::make_unique<Storage>();
    makeRoom(*storage, length);
    if (data != nullptr) moveBytes(storage->data(), data, length);
    storage_ = storage.release();
  });
}

ByteBuffer::ByteBuffer(const icu::UnicodeString& text, const char* codepage) {
  tracedExit<probe("ByteBuffer::ByteBuffer")>([&] {
    auto storage = std::make_unique<Storage>();
    const std::int32_t size = text::fromUnicode(text, nullptr, 0, codepage, [&](std::int32_t room) {
      makeRoom(*storage, static_cast<std::uint32_t>(room));
      return storage->data();
    });
    if (size < 0) throw std::bad_alloc();  // the size is above the largest int
    makeRoom(*storage, static_cast<std::uint32_t>(size));
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
         (length == 0 || std::memcmp(get(), data, static_cast<std::size_t>(length)) == 0);
}

bool ByteBuffer::operator==(const ByteBuffer& other) const {
  return compare(other.get(), other.length());
}

// Fast path: if the bytes are few and fit, and entries are not traced, the append makes no call and saves no
// registers. The size is set before the bytes are written. In the other order the compiler would load the
// capacity again, because a write to a char may change any object.
void ByteBuffer::append(const char* const data, unsigned long long length) {
  if (data == nullptr || length == 0) return;
  Storage& storage = *storage_;
  const unsigned long long used = storage.usedSize();
  if (trace::entryIsTraced() || length > text::shortPiece || used + length > storage.capacity()) {
    return appendAny(data, length);
  }
  tracedExit<probe("ByteBuffer::append")>([&] {
    storage.resize(used + length);
    char* const end = storage.data() + used - 1;
    text::moveShort(end, data, static_cast<std::size_t>(length));
    end[length] = '\0';
  });
}

[[gnu::noinline]] void ByteBuffer::appendAny(const char* data, unsigned long long length) {
  traced<probe("ByteBuffer::append")>([&] {
    const unsigned long long before = this->length();
    const unsigned long long after = before + length;
    if (after < length) throw std::bad_alloc();
    if (withTerminator(after) <= storage_->capacity()) {
      moveBytes(storage_->data() + before, data, length);
      makeRoom(*storage_, after);
      return;
    }
    Storage grown;
    makeRoom(grown, after);
    platform::preferLargePages(grown.data(), static_cast<std::size_t>(grown.capacity()));
    if (before > 0) moveBytes(grown.data(), storage_->data(), before);
    moveBytes(grown.data() + before, data, length);
    storage_->swap(grown);
  });
}

void ByteBuffer::set(const char* const data, unsigned long long length) {
  if (data == nullptr) return;
  traced<probe("ByteBuffer::set")>([&] { assign(data, length); });
}

void ByteBuffer::clear() {
  traced<probe("ByteBuffer::clear")>([&] { makeRoom(*storage_, 0); });
}

// NOLINTNEXTLINE(bugprone-unhandled-self-assignment): assign moves its bytes, onto themselves if need be
ByteBuffer& ByteBuffer::operator=(const ByteBuffer& other) {
  if (other.get() == nullptr) return *this;
  traced<probe("ByteBuffer::operator=")>([&] { assign(other.get(), other.length()); });
  return *this;
}

// The function moves the bytes (memmove), because the bytes may be a part of this buffer. A part of the
// buffer fits into the present block, with one exception: if the part is the whole block, there is no room
// for the terminator. In this case `wholeBlock` keeps the old block until its bytes have been copied.
void ByteBuffer::assign(const char* data, unsigned long long length) {
  Storage wholeBlock;
  if (data == storage_->data() && withTerminator(length) > storage_->capacity()) wholeBlock.swap(*storage_);
  storage_->resize(withTerminator(length));
  moveBytes(storage_->data(), data, length);
  storage_->data()[length] = '\0';
}

}  // namespace tarvo::oss
