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

/// Converts text from one code page to another, with ICU's converters.
///
///     char latin[64];
///     const char* utf8 = "Gr\xC3\xBC\xC3\x9F""e";
///     const int size = Converter::convert(latin, sizeof latin, "UTF-8", utf8, "ISO-8859-1");  // -> 6
///     const std::string text(latin, size - 1);     // text.size() -> 5
///     const int needed = Converter::convert(nullptr, 0, "UTF-16BE", u"Grüße");   // -> 11
///
/// Code pages are ICU converter names, NUL-terminated; null and "" are ICU's default converter. Lengths,
/// capacities and sizes are bytes. Bytes that are invalid in their code page become U+FFFD, or the
/// replacement character that ICU's converter defines. A character that the target code page does not contain
/// becomes the substitution byte of the target code page. To save time, each thread keeps the ICU converters
/// open that it used recently. All members are static, and any thread may call them at any time.
class KELINFRA_API Converter {
 public:
  Converter() = delete;

  /// The overloads of `convert` write their result into the caller's `destination`. The source is
  /// NUL-terminated text, a text of `length` bytes, or Unicode text. If the destination is null, `convert`
  /// only returns the size of the result. For the code pages ISCII and LMBCS, ICU sometimes reports a size
  /// that is one or two bytes too small. A destination of the reported size is then too small
  /// (ERR_BUFFER_SIZE_TOO_SMALL): provide a larger one.
  ///
  ///   destination        receives at most `destinationLength` bytes; after a failed conversion it may hold
  ///                      the beginning of the result
  ///   fromCodePage,      null or "" is ICU's default converter. If the two names are equal byte for byte,
  ///   toCodePage         the data is copied unchanged, even if it is invalid or ICU does not know the name.
  ///                      If two different names mean one converter, the data is converted
  ///   returns            the size of the result, including its terminating NUL, which is written too. If
  ///                      `data` is null, the size is 0 and nothing is written. If the data is empty or
  ///                      `length` is below 0, the size is 1: the NUL is written if there is room for it, and
  ///                      the code pages are not used
  ///
  ///   raises   NLSException ERR_CONV_CONVERSION_ERROR (to, from): ICU does not know a code page, or the
  ///            result is empty, or the size is above the largest int, or the data is longer than 2^31 - 11
  ///            bytes, which is the most that ICU can hold. The arguments are the names that the caller
  ///            passed; the name of the default converter replaces null and "", and is the name of the source
  ///            for Unicode text
  ///            NLSException ERR_BUFFER_SIZE_TOO_SMALL (destinationLength): the size of the result is above
  ///            `destinationLength`. Therefore a destination of length 0 or below is always too small;
  ///            nothing is written to it
  static int convert(char* destination, int destinationLength, const char* fromCodePage, const char* data,
                     const char* toCodePage);
  static int convert(char* destination, int destinationLength, const char* fromCodePage, const char* data,
                     int length, const char* toCodePage);
  static int convert(char* destination, int destinationLength, const char* toCodePage,
                     const icu::UnicodeString& data);

  /// Turns debug output on or off for the whole process. Debug output is off when the program starts. If
  /// debug output is on, `convert` prints its parameters, its data and its steps to standard output.
  static void setDebug(bool on);

  /// Converts `text` into `bytes` and returns the number of bytes. If the capacity of the buffer is too
  /// small, the buffer grows to a power of two. `convertToBytes` writes a terminator only if the buffer has
  /// room for one after the bytes; the returned number does not include the terminator. A character that the
  /// code page does not contain becomes the substitution byte of the code page. If ICU does not know the code
  /// page, the result is 0 bytes.
  ///   raises   NLSException QN_ERR_OUT_OF_MEMORY ("Converter::convertToBytes()"): no memory, more than 2^30
  ///            bytes, or more than the buffer's maximum
  template <std::size_t N>
  static std::size_t convertToBytes(const icu::UnicodeString& text, const char* codePage,
                                    SizeableBuffer<char, N>& bytes) {
    return convertToBytes(text, codePage, bytes.data(), static_cast<std::size_t>(bytes.capacity()),
                          &detail::growBuffer<N>, &bytes);
  }

  /// The part of `convertToBytes` that does not depend on N. If the `capacity` bytes at `target` are too few,
  /// this function calls `grow(buffer, size)`, which returns a pointer to room for `size` bytes or raises
  /// std::bad_alloc.
  static std::size_t convertToBytes(const icu::UnicodeString& text, const char* codePage, char* target,
                                    std::size_t capacity, char* (*grow)(void* buffer, std::size_t size),
                                    void* buffer);
};

}  // namespace tarvo::oss
