#include "infra/oss/kelConstants.hpp"

#include <gtest/gtest.h>

#include <type_traits>

namespace tarvo::test {
namespace {

using oss::Constants;

static_assert(!std::is_default_constructible_v<Constants>);

TEST(Constants, AreTheKeysOfADocumentConstructor) {
  EXPECT_STREQ(Constants::DOCUMENT_CONSTRUCTOR_NAME, "ctor.name");
  EXPECT_STREQ(Constants::DOCUMENT_CONSTRUCTOR_CONFIG, "ctor.config");
  EXPECT_STREQ(Constants::DOCUMENT_CONSTRUCTOR_DATA, "ctor.doc.data");
  EXPECT_EQ(sizeof Constants::DOCUMENT_CONSTRUCTOR_NAME, 10U);
  EXPECT_EQ(sizeof Constants::DOCUMENT_CONSTRUCTOR_CONFIG, 12U);
  EXPECT_EQ(sizeof Constants::DOCUMENT_CONSTRUCTOR_DATA, 14U);
}

}  // namespace
}  // namespace tarvo::test
