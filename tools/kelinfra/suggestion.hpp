#pragma once

#include <string>
#include <vector>

namespace kelinfra {

/// The candidate that was probably meant: one that is equal except for case, else the nearest by edit
/// distance up to a third of the longer length. Empty if there is no such candidate, or several are equally
/// near.
std::string suggestion(const std::string& word, const std::vector<std::string>& candidates);

}  // namespace kelinfra
