#include "text/kelConverterCache.hpp"

#include "platform/kelThreadBlock.hpp"
#include "text/kelSingleByteTable.hpp"
#include "text/kelUTF16.hpp"
#include "text/kelUTF8Conversion.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <string_view>
#include <type_traits>

namespace tarvo::text {

constexpr std::size_t longestName = UCNV_MAX_CONVERTER_NAME_LENGTH;

struct KeptConverter {
  std::array<char, longestName> name;
  UConverter* converter;
  const Codec* codec;
  bool leased;
};

namespace {

using Direction = CachedConverter::Direction;

struct ThreadConverters {
  std::array<KeptConverter, 8> kept;
  std::array<KeptConverter*, 2> last;  // the converter found last, by direction
  std::size_t oldest;                  // the next place to be replaced
};
static_assert(sizeof(ThreadConverters) <=
              platform::threadPartSizes[static_cast<std::size_t>(platform::ThreadPart::converters)]);
static_assert(std::is_trivial_v<ThreadConverters>, "a block of zeros keeps no converter");

/// Closes the thread's converters when the thread ends.
void closeAll(void* block) noexcept {
  for (const KeptConverter& kept : static_cast<ThreadConverters*>(block)->kept) {
    if (kept.converter != nullptr) ucnv_close(kept.converter);
  }
}

/// Returns the thread's converters, or null if the thread is ending or if there is no memory. If the result
/// is null, the thread keeps no converters.
ThreadConverters* converters() {
  return static_cast<ThreadConverters*>(platform::threadBlock(platform::ThreadPart::converters, &closeAll));
}

/// Returns whether a kept converter has this name. The names are short, so a loop is faster than a function
/// of the C library.
inline bool isOf(const KeptConverter& kept, const char* name) {
  const char* own = kept.name.data();
  while (*own == *name && *own != '\0') ++own, ++name;
  return *own == *name && kept.converter != nullptr;
}

KeptConverter* find(ThreadConverters& converters, const char* name, Direction direction) {
  KeptConverter*& last = converters.last[static_cast<std::size_t>(direction)];
  if (last != nullptr && isOf(*last, name)) return last;
  for (KeptConverter& kept : converters.kept) {
    if (isOf(kept, name)) return last = &kept;
  }
  return nullptr;
}

/// Returns a slot for a new converter, and closes the converter that was in the slot. Returns null if all
/// converters are in use.
KeptConverter* makePlace(ThreadConverters& converters) {
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

/// Returns whether ICU has its table of converter names. If there is no memory when ICU reads the table for
/// the first time, ICU never reads the table again.
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

/// Returns whether a reset converter begins a new text. ICU's converter for compound text does not begin a
/// new text after a reset: it continues in the state in which the last text ended.
bool startsAfresh(UConverter* converter) {
  return ucnv_getType(converter) != UCNV_COMPOUND_TEXT;
}

/// Returns whether the converter writes every unit as two bytes, including byte order marks. A name with
/// options ("UTF-16LE,version=1") opens a converter of the same type that writes a byte order mark at the
/// start and skips a byte order mark that it reads.
bool takesMarksAsTheyAre(UConverter* converter, bool highFirst) {
  constexpr std::array<char16_t, 3> marks = {u'\uFEFF', u'\uFFFE', u'a'};
  constexpr std::array<std::string_view, 2> inBytes = {
      {{"\xFF\xFE\xFE\xFF\x61\x00", 6}, {"\xFE\xFF\xFF\xFE\x00\x61", 6}}};
  const std::string_view expected = inBytes.at(highFirst ? 1 : 0);
  std::array<char, 16> bytes{};
  std::array<char16_t, 16> units{};
  UErrorCode status = U_ZERO_ERROR;
  const std::int32_t size = ucnv_fromUChars(converter, bytes.data(), bytes.size(), marks.data(), 3, &status);
  const std::int32_t count =
      ucnv_toUChars(converter, units.data(), units.size(), expected.data(), 6, &status);
  return U_SUCCESS(status) && std::string_view(bytes.data(), static_cast<std::size_t>(size)) == expected &&
         count == 3 && std::equal(marks.begin(), marks.end(), units.begin());
}

/// Returns the codec for the converter's code page, or null if ICU has to convert the code page.
const Codec* codecOf(UConverter* converter) {
  const UConverterType type = ucnv_getType(converter);
  if (type == UCNV_UTF8) return &utf8Codec();
  const bool highFirst = type == UCNV_UTF16_BigEndian;
  if (!highFirst && type != UCNV_UTF16_LittleEndian) return SingleByteTable::of(converter);
  return takesMarksAsTheyAre(converter, highFirst) ? &utf16Codec(highFirst) : nullptr;
}

}  // namespace

CachedConverter::CachedConverter(const char* name) : CachedConverter(name, Direction::fromUnicode) {
  if (kept_ != nullptr) ucnv_reset(converter_);
}

CachedConverter::CachedConverter(const char* name, Direction direction) {
  if (name == nullptr) name = ucnv_getDefaultName();
  ThreadConverters* const own = converters();
  kept_ = own == nullptr ? nullptr : find(*own, name, direction);
  if (kept_ == nullptr || kept_->leased) {
    openNew(name);
  } else {
    converter_ = kept_->converter;
    codec_ = kept_->codec;
    kept_->leased = true;
  }
}

/// Opens a converter. The thread keeps the converter, with one exception: it already keeps a converter of the
/// same name, which a calling function is using.
void CachedConverter::openNew(const char* name) {
  const bool inUse = kept_ != nullptr;
  kept_ = nullptr;
  converter_ = open(name);
  const std::size_t size = std::strlen(name) + 1;
  ThreadConverters* const own = converters();
  if (converter_ == nullptr || own == nullptr || inUse || size > longestName || !startsAfresh(converter_))
    return;
  kept_ = makePlace(*own);
  if (kept_ == nullptr) return;
  std::memcpy(kept_->name.data(), name, size);
  kept_->converter = converter_;
  codec_ = kept_->codec = codecOf(converter_);
  kept_->leased = true;
}

CachedConverter::~CachedConverter() {
  if (kept_ != nullptr) {
    kept_->leased = false;
  } else if (converter_ != nullptr) {
    ucnv_close(converter_);
  }
}

}  // namespace tarvo::text
