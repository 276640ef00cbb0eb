#include "manual.hpp"

#include "embedded.hpp"

#include <algorithm>
#include <functional>
#include <map>

namespace kelinfra {

namespace {

std::string joined(const std::vector<std::string>& words, const std::string& between) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : between) + word;
  return text;
}

std::string replaced(std::string text, char found, const std::string& by) {
  for (std::size_t at = 0; (at = text.find(found, at)) != std::string::npos; at += by.size()) {
    text.replace(at, 1, by);
  }
  return text;
}

bool isOperand(const OptionEntry& option) {
  return option.name.compare(0, 1, "-") != 0;
}

/// The subcommands and options that may follow the command.
std::vector<std::string> wordsAfter(const CommandEntry& command) {
  std::vector<std::string> words = command.subcommands;
  for (const OptionEntry& option : command.options) {
    if (!isOperand(option)) words.push_back(option.name);
  }
  return words;
}

// --- the manual page

/// Text in the language of manual pages.
std::string roff(const std::string& text) {
  const std::string escaped = replaced(replaced(text, '\\', "\\e"), '-', "\\-");
  return (escaped.compare(0, 1, ".") == 0 || escaped.compare(0, 1, "'") == 0 ? "\\&" : "") + escaped;
}

std::string bold(const std::string& text) {
  return "\\fB" + roff(text) + "\\fR";
}

std::string italic(const std::string& text) {
  return "\\fI" + roff(text) + "\\fR";
}

std::string section(const CommandEntry& command) {
  std::string text = command.path.empty() ? ".SH OPTIONS\n" : ".SS " + roff(joined(command.path, " ")) + "\n";
  if (!command.path.empty()) text += roff(command.help) + ".\n";
  for (const OptionEntry& option : command.options) {
    text += ".TP\n" + (isOperand(option) ? italic(option.name) : bold(option.name));
    if (!option.value.empty()) text += " " + italic(option.value);
    text += "\n" + roff(option.help) + ".\n";
  }
  if (!command.path.empty() && !command.footer.empty()) text += ".PP\n" + roff(command.footer) + "\n";
  return text;
}

std::string manualPage(const Manual& manual) {
  std::string text = ".TH KELINFRA 1 \"\" \"kelinfra " + std::string(embedded::version) + "\"\n.SH NAME\n" +
                     "kelinfra \\- work with the files of programs that use KELINFRA\n.SH SYNOPSIS\n" +
                     bold("kelinfra") + " [" + italic("options") + "] " + italic("command") + "\n" +
                     section(manual.front()) + ".SH COMMANDS\n";
  for (auto command = manual.begin() + 1; command != manual.end(); ++command) text += section(*command);
  return text + ".SH NOTES\n" + replaced(roff(manual.front().footer), '\n', "\n.br\n") + "\n";
}

// --- completion

/// A line for each command: the words before it, and the words that may follow. Longer commands come first,
/// because the shells take the first line with which the words begin. Operands may follow the command's name.
std::string lines(const Manual& manual,
                  const std::function<std::string(const std::string&, const std::string&)>& line) {
  std::string text;
  for (auto command = manual.rbegin(); command != manual.rend(); ++command) {
    text += line(joined(command->path, " "), joined(wordsAfter(*command), " "));
  }
  return text;
}

std::string bashCompletion(const Manual& manual) {
  return "# Completion of kelinfra for bash.\n"
         "_kelinfra() {\n"
         "  local word=${COMP_WORDS[COMP_CWORD]} path= words= each\n"
         "  for each in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
         "    [[ $each == -* ]] || path+=${path:+ }$each\n"
         "  done\n"
         "  case $path in\n" +
         lines(manual,
               [](const std::string& path, const std::string& words) {
                 return "    \"" + path + "\"*) words=\"" + words + "\" ;;\n";
               }) +
         "  esac\n"
         "  mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$word\")\n"
         "}\n"
         "complete -o default -F _kelinfra kelinfra\n";
}

std::string zshCompletion(const Manual& manual) {
  return "#compdef kelinfra\n"
         "# Completion of kelinfra for zsh.\n"
         "local line=\"${${(@)words[2,CURRENT-1]:#-*}}\"\n"
         "case $line in\n" +
         lines(manual,
               [](const std::string& path, const std::string& words) {
                 return "  (\"" + path + "\"*) compadd -- " + words + " ;;\n";
               }) +
         "esac\n"
         "_files\n";
}

std::string fishCompletion(const Manual& manual) {
  return "# Completion of kelinfra for fish.\n"
         "function __kelinfra_after\n"
         "  set -l line (commandline -opc)\n"
         "  test \"$argv\" = (string join ' ' (string match -v -- '-*' $line[2..-1]))\n"
         "end\n" +
         lines(manual, [](const std::string& path, const std::string& words) {
           return "complete -c kelinfra -n \"__kelinfra_after " + path + "\" -a \"" + words + "\"\n";
         });
}

std::string powerShellCompletion(const Manual& manual) {
  return "# Completion of kelinfra for PowerShell.\n"
         "Register-ArgumentCompleter -Native -CommandName kelinfra -ScriptBlock {\n"
         "  param($word, $line, $position)\n"
         "  $before = @($line.CommandElements | Select-Object -Skip 1 | ForEach-Object { \"$_\" } |\n"
         "    Where-Object { $_ -notlike '-*' -and $_ -ne $word })\n"
         "  $words = switch -Wildcard ($before -join ' ') {\n" +
         lines(manual,
               [](const std::string& path, const std::string& words) {
                 return "    '" + path + "*' { '" + words + "'; break }\n";
               }) +
         "  }\n"
         "  -split $words | Where-Object { $_ -like \"$word*\" }\n"
         "}\n";
}

const std::map<std::string, std::string (*)(const Manual&)>& writers() {
  static const std::map<std::string, std::string (*)(const Manual&)> all = {
      {"man", manualPage},
      {"bash", bashCompletion},
      {"zsh", zshCompletion},
      {"fish", fishCompletion},
      {"powershell", powerShellCompletion}};
  return all;
}

}  // namespace

const std::vector<std::string>& fileKinds() {
  static const std::vector<std::string> kinds = [] {
    std::vector<std::string> names;
    for (const auto& writer : writers()) names.push_back(writer.first);
    return names;
  }();
  return kinds;
}

std::string fileOf(const std::string& kind, const Manual& manual) {
  const auto writer = writers().find(kind);
  return writer == writers().end() ? std::string() : writer->second(manual);
}

}  // namespace kelinfra
