#include "infra/oss/kelConverter.hpp"

#include "infra/oss/kelNLSException.hpp"

#include "oss/kelConvertData.hpp"
#include "oss/kelRaise.hpp"
#include "text/kelInvariant.hpp"
#include "text/kelTranscoding.hpp"
#include "text/kelWords.hpp"
#include "trace/kelTrace.hpp"

#include <unicode/ucnv.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <new>
#include <string>

namespace tarvo::oss {

using trace::probe;
using trace::traced;

namespace {

constexpr std::int64_t largestSize = std::numeric_limits<int>::max();

/// The largest number of units in an ICU string. The number of bytes in a text has the same limit, because
/// each byte may become a unit.
constexpr std::int64_t longestData = largestSize - 10;

const char* nameOf(const char* codePage) {
  return text::isEmpty(codePage) ? ucnv_getDefaultName() : codePage;
}

/// Returns whether two names are the same. The function compares only the bytes of the names: two different
/// names of one converter count as different code pages.
bool sameCodePage(const char* one, const char* other) {
  if (text::isEmpty(one) || text::isEmpty(other)) return text::isEmpty(one) && text::isEmpty(other);
  if (one == other) return true;
  return *one == *other && std::strcmp(one, other) == 0;  // most pairs differ at once
}

// --- debug lines: some of them do not end in a line feed, which is intended

constinit std::atomic<bool> debugging = false;

/// A code page for a debug line. The name of the code page is looked up only when the line is printed.
struct CodePage {
  const char* codePage;
};

/// Bytes for a debug line. The debug line contains the bytes up to the first NUL.
struct Shown {
  const char* bytes;
  std::int64_t count;
};

void addTo(std::string& line, const char* text) {
  line += text == nullptr ? "(null)" : text;
}
void addTo(std::string& line, CodePage name) {
  line += nameOf(name.codePage);
}
void addTo(std::string& line, Shown shown) {
  line.append(shown.bytes, std::find(shown.bytes, shown.bytes + shown.count, '\0'));
}
void addTo(std::string& line, std::int64_t number) {
  line += std::to_string(number);
}

template <class... Pieces>
[[gnu::cold, gnu::noinline]] void printLine(const Pieces&... pieces) {
  std::string line("DEBUG: ");
  (addTo(line, pieces), ...);
  static_cast<void>(std::fputs(line.c_str(), stdout));
}

template <class... Pieces>
void debug(const Pieces&... pieces) {
  if (debugging.load(std::memory_order_relaxed)) printLine(pieces...);
}

[[gnu::cold, gnu::noinline]] void debugParameters(const ByteConversion& conversion) {
  debug("convert parameters - FromCP: [", CodePage{conversion.fromCodePage}, "] ToCP: [",
        CodePage{conversion.toCodePage}, "]\n");
  debug("Destination length: [", conversion.destinationLength, "]\n");
  if (conversion.text) {
    debug("Data length: [", conversion.length, "] Data size: [", conversion.length, "]\n");
    debug("Data: [", conversion.data, "]\n");
  } else {
    debug("Data length: [", conversion.length, "] Data is binary\n");
  }
  debug(conversion.destination == nullptr ? "Getting the size" : "Converting data", "\n");
}

// --- the steps

/// The destination of a conversion, and the names for its errors.
struct Target {
  char* bytes;  // null: the caller asks only for the size
  int length;
  const char* fromCodePage;
  const char* toCodePage;
  bool text;
  bool terminating;

  int room() const { return bytes == nullptr ? 0 : length; }
  std::int64_t sizeOf(std::int64_t count) const { return count + (terminating ? 1 : 0); }
};

[[noreturn]] void raiseConversionError(const Target& target) {
  raise<NLSException>(errors::ERR_CONV_CONVERSION_ERROR,
                      errors::Name{text::invariantText(nameOf(target.toCodePage))},
                      errors::Name{text::invariantText(nameOf(target.fromCodePage))});
}

[[noreturn]] void raiseTooSmall(const Target& target) {
  raise<NLSException>(errors::ERR_BUFFER_SIZE_TOO_SMALL, errors::Size{target.length});
}

/// Returns the size to the caller. A size above the largest int is an error.
int answer(std::int64_t size, const Target& target) {
  if (size > largestSize) raiseConversionError(target);
  return static_cast<int>(size);
}

int convertNothing(const Target& target) {
  debug("No data was passed");
  if (!target.terminating) return 0;
  if (target.bytes != nullptr && target.length > 0) *target.bytes = '\0';
  return 1;
}

int sizeUnchanged(std::int64_t length, const Target& target) {
  const int size = answer(target.sizeOf(length), target);
  debug("Returning just the size with both code pages the same - size: ", size, "\n");
  return size;
}

/// Copies the data and a NUL. If `terminating` is false, the check of the size does not include the NUL, but
/// the NUL is stored nevertheless.
int copyUnchanged(const char* data, std::int64_t length, const Target& target) {
  const std::int64_t size = target.sizeOf(length);
  if (size > target.length) {
    debug("Could not convert data because the destination buffer was too small - size: ", size,
          " destLength: ", target.length, ".\n");
    raiseTooSmall(target);
  }
  const auto count = static_cast<std::size_t>(length);
  if (count <= text::shortPiece) {
    text::moveShort(target.bytes, data, count);
  } else {
    std::memmove(target.bytes, data, count);
  }
  target.bytes[length] = '\0';
  debug("Returning the passed data string - size: ", size, ".\n");
  return static_cast<int>(size);
}

/// Prints the size that ICU returned, and returns this size plus the terminator.
int sizeConverted(std::int32_t count, const Target& target) {
  const CodePage name{target.toCodePage};
  if (count < 1) {
    debug("Call to extract to get size failed - errno: ", errno, " size: ", count, " toCodePage: ", name,
          ".\n");
    raiseConversionError(target);
  }
  debug("Called extract to get size - errno: ", errno, " size: ", count, " toCodePage: ", name, ".\n");
  return answer(target.sizeOf(count), target);
}

int sizeWritten(std::int32_t count, const Target& target) {
  const CodePage name{target.toCodePage};
  if (count < 1) {
    debug("Call to extract to convert data failed - errno: ", errno, " size: ", count,
          " destLength: ", target.length, " toCodePage: ", name, ".\n");
    raiseConversionError(target);
  }
  const std::int64_t size = target.sizeOf(count);
  if (size > target.length) {
    debug("Call to extract to convert data failed because the destination buffer was too small - size: ",
          size, " destLength: ", target.length, ".\n");
    raiseTooSmall(target);
  }
  debug("Called extract to convert data - errno: ", errno, " size: ", size, " destLength: ", target.length,
        " toCodePage: ", name, ".\n");
  if (target.text) {
    debug("converted data: [", Shown{target.bytes, count}, "]\n");
  } else {
    debug("converted data is binary");
  }
  return static_cast<int>(size);
}

/// Returns the result for a text that has `count` bytes in the target's code page.
int converted(std::int32_t count, const Target& target) {
  return target.bytes == nullptr ? sizeConverted(count, target) : sizeWritten(count, target);
}

int convertBytes(const char* data, std::int64_t length, const Target& target) {
  if (length > longestData) raiseConversionError(target);
  const std::int32_t count =
      text::transcode({data, static_cast<std::size_t>(length)}, text::nullIfEmpty(target.fromCodePage),
                      target.bytes, target.room(), text::nullIfEmpty(target.toCodePage));
  debug("Called String constructor - errno: ", errno, "\n");
  return converted(count, target);
}

}  // namespace

int convertData(const ByteConversion& conversion) {
  return traced<probe("Converter::convertData")>([&] {
    if (debugging.load(std::memory_order_relaxed)) debugParameters(conversion);
    if (conversion.data == nullptr) {
      debug("No data buffer was passed");
      return 0;
    }
    const Target target{.bytes = conversion.destination,
                        .length = conversion.destinationLength,
                        .fromCodePage = conversion.fromCodePage,
                        .toCodePage = conversion.toCodePage,
                        .text = conversion.text,
                        .terminating = conversion.terminating};
    if (conversion.length < 1) return convertNothing(target);
    if (!sameCodePage(conversion.fromCodePage, conversion.toCodePage))
      return convertBytes(conversion.data, conversion.length, target);
    return target.bytes == nullptr ? sizeUnchanged(conversion.length, target)
                                   : copyUnchanged(conversion.data, conversion.length, target);
  });
}

int Converter::convert(char* destination, int destinationLength, const char* fromCodePage, const char* data,
                       const char* toCodePage) {
  return traced<probe("Converter::convert")>([&] {
    const std::size_t length = data == nullptr ? 0 : std::strlen(data);
    return convertData({.destination = destination,
                        .destinationLength = destinationLength,
                        .fromCodePage = fromCodePage,
                        .data = data,
                        .length = static_cast<std::int64_t>(length),
                        .toCodePage = toCodePage,
                        .text = true,
                        .terminating = true});
  });
}

int Converter::convert(char* destination, int destinationLength, const char* fromCodePage, const char* data,
                       int length, const char* toCodePage) {
  return traced<probe("Converter::convert")>([&] {
    return convertData({.destination = destination,
                        .destinationLength = destinationLength,
                        .fromCodePage = fromCodePage,
                        .data = data,
                        .length = length,
                        .toCodePage = toCodePage,
                        .text = false,
                        .terminating = true});
  });
}

// NOLINTNEXTLINE(readability-non-const-parameter): it is written through, in a copy of the pointer
int Converter::convert(char* destination, int destinationLength, const char* toCodePage,
                       const icu::UnicodeString& data) {
  return traced<probe("Converter::convert")>([&] {
    debug("convert parameters - ToCP: [", CodePage{toCodePage}, "] Data is String object\n");
    debug("Destination length: [", destinationLength, "] Data size: [", data.length(), "]\n");
    const Target target{.bytes = destination,
                        .length = destinationLength,
                        .fromCodePage = nullptr,
                        .toCodePage = toCodePage,
                        .text = true,
                        .terminating = true};
    if (data.isEmpty()) return convertNothing(target);
    return converted(text::fromUnicode(data, destination, target.room(), text::nullIfEmpty(toCodePage)),
                     target);
  });
}

void Converter::setDebug(bool on) {
  traced<probe("Converter::setDebug")>([&] { debugging.store(on, std::memory_order_relaxed); });
}

std::size_t Converter::convertToBytes(const icu::UnicodeString& text, const char* codePage, char* target,
                                      std::size_t capacity, char* (*grow)(void* buffer, std::size_t size),
                                      void* buffer) {
  return traced<probe("Converter::convertToBytes")>([&] {
    try {
      const auto room = static_cast<std::int32_t>(std::min<std::size_t>(capacity, largestSize));
      const std::int32_t size = text::fromUnicode(
          text, target, room, text::nullIfEmpty(codePage),
          [&](std::int32_t needed) { return grow(buffer, static_cast<std::size_t>(needed)); });
      return static_cast<std::size_t>(std::max(size, 0));
    } catch (const std::bad_alloc&) {
      raise<NLSException>(errors::QN_ERR_OUT_OF_MEMORY, errors::Operation{"Converter::convertToBytes()"});
    }
  });
}

}  // namespace tarvo::oss
