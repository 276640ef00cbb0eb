#include "platform/kelConsole.hpp"

#include <gtest/gtest.h>

#include <windows.h>

namespace tarvo::test {
namespace {

TEST(Console, ReportsTheConsolesCodePage) {
  EXPECT_EQ(platform::systemOemCodePage(), ::GetOEMCP());
}

}  // namespace
}  // namespace tarvo::test
