#include "terminal.hpp"

#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace kelinfra {

bool isTerminal(int descriptor) {
  return isatty(descriptor) != 0;
}

std::string coloured(const std::string& text, Colour colour) {
  const char* const off = std::getenv("NO_COLOR");
  const char* const terminal = std::getenv("TERM");
  const bool isPlain = (off != nullptr && *off != '\0') || terminal == nullptr ||
                       std::strcmp(terminal, "dumb") == 0 || !isTerminal(STDOUT_FILENO);
  if (isPlain) return text;
  return "\033[" + std::to_string(static_cast<int>(colour)) + "m" + text + "\033[0m";
}

}  // namespace kelinfra
