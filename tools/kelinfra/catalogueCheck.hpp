#pragma once

#include "contract.hpp"
#include "findings.hpp"

#include <list>
#include <string>
#include <vector>

namespace kelinfra {

/// A catalogue file, with the texts of one language.
struct CatalogueFile {
  std::string name;
  std::string bytes;
};

/// Checks each file against the contract, and the files against each other.
std::list<Finding> checkCatalogues(const std::vector<CatalogueFile>& files, const Contract& contract);

}  // namespace kelinfra
