#include "support/kelSeed.hpp"

#include <gtest/gtest.h>

namespace tarvo::test {
namespace {

/// Prints the seed after each failure of a test that uses random numbers.
class SeedOfFailures : public testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo& /*test*/) override { seedShown = false; }
  void OnTestPartResult(const testing::TestPartResult& result) override {
    if (result.failed() && seedShown) showRunSeed();
  }
};

[[maybe_unused]] const bool listens = [] {
  testing::UnitTest::GetInstance()->listeners().Append(new SeedOfFailures);  // which deletes it
  return true;
}();

}  // namespace
}  // namespace tarvo::test
