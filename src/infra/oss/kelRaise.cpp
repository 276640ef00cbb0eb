#include "oss/kelRaise.hpp"

#include <string_view>

namespace tarvo::oss {
namespace {

/// Removes the last component of a path and returns it. The path may contain "/" and "\".
std::string_view takeLast(std::string_view& path) {
  const std::size_t slash = path.find_last_of("/\\");
  const std::string_view last = path.substr(slash == std::string_view::npos ? 0 : slash + 1);
  path = path.substr(0, slash == std::string_view::npos ? 0 : slash);
  return last;
}

}  // namespace

std::string SourcePlace::recordedName() const {
  std::string_view rest = path;
  const std::string_view baseName = takeLast(rest);
  std::string name(takeLast(rest) == "util" ? "src/infra/oss/../util/" : "");
  return name.append(baseName);
}

}  // namespace tarvo::oss
