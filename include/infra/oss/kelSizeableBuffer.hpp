#pragma once

#include "infra/kelExport.hpp"
#include "infra/oss/kelDefaultAlternateBuffer.hpp"

#include <cstddef>

namespace tarvo::oss {

/// A scratch array with room for N elements inside the object and heap storage for larger sizes. Meant for
/// the stack, one thread at a time.
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
/// The contents are not initialised. A resize that changes the storage does not keep them. The pointer from
/// `data` lives until the next `resize`.
template <class T, std::size_t N>
class SizeableBuffer {
 public:
  // NOLINTNEXTLINE(modernize-use-equals-default,cppcoreguidelines-pro-type-member-init): it stays raw
  SizeableBuffer() : data_(inlineStore_) {}
  SizeableBuffer(const SizeableBuffer&) = delete;
  SizeableBuffer& operator=(const SizeableBuffer&) = delete;
  virtual ~SizeableBuffer() = default;

  /// The elements, inside the object or on the heap; writable up to `capacity()`.
  T* data() KELINFRA_LIFETIMEBOUND { return data_; }
  const T* data() const KELINFRA_LIFETIMEBOUND { return data_; }
  /// The size that was last requested; N at first.
  unsigned long long size() const { return size_; }
  /// N while the room inside the object is in use, then the heap storage's capacity: a power of two.
  unsigned long long capacity() const { return capacity_; }

  /// Makes room for `n` elements. If n is at most N and the inline store is in use, it stays in use. Once the
  /// buffer is on the heap, it stays there and grows as `DefaultAlternateBuffer` does.
  ///   raises   std::bad_alloc: n above 2^30, or no memory; data is then null and both sizes are 0
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
  /// Sets the upper limit of a size, above which `resize` changes nothing; 0 is no limit.
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
