#include "support/kelRows.hpp"
#include "support/kelSeed.hpp"
#include "support/kelUTF8Model.hpp"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace tarvo::test {
namespace {

/// The first and the last sequence of each row of the table, and the invalid sequences next to them.
TEST(Utf8Model, AcceptsExactlyTheSequencesOfTheTable) {
  struct Case {
    const char* bytes;
    bool wellFormed;
  };
  const auto cases = std::to_array<Case>({
      {"\x01", true},
      {"\x7F", true},
      {"\x80", false},
      {"\xBF", false},
      {"\xC0\x80", false},
      {"\xC1\xBF", false},
      {"\xC2\x7F", false},
      {"\xC2\x80", true},
      {"\xDF\xBF", true},
      {"\xDF\xC0", false},
      {"\xE0\x9F\xBF", false},
      {"\xE0\xA0\x80", true},
      {"\xE0\xBF\xBF", true},
      {"\xE1\x80\x80", true},
      {"\xEC\xBF\xBF", true},
      {"\xED\x80\x80", true},
      {"\xED\x9F\xBF", true},
      {"\xED\xA0\x80", false},
      {"\xED\xBF\xBF", false},
      {"\xEE\x80\x80", true},
      {"\xEF\xBF\xBF", true},
      {"\xEF\xBF\xC0", false},
      {"\xF0\x8F\xBF\xBF", false},
      {"\xF0\x90\x80\x80", true},
      {"\xF3\xBF\xBF\xBF", true},
      {"\xF4\x8F\xBF\xBF", true},
      {"\xF4\x90\x80\x80", false},
      {"\xF5\x80\x80\x80", false},
      {"\xFF", false},
      {"\xE2\x82", false},
      {"\xF0\x90\x80", false},
  });
  for (const Case& one : rowsOf(cases)) {
    const std::string bytes = one.bytes;
    EXPECT_EQ(modelCount(bytes.data(), bytes.size()).value_or(0) == 1, one.wellFormed)
        << testing::PrintToString(bytes);
    EXPECT_EQ(modelCharacters(bytes).has_value(), one.wellFormed) << testing::PrintToString(bytes);
  }
}

TEST(Utf8Model, LenientCountUsesOnlyLeadBytes) {
  EXPECT_EQ(modelLenientCount(""), 0);
  EXPECT_EQ(modelLenientCount("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"), 4);
  EXPECT_EQ(modelLenientCount("\xC3"), 1);
  EXPECT_EQ(modelLenientCount("\xC0zz"), 2);
  EXPECT_EQ(modelLenientCount("\xED\xA0\x80"), 1);
  EXPECT_EQ(modelLenientCount("a\x80"), std::nullopt);
  EXPECT_EQ(modelLenientCount("\xF8"), std::nullopt);
}

TEST(Utf8Model, RandomTextsAreWellFormedWithoutDamage) {
  std::mt19937 engine(seeded(1));
  EXPECT_TRUE(modelCharacters(randomUtf8(engine, 10'000, 0)).has_value());
  EXPECT_FALSE(modelCharacters(randomUtf8(engine, 10'000, 5)).has_value());
}

}  // namespace
}  // namespace tarvo::test
