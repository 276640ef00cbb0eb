#pragma once

#include "infra/kelExport.hpp"
#include "infra/oss/kelDefaultAlternateBuffer.hpp"

#include <cstddef>

namespace tarvo::oss {

/// A scratch array, intended as a local variable. The object stores up to N elements inside itself, and
/// more elements on the heap. Only one thread at a time may use an object.
///
///     const icu::UnicodeString text = u"Grüße";
///     SizeableBuffer<char, 4> bytes;
///     const int length = text.length();
///     const std::size_t count = text.extract(0, length, bytes.data(), bytes.capacity(), "UTF-8");  // -> 7
///     if (count > bytes.capacity()) {
///       bytes.resize(count);
///       text.extract(0, length, bytes.data(), bytes.capacity(), "UTF-8");
///     }
///     bytes.capacity();  // -> 8
///
/// The elements are not initialised. If a resize changes the storage, the contents are lost. The pointer that
/// `data` returns is valid until the next `resize`.
template <class T, std::size_t N>
class SizeableBuffer {
 public:
  // NOLINTNEXTLINE(modernize-use-equals-default,cppcoreguidelines-pro-type-member-init): it stays raw
  SizeableBuffer() : data_(inlineStore_) {}
  SizeableBuffer(const SizeableBuffer&) = delete;
  SizeableBuffer& operator=(const SizeableBuffer&) = delete;
  virtual ~SizeableBuffer() = default;

  /// Returns a pointer to the elements, inside the object or on the heap. The caller may write to all
  /// `capacity()` elements.
  T* data() KELINFRA_LIFETIMEBOUND { return data_; }
  const T* data() const KELINFRA_LIFETIMEBOUND { return data_; }
  /// Returns the size that was last requested, or N if no size was requested yet.
  unsigned long long size() const { return size_; }
  /// While the elements are inside the object, returns N. While the elements are on the heap, returns the
  /// capacity of the heap storage, which is a power of two.
  unsigned long long capacity() const { return capacity_; }

  /// Makes room for `n` elements. If the elements are inside the object and `n` is at most N, they stay
  /// inside the object. If the elements are on the heap, they stay on the heap, and the heap storage grows by
  /// the rules of `DefaultAlternateBuffer`.
  ///   raises   std::bad_alloc: n above 2^30, or no memory; `data()` is then null, and the size and the
  ///            capacity are 0
  void resize(unsigned long long n) {
    if (maximumSize_ != 0 && n > maximumSize_) return;
    if (data_ == inlineStore_ && n <= N) {
      size_ = n;
      return;
    }
    data_ = nullptr;
    size_ = 0;
    capacity_ = 0;
    heap_.resize(n);
    data_ = heap_.data();
    size_ = n;
    capacity_ = heap_.capacity();
  }

 protected:
  /// Sets the largest size that `resize` accepts; for a larger size `resize` changes nothing. 0 means no
  /// limit.
  void setMaximumSize(unsigned long long size) { maximumSize_ = size; }

 private:
  unsigned long long maximumSize_ = 0;
  unsigned long long capacity_ = N;
  unsigned long long size_ = N;
  T* data_;
  T inlineStore_[N];
  DefaultAlternateBuffer<T> heap_;
};

}  // namespace tarvo::oss
