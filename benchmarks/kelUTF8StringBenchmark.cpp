#include "infra/oss/kelUTF8Iterator.hpp"
#include "infra/oss/kelUTF8String.hpp"

#include "kelUTF8Tasks.hpp"

#include <benchmark/benchmark.h>
#include <unicode/unistr.h>
#include <unicode/utext.h>
#include <unicode/utf8.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

/// UTF8String and UTF8Iterator compared with direct use of ICU's macros and text interface, and with the C
/// library. Each candidate must give the library's answer before it is timed.
namespace {

using namespace tarvo::benchmarks::utf8;
using tarvo::oss::UTF8Iterator;
using tarvo::oss::UTF8String;

struct Candidate {
  std::string name;
  Task task;
};

/// The first candidate must be that of the library.
void compare(const std::string& task, const std::vector<Candidate>& candidates) {
  for (const Candidate& candidate : candidates)
    compete(task, candidate.name, candidate.task, candidates.front().task);
}

// --- rivals

// ICU's macros assign an int to a byte.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"

/// Validates and counts.
Answer countByU8Next(const char* text, std::int32_t length) {
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(text);
  Answer count = 0;
  for (std::int32_t at = 0; at < length; ++count) {
    UChar32 character = 0;
    U8_NEXT(bytes, at, length, character);
    if (character < 0) return -1;
  }
  return count;
}

#pragma GCC diagnostic pop

std::int32_t afterCharacter(const char* text, std::int32_t at, std::int32_t length) {
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(text);
  U8_FWD_1(bytes, at, length);
  return at;
}

Answer skipByU8Fwd(const char* text, std::int32_t length) {
  Answer count = 0;
  for (std::int32_t at = 0; at < length; ++count) at = afterCharacter(text, at, length);
  return count;
}

std::int32_t lengthOf(const char* text) {
  return static_cast<std::int32_t>(std::strlen(text));
}

/// A sum that depends on each character: 1 for ASCII, 2 for others.
Answer walkByUText(const char* text) {
  UErrorCode status = U_ZERO_ERROR;
  UText opened = UTEXT_INITIALIZER;
  UText* const walked = utext_openUTF8(&opened, text, -1, &status);
  Answer sum = 0;
  for (UChar32 c = UTEXT_NEXT32(walked); c != U_SENTINEL; c = UTEXT_NEXT32(walked)) sum += c < 0x80 ? 1 : 2;
  utext_close(walked);
  return sum;
}

/// Checks the text, then returns each character as bytes, as a user would write it.
Answer walkByU8Next(const char* text) {
  const std::string copy(text);
  const auto length = static_cast<std::int32_t>(copy.size());
  if (countByU8Next(copy.data(), length) < 0) return -1;
  Answer sum = 0;
  std::array<char, 5> character;
  for (std::int32_t at = 0; at < length;) {
    const std::int32_t start = at;
    at = afterCharacter(copy.data(), at, length);
    character.fill('\0');
    std::memcpy(character.data(), copy.data() + start, static_cast<std::size_t>(at - start));
    benchmark::DoNotOptimize(character.data());
    sum += character[1] == '\0' ? 1 : 2;
  }
  return sum;
}

Answer walkByIterator(const char* text) {
  UTF8Iterator iterator(text);
  Answer sum = 0;
  for (const char* c = iterator.getNextChar(); c != nullptr; c = iterator.getNextChar())
    sum += c[1] == '\0' ? 1 : 2;
  return sum;
}

// --- the cases

void compareIterators(const Text& shared) {
  const std::shared_ptr<const std::string> text = shared.bytes;
  const std::size_t bytes = text->size();
  const std::string what = shared.what;
  const Answer characters = shared.characters;
  const auto room = std::make_shared<std::vector<char>>(bytes + 1);
  compare("UTF8Iterator/construct, " + what,
          {{"KELINFRA", [=] { return Answer{UTF8Iterator(hidden(*text)).numChars()}; }},
           {"U8_NEXT",
            [=] {
              const char* const bytesOf = hidden(*text);
              return countByU8Next(bytesOf, lengthOf(bytesOf));
            }},
           {"a zeroed store and U8_NEXT",
            [=] {
              std::array<char, 4097> store{};
              benchmark::DoNotOptimize(store.data());
              const char* const bytesOf = hidden(*text);
              return countByU8Next(bytesOf, lengthOf(bytesOf));
            }},
           {"memcpy", [=] {
              std::memcpy(room->data(), hidden(*text), bytes + 1);
              benchmark::DoNotOptimize(room->data());
              benchmark::ClobberMemory();
              return characters;
            }}});
  compare("UTF8Iterator/construct and walk, " + what,
          {{"KELINFRA", [=] { return walkByIterator(hidden(*text)); }},
           {"UText", [=] { return walkByUText(hidden(*text)); }},
           {"U8_NEXT and a copy each", [=] { return walkByU8Next(hidden(*text)); }}});
  const auto string = std::make_shared<const UTF8String>(text->c_str());
  compare("UTF8String/numChars, " + what,
          {{"KELINFRA", [=] { return Answer{string->numChars()}; }},
           {"U8_FWD_1", [=] { return skipByU8Fwd(hidden(*text), static_cast<std::int32_t>(bytes)); }},
           {"U8_NEXT", [=] { return countByU8Next(hidden(*text), static_cast<std::int32_t>(bytes)); }}});
}

void compareComparisons(std::size_t bytes, const std::string& size) {
  const auto text = std::make_shared<const std::string>(bytes, 'x');
  const auto string = std::make_shared<const UTF8String>(text->c_str());
  compare("UTF8String/compare, " + size,
          {{"KELINFRA", [=] { return Answer{string->compare(hidden(*text))}; }},
           {"strcmp", [=] { return Answer{std::strcmp(hidden(*text), string->getString())}; }}});
}

void compareConversions(const Kind& kind, std::int32_t units) {
  icu::UnicodeString text;
  while (text.length() < units) text.append(kind.line);
  text.truncate(units);
  const std::string what = std::to_string(units) + " units, " + kind.name;
  const auto string = std::make_shared<UTF8String>(0);
  compare("UTF8String/assign " + what,
          {{"KELINFRA",
            [=] {
              *string = text;
              return Answer{string->length()};
            }},
           {"toUTF8String",
            [=] {
              std::string bytes;
              text.toUTF8String(bytes);
              return static_cast<Answer>(bytes.size());
            }},
           {"ICU by name", [=] {
              std::array<char, 4096> bytes;
              return Answer{text.extract(0, text.length(), bytes.data(), 4096U, "UTF-8")};
            }}});
}

const bool registered = [] {
  for (const Text& text : texts()) compareIterators(text);
  for (const Kind& kind : kinds()) {
    for (const std::int32_t units : {16, 512}) compareConversions(kind, units);
  }
  compareComparisons(64, "64 B");
  compareComparisons(4096, "4 KiB");
  compareComparisons(1 << 20, "1 MiB");
  return true;
}();

}  // namespace
