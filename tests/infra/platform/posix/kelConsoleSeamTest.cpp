#include "platform/kelConsole.hpp"

#include <gtest/gtest.h>

namespace tarvo::test {
namespace {

TEST(Console, HasAFixedCodePage) {
  EXPECT_EQ(platform::systemOemCodePage(), 437U);
}

}  // namespace
}  // namespace tarvo::test
