#include "simd/kelKernelChoice.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <string>

// Runs the tests of the classes that use kernels with the kernels of the given name: --kernels=NAME. If the
// processor does not support them, the exit code makes CTest report the test as skipped. An unknown name is
// an error.

namespace {

constexpr int skipped = 77;
constexpr const char* names[] = {"plain", "ssse3", "avx2", "avx512", "vector"};

const tarvo::simd::Kernels* named(const std::string& name) {
  for (const tarvo::simd::Kernels* each : tarvo::simd::availableKernels()) {
    if (name == each->name) return each;
  }
  return nullptr;
}

}  // namespace

int main(int count, char** arguments) {
  testing::InitGoogleTest(&count, arguments);
  if (testing::GTEST_FLAG(list_tests)) return RUN_ALL_TESTS();
  const std::string option = "--kernels=";
  const std::string argument = count == 2 ? arguments[1] : "";
  const std::string name =
      argument.compare(0, option.size(), option) == 0 ? argument.substr(option.size()) : "";
  if (std::find(std::begin(names), std::end(names), name) == std::end(names)) {
    std::cerr << "one option is needed: --kernels=NAME, where NAME is";
    for (const char* const each : names) std::cerr << ' ' << each;
    std::cerr << '\n';
    return EXIT_FAILURE;
  }
  const tarvo::simd::Kernels* const chosen = named(name);
  if (chosen == nullptr) {
    std::cerr << "this processor has no " << name << " kernels\n";
    return skipped;
  }
  tarvo::simd::useKernels(chosen);
  return RUN_ALL_TESTS();
}
