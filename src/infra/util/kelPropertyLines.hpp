#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace tarvo::util {

/// The property of a line.
struct PropertyLine {
  std::u16string_view key;
  std::u16string_view value;
  std::uint32_t hash;  ///< of the key
  bool refers;         ///< the value contains a "%"
};

/// Sorts by the units of the keys; lines with equal keys keep their order.
void sortByKey(std::vector<PropertyLine>& lines);

/// Removes all lines of a key except the last one. The lines are sorted.
void keepLastOfEachKey(std::vector<PropertyLine>& lines);

}  // namespace tarvo::util
