#include "catalogueCheck.hpp"
#include "commands.hpp"
#include "contract.hpp"
#include "embedded.hpp"
#include "files.hpp"
#include "propertyPlaces.hpp"
#include "texts.hpp"

#include <cstdio>
#include <map>
#include <memory>

namespace kelinfra {

namespace {

struct CheckOptions {
  std::vector<std::string> files;
  std::vector<std::string> contracts;
  Printing printing;
};

struct InitOptions {
  std::string language;
  std::vector<std::string> contracts;
};

Contract contractWith(const std::vector<std::string>& files) {
  Contract contract = libraryContract();
  for (const std::string& file : files) addContract(contract, file);
  return contract;
}

/// The English texts, as their file holds them.
std::map<std::string, std::string> englishTexts() {
  std::map<std::string, std::string> texts;
  const std::string bytes(embedded::libraryEnglish);
  for (const PlacedProperty& property : placedProperties(bytes, true)) {
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

Status checkCatalogueFiles(const CheckOptions& options) {
  requireOperand("FILE", options.files);
  const Contract contract = contractWith(options.contracts);
  std::vector<CatalogueFile> files;
  for (const std::string& name : options.files) files.push_back({shownName(name), readFile(name)});
  return print(checkCatalogues(files, contract), options.printing);
}

/// Prints a catalogue with each identifier, its English text and its arguments.
Status initCatalogue(const InitOptions& options) {
  requireOperand("LANG", options.language);
  const std::map<std::string, std::string> texts = englishTexts();
  std::string out = "# " + rendered(message("KELINFRA_TEMPLATE", options.language)) + "\n";
  for (const auto& [id, identifier] : contractWith(options.contracts)) {
    const auto text = texts.find(id);
    out += "\n" + commentOf(identifier) + id + " = " + (text == texts.end() ? "" : text->second) + "\n";
  }
  std::fputs(out.c_str(), stdout);
  return clean;
}

void addContracts(CLI::App& command, std::vector<std::string>& contracts) {
  command.add_option("--contract", contracts, "A program's identifiers, in the form of catalogue.json")
      ->type_name("FILE")
      ->allow_extra_args(false);
}

void addCheck(CLI::App& catalogue, CommandLine& line) {
  const auto options = std::make_shared<CheckOptions>();
  CLI::App& check =
      addCommand(catalogue, line, "check", "Check catalogue files; - is standard input", [options, &line] {
        options->printing.json = line.json;
        return checkCatalogueFiles(*options);
      });
  addOperand(check, "FILE", options->files, "Files of properties text, such as de.properties");
  addContracts(check, options->contracts);
  addStrict(check, options->printing.strict);
  addJson(check, line);
  check.footer("Example: kelinfra catalogue check en.properties de.properties");
}

void addInit(CLI::App& catalogue, CommandLine& line) {
  const auto options = std::make_shared<InitOptions>();
  CLI::App& init = addCommand(catalogue, line, "init", "Print a complete template for a language",
                              [options] { return initCatalogue(*options); });
  addOperand(init, "LANG", options->language, "The language, such as de");
  addContracts(init, options->contracts);
  init.footer("Example: kelinfra catalogue init de >de.properties");
}

}  // namespace

void addCatalogue(CLI::App& app, CommandLine& line) {
  CLI::App& catalogue = *app.add_subcommand("catalogue", "Texts of messages in several languages");
  catalogue.footer("Example: kelinfra catalogue check en.properties de.properties");
  addCheck(catalogue, line);
  addInit(catalogue, line);
}

}  // namespace kelinfra
