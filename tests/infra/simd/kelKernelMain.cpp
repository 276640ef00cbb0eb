#include "simd/kelKernelChoice.hpp"

#include <gtest/gtest.h>

#include <iostream>
#include <string>

// The tests of the classes that use kernels, with those named: --kernels=NAME. Where the processor lacks them
// the program says so by its exit code, which CTest counts as skipped.

namespace {

constexpr int skipped = 77;

const tarvo::simd::Kernels* named(const std::string& name) {
  for (const tarvo::simd::Kernels* each : tarvo::simd::availableKernels()) {
    if (name == each->name) return each;
  }
  return nullptr;
}

}  // namespace

int main(int count, char** arguments) {
  testing::InitGoogleTest(&count, arguments);
  const std::string option = "--kernels=";
  const std::string argument = count == 2 ? arguments[1] : "";
  const bool known = argument.compare(0, option.size(), option) == 0;
  if (testing::GTEST_FLAG(list_tests)) return RUN_ALL_TESTS();
  const tarvo::simd::Kernels* const chosen = known ? named(argument.substr(option.size())) : nullptr;
  if (chosen == nullptr) {
    std::cerr << "this processor has no kernels for <" << argument << ">\n";
    return skipped;
  }
  tarvo::simd::useKernels(chosen);
  return RUN_ALL_TESTS();
}
