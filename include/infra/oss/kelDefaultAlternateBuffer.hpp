#pragma once

#include "infra/kelExport.hpp"

#include <cstddef>
#include <new>
#include <utility>

namespace tarvo::oss {

/// Raw storage that grows by powers of two and never shrinks. `ByteBuffer` and `SizeableBuffer` use this
/// class for their storage.
///
/// `resize(need)` makes room for `need` elements. `resize` follows the first rule of this list that applies.
/// Sizes are numbers of elements, including a terminator.
///   1  need <= capacity: only the used size changes, storage and contents stay.
///   2  a maximum size is set and the need is above it: the storage is released; data null, both sizes 0.
///   3  need <= alternate size: the alternate block becomes the storage.
///   4  otherwise a new block of the smallest power of two, at least 4, that holds the need.
/// If rule 3 or rule 4 applies, the contents are lost. If `need` is above 2^30, `resize` raises
/// std::bad_alloc without calling the allocator: larger buffers are not supported. After a failed allocation
/// `data()` is null, and the capacity and the used size are 0; the object can be used again. The alternate
/// block is memory that the program provides by `setAlternateBlock`. `ByteBuffer` and `SizeableBuffer` set
/// neither an alternate block nor a maximum.
///
/// Only one thread at a time may use an object. The pointer that `data` returns is valid until the next
/// `resize` that moves the storage.
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

  /// Returns a pointer to the storage, or null if there is no storage.
  T* data() const KELINFRA_LIFETIMEBOUND { return data_; }
  /// Returns the number of elements that are allocated at `data()`.
  unsigned long long capacity() const { return capacity_; }
  /// Returns the size that was last requested, or 0 if there is no storage.
  unsigned long long usedSize() const { return usedSize_; }

  /// Makes room for `need` elements. If `need` is above the capacity, the contents are lost.
  ///   raises   std::bad_alloc: need above 2^30, or no memory
  void resize(unsigned long long need) {
    if (need <= capacity_) {
      usedSize_ = need;
    } else {
      replaceStorage(need);
    }
  }

  /// Exchanges storage, sizes and settings with `other`, and copies no element.
  void swap(DefaultAlternateBuffer& other) noexcept {
    std::swap(data_, other.data_);
    std::swap(alternateBlock_, other.alternateBlock_);
    std::swap(alternateSize_, other.alternateSize_);
    std::swap(maximumSize_, other.maximumSize_);
    std::swap(capacity_, other.capacity_);
    std::swap(usedSize_, other.usedSize_);
  }

  /// Returns the largest size that `resize` accepts.
  static constexpr unsigned long long largestSize = 1ULL << 30;

 protected:
  /// Takes ownership of `block`, an array of `size` elements allocated by new[], as the alternate block.
  void setAlternateBlock(T* block, unsigned long long size) {
    alternateBlock_ = block;
    alternateSize_ = size;
  }
  /// Sets the largest `need` for which `resize` provides storage; 0 means no limit.
  void setMaximumSize(unsigned long long size) { maximumSize_ = size; }

 private:
  // `replaceStorage` is not inlined, so a resize within the capacity costs the caller one comparison and one
  // store.
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
