#include "infra/util/kelExtendedProperties.hpp"
#include "infra/util/kelPropertiesEditor.hpp"

#include "editedFile.hpp"
#include "files.hpp"
#include "propertiesCommands.hpp"
#include "textDiff.hpp"
#include "texts.hpp"

#include <cstdio>
#include <functional>
#include <memory>

namespace kelinfra {

namespace {

using tarvo::util::PropertiesEditor;

struct ChangeOptions {
  std::string file;
  std::optional<std::string> key;
  std::optional<std::string> value;
  bool dryRun = false;
  bool backup = false;
};

/// Writes the new bytes, or prints the difference.
Status finish(const EditedFile& file, const std::string& bytes, const ChangeOptions& options) {
  const bool differs = bytes != file.bytes();
  if (options.dryRun) {
    const std::string difference = textDiff(shownName(options.file), file.bytes(), bytes);
    std::fwrite(difference.data(), 1, difference.size(), stdout);
  } else {
    if (differs || file.isStandard()) file.replace(bytes, options.backup);
    if (file.isStandard()) return clean;
    const char* const id = differs ? "KELINFRA_FILE_WRITTEN" : "KELINFRA_FILE_UNCHANGED";
    std::puts(rendered(message(id, options.file)).c_str());
  }
  return clean;
}

Status set(const ChangeOptions& options) {
  requireOperand("FILE", options.file);
  const icu::UnicodeString key = textOf("KEY", options.key);
  const icu::UnicodeString value = textOf("VALUE", options.value);
  const EditedFile file(options.file);
  PropertiesEditor editor(file.bytes().data(), file.bytes().size());
  if (!editor.set(key, value)) fail("KELINFRA_PROPERTY_NOT_HELD", utf8(key));
  return finish(file, editor.bytes(), options);
}

Status remove(const ChangeOptions& options) {
  requireOperand("FILE", options.file);
  const icu::UnicodeString key = textOf("KEY", options.key);
  const EditedFile file(options.file);
  PropertiesEditor editor(file.bytes().data(), file.bytes().size());
  if (editor.remove(key) == 0) failWithout(key, options.file, {file.bytes().data(), file.bytes().size()});
  return finish(file, editor.bytes(), options);
}

// --- format

/// The line without its line end.
std::string withoutLineEnd(std::string line) {
  if (!line.empty() && line.back() == '\n') line.pop_back();
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return line;
}

/// Each property as "key=value" in one line, without the escapes that the format does not need. Comments,
/// empty lines and the order stay. All lines end with LF.
std::string formatted(const std::string& bytes) {
  std::string text;
  for (std::size_t position = 0; position < bytes.size();) {
    const std::size_t from = position;
    tarvo::util::ExtendedProperties line;
    line.parseLine(position, bytes.data(), bytes.size());
    const std::string written = bytes.substr(from, position - from);
    PropertiesEditor editor(nullptr, 0);
    for (const auto& [key, value] : line) editor.set(key, value);
    const std::string property = editor.bytes();
    text += property.empty() ? withoutLineEnd(written) + "\n" : property;
  }
  return text;
}

Status format(const ChangeOptions& options) {
  requireOperand("FILE", options.file);
  const EditedFile file(options.file);
  return finish(file, formatted(file.bytes()), options);
}

CLI::App& addChange(CLI::App& properties, CommandLine& line, const char* name, const char* help,
                    Status (*run)(const ChangeOptions& options),
                    const std::shared_ptr<ChangeOptions>& options) {
  CLI::App& command = addCommand(properties, line, name, help, [options, run] { return run(*options); });
  addOperand(command, "FILE", options->file, "A properties file; - is standard input and output");
  command.add_flag("--dry-run", options->dryRun, "Print the lines that would change; write nothing");
  command.add_flag("--backup", options->backup, "Keep the former file, with ~ after its name");
  return command;
}

}  // namespace

void addPropertiesChanges(CLI::App& properties, CommandLine& line) {
  const auto setOptions = std::make_shared<ChangeOptions>();
  CLI::App& setting = addChange(properties, line, "set", "Give a property a value", set, setOptions);
  addOperand(setting, "KEY", setOptions->key, "The key of the property");
  addOperand(setting, "VALUE", setOptions->value, "The value; write -- before one that begins with a hyphen");
  setting.footer("Example: kelinfra properties set server.properties port 4711");

  const auto removeOptions = std::make_shared<ChangeOptions>();
  CLI::App& removing =
      addChange(properties, line, "remove", "Remove all lines of a property", remove, removeOptions);
  addOperand(removing, "KEY", removeOptions->key, "The key of the property");
  removing.footer("Example: kelinfra properties remove server.properties port");

  CLI::App& formatting = addChange(properties, line, "format", "Write each property as key=value in one line",
                                   format, std::make_shared<ChangeOptions>());
  formatting.footer("Example: kelinfra properties format server.properties --dry-run");
}

}  // namespace kelinfra
