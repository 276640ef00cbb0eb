#include "infra/kelExport.hpp"

#include <gtest/gtest.h>

extern "C" {
KELINFRA_API extern const int sqlzThisIsAZYRLibrary;
}

namespace tarvo::test {
namespace {

TEST(LibraryMarker, IsZero) {
  EXPECT_EQ(sqlzThisIsAZYRLibrary, 0);
}

}  // namespace
}  // namespace tarvo::test
