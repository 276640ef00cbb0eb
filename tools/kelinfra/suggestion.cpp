#include "suggestion.hpp"

#include <algorithm>
#include <cctype>
#include <numeric>

namespace kelinfra {

namespace {

std::string lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

/// Insertions, deletions, replacements and exchanges of neighbours.
std::size_t distance(const std::string& left, const std::string& right) {
  std::vector<std::vector<std::size_t>> rows(left.size() + 1, std::vector<std::size_t>(right.size() + 1));
  std::iota(rows[0].begin(), rows[0].end(), std::size_t{0});
  for (std::size_t i = 1; i <= left.size(); ++i) {
    rows[i][0] = i;
    for (std::size_t j = 1; j <= right.size(); ++j) {
      const std::size_t replaced = rows[i - 1][j - 1] + (left[i - 1] == right[j - 1] ? 0 : 1);
      rows[i][j] = std::min({replaced, rows[i - 1][j] + 1, rows[i][j - 1] + 1});
      if (i > 1 && j > 1 && left[i - 1] == right[j - 2] && left[i - 2] == right[j - 1])
        rows[i][j] = std::min(rows[i][j], rows[i - 2][j - 2] + 1);
    }
  }
  return rows.back().back();
}

}  // namespace

std::string suggestion(const std::string& word, const std::vector<std::string>& candidates) {
  constexpr std::size_t longest = 200;
  if (word.size() > longest) return {};
  std::string best;
  std::size_t least = longest;
  bool severalAreNear = false;
  for (const std::string& candidate : candidates) {
    if (lower(candidate) == lower(word)) return candidate;
    const std::size_t steps = distance(word, candidate);
    if (steps > std::max(word.size(), candidate.size()) / 3 || steps > least) continue;
    severalAreNear = steps == least && candidate != best;
    least = steps;
    best = candidate;
  }
  return severalAreNear ? std::string() : best;
}

}  // namespace kelinfra
