#include "util/kelPropertyLines.hpp"

#include "machine/kelByteOrder.hpp"
#include "text/kelTextUnits.hpp"
#include "text/kelWords.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace tarvo::util {

namespace {

constexpr std::size_t wordBytes = sizeof(std::uint64_t);

/// Returns eight units as the bytes of a number, the first unit in the highest byte. Returns no
/// number if one of the units is 255 or more.
std::optional<std::uint64_t> eightBytesOf(const char16_t* units) {
  constexpr std::uint64_t highBytes = text::inEachUnit(0xFF00);
  constexpr std::uint64_t one = text::inEachUnit(1);
  const std::uint64_t first = text::wordAt(units);
  const std::uint64_t second = text::wordAt(units + text::wordUnits);
  if (((first | (first + one) | second | (second + one)) & highBytes) != 0) return std::nullopt;
  std::array<char, wordBytes> bytes;
  text::narrowEight(units, bytes.data());
  return machine::bigEndianAt<std::uint64_t>(bytes.data());
}

/// Returns the eight units of a key from `depth` on as one number. If two keys differ in these eight units,
/// either their numbers are in the same order as the keys, or their numbers are equal. A byte 0 means the
/// unit 0 or the end of the key. A byte 255 means any unit of 255 or more, and all bytes after it are 0. Keys
/// with different units can have the same number only if the number contains a byte 0 or 255.
std::uint64_t wordOf(std::u16string_view key, std::size_t depth) {
  const std::size_t rest = key.size() - std::min(depth, key.size());
  const std::size_t taken = std::min(rest, wordBytes);
  if (taken > 0 && key.size() >= wordBytes) {
    const auto bytes = eightBytesOf(key.data() + depth + taken - wordBytes);
    if (bytes) return *bytes << 8 * (wordBytes - taken);
  }
  std::uint64_t word = 0;
  int shift = 64;
  for (const char16_t unit : key.substr(key.size() - rest, taken)) {
    shift -= 8;
    word |= std::uint64_t{std::min<char16_t>(unit, 255)} << static_cast<unsigned int>(shift);
    if (unit >= 255) break;
  }
  return word;
}

/// Returns whether all keys with this number have the same eight units.
constexpr bool identifiesUnits(std::uint64_t word) {
  return !text::hasZeroByte(word) && !text::hasZeroByte(~word);
}

/// Sorts lines by key. The sort compares eight units at a time, which are packed into a number, and then
/// sorts keys with equal numbers by the next eight units. Keys of settings often have long common beginnings.
/// The sort reads a common beginning only once instead of in every comparison.
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

  /// If fewer keys than this number are to be sorted, the sort compares the keys directly.
  static constexpr std::ptrdiff_t few = 12;
  /// After this number of recursive calls, the sort compares all remaining keys directly. Without this limit,
  /// many keys, each longer than the key before it, could exhaust the stack.
  static constexpr int mostTurns = 64;

  std::u16string_view keyOf(const Entry& entry) const { return lines_[entry.line].key; }

  void sort(Iterator first, Iterator last, std::size_t depth, int turn) {
    if (last - first < 2) return;
    while (!takeWords(first, last, depth)) depth += wordBytes;
    if (last - first < few || turn == mostTurns) return compareAll(first, last, depth);
    std::sort(first, last, [](const Entry& left, const Entry& right) { return left.word < right.word; });
    while (first != last) {
      const auto same =
          std::find_if(first, last, [&](const Entry& entry) { return entry.word != first->word; });
      if (identifiesUnits(first->word)) {
        sort(first, same, depth + wordBytes, turn + 1);
      } else {
        compareAll(first, same, depth);
      }
      first = same;
    }
  }

  /// Computes the numbers of the keys at `depth`. Returns false if all keys have the same eight units at this
  /// depth.
  bool takeWords(Iterator first, Iterator last, std::size_t depth) {
    bool differ = false;
    for (auto entry = first; entry != last; ++entry) {
      entry->word = wordOf(keyOf(*entry), depth);
      differ = differ || entry->word != first->word;
    }
    return differ || !identifiesUnits(first->word);
  }

  void compareAll(Iterator first, Iterator last, std::size_t depth) {
    std::sort(first, last, [&](const Entry& left, const Entry& right) {
      if (left.word != right.word) return left.word < right.word;
      const std::u16string_view leftRest = keyOf(left).substr(depth);
      const std::u16string_view rightRest = keyOf(right).substr(depth);
      return leftRest == rightRest ? left.line < right.line : text::isLess(leftRest, rightRest);
    });
  }

  const std::vector<PropertyLine>& lines_;
  std::vector<Entry> entries_;
};

}  // namespace

void sortByKey(std::vector<PropertyLine>& lines) {
  // The lines of a text that `save` wrote are already sorted.
  const bool inOrder = std::is_sorted(lines.begin(), lines.end(), [](const auto& left, const auto& right) {
    return text::isLess(left.key, right.key);
  });
  if (!inOrder) lines = LineSorter(lines).sorted();
}

void keepLastOfEachKey(std::vector<PropertyLine>& lines) {
  const auto ofOneKey = [](const PropertyLine& one, const PropertyLine& other) {
    return one.hash == other.hash && one.key == other.key;
  };
  // In most texts each key occurs only once, and the function moves no line.
  const auto again = std::adjacent_find(lines.begin(), lines.end(), ofOneKey);
  if (again == lines.end()) return;
  auto last = again;
  for (auto line = again + 1; line != lines.end(); ++line) {
    if (!ofOneKey(*last, *line)) ++last;
    *last = *line;
  }
  lines.erase(last + 1, lines.end());
}

}  // namespace tarvo::util
