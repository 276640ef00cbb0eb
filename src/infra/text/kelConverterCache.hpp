#pragma once

#include "text/kelCodec.hpp"

#include <unicode/ucnv.h>

#include <cstdint>

/// A cache of open ICU converters. Each thread keeps up to eight converters open, and closes them when the
/// thread ends. A converter is found by the exact name for which it was opened. The cache does not contain
/// names that ICU does not know.
namespace tarvo::text {

struct KeptConverter;

/// An open converter for the duration of a scope. Usually the object uses a converter that the thread keeps.
/// The object opens a separate converter in three cases: a function further up the call stack of this thread
/// is using the kept converter, the name is longer than any of ICU's names, or the thread is ending.
///
///     const CachedConverter converter("ISO-8859-1");
///     if (converter.get() == nullptr) ...                 // ICU knows no such name
///
/// The converter is in the state of a newly opened converter, with one exception: callbacks that a function
/// set on the converter earlier are still set. Therefore a caller must not set callbacks, or must restore the
/// former callbacks.
class CachedConverter {
 public:
  /// The cache stores for each direction the converter that was found last, because consecutive texts often
  /// use the same code pages.
  enum class Direction : std::uint8_t { toUnicode, fromUnicode };

  /// Creates an object without a converter.
  CachedConverter() = default;

  /// Opens the converter `name`. A null name means ICU's default converter; the function reads the name of
  /// the default converter on every call, because the name can change.
  explicit CachedConverter(const char* name);

  /// Opens the converter `name`, in the state in which the last use left it, for functions of ICU that reset
  /// the converter themselves.
  CachedConverter(const char* name, Direction direction);

  CachedConverter(const CachedConverter&) = delete;
  CachedConverter& operator=(const CachedConverter&) = delete;
  ~CachedConverter();

  /// Returns the converter, or null if it cannot be opened. The converter is valid as long as this object
  /// exists.
  UConverter* get() const { return converter_; }

  /// Returns the codec for the code page, or null if ICU has to convert the code page. A converter that the
  /// thread does not keep has no codec.
  const Codec* codec() const { return codec_; }

 private:
  [[gnu::noinline]] void openNew(const char* name);

  UConverter* converter_ = nullptr;
  const Codec* codec_ = nullptr;
  KeptConverter* kept_ = nullptr;  // null: not kept, and this object closes the converter
};

}  // namespace tarvo::text
