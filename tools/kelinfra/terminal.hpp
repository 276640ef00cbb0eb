#pragma once

#include <string>

/// The standard output.
namespace kelinfra {

enum class Colour { red = 31, yellow = 33 };

/// The text in that colour if the standard output is a terminal that shows colours and NO_COLOR is not set.
std::string coloured(const std::string& text, Colour colour);

constexpr int standardInput = 0;
constexpr int standardError = 2;
bool isTerminal(int descriptor);

}  // namespace kelinfra
