#include "commandLine.hpp"

#include "commands.hpp"
#include "manual.hpp"
#include "suggestion.hpp"
#include "texts.hpp"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace kelinfra {

namespace {

// --- the manual

OptionEntry entryOf(const CLI::Option& option) {
  const bool isOperand = option.get_lnames().empty();
  const bool hasValue = !isOperand && option.get_type_size() != 0;
  return {isOperand ? option.get_name() : "--" + option.get_lnames().front(),
          hasValue ? option.get_type_name() : "", option.get_description()};
}

/// Appends the command and its subcommands.
void describe(const CLI::App& command, const std::vector<std::string>& path, Manual& manual) {
  CommandEntry entry{path, command.get_description(), command.get_footer(), {}, {}};
  for (const CLI::Option* option : command.get_options()) entry.options.push_back(entryOf(*option));
  const auto subcommands = command.get_subcommands([](const CLI::App*) { return true; });
  for (const CLI::App* subcommand : subcommands) entry.subcommands.push_back(subcommand->get_name());
  manual.push_back(entry);
  for (const CLI::App* subcommand : subcommands) {
    std::vector<std::string> longer = path;
    longer.push_back(subcommand->get_name());
    describe(*subcommand, longer, manual);
  }
}

Status printFile(const CLI::App& app, const std::string& kind) {
  requireOperand("KIND", kind);
  Manual manual;
  describe(app, {}, manual);
  const std::string file = fileOf(kind, manual);
  if (file.empty()) {
    const std::string better = suggestion(kind, fileKinds());
    if (better.empty()) fail("KELINFRA_UNKNOWN_WORD", kind);
    fail("KELINFRA_UNKNOWN_WORD_SUGGESTION", kind, better);
  }
  std::fputs(file.c_str(), stdout);
  return clean;
}

void addGenerate(CLI::App& app, CommandLine& line) {
  const auto kind = std::make_shared<std::string>();
  CLI::App& generate = addCommand(app, line, "generate", "Print the manual page, or completion for a shell",
                                  [&app, kind] { return printFile(app, *kind); });
  addOperand(generate, "KIND", *kind, "One of: man, bash, zsh, fish, powershell");
  generate.footer("Example: kelinfra generate bash >/etc/bash_completion.d/kelinfra");
}

// --- the command line

/// The innermost command that the arguments named.
const CLI::App& chosen(const CLI::App& app) {
  const std::vector<CLI::App*> commands = app.get_subcommands();
  return commands.empty() ? app : chosen(*commands.front());
}

/// The options and commands that the command accepts.
std::vector<std::string> wordsOf(const CLI::App& command) {
  std::vector<std::string> words;
  for (const CLI::Option* option : command.get_options()) {
    for (const std::string& name : option->get_lnames()) words.push_back("--" + name);
  }
  for (const CLI::App* subcommand : command.get_subcommands([](const CLI::App*) { return true; })) {
    words.push_back(subcommand->get_name());
  }
  return words;
}

[[noreturn]] void failOnUnknown(const CLI::App& app) {
  const CLI::App& command = chosen(app);
  const std::vector<std::string> unknown = app.remaining(true);
  const std::string word = unknown.empty() ? "" : unknown.front();
  const std::string name = word.substr(0, word.find('='));
  const std::string better = suggestion(name, wordsOf(command));
  if (better.empty()) fail("KELINFRA_UNKNOWN_WORD", name);
  fail("KELINFRA_UNKNOWN_WORD_SUGGESTION", name, better);
}

}  // namespace

CLI::App& addCommand(CLI::App& family, CommandLine& line, const char* name, const char* help,
                     const std::function<Status()>& run) {
  CLI::App& command = *family.add_subcommand(name, help);
  command.callback([&line, run] { line.command = run; });
  return command;
}

void addJson(CLI::App& command, CommandLine& line) {
  command.add_flag("--json", line.json, "Print JSON");
}

void addStrict(CLI::App& command, bool& strict) {
  command.add_flag("--strict", strict, "Warnings set the exit status, too");
}

int run(std::vector<std::string> arguments) {
  CommandLine line;
  CLI::App app("Works with the files of programs that use KELINFRA.", "kelinfra");
  app.allow_windows_style_options(false);  // "/file" is a file on every system
  app.set_help_all_flag("--help-all", "Print the help of all commands");
  app.add_option("--language", line.language,
                 "The language of messages, such as de; else LC_ALL, "
                 "LC_MESSAGES or LANG")
      ->type_name("LANG");
  app.footer(
      "Example: kelinfra catalogue check en.properties de.properties\n"
      "The exit status is 0 if all is well, 1 for findings, 2 for a wrong command or file.");
  app.fallthrough();
  addAddress(app, line);
  addCatalogue(app, line);
  addConvert(app, line);
  addProperties(app, line);
  addTrace(app, line);
  addVersion(app, line);
  addGenerate(app, line);
  try {
    std::reverse(arguments.begin(), arguments.end());  // CLI11 takes the last argument first
    app.parse(std::move(arguments));
  } catch (const CLI::Success& success) {
    return app.exit(success);
  } catch (const CLI::ExtrasError&) {
    if (!line.language.empty()) chooseLanguage(line.language);
    failOnUnknown(app);
  } catch (const CLI::ArgumentMismatch& error) {
    fail("KELINFRA_OPTION_VALUE", error.what());
  } catch (const CLI::ParseError& error) {
    fail("KELINFRA_COMMAND_LINE", error.what());
  }
  if (!line.language.empty()) chooseLanguage(line.language);
  if (line.command) return line.command();
  std::fputs(chosen(app).help().c_str(), stdout);
  return clean;
}

}  // namespace kelinfra
