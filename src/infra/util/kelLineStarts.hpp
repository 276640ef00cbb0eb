#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <vector>

namespace tarvo::util {

/// The starts of the lines of a text, which end in LF, CR or CR LF, and the line and column of a position.
class LineStarts {
 public:
  struct Position {
    std::size_t line;    ///< from 1
    std::size_t column;  ///< from 1, in bytes
  };

  explicit LineStarts(std::string_view bytes) {
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      const bool isFirstOfTwo = bytes[i] == '\r' && i + 1 < bytes.size() && bytes[i + 1] == '\n';
      if (bytes[i] == '\n' || (bytes[i] == '\r' && !isFirstOfTwo)) starts_.push_back(i + 1);
    }
  }

  Position operator[](std::size_t offset) const {
    const auto next = std::upper_bound(starts_.begin(), starts_.end(), offset);
    return {static_cast<std::size_t>(next - starts_.begin()), offset - *(next - 1) + 1};
  }

 private:
  std::vector<std::size_t> starts_ = {0};
};

}  // namespace tarvo::util
