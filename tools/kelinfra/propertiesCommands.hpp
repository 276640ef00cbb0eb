#pragma once

#include "infra/util/kelPropertiesReport.hpp"

#include "commands.hpp"

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

/// Functions for all commands `properties ...`.
namespace kelinfra {

/// Adds get, list and diff.
void addPropertiesQueries(CLI::App& properties, CommandLine& line);
/// Adds check and describe.
void addPropertiesChecks(CLI::App& properties, CommandLine& line);
/// Adds set, remove and format.
void addPropertiesChanges(CLI::App& properties, CommandLine& line);

/// The properties of a file; "-" is the standard input.
tarvo::util::PropertiesReport reportOf(const std::string& file);

/// An argument of the command line. Fails if it is missing, or is not UTF-8.
icu::UnicodeString textOf(const char* name, const std::optional<std::string>& argument);

/// Ends the command with the exit status 1, because the report has no such key.
[[noreturn]] void failWithout(const icu::UnicodeString& key, const std::string& file,
                              const tarvo::util::PropertiesReport& report);

}  // namespace kelinfra
