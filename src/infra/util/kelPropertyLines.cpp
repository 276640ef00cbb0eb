#include "util/kelPropertyLines.hpp"

#include "util/kelTextUnits.hpp"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace tarvo::util {

namespace {

/// Sorts by a few units at a time, packed into a number, and then those with the same ones by the next few. Keys
/// of settings have long beginnings in common: these are looked at once and not in every comparison.
class LineSorter {
 public:
  explicit LineSorter(const std::vector<PropertyLine>& lines) : lines_(lines), entries_(lines.size()) {
    for (std::size_t i = 0; i < entries_.size(); ++i) entries_[i].line = i;
  }

  std::vector<PropertyLine> sorted() {
    sort(entries_.begin(), entries_.end(), 0, 0);
    std::vector<PropertyLine> result;
    result.reserve(lines_.size());
    for (const Entry& entry : entries_) result.push_back(lines_[entry.line]);
    return result;
  }

 private:
  struct Entry {
    std::uint64_t word;
    std::size_t line;
  };
  using Iterator = std::vector<Entry>::iterator;

  /// Fewer than that are compared as they are.
  static constexpr std::ptrdiff_t few = 12;
  /// So are those that are still together behind so many turns, however many they are: keys that were made to
  /// part one by one, each longer than the last, would use up the stack.
  static constexpr int mostTurns = 64;

  std::u16string_view keyOf(const Entry& entry) const { return lines_[entry.line].key; }
  /// Whether the word from `depth` on holds the key's end.
  bool ends(const Entry& entry, std::size_t depth) const { return keyOf(entry).size() < depth + wordUnits; }

  /// The first unit highest; 0 behind the key's end.
  static std::uint64_t wordOf(std::u16string_view key, std::size_t depth) {
    if (depth + wordUnits <= key.size()) {
      const std::uint64_t halves = std::rotl(wordAt(key.data() + depth), 32);
      return (halves & 0x0000'FFFF'0000'FFFF) << 16U | (halves >> 16U & 0x0000'FFFF'0000'FFFF);
    }
    std::uint64_t word = 0;
    for (std::size_t i = depth; i < depth + wordUnits; ++i) {
      word = word << 16U | (i < key.size() ? key[i] : 0U);
    }
    return word;
  }

  void sort(Iterator first, Iterator last, std::size_t depth, int turn) {
    if (last - first < 2) return;
    while (!takeWords(first, last, depth)) depth += wordUnits;
    if (last - first < few || turn == mostTurns) return compareAll(first, last, depth);
    std::sort(first, last, [](const Entry& left, const Entry& right) { return left.word < right.word; });
    while (first != last) {
      const auto same =
          std::find_if(first, last, [&](const Entry& entry) { return entry.word != first->word; });
      const auto ended = std::partition(first, same, [&](const Entry& entry) { return ends(entry, depth); });
      // They differ in nothing but NULs at their ends.
      std::sort(first, ended, [&](const Entry& left, const Entry& right) {
        return std::pair(keyOf(left).size(), left.line) < std::pair(keyOf(right).size(), right.line);
      });
      sort(ended, same, depth + wordUnits, turn + 1);
      first = same;
    }
  }

  /// False when all keys have the same units from `depth` on and go on behind them.
  bool takeWords(Iterator first, Iterator last, std::size_t depth) {
    bool tellsApart = false;
    for (auto entry = first; entry != last; ++entry) {
      entry->word = wordOf(keyOf(*entry), depth);
      tellsApart = tellsApart || entry->word != first->word || ends(*entry, depth);
    }
    return tellsApart;
  }

  void compareAll(Iterator first, Iterator last, std::size_t depth) {
    std::sort(first, last, [&](const Entry& left, const Entry& right) {
      if (left.word != right.word) return left.word < right.word;
      const std::u16string_view leftRest = keyOf(left).substr(depth);
      const std::u16string_view rightRest = keyOf(right).substr(depth);
      return leftRest == rightRest ? left.line < right.line : isLess(leftRest, rightRest);
    });
  }

  const std::vector<PropertyLine>& lines_;
  std::vector<Entry> entries_;
};

}  // namespace

void sortByKey(std::vector<PropertyLine>& lines) {
  // Texts that were saved are in order.
  const bool inOrder = std::is_sorted(lines.begin(), lines.end(), [](const auto& left, const auto& right) {
    return isLess(left.key, right.key);
  });
  if (!inOrder) lines = LineSorter(lines).sorted();
}

void keepLastOfEachKey(std::vector<PropertyLine>& lines) {
  std::size_t kept = 0;
  for (const PropertyLine& line : lines) {
    const bool again = kept > 0 && lines[kept - 1].hash == line.hash && lines[kept - 1].key == line.key;
    lines[again ? kept - 1 : kept++] = line;
  }
  lines.resize(kept);
}

}  // namespace tarvo::util
