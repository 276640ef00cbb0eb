#include "contract.hpp"

#include "embedded.hpp"
#include "files.hpp"
#include "texts.hpp"

#include <nlohmann/json.hpp>
#include <string_view>

namespace kelinfra {

namespace {

void add(Contract& contract, std::string_view json, bool isBuiltIn) {
  const nlohmann::json all = nlohmann::json::parse(json);
  for (const nlohmann::json& entry : all.at("identifiers")) {
    Identifier& identifier = contract[entry.at("identifier").get<std::string>()];
    identifier = {{}, isBuiltIn};
    for (const nlohmann::json& argument : entry.at("arguments")) {
      identifier.arguments.push_back(
          {argument.at("name").get<std::string>(), argument.at("kind").get<std::string>()});
    }
  }
}

}  // namespace

Contract libraryContract() {
  Contract contract;
  add(contract, embedded::libraryIdentifiers, true);
  return contract;
}

void addContract(Contract& contract, const std::string& fileName) {
  try {
    add(contract, readFile(fileName), false);
  } catch (const nlohmann::json::exception& error) {
    fail("KELINFRA_CONTRACT_INVALID", shownName(fileName), error.what());
  }
}

}  // namespace kelinfra
