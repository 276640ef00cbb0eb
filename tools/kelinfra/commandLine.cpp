#include "commandLine.hpp"

#include "commands.hpp"
#include "manual.hpp"
#include "suggestion.hpp"
#include "texts.hpp"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace kelinfra {

namespace {

/// The options and what they set.
struct Options {
  std::string language;
  bool json = false;
  CatalogueCheckOptions check;
  CatalogueInitOptions init;
  std::string kind;
  std::function<Status()> command;
};

void addJson(CLI::App& command, Options& options) {
  command.add_flag("--json", options.json, "Print JSON");
}

void addContracts(CLI::App& command, std::vector<std::string>& contracts) {
  command.add_option("--contract", contracts, "A program's identifiers, in the form of catalogue.json")
      ->type_name("FILE")
      ->allow_extra_args(false);
}

void addCatalogue(CLI::App& app, Options& options) {
  CLI::App* const catalogue = app.add_subcommand("catalogue", "Texts of messages in several languages");
  catalogue->footer("Example: kelinfra catalogue check en.properties de.properties");

  CLI::App* const check = catalogue->add_subcommand("check", "Check catalogue files; - is standard input");
  check->add_option("FILE", options.check.files, "Files of properties text, such as de.properties")
      ->type_name("");
  addContracts(*check, options.check.contracts);
  check->add_flag("--strict", options.check.printing.strict, "Warnings set the exit status, too");
  addJson(*check, options);
  check->footer("Example: kelinfra catalogue check en.properties de.properties");
  check->callback([&options] {
    options.command = [&options] {
      if (options.check.files.empty()) fail("KELINFRA_OPERAND_MISSING", "FILE");
      options.check.printing.json = options.json;
      return checkCatalogueFiles(options.check);
    };
  });

  CLI::App* const init = catalogue->add_subcommand("init", "Print a complete template for a language");
  init->add_option("LANG", options.init.language, "The language, such as de")->type_name("");
  addContracts(*init, options.init.contracts);
  init->footer("Example: kelinfra catalogue init de >de.properties");
  init->callback([&options] {
    options.command = [&options] {
      if (options.init.language.empty()) fail("KELINFRA_OPERAND_MISSING", "LANG");
      return initCatalogue(options.init);
    };
  });
}

void addVersion(CLI::App& app, Options& options) {
  CLI::App* const version = app.add_subcommand("version", "Print the versions of the tool and of ICU");
  addJson(*version, options);
  version->callback([&options] { options.command = [&options] { return printVersion(options.json); }; });
}

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
  if (kind.empty()) fail("KELINFRA_OPERAND_MISSING", "KIND");
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

void addGenerate(CLI::App& app, Options& options) {
  CLI::App* const generate =
      app.add_subcommand("generate", "Print the manual page, or completion for a shell");
  generate->add_option("KIND", options.kind, "One of: man, bash, zsh, fish, powershell")->type_name("");
  generate->footer("Example: kelinfra generate bash >/etc/bash_completion.d/kelinfra");
  generate->callback(
      [&app, &options] { options.command = [&app, &options] { return printFile(app, options.kind); }; });
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

int run(int count, const char* const* arguments) {
  Options options;
  CLI::App app("Works with the files of programs that use KELINFRA.", "kelinfra");
  app.set_help_all_flag("--help-all", "Print the help of all commands");
  app.add_option("--language", options.language,
                 "The language of messages, such as de; else LC_ALL, "
                 "LC_MESSAGES or LANG")
      ->type_name("LANG");
  app.footer(
      "Example: kelinfra catalogue check en.properties de.properties\n"
      "The exit status is 0 if all is well, 1 for findings, 2 for a wrong command or file.");
  app.fallthrough();
  addCatalogue(app, options);
  addVersion(app, options);
  addGenerate(app, options);
  try {
    app.parse(count, arguments);
  } catch (const CLI::Success& success) {
    return app.exit(success);
  } catch (const CLI::ExtrasError&) {
    if (!options.language.empty()) chooseLanguage(options.language);
    failOnUnknown(app);
  } catch (const CLI::ArgumentMismatch& error) {
    fail("KELINFRA_OPTION_VALUE", error.what());
  } catch (const CLI::ParseError& error) {
    fail("KELINFRA_COMMAND_LINE", error.what());
  }
  if (!options.language.empty()) chooseLanguage(options.language);
  if (options.command) return options.command();
  std::fputs(chosen(app).help().c_str(), stdout);
  return clean;
}

}  // namespace kelinfra
