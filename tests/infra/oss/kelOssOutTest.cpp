#include "support/kelProcess.hpp"

#include <gtest/gtest.h>

#include <string>

namespace tarvo::test {
namespace {

TEST(OssOut, PrintsFromTheFirstStaticConstructorToTheLastExitHandler) {
  const ProcessResult result = runProcess({KELINFRA_OSSOUT_PROGRAM});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err,
            "library starts 1\n"
            "program starts 2\n"
            "main 3\n"
            "late handler 4\n"
            "program ends 5\n"
            "early handler 6.5\n"
            "library ends 7\n");
}

}  // namespace
}  // namespace tarvo::test
