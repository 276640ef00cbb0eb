#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace tarvo::util {

/// What a line of a text of properties says.
struct PropertyLine {
  std::u16string_view key;
  std::u16string_view value;
  std::uint32_t hash;  ///< of the key
  bool refers;         ///< the value holds a "%"
};

/// In the order of keys by their units; lines of one key in the order that they have.
void sortByKey(std::vector<PropertyLine>& lines);

/// Of lines in order, those of one key become one, the last of them.
void keepLastOfEachKey(std::vector<PropertyLine>& lines);

}  // namespace tarvo::util
