#include "terminal.hpp"

#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace kelinfra {

StandardStreams::StandardStreams() = default;
StandardStreams::~StandardStreams() = default;

std::vector<std::string> argumentsOf(int count, const char* const* arguments) {
  if (count == 0) return {};
  return {arguments + 1, arguments + count};
}

bool isTerminal(int descriptor) {
  return isatty(descriptor) != 0;
}

bool showsColours() {
  const char* const terminal = std::getenv("TERM");
  return terminal != nullptr && std::strcmp(terminal, "dumb") != 0 && isTerminal(standardOutput);
}

}  // namespace kelinfra
