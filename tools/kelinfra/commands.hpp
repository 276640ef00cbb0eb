#pragma once

#include "findings.hpp"
#include "texts.hpp"

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

/// The commands of the tool. Each family of commands has a file, with a function that adds the commands to
/// the command line. A command returns the exit status, or throws a Failure.
namespace kelinfra {

/// What all commands share.
struct CommandLine {
  std::string language;
  bool json = false;
  std::function<Status()> command;  ///< the command that the arguments name; empty without a command
};

void addAddress(CLI::App& app, CommandLine& line);
void addCatalogue(CLI::App& app, CommandLine& line);
void addConvert(CLI::App& app, CommandLine& line);
void addProperties(CLI::App& app, CommandLine& line);
void addTrace(CLI::App& app, CommandLine& line);
void addVersion(CLI::App& app, CommandLine& line);

/// Adds a command of the family. If the arguments name it, `run` is called after all of them are read.
CLI::App& addCommand(CLI::App& family, CommandLine& line, const char* name, const char* help,
                     const std::function<Status()>& run);

/// Adds --json, which sets `line.json`.
void addJson(CLI::App& command, CommandLine& line);

/// Adds --strict, which sets `strict`.
void addStrict(CLI::App& command, bool& strict);

/// Adds an operand: a text, or a list of texts.
template <class Value>
void addOperand(CLI::App& command, const char* name, Value& value, const char* help) {
  command.add_option(name, value, help)->type_name("");
}

/// Fails if the operand is missing. The command line does not require operands, so that the message is in the
/// user's language.
template <class Value>
void requireOperand(const char* name, const Value& value) {
  if (value.empty()) fail("KELINFRA_OPERAND_MISSING", name);
}

}  // namespace kelinfra
