#pragma once

#include "kelTimed.hpp"

#include <benchmark/benchmark.h>

#include <functional>
#include <string>
#include <utility>

/// Registers benchmarks whose names are composed when the program starts.
namespace tarvo::benchmarks {

class NamedBenchmark : public benchmark::internal::Benchmark {
 public:
  using Body = std::function<void(benchmark::State&)>;

  NamedBenchmark(const std::string& name, Body body) : Benchmark(name.c_str()), body_(std::move(body)) {}
  void Run(benchmark::State& state) override { body_(state); }

 private:
  Body body_;
};

inline void registerBenchmark(const std::string& name, NamedBenchmark::Body body) {
  benchmark::internal::RegisterBenchmarkInternal(new NamedBenchmark(name, std::move(body)));
  // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDeleteLeaks): Google Benchmark owns it
}

}  // namespace tarvo::benchmarks
