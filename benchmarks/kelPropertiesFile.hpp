#pragma once

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <random>
#include <string>
#include <vector>

namespace tarvo::benchmarks::properties {

/// Returns typical keys and values of settings. They are not in the order of the map, and there is a comment
/// before every tenth line.
inline std::string makeFile(std::size_t entries) {
  std::vector<std::size_t> numbers(entries);
  std::iota(numbers.begin(), numbers.end(), 0);
  std::shuffle(numbers.begin(), numbers.end(), std::mt19937(4711));
  std::string file;
  for (const std::size_t number : numbers) {
    if (number % 10 == 0) file += "# what the next settings are for, in some words\n";
    file += "component" + std::to_string(number % 97) + ".setting" + std::to_string(number);
    file += number % 2 == 0 ? "=" + std::to_string(number * 7 % 65'536)
                            : "=/var/lib/index/part" + std::to_string(number);
    file += '\n';
  }
  return file;
}

}  // namespace tarvo::benchmarks::properties
