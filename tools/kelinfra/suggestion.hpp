#pragma once

#include <string>
#include <vector>

namespace kelinfra {

/// Returns the candidate that the user probably meant, by the rule of `PropertiesSchema::suggest`. Returns an
/// empty text if no candidate is near.
std::string suggestion(const std::string& word, const std::vector<std::string>& candidates);

}  // namespace kelinfra
