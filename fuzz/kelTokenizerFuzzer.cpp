#include "infra/oss/kelStringTokenizer.hpp"

#include "kelFuzz.hpp"
#include "support/kelTokenizerModel.hpp"

#include <algorithm>
#include <string>
#include <vector>

/// Any text split at any delimiters, from bytes and from Unicode, compared with the model.
namespace {

using tarvo::fuzz::expect;
using tarvo::fuzz::Input;
using tarvo::fuzz::unicode;
using tarvo::fuzz::units;
using tarvo::oss::StringTokenizer;
using Tokens = std::vector<std::u16string>;

/// Takes the steps that the input chooses, then all tokens in order.
void walk(StringTokenizer& tokenizer, const Tokens& tokens, bool withBytes, Input& input) {
  expect(tokenizer.countTokens() == static_cast<int>(tokens.size()), "the count of tokens");
  std::size_t cursor = 0;
  const auto step = [&](bool first, bool asBytes) {
    if (first) cursor = 0;
    const std::u16string expected = cursor < tokens.size() ? tokens[cursor++] : std::u16string();
    if (asBytes) {
      std::string bytes;
      unicode(expected).toUTF8String(bytes);
      expect(bytes == (first ? tokenizer.getFirstToken() : tokenizer.getNextToken()), "a token's bytes");
    } else {
      const icu::UnicodeString token =
          first ? tokenizer.getFirstTokenString() : tokenizer.getNextTokenString();
      expect(units(token) == expected, "a token's text");
    }
    expect(tokenizer.hasMoreTokens() == (cursor < tokens.size()), "whether there are more tokens");
  };
  for (unsigned int steps = input.below(8); steps > 0; --steps) step(input.flag(), withBytes && input.flag());
  step(true, withBytes);
  while (cursor < tokens.size()) step(false, withBytes);
  step(false, false);
}

std::u16string orBlanks(const std::u16string& delimiters) {
  return delimiters.empty() ? u" \r\n\t" : delimiters;
}

void compareBytes(const std::string& text, const std::string& delimiters, Input& input) {
  const std::u16string wide = units(icu::UnicodeString::fromUTF8(text));
  const std::u16string set = units(icu::UnicodeString::fromUTF8(delimiters));
  StringTokenizer tokenizer(text.c_str(), "UTF-8", delimiters.c_str());
  walk(tokenizer, tarvo::test::modelTokens(wide, orBlanks(set)), true, input);
}

void compareUnicode(const std::u16string& text, std::string delimiters, Input& input) {
  for (char& byte : delimiters) byte = static_cast<char>(byte & 0x7F);
  delimiters = delimiters.c_str();
  const std::u16string set(delimiters.begin(), delimiters.end());
  StringTokenizer tokenizer(unicode(text), delimiters.c_str());
  walk(tokenizer, tarvo::test::modelTokens(text, orBlanks(set)), false, input);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const bool wide = input.flag();
  const std::string delimiters = input.bytes(input.below(8)).c_str();
  const std::string text = input.bytes(input.word());
  if (wide) {
    std::u16string pairs;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
      pairs += static_cast<char16_t>(static_cast<unsigned char>(text[i]) |
                                     static_cast<unsigned char>(text[i + 1]) << 8);
    }
    compareUnicode(pairs, delimiters, input);
  } else {
    compareBytes(text.c_str(), delimiters, input);
  }
  return 0;
}
