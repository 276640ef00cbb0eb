#include "propertiesCommands.hpp"

#include "files.hpp"
#include "suggestion.hpp"
#include "texts.hpp"

#include <vector>

namespace kelinfra {

using tarvo::util::PropertiesReport;

PropertiesReport reportOf(const std::string& file) {
  const std::string bytes = readFile(file);
  return {bytes.data(), bytes.size()};
}

icu::UnicodeString textOf(const char* name, const std::optional<std::string>& argument) {
  if (!argument) fail("KELINFRA_OPERAND_MISSING", name);
  icu::UnicodeString text = unicode(*argument);
  if (utf8(text) != *argument) fail("KELINFRA_ARGUMENT_NOT_UTF8", name);
  return text;
}

void failWithout(const icu::UnicodeString& key, const std::string& file, const PropertiesReport& report) {
  std::vector<std::string> keys;
  for (const PropertiesReport::Property& property : report.properties()) {
    if (property.counts) keys.push_back(utf8(property.key));
  }
  const std::string name = utf8(key);
  const std::string better = suggestion(name, keys);
  if (better.empty())
    throw Failure{message("KELINFRA_PROPERTY_MISSING", shownName(file), name), foundSomething};
  throw Failure{message("KELINFRA_PROPERTY_MISSING_SUGGESTION", shownName(file), name, better),
                foundSomething};
}

void addProperties(CLI::App& app, CommandLine& line) {
  CLI::App& properties = *app.add_subcommand("properties", "Settings in properties files");
  properties.footer("Example: kelinfra properties check server.properties --schema server.schema");
  addPropertiesChecks(properties, line);
  addPropertiesQueries(properties, line);
  addPropertiesChanges(properties, line);
}

}  // namespace kelinfra
