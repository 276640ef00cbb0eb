#include "infra/oss/kelBuildVersion.hpp"

#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"
#include "support/kelTraceRecorder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <type_traits>
#include <vector>

namespace tarvo::test {
namespace {

using oss::BuildVersion;
using ::testing::ElementsAre;

static_assert(std::is_assignable_v<BuildVersion&, BuildVersion&>);
static_assert(!std::is_assignable_v<BuildVersion&, const BuildVersion&>);
static_assert(!std::is_polymorphic_v<BuildVersion>);

/// The whole text, the product, the protocol and the build number.
std::vector<std::string> textsOf(const BuildVersion& version) {
  return {utf8(version.getBuildVersion()), utf8(version.getProductVersion()),
          utf8(version.getProtocolVersion()), utf8(version.getBuildNumberString())};
}

TEST(BuildVersion, IsTheVersionOfTheLibrary) {
  EXPECT_THAT(textsOf(BuildVersion()), ElementsAre("5.2.1.0-1.1-275", "5.2.1.0", "1.1", "275"));
}

TEST(BuildVersion, SplitsAGivenText) {
  struct Row {
    const char16_t* given;
    std::vector<std::string> expected;
  };
  const auto rows = std::to_array<Row>({
      {u"6.0.0.1-2.0-10", {"6.0.0.1-2.0-10", "6.0.0.1", "2.0", "10"}},
      {u"1-2-3-4", {"1-2-3-4", "1", "2", "3"}},
      {u"7.0", {"7.0", "7.0", "", ""}},
      {u"7.0-1.1", {"7.0-1.1", "7.0", "1.1", ""}},
      {u"", {"", "", "", ""}},
      {u"-", {"-", "", "", ""}},
      {u"-1.1-275", {"-1.1-275", "", "1.1", "275"}},
      {u"5--275", {"5--275", "5", "275", ""}},
      {u"a b-c\u00E9", {"a b-c\xC3\xA9", "a b", "c\xC3\xA9", ""}},
  });
  for (const auto& row : rowsOf(rows)) EXPECT_EQ(textsOf(BuildVersion(row.given)), row.expected);
}

TEST(BuildVersion, CopiesAllParts) {
  BuildVersion source(u"6.0-2.0-10-x");
  const std::vector<std::string> expected = {"6.0-2.0-10-x", "6.0", "2.0", "10"};
  const BuildVersion copy(source);
  EXPECT_EQ(textsOf(copy), expected);
  BuildVersion assigned;
  EXPECT_EQ(&(assigned = source), &assigned);
  EXPECT_EQ(textsOf(assigned), expected);
  EXPECT_EQ(textsOf(source), expected);
  BuildVersion& self = assigned;
  assigned = self;
  EXPECT_EQ(textsOf(assigned), expected);
}

TEST(BuildVersion, DoesNotReferToItsSource) {
  const BuildVersion* copy = nullptr;
  {
    const BuildVersion source(u"a long enough product version to need storage of its own-1-2");
    copy = new BuildVersion(source);
  }
  EXPECT_EQ(copy->getBuildNumberString(), u"2");
  EXPECT_EQ(copy->getProductVersion().length(), 56);
  delete copy;
}

// BuildVersion calls no trace hooks. Its constructor uses a StringTokenizer, whose hooks are called.
TEST(BuildVersion, CallsOnlyTheTraceHooksOfItsTokenizer) {
  BuildVersion version;
  TraceRecorder trace(0x20000);
  BuildVersion copy(version);
  copy = version;
  copy.getBuildVersion();
  EXPECT_TRUE(trace.calls().empty());
}

}  // namespace
}  // namespace tarvo::test
