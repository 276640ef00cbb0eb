#include "kelSnippets.hpp"

#include <exception>

/// Runs the examples that show a result, each after a line with its place, for snippets.py to compare.
int main() {
  std::setvbuf(stdout, nullptr, _IONBF, 0);  // keeps the order with stderr
  for (const snippets::Example& example : snippets::examples) {
    if (example.place == nullptr) continue;
    std::printf("\x1E%s\n", example.place);
    try {
      example.run();
    } catch (const std::exception& error) {
      std::printf("threw %s\n", error.what());
    }
  }
}
