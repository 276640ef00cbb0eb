#include "support/kelRows.hpp"
#include "support/kelSeed.hpp"
#include "util/kelSuggestion.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <map>
#include <queue>
#include <random>
#include <string>
#include <string_view>

namespace tarvo::test {
namespace {

/// The distances of all texts of at most five letters "abc" from one text, by a search through all texts that
/// one change makes.
std::map<std::u16string, std::size_t> modelDistances(const std::u16string& from) {
  constexpr std::size_t longest = 7;  // a shortest way may need longer texts on its way
  std::map<std::u16string, std::size_t> distances = {{from, 0}};
  std::queue<std::u16string> waiting({from});
  while (!waiting.empty()) {
    const std::u16string text = waiting.front();
    waiting.pop();
    const std::size_t next = distances[text] + 1;
    const auto reach = [&](const std::u16string& other) {
      if (other.size() <= longest && distances.try_emplace(other, next).second) waiting.push(other);
    };
    for (std::size_t i = 0; i <= text.size(); ++i) {
      for (const char16_t unit : std::u16string_view(u"abc")) {
        reach(text.substr(0, i) + unit + text.substr(i));
        if (i < text.size()) reach(text.substr(0, i) + unit + text.substr(i + 1));
      }
      if (i < text.size()) reach(text.substr(0, i) + text.substr(i + 1));
      if (i + 1 < text.size()) reach(text.substr(0, i) + text[i + 1] + text[i] + text.substr(i + 2));
    }
  }
  return distances;
}

TEST(DamerauLevenshtein, IsTheLeastNumberOfChanges) {
  std::mt19937 random(seeded(71));
  for (int round = 0; round < 6; ++round) {
    std::u16string from;
    for (auto length = random() % 5; length > 0; --length) from += u"abc"[random() % 3];
    for (const auto& [to, distance] : modelDistances(from)) {
      if (to.size() > 5) continue;
      ROW("from", icu::UnicodeString(from.c_str()), "to", icu::UnicodeString(to.c_str()));
      EXPECT_EQ(util::damerauLevenshtein(from, to), distance);
    }
  }
}

TEST(DamerauLevenshtein, CountsAnExchangeAroundAnotherUnit) {
  EXPECT_EQ(util::damerauLevenshtein(u"ca", u"abc"), 2U);
  EXPECT_EQ(util::damerauLevenshtein(u"", u"abc"), 3U);
  EXPECT_EQ(util::damerauLevenshtein(u"port", u"prot"), 1U);
}

TEST(Suggestions, EndWhenAllPairsAreUsed) {
  util::Suggestions suggestions;
  suggestions.add(u"port");
  std::size_t pairsLeft = 20;
  EXPECT_EQ(suggestions.find(u"prot", pairsLeft), u"port");
  EXPECT_EQ(pairsLeft, 3U);
  EXPECT_EQ(suggestions.find(u"prot", pairsLeft), u"");
  EXPECT_EQ(suggestions.find(u"PORT", pairsLeft), u"port");
}

TEST(Suggestions, KeepTheirOrderOfWordsAndEndTheDistancesWhenAllPairsAreUsed) {
  util::Suggestions suggestions;
  suggestions.add(u"timeout.connect");
  suggestions.add(u"p");
  std::size_t pairsLeft = 20;
  EXPECT_EQ(suggestions.find(u"connect.timeout", pairsLeft), u"timeout.connect");
  EXPECT_EQ(pairsLeft, 0U);
  EXPECT_EQ(suggestions.find(u"pp", pairsLeft), u"");
}

}  // namespace
}  // namespace tarvo::test
