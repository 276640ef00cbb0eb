#pragma once

#include "infra/oss/kelMessage.hpp"

#include <unicode/unistr.h>

#include <cstddef>
#include <vector>

namespace tarvo::util {

/// A fault or a probable mistake in a properties text. The comments of `PropertiesReport` and
/// `PropertiesSchema` list the rules, with the arguments of each finding in order. The names of the rules
/// never change. The library contains no texts for the rules.
struct PropertyFinding {
  const char* rule;           ///< ASCII; valid as long as the library is loaded
  oss::Message::Level level;  ///< LEVEL_ERROR or LEVEL_WARNING
  std::size_t line;           ///< from 1; LF, CR and CR LF each end one line
  std::size_t column;         ///< from 1, in bytes
  std::vector<icu::UnicodeString> arguments;
};

}  // namespace tarvo::util
