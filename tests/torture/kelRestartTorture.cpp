#include "support/kelAllocationsSeam.hpp"

#include <gtest/gtest.h>
#include <unicode/ucnv.h>

#include <cstddef>

// ICU can restart only if no living thread keeps a converter, so each scenario of this program converts in a
// separate thread.

namespace tarvo::test {
namespace {

TEST(Allocations, OfIcuAreFreedWhenItRestarts) {
  restartIcu();
  const std::ptrdiff_t before = blocksHeld();
  UErrorCode status = U_ZERO_ERROR;
  ucnv_close(ucnv_open("Shift_JIS", &status));
  EXPECT_TRUE(U_SUCCESS(status));
  EXPECT_GT(blocksHeld(), before);
  restartIcu();
  EXPECT_EQ(blocksHeld(), before);
  const AllocationCount count;
  ucnv_close(ucnv_open("Shift_JIS", &status));
  EXPECT_GT(count.made(), 0U) << "ICU still allocates with the test's functions";
}

}  // namespace
}  // namespace tarvo::test
