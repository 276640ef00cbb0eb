#include "findings.hpp"

#include "json.hpp"
#include "terminal.hpp"
#include "texts.hpp"

#include <algorithm>
#include <cstdio>
#include <tuple>

namespace kelinfra {

namespace {

const char* wordOf(Level level) {
  return level == Level::error ? "error" : "warning";
}

std::string place(const Finding& finding) {
  if (finding.line == 0) return finding.file;
  return finding.file + ":" + std::to_string(finding.line) + ":" + std::to_string(finding.column);
}

void printText(const std::list<Finding>& findings, std::FILE* output) {
  for (const Finding& finding : findings) {
    const Colour colour = finding.level == Level::error ? Colour::red : Colour::yellow;
    const std::string level = wordOf(finding.level);
    const std::string line = printable(place(finding)) + ": " +
                             (output == stdout ? coloured(level, colour) : level) + ": " +
                             printable(rendered(finding.message)) + " [" + finding.rule + "]\n";
    std::fputs(line.c_str(), output);
  }
}

}  // namespace

nlohmann::ordered_json jsonOf(const std::list<Finding>& findings) {
  nlohmann::ordered_json all = nlohmann::ordered_json::array();
  for (const Finding& finding : findings) {
    nlohmann::ordered_json arguments = nlohmann::ordered_json::array();
    for (const auto& argument : finding.message.getMessageArgs()) arguments.push_back(utf8(argument));
    all.push_back({{"file", finding.file},
                   {"line", finding.line},
                   {"column", finding.column},
                   {"level", wordOf(finding.level)},
                   {"rule", finding.rule},
                   {"identifier", utf8(finding.message.getMessageID())},
                   {"arguments", arguments},
                   {"text", rendered(finding.message)}});
  }
  return all;
}

Status statusOf(const std::list<Finding>& findings, const Printing& how) {
  const bool counts = std::any_of(findings.begin(), findings.end(), [&](const Finding& finding) {
    return how.strict || finding.level == Level::error;
  });
  return counts ? foundSomething : clean;
}

Status print(std::list<Finding> findings, const Printing& how) {
  findings.sort([](const Finding& left, const Finding& right) {
    return std::tie(left.file, left.line, left.column) < std::tie(right.file, right.line, right.column);
  });
  how.json ? print(jsonOf(findings), how.output) : printText(findings, how.output);
  return statusOf(findings, how);
}

}  // namespace kelinfra
