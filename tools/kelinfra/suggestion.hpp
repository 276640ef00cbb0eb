#pragma once

#include <string>
#include <vector>

namespace kelinfra {

/// The candidate that was probably meant, by the rule of `PropertiesSchema::suggest`. Empty without one.
std::string suggestion(const std::string& word, const std::vector<std::string>& candidates);

}  // namespace kelinfra
