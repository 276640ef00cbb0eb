#include "oss/kelConverterCache.hpp"

#include "oss/kelMemory.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <new>

namespace tarvo::oss {
namespace {

constexpr std::size_t longestName = UCNV_MAX_CONVERTER_NAME_LENGTH;

struct KeptConverter {
  std::array<char, longestName> name;
  UConverter* converter;
  bool leased;
};

/// Trivially destructible, so that it can still be looked at when the thread's other objects are gone.
struct ThreadConverters {
  std::array<KeptConverter, 8> kept;
  std::size_t oldest;  // where the next one goes
  bool closed;         // the thread is ending, nothing more is kept
};

constinit thread_local ThreadConverters converters{};

/// Closes the thread's converters when the thread ends.
struct ThreadEnd {
  ThreadEnd() = default;
  ThreadEnd(const ThreadEnd&) = delete;
  ThreadEnd& operator=(const ThreadEnd&) = delete;
  ~ThreadEnd() {
    for (KeptConverter& kept : converters.kept) {
      if (kept.converter != nullptr) ucnv_close(kept.converter);
      kept.converter = nullptr;
    }
    converters.closed = true;
  }
};

KeptConverter* find(const char* name) {
  auto* const found =
      std::find_if(converters.kept.begin(), converters.kept.end(), [&](const KeptConverter& kept) {
        return kept.converter != nullptr && std::strcmp(kept.name.data(), name) == 0;
      });
  return found == converters.kept.end() ? nullptr : found;
}

/// The place for a new converter, whose former one is closed; null when every one is in use.
KeptConverter* makePlace() {
  static const thread_local ThreadEnd closesAll;
  for (std::size_t tried = 0; tried < converters.kept.size(); ++tried) {
    KeptConverter& place = converters.kept[converters.oldest];
    converters.oldest = (converters.oldest + 1) % converters.kept.size();
    if (place.leased) continue;
    if (place.converter != nullptr) ucnv_close(place.converter);
    place.converter = nullptr;
    return &place;
  }
  return nullptr;
}

/// Whether ICU has its table of names. When there is no memory as it first looks, it goes without for good.
bool namesAreKnown() {
  UErrorCode status = U_ZERO_ERROR;
  ucnv_countAliases("UTF-8", &status);
  return U_SUCCESS(status);
}

UConverter* open(const char* name) {
  UErrorCode status = U_ZERO_ERROR;
  UConverter* const converter = ucnv_open(name, &status);
  if (U_SUCCESS(status)) return converter;
  if (status == U_MEMORY_ALLOCATION_ERROR || !namesAreKnown()) throw std::bad_alloc();
  return nullptr;
}

/// ICU's compound text goes on where the last text left off, in spite of a reset.
bool startsAfresh(UConverter* converter) {
  return ucnv_getType(converter) != UCNV_COMPOUND_TEXT;
}

/// Whether ICU converts without a converter: for "", its invariant characters, and where its default one is UTF-8.
bool needsNoConverter(const char* codePage) {
  return codePage == nullptr ? std::strcmp(ucnv_getDefaultName(), "UTF-8") == 0 : *codePage == '\0';
}

}  // namespace

CachedConverter::CachedConverter(const char* name) {
  if (name == nullptr) name = ucnv_getDefaultName();
  KeptConverter* kept = find(name);
  if (kept != nullptr && !kept->leased) {
    converter_ = kept->converter;
    leased_ = &kept->leased;
    *leased_ = true;
    ucnv_reset(converter_);
    return;
  }
  converter_ = open(name);
  const std::size_t size = std::strlen(name) + 1;
  if (converter_ == nullptr || kept != nullptr || converters.closed || size > longestName ||
      !startsAfresh(converter_)) {
    return;
  }
  kept = makePlace();
  if (kept == nullptr) return;
  std::memcpy(kept->name.data(), name, size);
  kept->converter = converter_;
  leased_ = &kept->leased;
  *leased_ = true;
}

CachedConverter::~CachedConverter() {
  if (leased_ != nullptr) {
    *leased_ = false;
  } else if (converter_ != nullptr) {
    ucnv_close(converter_);
  }
}

std::int32_t fromUnicode(const icu::UnicodeString& text, char* target, std::int32_t capacity,
                         const char* codePage) {
  const auto room = static_cast<std::uint32_t>(std::max(capacity, 0));
  if (needsNoConverter(codePage) || text.isEmpty()) {
    return text.extract(0, text.length(), target, room, codePage);
  }
  const CachedConverter converter(codePage);
  UErrorCode status = U_ZERO_ERROR;
  if (converter.get() == nullptr) {
    if (room > 0) *target = '\0';
    return 0;
  }
  return text.extract(target, static_cast<std::int32_t>(room), converter.get(), status);
}

icu::UnicodeString toUnicode(const char* bytes, std::int32_t length, const char* codePage) {
  if (bytes == nullptr || length == 0 || length < -1 || needsNoConverter(codePage)) {
    return made(icu::UnicodeString(bytes, length, codePage));
  }
  const CachedConverter converter(codePage);
  icu::UnicodeString text;
  UErrorCode status = U_ZERO_ERROR;
  if (converter.get() == nullptr) {
    text.setToBogus();
    return text;
  }
  text = icu::UnicodeString(bytes, length, converter.get(), status);
  if (text.isBogus() && (U_SUCCESS(status) || status == U_MEMORY_ALLOCATION_ERROR)) throw std::bad_alloc();
  return text;
}

icu::UnicodeString toUnicode(const char* bytes, std::int32_t length, const char* codePage, char16_t* units,
                             std::int32_t capacity) {
  if (bytes != nullptr && !needsNoConverter(codePage) && length > 0 && length <= capacity) {
    const CachedConverter converter(codePage);
    UErrorCode status = converter.get() == nullptr ? U_UNSUPPORTED_ERROR : U_ZERO_ERROR;
    const std::int32_t count = ucnv_toUChars(converter.get(), units, capacity, bytes, length, &status);
    if (U_SUCCESS(status)) return {static_cast<UBool>(false), units, count};
  }
  return toUnicode(bytes, length, codePage);
}

}  // namespace tarvo::oss
