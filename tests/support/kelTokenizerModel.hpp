#pragma once

#include <string>
#include <vector>

namespace tarvo::test {

/// A slow model of the tokenizer. It first replaces each line end in a copy of the text by one unit, then
/// fills the tokens unit by unit.
std::vector<std::u16string> modelTokens(std::u16string text, const std::u16string& delimiters);

}  // namespace tarvo::test
