#pragma once

#include <atomic>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>

namespace tarvo::test {

/// The environment variable that seeds the random numbers of all tests and test programs: a number from 0 to
/// 2^32 - 1. The same number gives the same random numbers. If a random test fails, it prints the number.
inline constexpr const char* seedVariable = "KELINFRA_TEST_SEED";

/// Returns the variable's value, or 0 if the variable is not set. Ends the program if the value is not a
/// number.
inline unsigned int& runSeed() {
  static unsigned int seed = [] {
    const char* const text = std::getenv(seedVariable);  // NOLINT(concurrency-mt-unsafe): nobody sets it
    unsigned int number = 0;
    if (text == nullptr) return number;
    const char* const end = text + std::strlen(text);
    const auto [rest, error] = std::from_chars(text, end, number);
    if (error != std::errc() || rest != end) {
      std::fprintf(stderr, "%s=%s is not a number from 0 to 4294967295\n", seedVariable, text);
      std::_Exit(2);
    }
    return number;
  }();
  return seed;
}

/// Chooses a random seed unless the variable is set. Programs whose runs should differ call this function.
inline void drawRunSeed() {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody sets it
  if (std::getenv(seedVariable) == nullptr) runSeed() = std::random_device()();
}

/// Whether the running test or the program has already printed the seed.
inline std::atomic<bool> seedShown = false;

inline void showRunSeed() {
  std::printf("random numbers of %s=%u\n", seedVariable, runSeed());
  std::fflush(stdout);
}

/// Returns the seed for a random number generator. Different values of `own` give different seeds. The first
/// call in a test prints the run's seed.
inline unsigned int seeded(unsigned int own) {
  if (!seedShown.exchange(true)) showRunSeed();
  return runSeed() + own;
}

}  // namespace tarvo::test
