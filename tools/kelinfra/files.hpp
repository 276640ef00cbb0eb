#pragma once

#include <string>

/// Files and the standard streams, which are named "-".
namespace kelinfra {

/// The bytes of a file, at most 1 GiB.
std::string readFile(const std::string& name);

/// The name in messages.
std::string shownName(const std::string& name);

}  // namespace kelinfra
