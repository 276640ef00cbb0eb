#include "util/kelSuggestion.hpp"

#include "text/kelTextUnits.hpp"

#include <algorithm>
#include <numeric>
#include <utility>

namespace tarvo::util {

namespace {

constexpr std::size_t longestCompared = 256;

std::u16string foldedUnits(const icu::UnicodeString& text) {
  icu::UnicodeString folded(text);
  folded.foldCase();
  return std::u16string(text::unitsOf(folded));
}

/// Returns the words of a text in alphabetical order, with a separator after each word.
std::u16string sortedWords(const std::u16string& folded) {
  constexpr std::u16string_view separators = u".-_ ";
  std::vector<std::u16string> words(1);
  for (const char16_t unit : folded) {
    if (separators.find(unit) == std::u16string_view::npos) {
      words.back() += unit;
    } else {
      words.emplace_back();
    }
  }
  std::sort(words.begin(), words.end());
  std::u16string all;
  for (const std::u16string& word : words) all += word + u'.';
  return all;
}

}  // namespace

/// Computes the distances between all prefixes of the two texts, row by row. Units can be inserted or removed
/// between two exchanged neighbours. Therefore the value of a cell also depends on the last row and the last
/// column in which the exchanged units occurred.
std::size_t damerauLevenshtein(std::u16string_view left, std::u16string_view right) {
  const std::size_t width = right.size() + 2;
  const std::size_t infinity = left.size() + right.size();
  std::vector<std::size_t> cells((left.size() + 2) * width, infinity);
  const auto cell = [&](std::size_t row, std::size_t column) -> std::size_t& {
    return cells[row * width + column];
  };
  for (std::size_t row = 0; row <= left.size(); ++row) cell(row + 1, 1) = row;
  for (std::size_t column = 0; column <= right.size(); ++column) cell(1, column + 1) = column;
  std::map<char16_t, std::size_t> lastRowOf;
  for (std::size_t row = 1; row <= left.size(); ++row) {
    std::size_t lastColumn = 0;
    for (std::size_t column = 1; column <= right.size(); ++column) {
      const auto last = lastRowOf.find(right[column - 1]);
      const std::size_t exchangedRow = last == lastRowOf.end() ? 0 : last->second;
      const std::size_t exchangedColumn = lastColumn;
      const bool same = left[row - 1] == right[column - 1];
      if (same) lastColumn = column;
      const std::size_t between = (row - exchangedRow - 1) + 1 + (column - exchangedColumn - 1);
      cell(row + 1, column + 1) =
          std::min({cell(row, column) + (same ? 0 : 1), cell(row + 1, column) + 1, cell(row, column + 1) + 1,
                    cell(exchangedRow, exchangedColumn) + between});
    }
    lastRowOf[left[row - 1]] = row;
  }
  return cell(left.size() + 1, right.size() + 1);
}

void Suggestions::add(const icu::UnicodeString& name) {
  const std::size_t index = names_.size();
  const std::u16string folded = foldedUnits(name);
  addForm(byWords_, sortedWords(folded), index);
  addForm(byFolded_, folded, index);
  byLength_[static_cast<std::size_t>(name.length())].push_back(index);
  names_.push_back(name);
}

void Suggestions::addForm(ByForm& forms, std::u16string form, std::size_t index) {
  const auto [place, isNew] = forms.try_emplace(std::move(form), index);
  if (!isNew) place->second.reset();
}

icu::UnicodeString Suggestions::find(const icu::UnicodeString& key, std::size_t& pairsLeft) const {
  const std::u16string folded = foldedUnits(key);
  if (byFolded_.contains(folded)) return nameOf(byFolded_, folded);
  const std::optional<icu::UnicodeString> near = nearest(text::unitsOf(key), pairsLeft);
  return near ? *near : nameOf(byWords_, sortedWords(folded));
}

icu::UnicodeString Suggestions::nameOf(const ByForm& forms, const std::u16string& form) const {
  const auto found = forms.find(form);
  return found == forms.end() || !found->second ? icu::UnicodeString() : names_[*found->second];
}

/// Returns the nearest name. Returns an empty text if several names are equally near. Returns nothing if no
/// name is near enough, or if the search would need more comparisons of units than `pairsLeft`.
std::optional<icu::UnicodeString> Suggestions::nearest(std::u16string_view key,
                                                       std::size_t& pairsLeft) const {
  if (key.size() > longestCompared) return std::nullopt;
  const std::size_t shortest = key.size() - key.size() / 3;
  std::optional<icu::UnicodeString> best;
  std::size_t least = longestCompared;
  for (auto same = byLength_.lower_bound(shortest); same != byLength_.end(); ++same) {
    const std::size_t longer = std::max(same->first, key.size());
    if (same->first > key.size() && same->first - key.size() > longer / 3) break;
    for (const std::size_t index : same->second) {
      const std::size_t pairs = same->first * key.size() + 1;
      if (pairs > pairsLeft) {
        pairsLeft = 0;  // otherwise later keys would get suggestions or not depending on their lengths
        return std::nullopt;
      }
      pairsLeft -= pairs;
      const std::size_t distance = damerauLevenshtein(key, text::unitsOf(names_[index]));
      if (distance > longer / 3 || distance > least) continue;
      best = distance < least ? names_[index] : icu::UnicodeString();
      least = distance;
    }
  }
  return best;
}

}  // namespace tarvo::util
