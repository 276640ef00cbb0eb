#pragma once

#include "kelRequestsForMemory.hpp"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>

/// Each candidate of a task is refused if its answer differs from the library's, then timed, and its
/// allocations are counted.
namespace tarvo::benchmarks {

/// Skips the candidate and makes the whole program fail at its end.
void refuse(benchmark::State& state, const char* why);
bool anyRefused();

/// Returns the same value, but the compiler no longer knows it. (The framework's DoNotOptimize lets the
/// compiler choose between memory and a register; the compiler of mingw-w64 then does not load the register.)
template <class Value>
Value hidden(Value value) {
  const volatile Value kept = value;
  return kept;
}

/// Counts allocations after the timed loop. The counter "allocations" is the average of up to 1024 runs.
/// Allocations of the first run only are not counted.
template <class Body>
void timed(benchmark::State& state, Body body) {
  for (auto _ : state) body();
  const std::optional<std::size_t> before = requestsForMemory();
  if (!before) return;
  const auto counted = std::clamp<std::int64_t>(state.iterations() / 8, 1, 1024);
  for (std::int64_t i = 0; i < counted; ++i) body();
  state.counters["allocations"] =
      static_cast<double>(*requestsForMemory() - *before) / static_cast<double>(counted);
}

}  // namespace tarvo::benchmarks
