#include "infra/oss/kelConverter.hpp"

#include "infra/oss/kelNLSException.hpp"

#include "oss/kelRaise.hpp"
#include "trace/kelTrace.hpp"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <new>

namespace tarvo::oss {

using trace::probe;
using trace::traced;

namespace {

// ICU answers a capacity of 0 with the size only when the target is null.
std::size_t extract(const icu::UnicodeString& text, const char* codePage, char* target,
                    std::size_t capacity) {
  constexpr std::size_t most = std::numeric_limits<std::int32_t>::max();
  const auto room = static_cast<std::uint32_t>(std::min(capacity, most));
  char* const start = room == 0 ? nullptr : target;
  return static_cast<std::size_t>(std::max(text.extract(0, text.length(), start, room, codePage), 0));
}

}  // namespace

std::size_t Converter::convertToBytes(const icu::UnicodeString& text, const char* codePage, char* target,
                                      std::size_t capacity, char* (*grow)(void* buffer, std::size_t size),
                                      void* buffer) {
  return traced<probe("Converter::convertToBytes")>([&] {
    const std::size_t needed = extract(text, codePage, target, capacity);
    if (needed <= capacity) return needed;
    try {
      target = grow(buffer, needed);
    } catch (const std::bad_alloc&) {
      raise<NLSException>("QN_ERR_OUT_OF_MEMORY", NarrowArgument{"Converter::convertToBytes()", nullptr});
    }
    return extract(text, codePage, target, needed);
  });
}

}  // namespace tarvo::oss
