#include "oss/kelStrictStream.hpp"

#include "platform/kelStandardLibrary.hpp"
#include "text/kelConverterCache.hpp"
#include "text/kelTranscoding.hpp"
#include "text/kelUTF8Text.hpp"
#include "text/kelWords.hpp"

#include <unicode/utf16.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace tarvo::oss {

using text::Codec;
using text::EightUnits;
using text::vectorUnits;

namespace {

using Direction = text::CachedConverter::Direction;

/// ICU calls these callbacks for each fault. The callbacks change nothing, so ICU stops at the fault. ICU's
/// own callbacks drop characters that are invisible by default.
void U_EXPORT2 stopDecoding(const void* /*context*/, UConverterToUnicodeArgs* /*arguments*/,
                            const char* /*bytes*/, std::int32_t /*length*/,
                            UConverterCallbackReason /*reason*/, UErrorCode* /*status*/) {}
void U_EXPORT2 stopEncoding(const void* /*context*/, UConverterFromUnicodeArgs* /*arguments*/,
                            const char16_t* /*units*/, std::int32_t /*length*/, UChar32 /*character*/,
                            UConverterCallbackReason /*reason*/, UErrorCode* /*status*/) {}

UConverter* open(const char* name) {
  UErrorCode status = U_ZERO_ERROR;
  UConverter* const converter = ucnv_open(name, &status);
  if (U_FAILURE(status)) throw std::bad_alloc();  // the name is known
  return converter;
}

UConverter* copyOf(const UConverter* converter) {
  UErrorCode status = U_ZERO_ERROR;
  UConverter* const copy = ucnv_clone(converter, &status);
  return U_FAILURE(status) ? nullptr : copy;
}

/// Returns the number of bytes that the converter has read and not yet decoded.
std::uint64_t pendingBytes(const UConverter* converter) {
  UErrorCode status = U_ZERO_ERROR;
  return static_cast<std::uint64_t>(ucnv_toUCountPending(converter, &status));
}

/// Returns the number of units that the converter has read and not yet encoded.
std::uint64_t pendingUnits(const UConverter* converter) {
  UErrorCode status = U_ZERO_ERROR;
  return static_cast<std::uint64_t>(ucnv_fromUCountPending(converter, &status));
}

bool isUtf16(const UConverter* converter) {
  const UConverterType type = ucnv_getType(converter);
  return type == UCNV_UTF16 || type == UCNV_UTF16_BigEndian || type == UCNV_UTF16_LittleEndian;
}

/// Returns the largest number of bytes that a block of `units` units can need in the converter's code page.
std::size_t mostBytes(std::size_t units, const UConverter* converter) {
  return (units + 16) * static_cast<std::size_t>(std::max<int>(ucnv_getMaxCharSize(converter), 4));
}

/// Returns the number of bytes before an incomplete UTF-8 character at the end, or `size` if no character is
/// incomplete. For malformed bytes the caller accepts any number up to `size`.
std::size_t wholeCharacters(const char* bytes, std::size_t size) {
  std::size_t at = size;
  while (at > 0 && size - at < 3 && text::continuesCharacter(bytes[at - 1])) --at;
  if (at == 0) return 0;
  const auto lead = static_cast<unsigned char>(bytes[at - 1]);
  const std::size_t needed = lead < 0xC0 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  return needed <= size - at + 1 ? size : at - 1;
}

/// Returns the number of bytes before an incomplete UTF-16 character at the end, or `size` if no character is
/// incomplete.
std::size_t wholePairs(const char* bytes, std::size_t size, bool swapped) {
  size -= size % sizeof(char16_t);
  const auto last = machine::nativeAt<std::uint16_t>(bytes + size - sizeof(char16_t));
  const std::uint16_t unit = swapped ? static_cast<std::uint16_t>(last << 8U | last >> 8U) : last;
  return U16_IS_LEAD(unit) ? size - sizeof(char16_t) : size;
}

/// Returns whether one of the units is U+FFFD or U+001A. ICU decodes a byte without a meaning as one of these
/// characters.
bool hasSubstitute(const char16_t* units, std::size_t count) {
  EightUnits found{};
  std::size_t at = 0;
  for (; count - at >= vectorUnits; at += vectorUnits) {
    const EightUnits wide = text::eightUnitsAt(units + at);
    found |= wide == 0xFFFD;
    found |= wide == 0x1A;
  }
  const auto is = [](char16_t unit) { return unit == u'\uFFFD' || unit == u'\u001A'; };
  return text::bitsOfBoth(&found) != 0 || std::any_of(units + at, units + count, is);
}

/// Counts the units for which (unit & mask) == value.
std::size_t countUnits(const char16_t* units, std::size_t count, std::uint16_t mask, std::uint16_t value) {
  EightUnits sums{};  // a block has fewer units than a sum can count
  std::size_t at = 0;
  for (; count - at >= vectorUnits; at += vectorUnits) {
    sums -= (text::eightUnitsAt(units + at) & mask) == value;  // a comparison that is true is -1
  }
  std::size_t total = 0;
  for (; at < count; ++at) total += (units[at] & mask) == value ? 1 : 0;
  for (std::size_t place = 0; place < vectorUnits; ++place) total += sums[place];
  return total;
}

std::size_t countCharacters(const char16_t* units, std::size_t count) {
  return count - countUnits(units, count, 0xFC00, 0xDC00);
}

std::size_t countLineFeeds(const char16_t* units, std::size_t count) {
  return countUnits(units, count, 0xFFFF, u'\n');
}

}  // namespace

// --- the code pages

StrictStream::Page::Page(const char* codePage)
    : name(text::isEmpty(codePage) ? ucnv_getDefaultName() : codePage) {
  const text::CachedConverter known(name.c_str(), Direction::toUnicode);
  if (known.get() == nullptr) return;
  codec = known.codec();
  converter.reset(open(name.c_str()));
  if (is(Codec::Kind::singleBytes)) substituting.reset(open(name.c_str()));
  UErrorCode status = U_ZERO_ERROR;
  ucnv_setToUCallBack(converter.get(), &stopDecoding, nullptr, nullptr, nullptr, &status);
  ucnv_setFromUCallBack(converter.get(), &stopEncoding, nullptr, nullptr, nullptr, &status);
}

/// Returns whether ICU can copy the converter, which is necessary for blocks.
bool StrictStream::Page::canBeCopied() const {
  return ucnv_getType(converter.get()) != UCNV_COMPOUND_TEXT;
}

/// Returns whether the encoded bytes of a text depend only on the text. When the encoders of SCSU and LMBCS
/// choose the bytes of a unit, they read the units that follow in the same call. Therefore the bytes depend
/// on the division of the text into calls.
bool StrictStream::Page::hasOneResult() const {
  const UConverterType type = ucnv_getType(converter.get());
  return type != UCNV_SCSU && (type < UCNV_LMBCS_1 || type > UCNV_LMBCS_LAST);
}

StrictStream::StrictStream(const char* from, const char* to, std::uint64_t offset)
    : from_(from), to_(to), start_(offset), decoded_(offset) {
  if (!isOpen()) return;
  if (!from_.canBeCopied() || !to_.canBeCopied() || !to_.hasOneResult()) stepsUntil_ = UINT64_MAX;
  if (isUtf16(from_.converter.get())) unitSize_ = sizeof(char16_t);
  waitingSize_ = mostBytes(pivotSize, to_.converter.get());
  waiting_ = platform::makeUniqueForOverwrite<char[]>(waitingSize_);
  pivot_ = platform::makeUniqueForOverwrite<char16_t[]>(pivotSize);
}

// --- the stream

StrictStream::Status StrictStream::convert(const char*& source, const char* sourceEnd, char*& target,
                                           char* targetEnd, bool last) {
  for (;;) {
    if (!writeWaiting(target, targetEnd)) return Status::OUTPUT_FULL;
    if (stage_ == Stage::ended) return Status::INPUT_EMPTY;
    if (queueAt_ < queueEnd_) {
      if (!encodeStep(false)) return Status::FAULT;
    } else if (decodeFailed_) {
      if (U16_IS_SURROGATE(lastEncoded_) && pendingUnits(to_.converter.get()) > 0) {
        encodeStep(true);  // there is half of a pair before the fault, which is a fault, too
        return Status::FAULT;
      }
      decodeFailed_ = false;
      fault_ = decodeFault_;
      return Status::FAULT;
    } else if (stage_ == Stage::ending) {
      if (!encodeStep(true)) return Status::FAULT;
    } else if (unitFilled_ == unitSize_) {
      decodeStep(false);
    } else if (source != sourceEnd) {
      if (!convertBlock(source, sourceEnd, target, targetEnd)) takeUnit(source, sourceEnd);
    } else if (last) {
      decodeStep(true);
    } else {
      return Status::INPUT_EMPTY;
    }
  }
}

/// Writes the bytes that did not fit into the previous target window. Returns false if some of these bytes do
/// not fit into the new target window either.
bool StrictStream::writeWaiting(char*& target, const char* targetEnd) {
  const std::size_t size = std::min(waitingEnd_ - waitingAt_, static_cast<std::size_t>(targetEnd - target));
  if (size > 0) std::memcpy(target, &waiting_[waitingAt_], size);
  target += size;
  waitingAt_ += size;
  return waitingAt_ == waitingEnd_;
}

void StrictStream::replaceFault(std::int32_t character) {
  std::array<char16_t, 2> units{};
  std::size_t count = 0;
  if (U_IS_BMP(character)) {
    units[count++] = static_cast<char16_t>(character);
  } else {
    units = {U16_LEAD(character), U16_TRAIL(character)};
    count = units.size();
  }
  if (queueAt_ < count) {  // the queue has two more places for this
    std::copy_backward(&queue_[queueAt_], &queue_[queueEnd_], &queue_[queueEnd_] + count);
    queueAt_ += count;
    queueEnd_ += count;
  }
  const Place place{fault_.offset, fault_.line, fault_.column};
  while (count > 0) queue_[--queueAt_] = {units[--count], place};
}

// --- blocks

/// Returns whether both the decoder and the encoder are between two characters. Returns false if the decoder
/// or the encoder has read only the first part of a character.
bool StrictStream::isBetweenCharacters() const {
  return unitFilled_ == 0 && pendingBytes(from_.converter.get()) == 0 &&
         pendingUnits(to_.converter.get()) == 0;
}

/// Converts a block and returns true. If the block cannot be converted as a whole, the function keeps the
/// state of the stream except for `stepsUntil_`, and returns false.
bool StrictStream::convertBlock(const char*& source, const char* sourceEnd, char*& target,
                                const char* targetEnd) {
  std::size_t size = std::min(static_cast<std::size_t>(sourceEnd - source), blockSize);
  if (size < smallestBlock || decoded_ < stepsUntil_ || !isBetweenCharacters()) return false;
  stepsUntil_ = decoded_ + size;  // stays if the block is not converted
  OwnConverter decoder(from_.codec != nullptr ? nullptr : copyOf(from_.converter.get()));
  OwnConverter encoder(to_.codec != nullptr ? nullptr : copyOf(to_.converter.get()));
  if ((from_.codec == nullptr && !decoder) || (to_.codec == nullptr && !encoder)) return false;
  const std::ptrdiff_t units = decodeBlock(source, size);
  const auto count = static_cast<std::size_t>(std::max<std::ptrdiff_t>(units, 0));
  const auto room = static_cast<std::size_t>(targetEnd - target);
  const bool fits = mostBytes(count, to_.converter.get()) <= room;
  std::ptrdiff_t bytes = units;
  if (units >= 0)
    bytes = fits ? encodeBlock(count, target, room) : encodeBlock(count, waiting_.get(), waitingSize_);
  if (bytes < 0) {
    if (decoder) from_.converter = std::move(decoder);
    if (encoder) to_.converter = std::move(encoder);
    return false;
  }
  stepsUntil_ = 0;
  source += size;
  decoded_ += size;
  movePast(pivot_.get(), count);
  if (fits) {
    target += bytes;
  } else {
    waitingAt_ = 0;
    waitingEnd_ = static_cast<std::size_t>(bytes);
  }
  return true;
}

/// Decodes the characters that are complete in the first `size` bytes, and sets `size` to the number of bytes
/// that it has read. Returns the number of units in `pivot_`, or a negative number if the bytes may contain a
/// fault.
std::ptrdiff_t StrictStream::decodeBlock(const char* source, std::size_t& size) {
  if (from_.codec != nullptr) {
    if (from_.is(Codec::Kind::utf8)) {
      size = wholeCharacters(source, size);
    } else if (!from_.is(Codec::Kind::singleBytes)) {
      size = wholePairs(source, size, from_.is(Codec::Kind::swappedUtf16));
    }
    const std::ptrdiff_t units = from_.codec->toUnits(source, size, pivot_.get());
    if (units < 0 || !from_.is(Codec::Kind::singleBytes)) return units;
    return hasSubstitute(pivot_.get(), static_cast<std::size_t>(units)) ? -1 : units;
  }
  char16_t* next = pivot_.get();
  const char* rest = source;
  UErrorCode status = U_ZERO_ERROR;
  ucnv_toUnicode(from_.converter.get(), &next, next + pivotSize, &rest, source + size, nullptr,
                 static_cast<UBool>(false), &status);
  return U_FAILURE(status) ? -1 : next - pivot_.get();
}

/// Encodes the units in `pivot_` and returns the number of bytes, or a negative number if the units may
/// contain a fault.
std::ptrdiff_t StrictStream::encodeBlock(std::size_t units, char* target, std::size_t room) {
  if (to_.codec != nullptr) {
    const std::int64_t bytes = to_.codec->toBytes(pivot_.get(), units, target, room, to_.substituting.get());
    if (bytes < 0 || !to_.is(Codec::Kind::singleBytes)) return static_cast<std::ptrdiff_t>(bytes);
    // If a byte is a substitute, decoding it does not give the original unit.
    std::array<char16_t, blockSize> back;
    for (std::size_t at = 0; at < units; at += back.size()) {
      const std::size_t count = std::min(units - at, back.size());
      to_.codec->toUnits(target + at, count, back.data());
      if (std::memcmp(back.data(), &pivot_[at], count * sizeof(char16_t)) != 0) return -1;
    }
    return static_cast<std::ptrdiff_t>(bytes);
  }
  char* next = target;
  const char16_t* rest = pivot_.get();
  UErrorCode status = U_ZERO_ERROR;
  ucnv_fromUnicode(to_.converter.get(), &next, target + room, &rest, rest + units, nullptr,
                   static_cast<UBool>(false), &status);
  return U_FAILURE(status) || pendingUnits(to_.converter.get()) != 0 ? -1 : next - target;
}

/// Adds the lines and columns of decoded units to `line_` and `column_`.
void StrictStream::movePast(const char16_t* units, std::size_t count) {
  const std::size_t lines = countLineFeeds(units, count);
  if (lines > 0) {
    const char16_t* after = units + count;
    while (after[-1] != u'\n') --after;
    count -= static_cast<std::size_t>(after - units);
    units = after;
    line_ += lines;
    column_ = 1;
  }
  column_ += countCharacters(units, count);
}

// --- steps

void StrictStream::takeUnit(const char*& source, const char* sourceEnd) {
  while (unitFilled_ < unitSize_ && source != sourceEnd) unit_[unitFilled_++] = *source++;
}

/// Returns the offset of the next character if `length` is 0, and otherwise the offset of the fault of
/// `length` bytes that the decoder reports. The function rounds the offset down to a whole unit: after half
/// of a surrogate pair, ICU's UTF-16 decoder keeps a byte of the next unit, but does not count this byte as
/// pending.
std::uint64_t StrictStream::placeOfNext(std::uint64_t length) const {
  const std::uint64_t relative = decoded_ - start_ - pendingBytes(from_.converter.get()) - length;
  return start_ + relative - relative % unitSize_;
}

/// Gives the decoder a code unit of the source, or the end of the stream, and queues the decoded units.
void StrictStream::decodeStep(bool flush) {
  std::array<char16_t, queueSize> units;
  char16_t* next = units.data();
  const char* rest = unit_.data();
  const std::uint64_t place = placeOfNext(0);
  UErrorCode status = U_ZERO_ERROR;
  ucnv_toUnicode(from_.converter.get(), &next, units.data() + units.size(), &rest, rest + unitFilled_,
                 nullptr, static_cast<UBool>(flush), &status);
  const auto read = static_cast<std::size_t>(rest - unit_.data());
  decoded_ += read;
  std::copy(unit_.begin() + static_cast<std::ptrdiff_t>(read),
            unit_.begin() + static_cast<std::ptrdiff_t>(unitFilled_), unit_.begin());
  unitFilled_ -= read;
  queue(units.data(), static_cast<std::size_t>(next - units.data()), place);
  if (U_FAILURE(status)) {
    keepDecodeFault(status);
  } else if (flush) {
    stage_ = Stage::ending;
  }
}

void StrictStream::queue(const char16_t* units, std::size_t count, std::uint64_t offset) {
  queueAt_ = 0;
  queueEnd_ = 0;
  for (std::size_t i = 0; i < count; ++i) {
    queue_[queueEnd_++] = {units[i], {offset, line_, column_}};
    movePast(units + i, 1);
  }
}

void StrictStream::keepDecodeFault(UErrorCode status) {
  Fault& fault = decodeFault_ = {};
  auto length = static_cast<std::int8_t>(sizeof fault.bytes);
  UErrorCode ignored = U_ZERO_ERROR;
  ucnv_getInvalidChars(from_.converter.get(), fault.bytes, &length, &ignored);
  fault.length = static_cast<unsigned char>(length);
  fault.kind = status == U_TRUNCATED_CHAR_FOUND ? Fault::TRUNCATED : Fault::ILLEGAL;
  fault.offset = placeOfNext(static_cast<std::uint64_t>(fault.length));
  fault.line = line_;
  fault.column = column_++;
  fault.character = -1;
  decodeFailed_ = true;
}

/// Gives the encoder the next unit of the queue, or the end of the stream. Returns false after a fault.
bool StrictStream::encodeStep(bool flush) {
  const char16_t* rest = flush ? nullptr : &queue_[queueAt_].unit;
  const char16_t* const end = flush ? nullptr : rest + 1;
  char* next = waiting_.get();
  UErrorCode status = U_ZERO_ERROR;
  ucnv_fromUnicode(to_.converter.get(), &next, next + waitingSize_, &rest, end, nullptr,
                   static_cast<UBool>(flush), &status);
  waitingAt_ = 0;
  waitingEnd_ = static_cast<std::size_t>(next - waiting_.get());
  if (!flush && rest == end) {
    places_[encoded_++ % remembered] = queue_[queueAt_].place;
    lastEncoded_ = queue_[queueAt_++].unit;
  }
  if (U_FAILURE(status)) {
    keepEncodeFault();
    return false;
  }
  if (flush) stage_ = Stage::ended;
  return true;
}

void StrictStream::keepEncodeFault() {
  std::array<char16_t, 8> units{};
  auto count = static_cast<std::int8_t>(units.size());
  UErrorCode ignored = U_ZERO_ERROR;
  ucnv_getInvalidUChars(to_.converter.get(), units.data(), &count, &ignored);
  const std::uint64_t after = encoded_ - pendingUnits(to_.converter.get());
  const auto index = static_cast<std::size_t>((after - static_cast<std::uint64_t>(count)) % places_.size());
  const Place& place = places_[index];
  UChar32 character = units[0];
  if (count == 2) character = U16_GET_SUPPLEMENTARY(units[0], units[1]);
  fault_ = {};
  const bool isHalf = character >= 0xD800 && character <= 0xDFFF;
  const bool isCut = stage_ == Stage::ending && character < 0xDC00;
  fault_.kind = !isHalf ? Fault::UNMAPPABLE : isCut ? Fault::TRUNCATED : Fault::ILLEGAL;
  fault_.offset = place.offset;
  fault_.line = place.line;
  fault_.column = place.column;
  fault_.character = character;
}

}  // namespace tarvo::oss
