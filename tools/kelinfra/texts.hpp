#pragma once

#include "infra/oss/kelMessage.hpp"
#include "infra/oss/kelMessageList.hpp"

#include <string>
#include <string_view>
#include <type_traits>

/// The tool's own texts, in the language of the user.
namespace kelinfra {

/// The language is the one chosen by --language, else by LC_ALL, LC_MESSAGES or LANG, else English.
void chooseLanguage(std::string name);

/// In UTF-8.
std::string rendered(const tarvo::oss::Message& message);
std::string rendered(const tarvo::oss::MessageList& messages);

/// The text with each control character as an escape such as \u001B. Texts from files are printed in this
/// form, so that they can neither control the terminal nor look like lines of the tool.
std::string printable(const std::string& utf8);

icu::UnicodeString unicode(std::string_view utf8);
std::string utf8(const icu::UnicodeString& text);

/// A message of the tool.
template <class... Arguments>
tarvo::oss::Message message(const char* id, const Arguments&... arguments) {
  tarvo::oss::Message message(unicode(id), tarvo::oss::Message::LEVEL_ERROR, "kelinfra", 0);
  [[maybe_unused]] const auto add = [&](const auto& argument) {
    if constexpr (std::is_integral_v<std::decay_t<decltype(argument)>>) {
      message.addArgument(unicode(std::to_string(argument)));
    } else {
      message.addArgument(unicode(argument));
    }
  };
  (add(arguments), ...);
  return message;
}

/// Ends a command with a message. The exit status is 2 if the file or the command line is at fault.
struct Failure {
  tarvo::oss::Message message;
  int exitStatus = 2;
};

template <class... Arguments>
[[noreturn]] void fail(const char* id, const Arguments&... arguments) {
  throw Failure{message(id, arguments...)};
}

}  // namespace kelinfra
