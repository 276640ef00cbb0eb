#pragma once

#include <map>
#include <string>
#include <vector>

/// Which identifiers there are, and the arguments of each: the library's own, and those of a program's table.
namespace kelinfra {

struct Argument {
  std::string name;
  std::string kind;
};

struct Identifier {
  std::vector<Argument> arguments;
  bool isBuiltIn = false;
};

using Contract = std::map<std::string, Identifier>;

/// The identifiers of the library.
Contract libraryContract();

/// Adds the table of a file in the form of catalogue.json.
void addContract(Contract& contract, const std::string& fileName);

}  // namespace kelinfra
