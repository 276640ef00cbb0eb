#include "text/kelTranscoding.hpp"

#include "text/kelConverterCache.hpp"
#include "text/kelTextUnits.hpp"
#include "text/kelUTF16.hpp"
#include "text/kelUTF8Conversion.hpp"

#include <unicode/ucnv.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <span>
#include <string_view>

namespace tarvo::text {
namespace {

using Direction = CachedConverter::Direction;

constexpr std::int32_t largestSize = std::numeric_limits<std::int32_t>::max();

/// Returns whether ICU converts a text without a converter. ICU converts without a converter for the name ""
/// (the invariant characters), and for null if ICU's default converter is UTF-8.
bool needsNoConverter(const char* name) {
  return name == nullptr ? std::strcmp(ucnv_getDefaultName(), "UTF-8") == 0 : *name == '\0';
}

/// The source or the target of a conversion.
struct CodePage {
  CodePage(const char* codePage, Direction direction)
      : name(codePage),
        byName(needsNoConverter(name)),
        converter(byName ? CachedConverter() : CachedConverter(name, direction)),
        codec(byName && name == nullptr ? &uncutUtf8Codec() : converter.codec()) {}

  bool is(Codec::Kind kind) const { return codec != nullptr && codec->kind() == kind; }

  const char* name;
  bool byName;  // ICU converts by the name; there is no converter
  CachedConverter converter;
  const Codec* codec;  // null: ICU converts
};

// --- to Unicode

/// Converts the bytes with ICU, in a new state of the converter, and returns the number of units.
std::int32_t readUnits(UConverter* converter, std::string_view bytes, std::span<char16_t> units,
                       UErrorCode& status) {
  char16_t* next = units.data();
  const char* rest = bytes.data();
  status = U_ZERO_ERROR;
  ucnv_resetToUnicode(converter);
  ucnv_toUnicode(converter, &next, next + units.size(), &rest, rest + bytes.size(), nullptr,
                 static_cast<UBool>(true), &status);
  return static_cast<std::int32_t>(next - units.data());
}

/// Does the same as icu::UnicodeString(bytes, count, converter, status), which never returns if the second
/// unit of a pair does not fit into its buffer. If the buffer is too small, the function converts the whole
/// text again into a larger buffer, because some converters (SCSU) lose their state if they continue in
/// another buffer.
std::u16string_view decodeByIcu(UConverter* converter, std::string_view bytes, std::span<char16_t> stack,
                                icu::UnicodeString& heap) {
  constexpr auto most = static_cast<std::size_t>(largestSize);
  UErrorCode status = U_BUFFER_OVERFLOW_ERROR;
  if (bytes.size() <= stack.size()) {
    const std::int32_t count = readUnits(converter, bytes, stack, status);
    if (U_SUCCESS(status)) return {stack.data(), static_cast<std::size_t>(count)};
  }
  for (std::size_t size = bytes.size(); status == U_BUFFER_OVERFLOW_ERROR; size = 2 * size + 2) {
    char16_t* const units = heap.getBuffer(static_cast<std::int32_t>(std::min(size, most)));
    if (units == nullptr) throw std::bad_alloc();
    heap.releaseBuffer(
        readUnits(converter, bytes, {units, static_cast<std::size_t>(heap.getCapacity())}, status));
    if (status == U_BUFFER_OVERFLOW_ERROR && size >= most) throw std::bad_alloc();
  }
  if (status == U_MEMORY_ALLOCATION_ERROR) throw std::bad_alloc();
  if (U_FAILURE(status)) heap.setToBogus();
  return unitsOf(heap);
}

/// Converts bytes to Unicode. The result is in `stack` or in `heap`. If the code page is unknown, `heap` is
/// bogus.
std::u16string_view decode(const CodePage& from, std::string_view bytes, std::span<char16_t> stack,
                           icu::UnicodeString& heap) {
  const auto size = static_cast<std::int32_t>(bytes.size());
  if (const Codec* const codec = from.codec) {
    const bool onStack = bytes.size() <= stack.size();
    char16_t* const units = onStack ? stack.data() : heap.getBuffer(size);
    if (units == nullptr) throw std::bad_alloc();
    const std::ptrdiff_t count = codec->toUnits(bytes.data(), bytes.size(), units);
    if (!onStack) heap.releaseBuffer(static_cast<std::int32_t>(std::max<std::ptrdiff_t>(count, 0)));
    if (count != icuHasTo) return {units, static_cast<std::size_t>(count)};
  }
  if (from.byName) {
    heap = icu::UnicodeString(bytes.data(), size, from.name);
    if (heap.isBogus()) throw std::bad_alloc();
  } else if (from.converter.get() != nullptr) {
    return decodeByIcu(from.converter.get(), bytes, stack, heap);
  } else {
    heap.setToBogus();
  }
  return unitsOf(heap);
}

// --- from Unicode

/// Writes a terminator after the text if there is room, as ICU does, and returns the size.
std::int32_t terminated(std::int64_t size, char* target, std::int32_t room) {
  if (size < room) target[size] = '\0';
  return static_cast<std::int32_t>(size);
}

std::int32_t encode(const CodePage& to, std::u16string_view units, char* target, std::int32_t room) {
  // If the target has room for 0 bytes, the function passes a null pointer as the target to ICU. ICU would
  // compute with the address of any other target, and the result would not be a size.
  if (room == 0) target = nullptr;
  UConverter* const converter = to.converter.get();
  if (const Codec* const codec = to.codec) {
    const auto most = static_cast<std::size_t>(room);
    const std::int64_t size = codec->toBytes(units.data(), units.size(), target, most, converter);
    if (size >= 0 && size <= largestSize) return terminated(size, target, room);
  }
  if (units.empty() || (converter == nullptr && !to.byName)) return terminated(0, target, room);
  const auto count = static_cast<std::int32_t>(units.size());
  const icu::UnicodeString text(static_cast<UBool>(false), units.data(), count);
  if (to.byName) return text.extract(0, count, target, static_cast<std::uint32_t>(room), to.name);
  UErrorCode status = U_ZERO_ERROR;
  if (isWellFormed(units.data(), units.size())) return text.extract(target, room, converter, status);
  // The function uses a separate converter, because ICU's converters keep their last substitute even after a
  // reset, and use this substitute for unpaired surrogates.
  const CachedConverter another(to.name);
  return text.extract(target, room, another.get(), status);
}

// --- between code pages

/// Returns whether the two ranges do not overlap.
bool disjoint(std::string_view one, std::string_view other) {
  const auto first = reinterpret_cast<std::uintptr_t>(one.data());
  const auto second = reinterpret_cast<std::uintptr_t>(other.data());
  return first + one.size() <= second || second + other.size() <= first;
}

/// If all units fit into the target, converts single bytes to units directly in the target. The size is known
/// without a conversion; if it is above the largest int, the result is 0.
std::int32_t unitsInTarget(std::string_view bytes, const Codec& from, char* target, std::int32_t room,
                           bool swapped) {
  const std::size_t size = sizeof(char16_t) * bytes.size();
  if (size > static_cast<std::size_t>(largestSize)) return 0;
  if (target != nullptr && room > 0) {
    if (size > static_cast<std::size_t>(room) || !disjoint(bytes, {target, size})) return icuHasTo;
    from.toUnits(bytes.data(), bytes.size(), target);
    if (swapped) swapUtf16(target, bytes.size());
  }
  return terminated(static_cast<std::int64_t>(size), target, room);
}

}  // namespace

// --- the conversions

icu::UnicodeString toUnicode(const char* bytes, std::int32_t length, const char* codePage) {
  const std::size_t size = bytes == nullptr || length < -1 ? 0
                           : length == -1                  ? std::strlen(bytes)
                                                           : static_cast<std::size_t>(length);
  if (size > static_cast<std::size_t>(largestSize)) throw std::bad_alloc();  // ICU's texts cannot be longer
  if (size == 0) return {bytes, length, codePage};
  icu::UnicodeString text;
  decode(CodePage(codePage, Direction::toUnicode), {bytes, size}, {}, text);
  return text;
}

std::int32_t fromUnicode(const icu::UnicodeString& text, char* target, std::int32_t capacity,
                         const char* codePage) {
  if (target == nullptr && capacity > 0) return 0;
  if (text.isEmpty()) return terminated(0, target, capacity);
  return encode(CodePage(codePage, Direction::fromUnicode), unitsOf(text), target, std::max(capacity, 0));
}

std::int32_t transcode(std::string_view bytes, const char* fromCodePage, char* target, std::int32_t capacity,
                       const char* toCodePage) {
  const std::int32_t room = std::max(capacity, 0);
  const CodePage from(fromCodePage, Direction::toUnicode);
  const CodePage to(toCodePage, Direction::fromUnicode);
  const bool swapped = to.is(Codec::Kind::swappedUtf16);
  if (from.is(Codec::Kind::singleBytes) && (swapped || to.is(Codec::Kind::utf16))) {
    const std::int32_t size = unitsInTarget(bytes, *from.codec, target, room, swapped);
    if (size != icuHasTo) return size;
  }
  std::array<char16_t, 1024> stack;
  icu::UnicodeString heap;
  return encode(to, decode(from, bytes, stack, heap), target, room);
}

}  // namespace tarvo::text
