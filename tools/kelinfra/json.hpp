#pragma once

#include <cstdio>
#include <nlohmann/json.hpp>

namespace kelinfra {

/// Prints the value, with U+FFFD for bytes that are not UTF-8.
void print(const nlohmann::ordered_json& value, std::FILE* output = stdout);

}  // namespace kelinfra
