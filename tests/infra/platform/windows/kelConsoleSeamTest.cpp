#include "platform/kelConsole.hpp"

#include <gtest/gtest.h>

#include <windows.h>

namespace tarvo::test {
namespace {

TEST(Console, HasItsOwnCodePage) {
  EXPECT_EQ(platform::systemOemCodePage(), ::GetOEMCP());
}

}  // namespace
}  // namespace tarvo::test
