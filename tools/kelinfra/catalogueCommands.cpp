#include "catalogueCheck.hpp"
#include "commands.hpp"
#include "contract.hpp"
#include "embedded.hpp"
#include "files.hpp"
#include "propertyPlaces.hpp"
#include "texts.hpp"

#include <cstdio>
#include <map>

namespace kelinfra {

namespace {

Contract contractWith(const std::vector<std::string>& files) {
  Contract contract = libraryContract();
  for (const std::string& file : files) addContract(contract, file);
  return contract;
}

/// The English texts, as their file holds them.
std::map<std::string, std::string> englishTexts() {
  std::map<std::string, std::string> texts;
  const std::string bytes(embedded::libraryEnglish);
  for (const PlacedProperty& property : placedProperties(bytes)) {
    const std::size_t from = property.valueAt.front();
    texts[utf8(property.key)] = bytes.substr(from, property.valueAt.back() - from);
  }
  return texts;
}

std::string commentOf(const Identifier& identifier) {
  if (identifier.arguments.empty()) return "# no arguments\n";
  std::string comment = "#";
  for (std::size_t i = 0; i < identifier.arguments.size(); ++i) {
    const Argument& argument = identifier.arguments[i];
    comment += " {" + std::to_string(i) + "} " + argument.name;
    if (argument.kind != argument.name) comment += " (" + argument.kind + ")";
  }
  return comment + "\n";
}

}  // namespace

Status checkCatalogueFiles(const CatalogueCheckOptions& options) {
  const Contract contract = contractWith(options.contracts);
  std::vector<CatalogueFile> files;
  for (const std::string& name : options.files) files.push_back({shownName(name), readFile(name)});
  return print(checkCatalogues(files, contract), options.printing);
}

Status initCatalogue(const CatalogueInitOptions& options) {
  const std::map<std::string, std::string> texts = englishTexts();
  std::string out = "# " + rendered(message("KELINFRA_TEMPLATE", options.language)) + "\n";
  for (const auto& [id, identifier] : contractWith(options.contracts)) {
    const auto text = texts.find(id);
    out += "\n" + commentOf(identifier) + id + " = " + (text == texts.end() ? "" : text->second) + "\n";
  }
  std::fputs(out.c_str(), stdout);
  return clean;
}

}  // namespace kelinfra
