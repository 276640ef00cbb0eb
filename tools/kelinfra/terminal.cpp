#include "terminal.hpp"

#include <cstdlib>

namespace kelinfra {

std::string coloured(const std::string& text, Colour colour) {
  const char* const off = std::getenv("NO_COLOR");
  const bool isPlain = (off != nullptr && *off != '\0') || !showsColours();
  if (isPlain) return text;
  return "\033[" + std::to_string(static_cast<int>(colour)) + "m" + text + "\033[0m";
}

}  // namespace kelinfra
