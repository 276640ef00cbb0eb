#pragma once

#include "infra/oss/kelBaseException.hpp"

#include "support/kelRendered.hpp"

#include <gmock/gmock.h>
#include <unicode/unistr.h>

#include <concepts>
#include <ostream>
#include <string>
#include <typeinfo>
#include <vector>

namespace tarvo::test {

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

  /// Runs the callable once. EXPECT_THAT first asks without a stream whether the callable matches. If it does
  /// not, EXPECT_THAT asks again with a stream, and gets the explanation of the first run.
  template <class Callable>
  bool MatchAndExplain(const Callable& callable, std::ostream* os) const {
    if (os == nullptr || asked_ != &callable) outcome_ = outcomeOf(callable);
    asked_ = os == nullptr ? &callable : nullptr;
    if (os != nullptr) *os << "which " << outcome_.explanation;
    return outcome_.matches;
  }

  void DescribeTo(std::ostream* os) const {
    *os << "throws " << nameOf(typeid(Exception)) << ", 1 message: " << identifier_ << " []";
    for (const std::string& argument : arguments_) *os << " <" << argument << ">";
    *os << " from " << fileName_ << ", any line but 0, level " << oss::Message::LEVEL_ERROR;
  }
  void DescribeNegationTo(std::ostream* os) const {
    *os << "not: ";
    DescribeTo(os);
  }

 private:
  struct Outcome {
    bool matches;
    std::string explanation;
  };

  template <class Callable>
  Outcome outcomeOf(const Callable& callable) const {
    try {
      callable();
    } catch (oss::BaseException& error) {
      if (typeid(error) == typeid(Exception) && matches(error)) return {true, "throws it"};
      return {false, "throws " + rendered(error)};
    } catch (const std::exception&) {
      return {false, "throws " + rendered(std::current_exception())};
    }
    return {false, "throws nothing"};
  }

  bool matches(oss::BaseException& error) const {
    if (error.getMessages().count() != 1) return false;
    const oss::Message& message = error.getErrorMessage();
    return utf8(message.getMessageID()) == identifier_ && message.getFormattedMessage().isEmpty() &&
           argumentsOf(message) == arguments_ && utf8(message.getFileName()) == fileName_ &&
           message.getMessageLevel() == oss::Message::LEVEL_ERROR && message.getLineNumber() > 0;
  }

  std::string identifier_;
  std::vector<std::string> arguments_;
  std::string fileName_ = "(say which file: .from(...))";
  mutable const void* asked_ = nullptr;
  mutable Outcome outcome_{};
};

template <class Exception, class... Arguments>
RaisesMatcher<Exception> Raises(const std::string& identifier, const Arguments&... arguments) {
  return {identifier, {argumentText(arguments)...}};
}

}  // namespace tarvo::test
