#pragma once

#include "infra/kelExport.hpp"

#include <cstddef>
#include <new>
#include <utility>

namespace tarvo::oss {

/// Raw storage that grows by powers of two and never shrinks: the storage under `ByteBuffer` and
/// `SizeableBuffer`.
///
/// `resize` follows one rule. Sizes count elements, the terminator of the user's text included.
///   1  need <= capacity: only the used size changes, storage and contents stay.
///   2  a maximum size is set and the need is above it: the storage is released; data null, both sizes 0.
///   3  need <= alternate size: the alternate block becomes the storage.
///   4  otherwise a new block of the smallest power of two, at least 4, that holds the need.
/// In 3 and 4 the contents are lost. A need above 2^30 raises std::bad_alloc without calling the allocator:
/// larger buffers are not supported. After a failed allocation data is null and both sizes are 0; the object
/// can be used again. `ByteBuffer` and `SizeableBuffer` set neither an alternate block nor a maximum.
///
/// One thread at a time. The pointer from `data` lives until the next `resize` that moves the storage.
template <class T>
class DefaultAlternateBuffer {
 public:
  DefaultAlternateBuffer() = default;
  DefaultAlternateBuffer(const DefaultAlternateBuffer&) = delete;
  DefaultAlternateBuffer& operator=(const DefaultAlternateBuffer&) = delete;
  virtual ~DefaultAlternateBuffer() {
    if (data_ != alternateBlock_) delete[] data_;
    delete[] alternateBlock_;
  }

  /// The storage, or null if there is no storage.
  T* data() const KELINFRA_LIFETIMEBOUND { return data_; }
  /// Elements allocated at `data()`.
  unsigned long long capacity() const { return capacity_; }
  /// The size that was last requested; 0 without storage.
  unsigned long long usedSize() const { return usedSize_; }

  /// Makes room for `need` elements, discarding the contents unless they fit where they are.
  ///   raises   std::bad_alloc: need above 2^30, or no memory
  void resize(unsigned long long need) {
    if (need <= capacity_) {
      usedSize_ = need;
    } else {
      replaceStorage(need);
    }
  }

  /// Exchanges everything with `other`, settings included; the blocks stay where they are.
  void swap(DefaultAlternateBuffer& other) noexcept {
    std::swap(data_, other.data_);
    std::swap(alternateBlock_, other.alternateBlock_);
    std::swap(alternateSize_, other.alternateSize_);
    std::swap(maximumSize_, other.maximumSize_);
    std::swap(capacity_, other.capacity_);
    std::swap(usedSize_, other.usedSize_);
  }

  /// The largest size that `resize` accepts.
  static constexpr unsigned long long largestSize = 1ULL << 30;

 protected:
  /// Takes ownership of `block`, allocated by new[], as the alternate block of `size` elements.
  void setAlternateBlock(T* block, unsigned long long size) {
    alternateBlock_ = block;
    alternateSize_ = size;
  }
  /// Sets the upper limit of a need; 0 is no limit.
  void setMaximumSize(unsigned long long size) { maximumSize_ = size; }

 private:
  // Not inlined: a resize within the capacity then costs the caller one comparison and one store.
  KELINFRA_NOINLINE void replaceStorage(unsigned long long need) {
    release();
    if (maximumSize_ != 0 && need > maximumSize_) return;
    if (need <= alternateSize_) {
      data_ = alternateBlock_;
      capacity_ = alternateSize_;
      usedSize_ = alternateBlock_ == nullptr ? 0 : need;
      return;
    }
    if (need > largestSize) throw std::bad_alloc();
    unsigned long long newCapacity = 4;
    while (newCapacity < need) newCapacity *= 2;
    data_ = new T[static_cast<std::size_t>(newCapacity)];
    capacity_ = newCapacity;
    usedSize_ = need;
  }

  void release() {
    if (data_ != alternateBlock_) delete[] data_;
    data_ = nullptr;
    capacity_ = 0;
    usedSize_ = 0;
  }

  T* data_ = nullptr;
  T* alternateBlock_ = nullptr;
  unsigned long long alternateSize_ = 0;
  unsigned long long maximumSize_ = 0;
  unsigned long long capacity_ = 0;
  unsigned long long usedSize_ = 0;
};

}  // namespace tarvo::oss
