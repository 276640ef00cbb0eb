#include "platform/kelConsole.hpp"

#include <gtest/gtest.h>

namespace tarvo::test {
namespace {

TEST(Console, HasTheOneCodePageWhereConsolesHaveNone) {
  EXPECT_EQ(platform::systemOemCodePage(), 437U);
}

}  // namespace
}  // namespace tarvo::test
