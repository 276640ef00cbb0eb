#include "infra/oss/kelStrictConverter.hpp"

#include "infra/oss/kelNLSException.hpp"

#include "oss/kelRaise.hpp"
#include "oss/kelStrictStream.hpp"
#include "text/kelInvariant.hpp"
#include "text/kelUTF8Text.hpp"

#include <unicode/utf8.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <new>

namespace tarvo::oss {

namespace {

[[noreturn]] void raiseUnusable(const StrictStream& stream) {
  raise<NLSException>(errors::ERR_CONV_CONVERSION_ERROR,
                      errors::Name{text::invariantText(stream.toName().c_str())},
                      errors::Name{text::invariantText(stream.fromName().c_str())});
}

/// Returns room for units at the end of a text, and how many units fit. The text must be released afterwards.
char16_t* roomAfter(icu::UnicodeString& text, std::size_t wanted, std::size_t& room) {
  constexpr std::size_t most = std::numeric_limits<std::int32_t>::max() - 32;
  constexpr std::size_t step = std::size_t{1} << 20U;
  const auto length = static_cast<std::size_t>(text.length());
  const std::size_t least = length + std::min(wanted, step) + 16;
  const auto capacity = static_cast<std::size_t>(text.getCapacity());
  if (least > most) throw std::bad_alloc();
  const std::size_t asked = least <= capacity ? least : std::min(least + length / 2, most);
  char16_t* const units = text.getBuffer(static_cast<std::int32_t>(asked));
  if (units == nullptr) throw std::bad_alloc();
  room = static_cast<std::size_t>(text.getCapacity()) - length;
  return units + length;
}

constexpr std::ptrdiff_t unit = sizeof(char16_t);

}  // namespace

StrictConverter::StrictConverter(const char* fromCodePage, const char* toCodePage) {
  auto stream = std::make_unique<StrictStream>(fromCodePage, toCodePage);
  if (!stream->isOpen()) raiseUnusable(*stream);
  stream_ = stream.release();
}

StrictConverter::~StrictConverter() {
  delete stream_;
}

StrictConverter::Status StrictConverter::convert(const char*& source, const char* sourceEnd, char*& target,
                                                 char* targetEnd, bool last) {
  return stream_->convert(source, sourceEnd, target, targetEnd, last);
}

StrictConverter::Status StrictConverter::convert(const char*& source, const char* sourceEnd,
                                                 icu::UnicodeString& target, bool last) {
  if (!stream_->writesUnicode()) raiseUnusable(*stream_);
  Status status = OUTPUT_FULL;
  while (status == OUTPUT_FULL) {
    const std::int32_t length = target.length();
    std::size_t room = 0;
    char16_t* const units = roomAfter(target, static_cast<std::size_t>(sourceEnd - source), room);
    auto* const bytes = reinterpret_cast<char*>(units);
    char* next = bytes;
    status = stream_->convert(source, sourceEnd, next, bytes + sizeof(char16_t) * room, last);
    target.releaseBuffer(length + static_cast<std::int32_t>((next - bytes) / unit));
  }
  return status;
}

StrictConverter::Status StrictConverter::convert(const icu::UnicodeString& source, std::int32_t& start,
                                                 char*& target, char* targetEnd, bool last) {
  if (!stream_->readsUnicode()) raiseUnusable(*stream_);
  const auto* const bytes = reinterpret_cast<const char*>(source.getBuffer());
  const char* next = bytes + unit * start;
  const Status status = stream_->convert(next, bytes + unit * source.length(), target, targetEnd, last);
  start = static_cast<std::int32_t>((next - bytes) / unit);
  return status;
}

const StrictConverter::Fault& StrictConverter::fault() const {
  return stream_->fault();
}

void StrictConverter::replaceFault(std::int32_t character) {
  stream_->replaceFault(character);
}

const char* StrictConverter::unicode() {
  return "UTF16_PlatformEndian";
}

std::size_t StrictConverter::findMalformed(const char* bytes, std::size_t length) {
  constexpr std::size_t blockSize = 4096;
  std::size_t at = 0;
  for (std::size_t end = 0; at < length; at = end) {
    end = length - at > blockSize ? at + blockSize : length;
    // A block ends between two characters, unless the bytes there are malformed.
    while (end < length && end > at && text::continuesCharacter(bytes[end])) --end;
    if (end == at || text::countWellFormed(bytes + at, end - at) < 0) break;
  }
  while (at < length) {
    std::size_t next = at;
    UChar32 character = 0;
    U8_NEXT(reinterpret_cast<const std::uint8_t*>(bytes), next, length, character);
    if (character < 0) break;
    at = next;
  }
  return at;
}

}  // namespace tarvo::oss
