#include "infra/oss/kelDataBuffer.hpp"
#include "infra/oss/kelNLSException.hpp"

#include "support/kelDefaultCodePageSeam.hpp"
#include "support/kelRaises.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>

namespace tarvo::test {
namespace {

using oss::DataBuffer;
using oss::NLSException;

TEST(DataBuffer, RefusesADefaultThatIsOneOfTheTwoNames) {
  for (const std::string name : {"UTF-16", "UTF-32"}) {
    SCOPED_TRACE(name);
    const DefaultCodePage wide(name.c_str());
    const auto error =
        Raises<NLSException>("ERR_CONV_CONVERSION_ERROR", name, name).from("kelDataBuffer.cpp");
    DataBuffer buffer("xyz");
    EXPECT_THAT([&] { buffer.appendString(u"a", nullptr); }, error);
    EXPECT_THAT([&] { buffer.insertString(0, u"a", nullptr); }, error);
    EXPECT_THAT([&] { DataBuffer(icu::UnicodeString(u"a")); }, error);
    EXPECT_STREQ(buffer.getString(), "xyz");
  }
}

// An empty name is not looked into, although it means the same default.
TEST(DataBuffer, DoesNotRefuseAnEmptyName) {
  const DefaultCodePage wide("UTF-16");
  DataBuffer buffer("xyz");
  buffer.appendString(u"a", "");
  EXPECT_STREQ(buffer.getString(),
               "xyz\xFF\xFE"
               "a")
      << "up to the zero byte";
}

}  // namespace
}  // namespace tarvo::test
