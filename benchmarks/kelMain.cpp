#include "kelTimed.hpp"

#include <benchmark/benchmark.h>

/// Like the framework's main, but fails if a candidate's answer differed from the library's.
namespace tarvo::benchmarks {
namespace {

bool refused = false;

}  // namespace

void refuse(benchmark::State& state, const char* why) {
  refused = true;
  state.SkipWithError(why);
}

bool anyRefused() {
  return refused;
}

}  // namespace tarvo::benchmarks

int main(int count, char** arguments) {
  benchmark::Initialize(&count, arguments);
  if (benchmark::ReportUnrecognizedArguments(count, arguments)) return 2;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return tarvo::benchmarks::anyRefused() ? 1 : 0;
}
