#pragma once

#include <nlohmann/json.hpp>

namespace kelinfra {

/// Prints the value, with U+FFFD for bytes that are not UTF-8.
void print(const nlohmann::ordered_json& value);

}  // namespace kelinfra
