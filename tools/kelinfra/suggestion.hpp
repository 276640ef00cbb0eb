#pragma once

#include "infra/util/kelPropertiesSchema.hpp"

#include <string>
#include <vector>

namespace kelinfra {

/// Suggests candidates for several misspelt words, as the function `suggestion` does for one.
class Suggestions {
 public:
  explicit Suggestions(const std::vector<std::string>& candidates);

  std::string of(const std::string& word) const;

 private:
  explicit Suggestions(const std::string& schema);

  tarvo::util::PropertiesSchema schema_;
};

/// Returns the candidate that the user probably meant, by the rule of `PropertiesSchema::suggest`. Returns an
/// empty text if no candidate is near.
std::string suggestion(const std::string& word, const std::vector<std::string>& candidates);

}  // namespace kelinfra
