#pragma once

#include "infra/oss/kelMessage.hpp"

#include "text/kelInvariant.hpp"

#include <unicode/unistr.h>

#include <string>
#include <type_traits>

/// The only way in which the library raises an error:
///
///     raise<SocketException>("ERR_SOCKET_CONNECTED", host_, port_);
///
/// throws, by value, an exception of the class named. It has one message with the identifier, the arguments
/// in their order, and the file and line of this statement.
namespace tarvo::oss {

/// A place in the library's sources. As a default argument it is the place of the caller.
struct SourcePlace {
  const char* path;
  unsigned int line;

  static constexpr SourcePlace here(const char* path = __builtin_FILE(),
                                    unsigned int line = __builtin_LINE()) {
    return {path, line};
  }

  /// The name that a message records: the base name, or a longer path for sources of util. Both are frozen
  /// because programs depend on them.
  std::string recordedName() const;
};

/// A message identifier together with the place that names it.
struct Identifier {
  // NOLINTNEXTLINE(google-explicit-constructor): written as a literal where an error is raised
  constexpr Identifier(const char* words,
                       SourcePlace where = SourcePlace::here(__builtin_FILE(), __builtin_LINE()))
      : text(words), place(where) {}

  const char* text;
  SourcePlace place;
};

/// A narrow argument and its code page, as for `Message::addArgument`.
struct NarrowArgument {
  const char* text;
  const char* codePage;
};

namespace detail {

inline void addArgument(Message& message, const NarrowArgument& value) {
  message.addArgument(value.text, value.codePage);
}

template <class Value>
void addArgument(Message& message, const Value& value) {
  message.addArgument(value);
}

}  // namespace detail

/// Makes the exception, complete with its arguments, without throwing it.
template <class Exception, class... Arguments>
Exception makeError(Identifier identifier, const Arguments&... arguments) {
  Exception error(text::invariantText(identifier.text), identifier.place.recordedName().c_str(),
                  identifier.place.line);
  if constexpr (sizeof...(Arguments) > 0) {
    Message& message = error.getErrorMessage();
    (detail::addArgument(message, arguments), ...);
  }
  return error;
}

template <class Exception, class... Arguments>
[[noreturn, gnu::cold]] void raise(Identifier identifier, const Arguments&... arguments) {
  throw makeError<Exception>(identifier, arguments...);
}

}  // namespace tarvo::oss
