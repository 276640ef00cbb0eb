#pragma once

#include "infra/oss/kelStringTokenizer.hpp"

#include "kelTimed.hpp"

#include <benchmark/benchmark.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <string>
#include <string_view>

/// 64 KiB of five-letter words in UTF-16, and the check that a candidate finds the library's tokens: shared
/// by all benchmarks of StringTokenizer.
namespace tarvo::benchmarks::tokenizer {

using oss::StringTokenizer;

inline constexpr const char* page = "windows-1252";
inline constexpr std::u16string_view delimiters = u" \r\n\t";
inline constexpr const char* narrowDelimiters = " \r\n\t";

inline std::string wordBytes() {
  std::string text;
  while (text.size() < 32'768) text += "alpha bravo delta\r\nhotel\tindia ";
  return text;
}

inline const std::string& bytes() {
  static const std::string text = wordBytes();
  return text;
}

inline const icu::UnicodeString& units() {
  static const icu::UnicodeString text = icu::UnicodeString::fromUTF8(bytes());
  return text;
}

/// The same words with one blank between two words, and no blank after the last.
inline const std::string& blankSeparated() {
  static const std::string text = [] {
    std::string made;
    for (std::size_t at = 0; at < bytes().size();) {
      const std::size_t end = bytes().find_first_of(narrowDelimiters, at);
      made.append(made.empty() ? "" : " ").append(bytes(), at, end - at);
      at = std::min(bytes().find_first_not_of(narrowDelimiters, end), bytes().size());
    }
    return made;
  }();
  return text;
}

/// The library's tokens in one text, with a mark after each.
inline std::string expected() {
  std::string all;
  StringTokenizer tokenizer(units(), nullptr);
  while (tokenizer.hasMoreTokens()) all.append(tokenizer.getNextToken()).push_back('|');
  return all;
}

/// Returns whether the candidate may be timed: its tokens, joined in the same way, must equal the library's
/// tokens.
inline bool agrees(benchmark::State& state, const std::string& tokens) {
  if (tokens == expected()) return true;
  refuse(state, "the tokens differ");
  return false;
}

/// `split()` returns a container, and `toBytes(token)` returns a token of it as bytes.
template <class Split, class ToBytes>
void splits(benchmark::State& state, Split split, ToBytes toBytes) {
  std::string all;
  for (const auto& token : split()) all.append(toBytes(token)).push_back('|');
  if (!agrees(state, all)) return;
  timed(state, [&] { benchmark::DoNotOptimize(split()); });
}

}  // namespace tarvo::benchmarks::tokenizer
