#include "infra/util/kelPropertiesSchema.hpp"

#include "files.hpp"
#include "findings.hpp"
#include "propertiesCommands.hpp"
#include "propertyPlaces.hpp"
#include "texts.hpp"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <list>
#include <memory>
#include <string>
#include <vector>

namespace kelinfra {

namespace {

using tarvo::oss::Message;
using tarvo::util::PropertiesReport;
using tarvo::util::PropertiesSchema;
using tarvo::util::PropertyFinding;

struct CheckOptions {
  std::vector<std::string> files;
  std::string schema;
  Printing printing;
};

struct DescribeOptions {
  std::string schema;
  bool markdown = false;
};

/// The identifier of the rule's text: "KELINFRA_RULE_LONE_PERCENT" for "lone-percent".
std::string identifierOf(std::string rule) {
  std::transform(rule.begin(), rule.end(), rule.begin(),
                 [](unsigned char c) { return c == '-' ? '_' : static_cast<char>(std::toupper(c)); });
  return "KELINFRA_RULE_" + rule;
}

Finding findingOf(const PropertyFinding& found, const std::string& file, const Places& places) {
  const Places::Place place = places.inCharacters(found.line, found.column);
  const Level level = found.level == Message::LEVEL_ERROR ? Level::error : Level::warning;
  Finding finding{file,       place.line, place.column,
                  found.rule, level,      message(identifierOf(found.rule).c_str())};
  for (const icu::UnicodeString& argument : found.arguments) finding.message.addArgument(argument);
  return finding;
}

/// A file, and the findings in it.
class Checked {
 public:
  explicit Checked(const std::string& file)
      : file_(shownName(file)), bytes_(readFile(file)), places_(bytes_) {}
  Checked(const Checked& other) = delete;
  Checked& operator=(const Checked& other) = delete;

  const std::string& bytes() const { return bytes_; }

  void add(const std::vector<PropertyFinding>& found, std::list<Finding>& findings) const {
    for (const PropertyFinding& each : found) findings.push_back(findingOf(each, file_, places_));
  }

 private:
  std::string file_;
  std::string bytes_;
  Places places_;
};

/// Reads the schema and adds its own faults. An empty name is an empty schema.
std::unique_ptr<PropertiesSchema> schemaOf(const std::string& name, std::list<Finding>& findings) {
  if (name.empty()) return nullptr;
  const Checked file(name);
  auto schema = std::make_unique<PropertiesSchema>(file.bytes().data(), file.bytes().size());
  file.add(schema->faults(), findings);
  return schema;
}

Status check(const CheckOptions& options) {
  requireOperand("FILE", options.files);
  std::list<Finding> findings;
  const std::unique_ptr<PropertiesSchema> schema = schemaOf(options.schema, findings);
  for (const std::string& name : options.files) {
    const Checked file(name);
    const PropertiesReport report(file.bytes().data(), file.bytes().size());
    file.add(report.findings(), findings);
    if (schema) file.add(schema->check(report), findings);
  }
  return print(findings, options.printing);
}

Status describe(const DescribeOptions& options) {
  requireOperand("SCHEMA", options.schema);
  std::list<Finding> findings;
  const std::unique_ptr<PropertiesSchema> schema = schemaOf(options.schema, findings);
  const std::string text = options.markdown ? utf8(schema->markdown()) : schema->sample();
  std::fputs(text.c_str(), stdout);
  Printing printing;
  printing.output = stderr;
  return print(findings, printing);
}

}  // namespace

void addPropertiesChecks(CLI::App& properties, CommandLine& line) {
  const auto checkOptions = std::make_shared<CheckOptions>();
  CLI::App& checking =
      addCommand(properties, line, "check", "Check files, also against a schema; - is standard input",
                 [checkOptions, &line] {
                   checkOptions->printing.json = line.json;
                   return check(*checkOptions);
                 });
  addOperand(checking, "FILE", checkOptions->files, "Properties files");
  checking.add_option("--schema", checkOptions->schema, "The schema of the files")->type_name("FILE");
  addStrict(checking, checkOptions->printing.strict);
  addJson(checking, line);
  checking.footer("Example: kelinfra properties check server.properties --schema server.schema");

  const auto describeOptions = std::make_shared<DescribeOptions>();
  CLI::App& describing =
      addCommand(properties, line, "describe", "Print a sample file with all properties of a schema",
                 [describeOptions] { return describe(*describeOptions); });
  addOperand(describing, "SCHEMA", describeOptions->schema, "A schema; - is standard input");
  describing.add_flag("--markdown", describeOptions->markdown, "Print a Markdown table");
  describing.footer("Example: kelinfra properties describe server.schema >server.properties");
}

}  // namespace kelinfra
