#pragma once

#include <cstddef>
#include <vector>

namespace tarvo::util {

/// A list of numbers with two operations: changing one number, and computing the total of the numbers before
/// an index. Each of the two operations takes time proportional to the logarithm of the list's length. (Each
/// entry of the tree is the total of a range of numbers. The range ends at the entry's position. Its length
/// is the largest power of two that divides the position.)
class RunningTotals {
 public:
  /// Returns the total of the numbers before `index`.
  std::size_t before(std::size_t index) const {
    std::size_t total = 0;
    for (; index > 0; index -= lowestBit(index)) total += tree_[index - 1];
    return total;
  }

  /// Differences are computed modulo the word size: a decrease is added as its two's complement.
  void add(std::size_t index, std::size_t difference) noexcept {
    for (++index; index <= tree_.size(); index += lowestBit(index)) tree_[index - 1] += difference;
  }

  /// Makes room, so that the next `append` cannot fail.
  void reserveOne() {
    if (tree_.size() == tree_.capacity()) tree_.reserve(2 * tree_.size() + 16);
  }
  void append(std::size_t number) {
    const std::size_t end = tree_.size() + 1;
    const std::size_t first = end - lowestBit(end);
    tree_.push_back(number + before(end - 1) - before(first));
  }

 private:
  static constexpr std::size_t lowestBit(std::size_t number) { return number & (~number + 1); }

  std::vector<std::size_t> tree_;
};

}  // namespace tarvo::util
