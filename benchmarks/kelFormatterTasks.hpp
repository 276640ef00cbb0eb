#pragma once

#include "kelTimed.hpp"

#include <benchmark/benchmark.h>
#include <unicode/unistr.h>

#include <charconv>
#include <cstdint>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

/// The numbers and tasks that all benchmarks of Formatter share. Each candidate is one function.
namespace tarvo::benchmarks::formatter {

constexpr std::size_t numbers = 1024;

/// All magnitudes are equally frequent, with either sign.
inline std::vector<std::int64_t> integers() {
  std::mt19937_64 engine(34);
  std::vector<std::int64_t> values(numbers);
  for (std::int64_t& value : values) value = static_cast<std::int64_t>(engine()) >> (engine() % 63U);
  return values;
}

/// Numbers as people and programs write them: some with few decimals, some with all digits.
inline std::vector<double> doubles() {
  std::mt19937_64 engine(34);
  std::vector<double> values(numbers);
  for (double& value : values) {
    value = static_cast<double>(engine() % 100'000'000U) / (engine() % 2 == 0 ? 100.0 : 7.0);
  }
  return values;
}

inline std::vector<std::string> textsOf(const std::vector<double>& values) {
  std::vector<std::string> texts;
  for (const double value : values) {
    char text[32];
    texts.emplace_back(text, std::to_chars(text, text + sizeof text, value, std::chars_format::fixed).ptr);
  }
  return texts;
}

inline std::vector<std::string> textsOf(const std::vector<std::int64_t>& values) {
  std::vector<std::string> texts;
  texts.reserve(values.size());
  for (const std::int64_t value : values) texts.push_back(std::to_string(value));
  return texts;
}

/// The numbers as UTF-16 texts of the candidate's type.
template <class Text = icu::UnicodeString>
std::vector<Text> wide(const std::vector<std::string>& texts) {
  std::vector<Text> result;
  result.reserve(texts.size());
  for (const std::string& text : texts) {
    const icu::UnicodeString units = icu::UnicodeString::fromUTF8(text);
    if constexpr (std::is_same_v<Text, icu::UnicodeString>)
      result.push_back(units);
    else
      result.emplace_back(reinterpret_cast<const typename Text::value_type*>(units.getBuffer()),
                          units.length());
  }
  return result;
}

/// `same(out, expected)` returns whether the candidate wrote the expected text.
template <auto convert, class Out, auto same>
void writes(benchmark::State& state) {
  const std::vector<std::int64_t> values = integers();
  const std::vector<icu::UnicodeString> expected = wide(textsOf(values));
  Out out;
  for (std::size_t i = 0; i < numbers; ++i) {
    convert(out, values[i]);
    if (!same(out, expected[i])) return refuse(state, "writes differently");
  }
  std::size_t i = 0;
  timed(state, [&] {
    convert(out, values[i++ % numbers]);
    benchmark::DoNotOptimize(out);
  });
}

template <auto convert, class Text, class Value>
void reads(benchmark::State& state, const std::vector<Text>& texts, const std::vector<Value>& values) {
  const auto read = [&](std::size_t i) {
    if constexpr (std::is_same_v<Text, std::string>)
      return convert(texts[i].c_str());
    else
      return convert(texts[i]);
  };
  for (std::size_t i = 0; i < numbers; ++i) {
    if (read(i) != values[i]) return refuse(state, "reads differently");
  }
  std::size_t i = 0;
  timed(state, [&] { benchmark::DoNotOptimize(read(i++ % numbers)); });
}

template <auto convert, class Text = icu::UnicodeString>
void readsIntegers(benchmark::State& state) {
  reads<convert>(state, wide<Text>(textsOf(integers())), integers());
}
template <auto convert, class Text = icu::UnicodeString>
void readsDoubles(benchmark::State& state) {
  reads<convert>(state, wide<Text>(textsOf(doubles())), doubles());
}
template <auto convert>
void readsNarrowDoubles(benchmark::State& state) {
  reads<convert>(state, textsOf(doubles()), doubles());
}

}  // namespace tarvo::benchmarks::formatter
