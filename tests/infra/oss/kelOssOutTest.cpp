#include "support/kelProcess.hpp"

#include <gtest/gtest.h>

#include <string>

namespace tarvo::test {
namespace {

TEST(OssOut, PrintsFromTheFirstStaticConstructorToTheLastExitHandler) {
  const ProcessResult result = runBuilt({KELINFRA_OSSOUT_PROGRAM});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "");
  std::string lines;
  for (const char* const line : {"library starts 1", "program starts 2", "main 3", "late handler 4",
                                 "program ends 5", "early handler 6.5", "library ends 7"})
    lines += std::string(line) + lineEnd;
  EXPECT_EQ(result.err, lines);
}

}  // namespace
}  // namespace tarvo::test
