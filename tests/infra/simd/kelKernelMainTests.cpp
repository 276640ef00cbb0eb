#include "support/kelProcess.hpp"
#include "support/kelRows.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tarvo::test {
namespace {

TEST(KernelTests, FailIfTheNameOfTheKernelsIsUnknown) {
  const std::vector<std::vector<std::string>> rows = {{},
                                                      {"--kernels="},
                                                      {"--kernels=avx3"},
                                                      {"--kernels=Plain"},
                                                      {"--kernels=plain "},
                                                      {"--kernel=plain"},
                                                      {"plain"},
                                                      {"--kernels=plain", "--kernels=plain"}};
  for (const std::vector<std::string>& row : rowsOf(rows)) {
    std::vector<std::string> command = {KELINFRA_KERNEL_PROGRAM, "--gtest_filter=None.*"};
    command.insert(command.end(), row.begin(), row.end());
    const ProcessResult result = runBuilt(command);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(
        result.err,
        std::string("one option is needed: --kernels=NAME, where NAME is plain ssse3 avx2 avx512 vector") +
            lineEnd);
  }
}

TEST(KernelTests, RunWithThePlainKernelsOnEveryProcessor) {
  EXPECT_EQ(runBuilt({KELINFRA_KERNEL_PROGRAM, "--gtest_filter=None.*", "--kernels=plain"}).status, 0);
}

}  // namespace
}  // namespace tarvo::test
