#pragma once

#include <string>
#include <vector>

namespace tarvo::test {

/// The slow model of the tokenizer: slots that are filled unit by unit, on a copy whose line ends are folded
/// first.
std::vector<std::u16string> modelTokens(std::u16string text, const std::u16string& delimiters);

}  // namespace tarvo::test
