#pragma once

#include "infra/oss/kelBaseException.hpp"

#include <unicode/unistr.h>

#include <exception>
#include <string>
#include <typeinfo>
#include <vector>

namespace tarvo::test {

inline std::string utf8(const icu::UnicodeString& text) {
  std::string bytes;
  return text.toUTF8String(bytes);
}

inline std::vector<std::string> argumentsOf(const oss::Message& message) {
  std::vector<std::string> texts;
  for (const icu::UnicodeString& argument : message.getMessageArgs()) texts.push_back(utf8(argument));
  return texts;
}

/// The class's name as in the source.
std::string nameOf(const std::type_info& type);

/// Describes an exception: its class, and each message's identifier, text, arguments, file, line and level.
/// For an exception that is not the library's, its class and what().
std::string rendered(oss::BaseException& error);
std::string rendered(const std::exception_ptr& error);

}  // namespace tarvo::test
