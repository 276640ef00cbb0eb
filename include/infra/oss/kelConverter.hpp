#pragma once

#include "infra/kelExport.hpp"
#include "infra/oss/kelSizeableBuffer.hpp"

#include <unicode/unistr.h>

#include <cstddef>
#include <new>

namespace tarvo::oss {

namespace detail {

template <std::size_t N>
char* growBuffer(void* buffer, std::size_t size) {
  auto& grown = *static_cast<SizeableBuffer<char, N>*>(buffer);
  grown.resize(size);
  if (grown.capacity() < size) throw std::bad_alloc();
  return grown.data();
}

}  // namespace detail

/// Code-page conversion over ICU's converters. All members are static and may be called from any thread.
/// Code pages are ICU converter names, NUL-terminated; null is ICU's default converter.
class KELINFRA_API Converter {
 public:
  Converter() = delete;

  /// Converts `text` into `bytes` and returns the byte count. Up to N bytes stay in the buffer's inline
  /// store; for more it grows to a power of two. No terminator is counted, and none is written when the bytes
  /// fill the store. What the code page cannot hold becomes its substitution byte; an unknown code page gives
  /// 0 bytes.
  ///   raises   NLSException QN_ERR_OUT_OF_MEMORY ("Converter::convertToBytes()"): no memory, more than 2^30
  ///            bytes, or more than the buffer's maximum
  template <std::size_t N>
  static std::size_t convertToBytes(const icu::UnicodeString& text, const char* codePage,
                                    SizeableBuffer<char, N>& bytes) {
    return convertToBytes(text, codePage, bytes.data(), static_cast<std::size_t>(bytes.capacity()),
                          &detail::growBuffer<N>, &bytes);
  }

  /// The part of `convertToBytes` that does not depend on N. `grow(buffer, size)` gives room for `size` bytes
  /// or raises std::bad_alloc; it is called only when `capacity` bytes at `target` do not suffice.
  static std::size_t convertToBytes(const icu::UnicodeString& text, const char* codePage, char* target,
                                    std::size_t capacity, char* (*grow)(void* buffer, std::size_t size),
                                    void* buffer);
};

}  // namespace tarvo::oss
