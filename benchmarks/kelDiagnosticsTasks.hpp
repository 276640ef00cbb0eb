#pragma once

#include "infra/oss/kelMessage.hpp"

#include "kelTimed.hpp"

#include <benchmark/benchmark.h>
#include <unicode/unistr.h>

#include <string>

/// The tasks that all benchmarks of the diagnostics share: an error that is thrown or formatted, and a call
/// that may be traced.
namespace tarvo::benchmarks::diagnostics {

inline constexpr const char* identifier = "QN_ERR_SOCKET_ERROR";
inline const icu::UnicodeString host(u"db.example");
inline constexpr unsigned int port = 4711;
inline constexpr int code = 10022;
inline constexpr const char* line = "QN_ERR_SOCKET_ERROR: [] - [10022] [db.example] [4711]";

/// `thrower(port, code)` throws a Caught; `textOf` formats it as a line.
template <class Caught, class Thrower, class TextOf>
void throwsAndCatches(benchmark::State& state, Thrower thrower, TextOf textOf) {
  try {
    thrower(port, code);
  } catch (const Caught& error) {
    if (textOf(error) != line) return refuse(state, "the text differs");
  }
  timed(state, [&] {
    try {
      thrower(port, code);
    } catch (const Caught& error) {
      benchmark::DoNotOptimize(&error);
    }
  });
}

inline bool isLine(const icu::UnicodeString& text) {
  return text == icu::UnicodeString(line, -1, US_INV);
}
inline bool isLine(const std::string& text) {
  return text == line;
}

/// `render()` returns the line.
template <class Render>
void renders(benchmark::State& state, Render render) {
  if (!isLine(render())) return refuse(state, "the lines differ");
  timed(state, [&] { benchmark::DoNotOptimize(render()); });
}

// --- a step of the cursor, which may be traced

struct Node {
  int message;
  const Node* next;
};

/// `step(first, cursor)` moves the cursor past the first message and returns that message.
template <class Step>
void steps(benchmark::State& state, Step step) {
  const Node last{2, nullptr};
  const Node first{1, &last};
  const Node* cursor = nullptr;
  if (*step(&first, &cursor) != 1 || cursor != &last) return refuse(state, "the step differs");
  timed(state, [&] {
    benchmark::DoNotOptimize(step(&first, &cursor));
    benchmark::ClobberMemory();
  });
}

}  // namespace tarvo::benchmarks::diagnostics
