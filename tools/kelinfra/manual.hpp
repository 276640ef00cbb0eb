#pragma once

#include <string>
#include <vector>

/// The commands and options of the tool as data, and the files that are written from it.
namespace kelinfra {

struct OptionEntry {
  std::string name;   ///< such as "--json"; an operand such as "FILE" has no hyphens
  std::string value;  ///< the name of its value; empty for a flag and for an operand
  std::string help;
};

struct CommandEntry {
  std::vector<std::string> path;  ///< "catalogue", "check"; empty for the tool itself
  std::string help;
  std::string footer;
  std::vector<OptionEntry> options;
  std::vector<std::string> subcommands;
};

/// The tool itself first, then each command before its subcommands.
using Manual = std::vector<CommandEntry>;

/// The kinds of files: "man", "bash", "zsh", "fish" and "powershell".
const std::vector<std::string>& fileKinds();

/// The file of that kind. Empty if there is no such kind.
std::string fileOf(const std::string& kind, const Manual& manual);

}  // namespace kelinfra
