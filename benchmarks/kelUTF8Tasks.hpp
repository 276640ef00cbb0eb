#pragma once

#include "kelRegister.hpp"

#include <benchmark/benchmark.h>
#include <unicode/unistr.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

/// The texts that all benchmarks of UTF8String and UTF8Iterator share, and the function that registers a
/// candidate.
namespace tarvo::benchmarks::utf8 {

using Answer = std::int64_t;
using Task = std::function<Answer()>;

/// Registers a candidate. The candidate's result must equal that of the first candidate of the task, which is
/// the library.
inline void compete(const std::string& task, const std::string& candidate, const Task& run, const Task& own) {
  registerBenchmark(task + "/" + candidate, [=](benchmark::State& state) {
    if (run() != own()) return refuse(state, "the answers differ");
    timed(state, [&] { benchmark::DoNotOptimize(run()); });
  });
}

/// Hides a text and its length from the compiler.
inline const char* hidden(const std::string& text) {
  return benchmarks::hidden(text.c_str());
}

struct Kind {
  const char* name;
  icu::UnicodeString line;
};

inline const std::vector<Kind>& kinds() {
  static const std::vector<Kind> all = {
      {"ASCII", u"plain text, words and all that; 0123456789 "},
      {"mixed", u"caf\u00E9, gar\u00E7on na\u00EFve, \u00FCber stra\u00DFe, plain words "},
      {"CJK", u"\u65E5\u672C\u8A9E\u306E\u6587\u5B57\u5217\u4E2D\u6587\u5168\u6587\u3002"},
  };
  return all;
}

inline std::string textOf(std::size_t bytes, const icu::UnicodeString& line) {
  std::string piece;
  line.toUTF8String(piece);
  std::string text;
  while (text.size() + piece.size() <= bytes) text += piece;
  return text + std::string(bytes - text.size(), '.');
}

struct Text {
  std::string what;  ///< size and kind, for names
  std::shared_ptr<const std::string> bytes;
  Answer characters;

  std::int32_t length() const { return static_cast<std::int32_t>(bytes->size()); }
};

inline const std::vector<Text>& texts() {
  static const std::vector<Text> all = [] {
    std::vector<Text> made;
    for (const Kind& kind : kinds()) {
      for (const auto& [size, name] :
           {std::pair{std::size_t{64}, "64 B"}, std::pair{std::size_t{4096}, "4 KiB"},
            std::pair{std::size_t{1} << 20U, "1 MiB"}}) {
        auto bytes = std::make_shared<const std::string>(textOf(size, kind.line));
        const Answer characters = icu::UnicodeString::fromUTF8(*bytes).countChar32();
        made.push_back({std::string(name) + ", " + kind.name, std::move(bytes), characters});
      }
    }
    return made;
  }();
  return all;
}

/// The sum that a loop over all characters computes: 1 for each ASCII character, 2 for each other character.
inline Answer sumOf(const Text& text) {
  const icu::UnicodeString units = icu::UnicodeString::fromUTF8(*text.bytes);
  Answer sum = 0;
  for (std::int32_t at = 0; at < units.length(); at = units.moveIndex32(at, 1)) {
    sum += units.char32At(at) < 0x80 ? 1 : 2;
  }
  return sum;
}

}  // namespace tarvo::benchmarks::utf8
