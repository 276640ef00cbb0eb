#include "commands.hpp"
#include "embedded.hpp"
#include "json.hpp"

#include <unicode/uversion.h>

#include <array>
#include <cstdio>
#include <string>

namespace kelinfra {

namespace {

Status printVersion(bool json) {
  UVersionInfo numbers;
  std::array<char, U_MAX_VERSION_STRING_LENGTH> icu{};
  u_getVersion(numbers);
  u_versionToString(numbers, icu.data());
  if (json) {
    print({{"kelinfra", embedded::version}, {"icu", icu.data()}});
  } else {
    std::printf("kelinfra %s (ICU %s)\n", std::string(embedded::version).c_str(), icu.data());
  }
  return clean;
}

}  // namespace

void addVersion(CLI::App& app, CommandLine& line) {
  CLI::App& version = addCommand(app, line, "version", "Print the versions of the tool and of ICU",
                                 [&line] { return printVersion(line.json); });
  addJson(version, line);
}

}  // namespace kelinfra
