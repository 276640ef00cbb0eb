#pragma once

#include "text/kelCodec.hpp"

#include <unicode/ucnv.h>

#include <cstdint>

/// ICU's converters, kept open. Each thread keeps up to eight, by the exact name that was asked for, and
/// closes them when it ends. Names that ICU does not know are not remembered.
namespace tarvo::text {

struct KeptConverter;

/// An open converter for the duration of a scope. Usually it is one that the thread keeps. A separate one is
/// opened if the kept one is in use further up the stack, if the name is longer than any of ICU's, or if the
/// thread is ending.
///
///     const CachedConverter converter("ISO-8859-1");
///     if (converter.get() == nullptr) ...                 // ICU knows no such name
///
/// It starts in the state of a freshly opened one, but keeps the callbacks that were set on it: set none, or
/// restore them.
class CachedConverter {
 public:
  /// Each direction remembers the converter found last: consecutive texts often use the same code pages.
  enum class Direction : std::uint8_t { toUnicode, fromUnicode };

  /// Opens nothing.
  CachedConverter() = default;

  /// Null is ICU's default converter; its name is read on every call since it can change.
  explicit CachedConverter(const char* name);

  /// The same, but in the state that the last use left: for functions of ICU that reset the converter
  /// themselves.
  CachedConverter(const char* name, Direction direction);

  CachedConverter(const CachedConverter&) = delete;
  CachedConverter& operator=(const CachedConverter&) = delete;
  ~CachedConverter();

  /// Null when the converter cannot be opened. Lives as long as this object.
  UConverter* get() const { return converter_; }

  /// Null if ICU converts the code page. A converter that is not kept has no codec.
  const Codec* codec() const { return codec_; }

 private:
  [[gnu::noinline]] void openNew(const char* name);

  UConverter* converter_ = nullptr;
  const Codec* codec_ = nullptr;
  KeptConverter* kept_ = nullptr;  // null: not kept, and this object closes the converter
};

}  // namespace tarvo::text
