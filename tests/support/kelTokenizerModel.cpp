#include "support/kelTokenizerModel.hpp"

#include <cstddef>

namespace tarvo::test {
namespace {

bool has(const std::u16string& delimiters, char16_t unit) {
  return delimiters.find(unit) != std::u16string::npos;
}

}  // namespace

std::vector<std::u16string> modelTokens(std::u16string text, const std::u16string& delimiters) {
  if (text.empty()) return {};
  if (has(delimiters, u'\n') && has(delimiters, u'\r')) {
    for (std::size_t at = text.find(u"\r\n"); at != std::u16string::npos; at = text.find(u"\r\n", at + 1)) {
      text.replace(at, 2, u"\n");
    }
  }
  std::size_t slots = 1;
  for (const char16_t unit : text) {
    if (has(delimiters, unit)) ++slots;
  }
  std::vector<std::u16string> tokens(slots);
  std::size_t k = 0;
  bool delimiterSeen = false;
  for (const char16_t unit : text) {
    if (has(delimiters, unit)) {
      delimiterSeen = true;
      continue;
    }
    if (delimiterSeen && k + 1 < slots) {
      ++k;
      delimiterSeen = false;
    }
    tokens[k] += unit;
  }
  tokens.resize(k + 1);
  return tokens;
}

}  // namespace tarvo::test
