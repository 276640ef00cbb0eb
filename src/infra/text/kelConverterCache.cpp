#include "text/kelConverterCache.hpp"

#include "machine/kelByteOrder.hpp"
#include "platform/kelThreadBlock.hpp"
#include "text/kelMemory.hpp"
#include "text/kelSingleByteTable.hpp"
#include "text/kelUTF16Bytes.hpp"
#include "text/kelUTF8Conversion.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <string_view>
#include <type_traits>

namespace tarvo::text {

constexpr std::size_t longestName = UCNV_MAX_CONVERTER_NAME_LENGTH;

struct KeptConverter {
  std::array<char, longestName> name;
  UConverter* converter;
  SingleByteTable* table;
  CachedConverter::Form form;
  bool leased;
};

namespace {

using Direction = CachedConverter::Direction;
using Form = CachedConverter::Form;

struct ThreadConverters {
  std::array<KeptConverter, 8> kept;
  std::array<KeptConverter*, 2> last;  // the converter found last, by direction
  std::size_t oldest;                  // the next place to be replaced
};
static_assert(sizeof(ThreadConverters) <= platform::threadBlockSize);
static_assert(std::is_trivial_v<ThreadConverters>, "all zero is none kept");

/// Closes the thread's converters when the thread ends.
void closeAll(void* block) noexcept {
  for (const KeptConverter& kept : static_cast<ThreadConverters*>(block)->kept) {
    if (kept.converter != nullptr) ucnv_close(kept.converter);
  }
}

/// Null if the thread is ending or if there is no memory. Converters are not kept then.
ThreadConverters* converters() {
  return static_cast<ThreadConverters*>(platform::threadBlock(&closeAll));
}

/// For names this short a loop is faster than the C library.
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

/// A place for a new converter, whose former converter is closed; null if all places are in use.
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

/// Whether ICU has its table of names. If there is no memory when ICU first reads the table, ICU never reads
/// it again.
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

/// ICU's converter for compound text continues where the last text ended, in spite of a reset.
bool startsAfresh(UConverter* converter) {
  return ucnv_getType(converter) != UCNV_COMPOUND_TEXT;
}

/// Whether the converter stores every unit as its two bytes, byte order marks included. Names with options
/// ("UTF-16LE,version=1") open converters of the same type that write a byte order mark at the start and skip
/// one that they read.
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

Form formOf(UConverter* converter) {
  const UConverterType type = ucnv_getType(converter);
  if (type == UCNV_UTF8) return Form::utf8;
  const bool highFirst = type == UCNV_UTF16_BigEndian;
  if ((!highFirst && type != UCNV_UTF16_LittleEndian) || !takesMarksAsTheyAre(converter, highFirst)) {
    return Form::others;
  }
  return highFirst == machine::isLittleEndian ? Form::swappedUtf16 : Form::utf16;
}

/// Whether ICU converts without a converter: for "" (its invariant characters), and for null if its default
/// converter is UTF-8.
bool needsNoConverter(const char* codePage) {
  return codePage == nullptr ? std::strcmp(ucnv_getDefaultName(), "UTF-8") == 0 : *codePage == '\0';
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
    kept_->leased = true;
  }
}

/// Keeps the new converter, unless a kept one of that name is in use further up the stack.
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
  kept_->table = SingleByteTable::of(converter_);
  kept_->form = kept_->table != nullptr ? Form::singleBytes : formOf(converter_);
  kept_->leased = true;
}

CachedConverter::~CachedConverter() {
  if (kept_ != nullptr) {
    kept_->leased = false;
  } else if (converter_ != nullptr) {
    ucnv_close(converter_);
  }
}

SingleByteTable* CachedConverter::table() const {
  return kept_ == nullptr ? nullptr : kept_->table;
}

CachedConverter::Form CachedConverter::form() const {
  return kept_ == nullptr ? Form::others : kept_->form;
}

// --- without ICU

namespace {

constexpr std::int32_t icuHasTo = -1;
constexpr std::int32_t largestSize = std::numeric_limits<std::int32_t>::max();

/// Returns the size. Writes a terminator after the text if there is room, as ICU does.
std::int32_t terminated(std::int64_t size, char* target, std::int32_t room) {
  if (size > largestSize) return icuHasTo;
  if (size >= 0 && size < room) target[size] = '\0';
  return static_cast<std::int32_t>(size);
}

/// UTF-16 that does not change during the conversion.
struct Units {
  const char16_t* first;
  std::size_t count;
};

Units unitsOf(const icu::UnicodeString& text) {
  return {text.getBuffer(), static_cast<std::size_t>(text.length())};
}

std::int32_t toUtf8(Units text, char* target, std::int32_t room) {
  return terminated(utf8FromUtf16(text.first, text.count, target, static_cast<std::size_t>(room)), target,
                    room);
}

/// For the case that ICU's default converter is UTF-8: ICU never cuts a character then. A text that does not
/// fit is left to ICU.
std::int32_t toDefaultUtf8(const icu::UnicodeString& text, char* target, std::int32_t room) {
  const std::int64_t size = room == 0 || text.length() <= room / 3 ? 0 : toUtf8(unitsOf(text), nullptr, 0);
  return size < 0 || size > room ? icuHasTo : toUtf8(unitsOf(text), target, room);
}

std::int32_t toSingleBytes(Units text, char* target, std::int32_t room, const CachedConverter& converter) {
  const std::size_t written = std::min(text.count, static_cast<std::size_t>(room));
  SingleByteTable& table = *converter.table();
  const bool complete = table.fromUnicode(text.first, written, target, converter.get()) &&
                        table.hasAll(text.first + written, text.count - written, converter.get());
  return complete ? terminated(static_cast<std::int64_t>(text.count), target, room) : icuHasTo;
}

std::int32_t toUtf16(Units text, char* target, std::int32_t room, bool swapped) {
  if (!isWellFormed(text.first, text.count)) return icuHasTo;
  const std::size_t size = 2 * text.count;
  bytesFromUtf16(text.first, target, std::min(size, static_cast<std::size_t>(room)), swapped);
  return terminated(static_cast<std::int64_t>(size), target, room);
}

/// Returns the size of a text in a code page and writes as much of it as fits, or returns `icuHasTo`.
std::int32_t withoutIcu(Units text, char* target, std::int32_t room, const CachedConverter& converter) {
  if ((target == nullptr) != (room == 0)) return icuHasTo;
  switch (converter.form()) {
    case Form::singleBytes:
      return toSingleBytes(text, target, room, converter);
    case Form::utf8:
      return toUtf8(text, target, room);
    case Form::utf16:
      return toUtf16(text, target, room, false);
    case Form::swappedUtf16:
      return toUtf16(text, target, room, true);
    case Form::others:
      break;
  }
  return icuHasTo;
}

std::int32_t byIcu(const icu::UnicodeString& text, char* target, std::int32_t room,
                   const CachedConverter& converter, const char* codePage) {
  UErrorCode status = U_ZERO_ERROR;
  if (!isWellFormed(text.getBuffer(), static_cast<std::size_t>(text.length()))) {
    // Even after a reset ICU's converters remember their last substitute and use it for lone surrogates.
    const CachedConverter another(codePage);
    return text.extract(target, room, another.get(), status);
  }
  return text.extract(target, room, converter.get(), status);
}

/// Writes the units of a text, at most one per byte, and returns their number or `icuHasTo`.
std::int32_t withoutIcu(const char* bytes, std::int32_t length, char16_t* units,
                        const CachedConverter& converter) {
  const auto count = static_cast<std::size_t>(length);
  switch (converter.form()) {
    case Form::singleBytes:
      converter.table()->toUnicode(bytes, count, units);
      return length;
    case Form::utf8:
      return static_cast<std::int32_t>(utf16FromUtf8(bytes, count, units));
    case Form::utf16:
      return static_cast<std::int32_t>(utf16FromBytes(bytes, count, units, false));
    case Form::swappedUtf16:
      return static_cast<std::int32_t>(utf16FromBytes(bytes, count, units, true));
    case Form::others:
      break;
  }
  return icuHasTo;
}

/// As icu::UnicodeString(bytes, count, converter, status), which does not return if the second unit of a pair
/// does not fit into its buffer. If the buffer is too small, the whole text is read again into a larger one:
/// some converters (SCSU) lose their state if they continue in another buffer.
icu::UnicodeString allUnits(UConverter* converter, const char* bytes, std::size_t count) {
  constexpr auto most = static_cast<std::size_t>(largestSize);
  icu::UnicodeString text;
  UErrorCode status = U_BUFFER_OVERFLOW_ERROR;
  for (std::size_t capacity = count; status == U_BUFFER_OVERFLOW_ERROR; capacity = 2 * capacity + 2) {
    char16_t* const units = text.getBuffer(static_cast<std::int32_t>(std::min(capacity, most)));
    if (units == nullptr) throw std::bad_alloc();
    char16_t* next = units;
    const char* rest = bytes;
    status = U_ZERO_ERROR;
    ucnv_resetToUnicode(converter);
    ucnv_toUnicode(converter, &next, units + text.getCapacity(), &rest, bytes + count, nullptr,
                   static_cast<UBool>(true), &status);
    text.releaseBuffer(static_cast<std::int32_t>(next - units));
    if (status == U_BUFFER_OVERFLOW_ERROR && capacity >= most) throw std::bad_alloc();
  }
  if (status == U_MEMORY_ALLOCATION_ERROR) throw std::bad_alloc();
  if (U_FAILURE(status)) text.setToBogus();
  return text;
}

}  // namespace

// --- the conversions

std::int32_t fromUnicode(const icu::UnicodeString& text, char* target, std::int32_t capacity,
                         const char* codePage) {
  const std::int32_t room = std::max(capacity, 0);
  // With a target that has no room ICU computes with the target's address, and its result is not a size.
  if (room == 0) target = nullptr;
  if (needsNoConverter(codePage) || text.isEmpty()) {
    const bool utf8 = codePage == nullptr && !text.isEmpty() && (target == nullptr) == (room == 0);
    const std::int32_t size = utf8 ? toDefaultUtf8(text, target, room) : icuHasTo;
    if (size != icuHasTo) return size;
    return text.extract(0, text.length(), target, static_cast<std::uint32_t>(room), codePage);
  }
  const CachedConverter converter(codePage, Direction::fromUnicode);
  if (converter.get() == nullptr) {
    if (room > 0) *target = '\0';
    return 0;
  }
  const std::int32_t size = withoutIcu(unitsOf(text), target, room, converter);
  return size == icuHasTo ? byIcu(text, target, room, converter, codePage) : size;
}

icu::UnicodeString toUnicode(const char* bytes, std::int32_t length, const char* codePage) {
  const std::size_t size = bytes == nullptr ? 0
                           : length == -1   ? std::strlen(bytes)
                                            : static_cast<std::size_t>(std::max(length, 0));
  if (size > static_cast<std::size_t>(largestSize)) throw std::bad_alloc();  // ICU's texts cannot be longer
  if (bytes == nullptr || length == 0 || length < -1 || needsNoConverter(codePage)) {
    return made(icu::UnicodeString(bytes, length, codePage));
  }
  const CachedConverter converter(codePage, Direction::toUnicode);
  icu::UnicodeString text;
  if (converter.get() == nullptr) {
    text.setToBogus();
    return text;
  }
  if (converter.form() != Form::others) {
    const auto count = static_cast<std::int32_t>(size);
    char16_t* const units = text.getBuffer(count);
    if (units == nullptr) throw std::bad_alloc();
    const std::int32_t written = withoutIcu(bytes, count, units, converter);
    text.releaseBuffer(std::max(written, 0));
    if (written != icuHasTo) return text;
  }
  return allUnits(converter.get(), bytes, size);
}

icu::UnicodeString toUnicode(const char* bytes, std::int32_t length, const char* codePage, char16_t* units,
                             std::int32_t capacity) {
  if (bytes != nullptr && !needsNoConverter(codePage) && length > 0 && length <= capacity) {
    const CachedConverter converter(codePage, Direction::toUnicode);
    const std::int32_t written = withoutIcu(bytes, length, units, converter);
    if (written != icuHasTo) return {static_cast<UBool>(false), units, written};
    UErrorCode status = converter.get() == nullptr ? U_UNSUPPORTED_ERROR : U_ZERO_ERROR;
    const std::int32_t count = ucnv_toUChars(converter.get(), units, capacity, bytes, length, &status);
    if (U_SUCCESS(status)) return {static_cast<UBool>(false), units, count};
  }
  return toUnicode(bytes, length, codePage);
}

namespace {

bool isUtf16(Form form) {
  return form == Form::utf16 || form == Form::swappedUtf16;
}

/// Whether writing to either range leaves the other unchanged.
bool disjoint(std::string_view one, std::string_view other) {
  const auto first = reinterpret_cast<std::uintptr_t>(one.data());
  const auto second = reinterpret_cast<std::uintptr_t>(other.data());
  return first + one.size() <= second || second + other.size() <= first;
}

/// Writes the units directly to the target if all fit there. Returns 0 if the size is above the largest int.
std::int32_t singleBytesToUtf16(const char* bytes, std::int32_t length, const SingleByteTable& table,
                                char* target, std::int32_t room, bool swapped) {
  const auto count = static_cast<std::size_t>(length);
  const std::size_t size = sizeof(char16_t) * count;
  if (size > static_cast<std::size_t>(largestSize)) return 0;
  if (target != nullptr) {
    if (size > static_cast<std::size_t>(room) || !disjoint({bytes, count}, {target, size})) return icuHasTo;
    table.toUnicode(bytes, count, target);
    if (swapped) swapUtf16(target, count);
  }
  return terminated(static_cast<std::int64_t>(size), target, room);
}

/// Writing to the target may overwrite the bytes. Therefore, if ICU has to convert, it converts the units.
std::int32_t convertOnStack(const char* bytes, std::int32_t length, const CachedConverter& from, char* target,
                            std::int32_t room, const CachedConverter& to, const char* toCodePage) {
  if (length > atOnce) return icuHasTo;
  std::array<char16_t, atOnce> units;
  const std::int32_t count = withoutIcu(bytes, length, units.data(), from);
  if (count == icuHasTo) return icuHasTo;
  const std::int32_t size =
      withoutIcu(Units{units.data(), static_cast<std::size_t>(count)}, target, room, to);
  if (size != icuHasTo) return size;
  return byIcu(icu::UnicodeString(static_cast<UBool>(false), units.data(), count), target, room, to,
               toCodePage);
}

}  // namespace

std::int32_t convertAtOnce(const char* bytes, std::int32_t length, const char* fromCodePage, char* target,
                           std::int32_t capacity, const char* toCodePage) {
  if (length < 1 || isEmpty(fromCodePage) || isEmpty(toCodePage)) return icuHasTo;
  const CachedConverter from(fromCodePage, Direction::toUnicode);
  if (from.form() == Form::others) return icuHasTo;
  const CachedConverter to(toCodePage, Direction::fromUnicode);
  if (to.form() == Form::others) return icuHasTo;
  const std::int32_t room = std::max(capacity, 0);
  if (room == 0) target = nullptr;
  if (from.form() == Form::singleBytes && isUtf16(to.form())) {
    const bool swapped = to.form() == Form::swappedUtf16;
    const std::int32_t size = singleBytesToUtf16(bytes, length, *from.table(), target, room, swapped);
    if (size != icuHasTo) return size;
  }
  return convertOnStack(bytes, length, from, target, room, to, toCodePage);
}

}  // namespace tarvo::text
