#include "infra/kelVersion.hpp"
#include "infra/oss/kelBuildVersion.hpp"

#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace tarvo::test {
namespace {

// CMake passes the version of its project.
TEST(Version, OfTheHeadersIsTheVersionOfThePackages) {
  EXPECT_STREQ(KELINFRA_VERSION_STRING, KELINFRA_PROJECT_VERSION);
}

TEST(Version, HasTwoDigitsForMinorAndPatch) {
  EXPECT_EQ(KELINFRA_VERSION,
            KELINFRA_VERSION_MAJOR * 10000 + KELINFRA_VERSION_MINOR * 100 + KELINFRA_VERSION_PATCH);
  EXPECT_LT(KELINFRA_VERSION_MINOR, 100);
  EXPECT_LT(KELINFRA_VERSION_PATCH, 100);
}

TEST(Version, OfTheLibraryIsThatOfItsHeaders) {
  EXPECT_EQ(oss::libraryVersion(), KELINFRA_VERSION);
  EXPECT_TRUE(oss::libraryMatchesHeaders());
}

TEST(Version, IsTheBeginningOfTheProductVersion) {
  EXPECT_EQ(utf8(oss::BuildVersion().getProductVersion()), std::string(KELINFRA_VERSION_STRING) + ".0");
}

TEST(Version, MatchesALibraryOfTheSameMajorNumberThatIsNotOlder) {
  struct Row {
    int headers;
    int library;
    bool matches;
  };
  const auto rows = std::to_array<Row>({
      {50201, 50201, true},
      {50201, 50202, true},
      {50201, 50300, true},
      {50201, 59999, true},
      {50201, 50200, false},
      {50201, 50199, false},
      {50201, 60201, false},
      {50201, 40201, false},
      {50000, 49999, false},
      {59999, 60000, false},
  });
  for (const auto& row : rowsOf(rows)) {
    EXPECT_EQ(oss::versionsMatch(row.headers, row.library), row.matches);
  }
}

}  // namespace
}  // namespace tarvo::test
