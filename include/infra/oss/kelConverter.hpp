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

/// Code-page conversion over ICU's converters.
///
///     char latin[64];
///     const char* utf8 = "Gr\xC3\xBC\xC3\x9F""e";
///     const int size = Converter::convert(latin, sizeof latin, "UTF-8", utf8, "ISO-8859-1");  // -> 6
///     const std::string text(latin, size - 1);     // text.size() -> 5
///     const int needed = Converter::convert(nullptr, 0, "UTF-16BE", u"Grüße");   // -> 11
///
/// Code pages are ICU converter names, NUL-terminated; null and "" are ICU's default converter. Lengths,
/// capacities and sizes are bytes. Bytes that mean nothing in their code page become U+FFFD or what ICU has
/// in its place, characters that a code page cannot hold its substitution byte. Converters are kept open, for
/// each thread its own. All members are static and may be called from any thread.
class KELINFRA_API Converter {
 public:
  Converter() = delete;

  /// Converts NUL-terminated text, `length` bytes, or Unicode text into the caller's `destination`. With a
  /// null destination it only returns the size of the result. (For texts to ISCII and LMBCS ICU sometimes
  /// under-reports that size by a byte or two: the conversion then raises ERR_BUFFER_SIZE_TOO_SMALL, and a
  /// larger destination suffices.)
  ///
  ///   destination        receives at most `destinationLength` bytes; of a conversion that fails it may hold
  ///                      the beginning
  ///   fromCodePage,      null or "" is ICU's default converter. Between two names that are equal byte for
  ///   toCodePage         byte the data is copied as it is, whatever it holds and whether ICU knows the name
  ///                      or not; two names of one converter lead to a conversion
  ///   returns            the size of the result with a terminating NUL counted, which is written, too. Null
  ///                      `data` is 0, and nothing is written. Empty data, and a length below 0, is 1, the
  ///                      NUL, which is written where there is room for it; no code page is looked at then
  ///
  ///   raises   NLSException ERR_CONV_CONVERSION_ERROR (to, from): ICU does not know a code page, or nothing
  ///            is left of the data, or the size is above the largest int, or the data is longer than
  ///            2^31 - 11 bytes, which is the most that ICU can hold. The names are those given, the default
  ///            converter's for null, "" and Unicode text
  ///            NLSException ERR_BUFFER_SIZE_TOO_SMALL (destinationLength): the size is above it; so every
  ///            destination of length 0 or below is too small, and nothing is written
  static int convert(char* destination, int destinationLength, const char* fromCodePage, const char* data,
                     const char* toCodePage);
  static int convert(char* destination, int destinationLength, const char* fromCodePage, const char* data,
                     int length, const char* toCodePage);
  static int convert(char* destination, int destinationLength, const char* toCodePage,
                     const icu::UnicodeString& data);

  /// Turns the debug lines on or off, for the whole process: `convert` then prints its parameters and what it
  /// does about them on standard output, the data among them. They are off at first.
  static void setDebug(bool on);

  /// Converts `text` into `bytes` and returns the byte count. The buffer grows, to a power of two, only if
  /// its capacity is too small. A terminator is not counted; it is written only if there is room after the
  /// bytes. A character that the code page cannot hold becomes its substitution byte; an unknown code page
  /// gives 0 bytes.
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
