#pragma once

#include "text/kelCodec.hpp"

#include <unicode/ucnv.h>

#include <cstdint>

/// A cache of open ICU converters. Each thread keeps up to eight converters open, by the exact name that was
/// requested, and closes them when it ends. Names that ICU does not know are not kept.
namespace tarvo::text {

struct KeptConverter;

/// An open converter for the duration of a scope. Usually it is one that the thread keeps. A separate
/// converter is opened in three cases: a calling function is using the kept converter, the name is longer
/// than any of ICU's names, or the thread is ending.
///
///     const CachedConverter converter("ISO-8859-1");
///     if (converter.get() == nullptr) ...                 // ICU knows no such name
///
/// The converter is in the state of a newly opened one, except that callbacks that were set on it earlier are
/// still set. Therefore do not set callbacks, or restore the former ones.
class CachedConverter {
 public:
  /// The cache stores for each direction the converter that was found last, because consecutive texts often
  /// use the same code pages.
  enum class Direction : std::uint8_t { toUnicode, fromUnicode };

  /// Creates an object without a converter.
  CachedConverter() = default;

  /// Opens the converter `name`. Null means ICU's default converter; its name is read on every call, because
  /// it can change.
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

  /// Returns the codec for the code page; null if ICU has to convert it. A converter that is not kept has no
  /// codec.
  const Codec* codec() const { return codec_; }

 private:
  [[gnu::noinline]] void openNew(const char* name);

  UConverter* converter_ = nullptr;
  const Codec* codec_ = nullptr;
  KeptConverter* kept_ = nullptr;  // null: not kept, and this object closes the converter
};

}  // namespace tarvo::text
