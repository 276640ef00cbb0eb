#pragma once

#include "kelRequestsForMemory.hpp"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>

/// What every candidate of every task goes through: it is refused when its answer is not the library's, timed, and
/// its requests for memory are counted.
namespace tarvo::benchmarks {

/// Leaves the candidate out, and has the whole program fail in the end.
void refuse(benchmark::State& state, const char* why);
bool anyRefused();

/// The same value, which the compiler does not know any more. (The framework's DoNotOptimize leaves it to the compiler to
/// take a variable from memory or a register, and mingw-w64's then forgets to fill the register.)
template <class Value>
Value hidden(Value value) {
  const volatile Value kept = value;
  return kept;
}

/// The requests are counted behind the timed loop, for the counter "allocations": those of one run, on the average of
/// up to 1024. What the first run asks for is left out.
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
