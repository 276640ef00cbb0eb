#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

/// A slow model of the text format of properties and of their references. It cuts texts, searches them from
/// their start, replaces in place, and resolves references by recursion. Tests compare the library with it.
namespace tarvo::test {

using PropertiesModel = std::map<std::u16string, std::u16string>;

/// Removes one line from the front of `rest`; returns false if `rest` is empty.
bool modelTakeLine(PropertiesModel& properties, std::string& rest);

void modelLoad(PropertiesModel& properties, std::string bytes);

struct PropertiesModelError {
  std::string identifier;
  std::vector<std::u16string> arguments;

  friend bool operator==(const PropertiesModelError&, const PropertiesModelError&) = default;
};

/// Resolves the references in `properties`. Returns the error, or nullopt if it succeeded.
std::optional<PropertiesModelError> modelResolve(PropertiesModel& properties);

std::string modelSave(const PropertiesModel& properties, const std::vector<std::u16string>& includes = {});

}  // namespace tarvo::test
