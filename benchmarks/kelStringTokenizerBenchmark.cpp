#include "infra/oss/kelStringTokenizer.hpp"

#include "kelStringTokenizerTasks.hpp"

#include <benchmark/benchmark.h>
#include <unicode/ucnv.h>
#include <unicode/unistr.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

/// StringTokenizer compared with the standard library and direct use of ICU, on 64 KiB of five-letter words.
/// Each case first checks that the candidate finds the library's tokens.
namespace {

using namespace tarvo::benchmarks::tokenizer;
using tarvo::benchmarks::timed;

// --- ways to split

template <class Take>
void eachView(Take take) {
  const std::u16string_view text(units().getBuffer(), static_cast<std::size_t>(units().length()));
  for (std::size_t start = text.find_first_not_of(delimiters); start != std::u16string_view::npos;) {
    const std::size_t end = std::min(text.find_first_of(delimiters, start), text.size());
    take(text.substr(start, end - start));
    start = text.find_first_not_of(delimiters, end);
  }
}

/// Tests each code unit with a hand-written condition, as fast as a bare loop can.
template <class Take>
void eachBareView(Take take) {
  const char16_t* const text = units().getBuffer();
  const auto length = static_cast<std::size_t>(units().length());
  const auto separates = [](char16_t unit) {
    return unit == u' ' || unit == u'\r' || unit == u'\n' || unit == u'\t';
  };
  for (std::size_t at = 0; at < length;) {
    const std::size_t start = at;
    while (at < length && !separates(text[at])) ++at;
    take(std::u16string_view(text + start, at - start));
    while (at < length && separates(text[at])) ++at;
  }
}

icu::UnicodeString unicode(std::u16string_view view) {
  return {view.data(), static_cast<std::int32_t>(view.size())};
}

std::string narrowByName(const icu::UnicodeString& token) {
  std::array<char, 64> room{};
  const std::int32_t size = token.extract(0, token.length(), room.data(), 64U, page);
  return {room.data(), static_cast<std::size_t>(size)};
}

template <class Each>
std::string glued(Each each) {
  std::string all;
  each([&](std::u16string_view view) { all.append(narrowByName(unicode(view))).push_back('|'); });
  return all;
}

std::vector<icu::UnicodeString> byStrtok() {
  std::u16string copy(units().getBuffer(), static_cast<std::size_t>(units().length()));
  std::vector<icu::UnicodeString> tokens;
  char16_t* rest = nullptr;
  for (char16_t* token = u_strtok_r(copy.data(), u" \r\n\t", &rest); token != nullptr;
       token = u_strtok_r(nullptr, u" \r\n\t", &rest)) {
    tokens.emplace_back(token);
  }
  return tokens;
}

// --- construction

void construct(benchmark::State& state) {
  timed(state, [&] {
    const StringTokenizer tokenizer(units(), nullptr);
    benchmark::DoNotOptimize(tokenizer.countTokens());
  });
}

template <class Each>
void collectViews(benchmark::State& state, Each each) {
  if (!agrees(state, glued(each))) return;
  timed(state, [&] {
    std::vector<std::u16string_view> views;
    each([&](std::u16string_view view) { views.push_back(view); });
    benchmark::DoNotOptimize(views.data());
  });
}

void constructBareViews(benchmark::State& state) {
  collectViews(state, [](auto take) { eachBareView(take); });
}

void constructFindFirstOf(benchmark::State& state) {
  collectViews(state, [](auto take) { eachView(take); });
}

/// One delimiter, the form that many other libraries take.
void constructBlanks(benchmark::State& state) {
  const icu::UnicodeString text = icu::UnicodeString::fromUTF8(blankSeparated());
  std::string all;
  for (StringTokenizer tokenizer(text, " "); tokenizer.hasMoreTokens();)
    all.append(tokenizer.getNextToken()).push_back('|');
  if (!agrees(state, all)) return;
  timed(state, [&] {
    const StringTokenizer tokenizer(text, " ");
    benchmark::DoNotOptimize(tokenizer.countTokens());
  });
}

BENCHMARK(constructBlanks)->Name("StringTokenizer/construct, one delimiter/KELINFRA");
BENCHMARK(construct)->Name("StringTokenizer/construct/KELINFRA");
BENCHMARK(constructBareViews)->Name("StringTokenizer/construct/a bare scan to views");
BENCHMARK(constructFindFirstOf)->Name("StringTokenizer/construct/find_first_of");

// --- every token as UnicodeString

void everyString(benchmark::State& state) {
  timed(state, [&] {
    StringTokenizer tokenizer(units(), nullptr);
    while (tokenizer.hasMoreTokens()) {
      icu::UnicodeString token = tokenizer.getNextTokenString();
      benchmark::DoNotOptimize(token);
    }
  });
}

void everyStringStrtok(benchmark::State& state) {
  std::string all;
  for (const icu::UnicodeString& token : byStrtok()) all.append(narrowByName(token)).push_back('|');
  if (!agrees(state, all)) return;
  timed(state, [&] { benchmark::DoNotOptimize(byStrtok().data()); });
}

void everyStringViews(benchmark::State& state) {
  if (!agrees(state, glued([](auto take) { eachView(take); }))) return;
  timed(state, [&] { eachView([](std::u16string_view view) { benchmark::DoNotOptimize(unicode(view)); }); });
}

BENCHMARK(everyString)->Name("StringTokenizer/construct and fetch every token/KELINFRA");
BENCHMARK(everyStringStrtok)->Name("StringTokenizer/construct and fetch every token/u_strtok_r");
BENCHMARK(everyStringViews)->Name("StringTokenizer/construct and fetch every token/views made into strings");

// --- every token as bytes

void everyToken(benchmark::State& state) {
  timed(state, [&] {
    StringTokenizer tokenizer(bytes().c_str(), page, nullptr);
    while (tokenizer.hasMoreTokens()) benchmark::DoNotOptimize(tokenizer.getNextToken());
  });
}

void everyTokenStream(benchmark::State& state) {
  std::string all;
  std::string word;
  for (std::istringstream words(bytes()); words >> word;) all.append(word).push_back('|');
  if (!agrees(state, all)) return;
  timed(state, [&] {
    for (std::istringstream words(bytes()); words >> word;) benchmark::DoNotOptimize(word.data());
  });
}

void fetchOnly(benchmark::State& state) {
  StringTokenizer tokenizer(bytes().c_str(), page, nullptr);
  timed(state, [&] {
    for (tokenizer.getFirstToken(); tokenizer.hasMoreTokens();)
      benchmark::DoNotOptimize(tokenizer.getNextToken());
  });
}

/// For each token, zeroes a whole buffer and opens a converter by name.
void fetchOnlyZeroedByName(benchmark::State& state) {
  if (!agrees(state, glued([](auto take) { eachBareView(take); }))) return;
  std::array<char, 4097> store{};
  timed(state, [&] {
    eachBareView([&](std::u16string_view view) {
      std::memset(store.data(), 0, store.size());
      const icu::UnicodeString alias(static_cast<UBool>(false), view.data(),
                                     static_cast<std::int32_t>(view.size()));
      alias.extract(0, alias.length(), store.data(), 4096U, page);
      benchmark::DoNotOptimize(store.data());
    });
  });
}

/// One converter stays open; each token is converted in place.
void fetchOnlyCachedIcu(benchmark::State& state) {
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<UConverter, decltype(&ucnv_close)> converter(ucnv_open(page, &status), &ucnv_close);
  if (!agrees(state, glued([](auto take) { eachBareView(take); }))) return;
  std::array<char, 4097> store{};
  timed(state, [&] {
    eachBareView([&](std::u16string_view view) {
      const icu::UnicodeString alias(static_cast<UBool>(false), view.data(),
                                     static_cast<std::int32_t>(view.size()));
      alias.extract(store.data(), 4096, converter.get(), status);
      benchmark::DoNotOptimize(store.data());
    });
  });
}

BENCHMARK(everyToken)->Name("StringTokenizer/construct and fetch every token as bytes/KELINFRA");
BENCHMARK(everyTokenStream)
    ->Name("StringTokenizer/construct and fetch every token as bytes/std::istringstream");
BENCHMARK(fetchOnly)->Name("StringTokenizer/the fetches as bytes alone/KELINFRA");
BENCHMARK(fetchOnlyZeroedByName)
    ->Name("StringTokenizer/the fetches as bytes alone/zeroed store, converter by name");
BENCHMARK(fetchOnlyCachedIcu)->Name("StringTokenizer/the fetches as bytes alone/an open ICU converter");

}  // namespace
