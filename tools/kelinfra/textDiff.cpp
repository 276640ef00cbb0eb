#include "textDiff.hpp"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <vector>

namespace kelinfra {

namespace {

using Lines = std::vector<std::string_view>;

Lines linesOf(std::string_view text) {
  Lines lines;
  while (!text.empty()) {
    lines.push_back(text.substr(0, std::min(text.find('\n'), text.size() - 1) + 1));
    text.remove_prefix(lines.back().size());
  }
  return lines;
}

std::string marked(char mark, const Lines& lines, std::size_t from, std::size_t to) {
  std::string text;
  for (std::size_t i = from; i < to; ++i) {
    text += mark + std::string(lines[i]);
    if (lines[i].back() != '\n') text += "\n\\ No newline at end of file\n";
  }
  return text;
}

/// The range of lines in the head of a hunk. An empty range is given by the line before it.
std::string range(std::size_t from, std::size_t to) {
  const std::size_t count = to - from;
  return std::to_string(count == 0 ? from : from + 1) + (count == 1 ? "" : "," + std::to_string(count));
}

/// The differences of two texts, from a table of the longest common sequences of the rest of both.
class Difference {
 public:
  Difference(const Lines& before, const Lines& after) : before_(before), after_(after) {
    while (same(first_, first_)) ++first_;
    while (beforeEnd() > first_ && afterEnd() > first_ && before_[beforeEnd() - 1] == after_[afterEnd() - 1])
      ++equalAtEnd_;
    constexpr std::size_t mostCells = std::size_t{1} << 22U;
    width_ = afterEnd() - first_ + 1;
    const std::size_t height = beforeEnd() - first_ + 1;
    if (height <= mostCells / width_) fill(height);
  }

  std::string hunks() const {
    std::string text;
    for (std::size_t i = first_, j = first_; i < beforeEnd() || j < afterEnd();) {
      if (inBoth(i, j)) {
        ++i;
        ++j;
        continue;
      }
      const std::size_t fromBefore = i;
      const std::size_t fromAfter = j;
      while ((i < beforeEnd() || j < afterEnd()) && !inBoth(i, j)) {
        const bool isRemoved = j == afterEnd() || (i < beforeEnd() && common(i + 1, j) >= common(i, j + 1));
        ++(isRemoved ? i : j);
      }
      text += "@@ -" + range(fromBefore, i) + " +" + range(fromAfter, j) + " @@\n" +
              marked('-', before_, fromBefore, i) + marked('+', after_, fromAfter, j);
    }
    return text;
  }

 private:
  std::size_t beforeEnd() const { return before_.size() - equalAtEnd_; }
  std::size_t afterEnd() const { return after_.size() - equalAtEnd_; }

  bool same(std::size_t i, std::size_t j) const {
    return i < beforeEnd() && j < afterEnd() && before_[i] == after_[j];
  }

  /// Whether the table has the lines in the common sequence. Without a table all lines differ.
  bool inBoth(std::size_t i, std::size_t j) const { return !cells_.empty() && same(i, j); }

  std::size_t common(std::size_t i, std::size_t j) const {
    return cells_.empty() ? 0 : cells_[(i - first_) * width_ + (j - first_)];
  }

  void fill(std::size_t height) {
    cells_.resize(height * width_);
    for (std::size_t i = beforeEnd(); i-- > first_;) {
      for (std::size_t j = afterEnd(); j-- > first_;) {
        cells_[(i - first_) * width_ + (j - first_)] =
            same(i, j) ? common(i + 1, j + 1) + 1 : std::max(common(i + 1, j), common(i, j + 1));
      }
    }
  }

  const Lines& before_;
  const Lines& after_;
  std::size_t first_ = 0;       ///< the number of equal lines at the start
  std::size_t equalAtEnd_ = 0;  ///< the number of equal lines at the end
  std::size_t width_ = 0;
  std::vector<std::size_t> cells_;
};

}  // namespace

std::string textDiff(const std::string& name, const std::string& before, const std::string& after) {
  if (before == after) return {};
  const Lines old = linesOf(before);
  const Lines changed = linesOf(after);
  return "--- " + name + "\n+++ " + name + "\n" + Difference(old, changed).hunks();
}

}  // namespace kelinfra
