#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

/// The text format of properties and their references the slow way: texts are cut, searched from their start
/// and replaced in place, references recurse. To hold the library against; never for production.
namespace tarvo::test {

using PropertiesModel = std::map<std::u16string, std::u16string>;

/// Takes one line off the front of `rest`; false when there is none.
bool modelTakeLine(PropertiesModel& properties, std::string& rest);

void modelLoad(PropertiesModel& properties, std::string bytes);

struct PropertiesModelError {
  std::string identifier;
  std::vector<std::u16string> arguments;

  friend bool operator==(const PropertiesModelError&, const PropertiesModelError&) = default;
};

/// How resolving ends; the properties are what it leaves.
std::optional<PropertiesModelError> modelResolve(PropertiesModel& properties);

std::string modelSave(const PropertiesModel& properties, const std::vector<std::u16string>& includes = {});

}  // namespace tarvo::test
