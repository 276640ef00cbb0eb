#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace tarvo::util {

/// A line's property.
struct PropertyLine {
  std::u16string_view key;
  std::u16string_view value;
  std::uint32_t hash;  ///< of the key
  bool refers;         ///< the value contains a "%"
};

/// Sorts lines by the units of their keys; lines with equal keys keep their order.
void sortByKey(std::vector<PropertyLine>& lines);

/// Keeps only the last line of each key. The lines must be sorted.
void keepLastOfEachKey(std::vector<PropertyLine>& lines);

}  // namespace tarvo::util
