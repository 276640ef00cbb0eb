#pragma once

#include "infra/oss/kelMessage.hpp"

#include <cstddef>
#include <cstdio>
#include <list>
#include <nlohmann/json.hpp>
#include <string>

/// The findings of a check of files, and how they are printed.
namespace kelinfra {

enum class Level { error, warning };

struct Finding {
  std::string file;
  std::size_t line;    ///< from 1; 0 if the finding concerns the whole file
  std::size_t column;  ///< in characters, from 1
  std::string rule;    ///< stable name, such as "unknown-identifier"
  Level level;
  tarvo::oss::Message message;
};

/// The exit statuses of all commands.
enum Status : int { clean = 0, foundSomething = 1, failed = 2 };

struct Printing {
  bool json = false;
  std::FILE* output = stdout;
  bool strict = false;  ///< warnings count as findings
};

/// The exit status of a command with these findings.
Status statusOf(const std::list<Finding>& findings, const Printing& how);

nlohmann::ordered_json jsonOf(const std::list<Finding>& findings);

/// Prints the findings by file, line and column, and returns the exit status.
Status print(std::list<Finding> findings, const Printing& how);

}  // namespace kelinfra
