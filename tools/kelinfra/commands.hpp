#pragma once

#include "findings.hpp"

#include <string>
#include <vector>

/// The commands of the tool. Each returns the exit status, or throws a Failure.
namespace kelinfra {

struct CatalogueCheckOptions {
  std::vector<std::string> files;
  std::vector<std::string> contracts;
  Printing printing;
};
Status checkCatalogueFiles(const CatalogueCheckOptions& options);

struct CatalogueInitOptions {
  std::string language;
  std::vector<std::string> contracts;
};
/// Prints a catalogue with each identifier, its English text and its arguments.
Status initCatalogue(const CatalogueInitOptions& options);

Status printVersion(bool json);

}  // namespace kelinfra
