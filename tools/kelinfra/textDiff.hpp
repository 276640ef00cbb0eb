#pragma once

#include <string>

namespace kelinfra {

/// The lines that differ, as a patch without context. Lines end with LF.
std::string textDiff(const std::string& name, const std::string& before, const std::string& after);

}  // namespace kelinfra
