#pragma once

#include "kelRequestsForMemory.hpp"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>

/// Runs a candidate of a task. If its result differs from the library's, it is skipped; otherwise it is timed
/// and its allocations are counted.
namespace tarvo::benchmarks {

/// Skips the candidate; at its end the whole program fails.
void refuse(benchmark::State& state, const char* why);
bool anyRefused();

/// Returns its argument in such a way that the compiler does not know the value. (The framework's
/// DoNotOptimize lets the compiler choose between memory and a register; the compiler of mingw-w64 then does
/// not load the register.)
template <class Value>
Value hidden(Value value) {
  const volatile Value kept = value;
  return kept;
}

/// Counts allocations after the timed loop. The counter "allocations" is the average of up to 1024 runs.
/// Allocations that only the first run makes are not counted.
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
