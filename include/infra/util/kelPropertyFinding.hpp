#pragma once

#include "infra/oss/kelMessage.hpp"

#include <unicode/unistr.h>

#include <cstddef>
#include <vector>

namespace tarvo::util {

/// A fault or doubtful place in a properties text. `PropertiesReport` and `PropertiesSchema` list the rules,
/// with their arguments in order. The names of rules are stable. The library has no texts for them.
struct PropertyFinding {
  const char* rule;           ///< ASCII; valid as long as the library is loaded
  oss::Message::Level level;  ///< LEVEL_ERROR or LEVEL_WARNING
  std::size_t line;           ///< from 1; LF, CR and CR LF each end one line
  std::size_t column;         ///< from 1, in bytes
  std::vector<icu::UnicodeString> arguments;
};

}  // namespace tarvo::util
