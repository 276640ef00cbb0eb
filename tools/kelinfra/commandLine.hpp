#pragma once

#include <string>
#include <vector>

namespace kelinfra {

/// Runs the command that the arguments name, and returns the exit status. The arguments are in UTF-8.
int run(std::vector<std::string> arguments);

}  // namespace kelinfra
