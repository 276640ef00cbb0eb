#include "infra/util/kelPropertiesEditor.hpp"

#include "json.hpp"
#include "propertiesCommands.hpp"
#include "texts.hpp"

#include <cstdio>
#include <map>
#include <memory>
#include <utility>

namespace kelinfra {

namespace {

using tarvo::util::PropertiesEditor;
using tarvo::util::PropertiesReport;
using Property = PropertiesReport::Property;

struct QueryOptions {
  std::string file;
  std::optional<std::string> key;
  bool resolved = false;
  bool json = false;
};

struct DiffOptions {
  std::string left;
  std::string right;
};

/// The value, with its references replaced if that is asked for.
const icu::UnicodeString& valueOf(const Property& property, const QueryOptions& options) {
  if (!options.resolved) return property.value;
  if (!property.isResolved) {
    throw Failure{message("KELINFRA_PROPERTY_UNRESOLVED", utf8(property.key)), foundSomething};
  }
  return property.resolved;
}

/// The property as a line of a properties file.
std::string lineOf(const icu::UnicodeString& key, const icu::UnicodeString& value) {
  PropertiesEditor line(nullptr, 0);
  line.set(key, value);
  return line.bytes();
}

Status get(const QueryOptions& options) {
  requireOperand("FILE", options.file);
  const icu::UnicodeString key = textOf("KEY", options.key);
  const PropertiesReport report = reportOf(options.file);
  for (const Property& property : report.properties()) {
    if (!property.counts || property.key != key) continue;
    const std::string value = utf8(valueOf(property, options));
    if (options.json) {
      print(value);
    } else {
      std::fwrite(value.data(), 1, value.size(), stdout);
      std::fputc('\n', stdout);
    }
    return clean;
  }
  failWithout(key, options.file, report);
}

Status list(const QueryOptions& options) {
  requireOperand("FILE", options.file);
  const PropertiesReport report = reportOf(options.file);
  nlohmann::ordered_json all = nlohmann::ordered_json::array();
  for (const Property& property : report.properties()) {
    if (!property.counts) continue;
    const icu::UnicodeString& value = valueOf(property, options);
    if (options.json) {
      all.push_back({{"key", utf8(property.key)},
                     {"value", utf8(value)},
                     {"line", property.line},
                     {"column", property.column}});
    } else {
      std::fputs(lineOf(property.key, value).c_str(), stdout);
    }
  }
  if (options.json) print(all);
  return clean;
}

// --- diff

using Values = std::map<icu::UnicodeString, icu::UnicodeString>;

Values valuesOf(const std::string& file) {
  Values values;
  const PropertiesReport report = reportOf(file);
  for (const Property& property : report.properties()) values[property.key] = property.value;
  return values;
}

/// The value of a property in both files; null if the file has no such property.
struct Change {
  icu::UnicodeString key;
  const icu::UnicodeString* left;
  const icu::UnicodeString* right;
};

const icu::UnicodeString* find(const Values& values, const icu::UnicodeString& key) {
  const auto found = values.find(key);
  return found == values.end() ? nullptr : &found->second;
}

std::vector<Change> changesOf(const Values& left, const Values& right) {
  Values both = left;
  both.insert(right.begin(), right.end());
  std::vector<Change> changes;
  for (const auto& each : both) {
    const Change change{each.first, find(left, each.first), find(right, each.first)};
    if (!change.left || !change.right || *change.left != *change.right) changes.push_back(change);
  }
  return changes;
}

nlohmann::ordered_json jsonOf(const icu::UnicodeString* value) {
  return value == nullptr ? nlohmann::ordered_json() : nlohmann::ordered_json(utf8(*value));
}

Status diff(const DiffOptions& options, bool json) {
  requireOperand("LEFT", options.left);
  requireOperand("RIGHT", options.right);
  const Values left = valuesOf(options.left);
  const Values right = valuesOf(options.right);
  nlohmann::ordered_json all = nlohmann::ordered_json::array();
  const std::vector<Change> changes = changesOf(left, right);
  for (const Change& change : changes) {
    all.push_back(
        {{"key", utf8(change.key)}, {"left", jsonOf(change.left)}, {"right", jsonOf(change.right)}});
    if (json) continue;
    if (change.left != nullptr) std::fputs(("-" + lineOf(change.key, *change.left)).c_str(), stdout);
    if (change.right != nullptr) std::fputs(("+" + lineOf(change.key, *change.right)).c_str(), stdout);
  }
  if (json) print(all);
  return changes.empty() ? clean : foundSomething;
}

CLI::App& addQuery(CLI::App& properties, CommandLine& line, const char* name, const char* help,
                   Status (*run)(const QueryOptions& options), const std::shared_ptr<QueryOptions>& options) {
  CLI::App& command = addCommand(properties, line, name, help, [options, run, &line] {
    options->json = line.json;
    return run(*options);
  });
  addOperand(command, "FILE", options->file, "A properties file; - is standard input");
  return command;
}

void addResolved(CLI::App& command, CommandLine& line, QueryOptions& options) {
  command.add_flag("--resolved", options.resolved, "Replace references such as %name%");
  addJson(command, line);
}

}  // namespace

void addPropertiesQueries(CLI::App& properties, CommandLine& line) {
  const auto getOptions = std::make_shared<QueryOptions>();
  CLI::App& getting = addQuery(properties, line, "get", "Print the value of a property", get, getOptions);
  addOperand(getting, "KEY", getOptions->key, "The key of the property");
  addResolved(getting, line, *getOptions);
  getting.footer("Example: kelinfra properties get server.properties port");

  const auto listOptions = std::make_shared<QueryOptions>();
  CLI::App& listing = addQuery(properties, line, "list", "Print all properties", list, listOptions);
  addResolved(listing, line, *listOptions);
  listing.footer("Example: kelinfra properties list server.properties");

  const auto diffOptions = std::make_shared<DiffOptions>();
  CLI::App& differing = addCommand(properties, line, "diff", "Print the properties that differ in two files",
                                   [diffOptions, &line] { return diff(*diffOptions, line.json); });
  addOperand(differing, "LEFT", diffOptions->left, "A properties file; - is standard input");
  addOperand(differing, "RIGHT", diffOptions->right, "Another properties file");
  addJson(differing, line);
  differing.footer("Example: kelinfra properties diff default.properties server.properties");
}

}  // namespace kelinfra
