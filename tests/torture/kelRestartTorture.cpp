#include "support/kelAllocationsSeam.hpp"

#include <gtest/gtest.h>
#include <unicode/ucnv.h>

#include <cstddef>

// ICU can only start afresh where no thread that lives keeps a converter: each scenario of this program converts in a
// thread of its own.

namespace tarvo::test {
namespace {

TEST(Allocations, OfIcuAreGivenBackWhenItStartsAfresh) {
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
  EXPECT_GT(count.made(), 0U) << "it still asks here";
}

}  // namespace
}  // namespace tarvo::test
