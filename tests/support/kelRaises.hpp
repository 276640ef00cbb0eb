#pragma once

#include "infra/oss/kelBaseException.hpp"

#include <gmock/gmock.h>
#include <unicode/unistr.h>

#include <concepts>
#include <ostream>
#include <string>
#include <typeinfo>
#include <vector>

namespace tarvo::test {

inline std::string utf8(const icu::UnicodeString& text) {
  std::string bytes;
  return text.toUTF8String(bytes);
}

inline std::string argumentText(const char* text) {
  return text;
}
inline std::string argumentText(const std::string& text) {
  return text;
}
inline std::string argumentText(const icu::UnicodeString& text) {
  return utf8(text);
}
inline std::string argumentText(std::integral auto number) {
  return std::to_string(number);
}

inline std::vector<std::string> argumentsOf(const oss::Message& message) {
  std::vector<std::string> texts;
  for (const icu::UnicodeString& argument : message.getMessageArgs()) texts.push_back(utf8(argument));
  return texts;
}

/// Matches a callable that throws an exception of exactly the class named, whose one message has exactly this
/// identifier, these arguments in order, this file name, level 4, an empty text and a line.
///
///     EXPECT_THAT([&] { socket.read(buffer, 0, 1); },
///                 Raises<SocketException>("ERR_SOCKET_NOT_CONNECTED", host, port).from("kelSocket.cpp"));
///
/// Numbers are expected as the decimal text given here; there is no matcher for "some error".
template <class Exception>
class RaisesMatcher {
 public:
  using is_gtest_matcher = void;

  RaisesMatcher(std::string identifier, std::vector<std::string> arguments)
      : identifier_(std::move(identifier)), arguments_(std::move(arguments)) {}

  RaisesMatcher from(const std::string& fileName) const {
    RaisesMatcher copy(*this);
    copy.fileName_ = fileName;
    return copy;
  }

  template <class Callable>
  bool MatchAndExplain(const Callable& callable, std::ostream* os) const {
    try {
      callable();
    } catch (oss::BaseException& error) {
      const std::string found = describe(typeid(error), error);
      const std::string wanted =
          render(typeid(Exception).name(), 1, identifier_, "", arguments_, fileName_, 4);
      const bool lined = error.getMessages().count() > 0 && error.getErrorMessage().getLineNumber() > 0;
      if (os != nullptr) *os << "which throws " << found << (lined ? "" : " without a line");
      return lined && found == wanted;
    } catch (const std::exception& error) {
      if (os != nullptr) *os << "which throws " << typeid(error).name() << ": " << error.what();
      return false;
    }
    if (os != nullptr) *os << "which throws nothing";
    return false;
  }

  void DescribeTo(std::ostream* os) const {
    *os << "throws " << render(typeid(Exception).name(), 1, identifier_, "", arguments_, fileName_, 4);
  }
  void DescribeNegationTo(std::ostream* os) const {
    *os << "not: ";
    DescribeTo(os);
  }

 private:
  static std::string render(const std::string& type, int count, const std::string& identifier,
                            const std::string& text, const std::vector<std::string>& arguments,
                            const std::string& file, int level) {
    std::string line = type + " (" + std::to_string(count) + " message) " + identifier + " [" + text + "]";
    for (const std::string& argument : arguments) line += " <" + argument + ">";
    return line + " from " + file + " level " + std::to_string(level);
  }

  static std::string describe(const std::type_info& type, oss::BaseException& error) {
    if (error.getMessages().isEmpty()) return std::string(type.name()) + " without messages";
    const oss::Message& message = error.getErrorMessage();
    return render(type.name(), error.getMessages().count(), utf8(message.getMessageID()),
                  utf8(message.getFormattedMessage()), argumentsOf(message), utf8(message.getFileName()),
                  message.getMessageLevel());
  }

  std::string identifier_;
  std::vector<std::string> arguments_;
  std::string fileName_ = "(say which file: .from(...))";
};

template <class Exception, class... Arguments>
RaisesMatcher<Exception> Raises(const std::string& identifier, const Arguments&... arguments) {
  return {identifier, {argumentText(arguments)...}};
}

}  // namespace tarvo::test
