#pragma once

#include "infra/oss/kelMessage.hpp"

#include "oss/kelErrors.hpp"
#include "text/kelInvariant.hpp"

#include <string>
#include <type_traits>

/// The only way in which the library raises an error:
///
///     raise<SocketException>(errors::ERR_SOCKET_CONNECTED, errors::Host{host_}, errors::Port{port_});
///
/// The statement `raise<Class>(identifier, arguments)` throws an exception of the class in angle brackets by
/// value. The exception has one message with the identifier, the arguments in their order, and the file and
/// line of this statement. errors/identifiers.json lists the identifiers with their classes and arguments. A
/// statement with another class or other arguments does not compile.
namespace tarvo::oss {

/// A place in the library's sources: file and line. `here` as a default argument is the place of the caller.
struct SourcePlace {
  const char* path;
  unsigned int line;

  static constexpr SourcePlace here(const char* path = __builtin_FILE(),
                                    unsigned int line = __builtin_LINE()) {
    return {path, line};
  }

  /// Returns the file name that a message records: the base name, or a longer path for sources of util. The
  /// recorded file names are frozen because programs depend on them.
  std::string recordedName() const;
};

/// The identifier of an error, together with the place in the sources at which the identifier is written. The
/// parameters of the template are the exception class and the arguments of the error.
template <class Exception, class... Arguments>
struct Identifier {
  template <class... Exceptions, class Required, class Omissible,
            std::enable_if_t<(std::is_same_v<Exception, Exceptions> || ...) &&
                                 errors::areArguments<errors::Kinds<Arguments...>, Required, Omissible>,
                             int> = 0>
  // NOLINTNEXTLINE(google-explicit-constructor): written as an entry where an error is raised
  constexpr Identifier(const errors::Entry<errors::Classes<Exceptions...>, Required, Omissible>& entry,
                       SourcePlace where = SourcePlace::here(__builtin_FILE(), __builtin_LINE()))
      : text(entry.identifier), place(where) {}

  const char* text;
  SourcePlace place;
};

/// Creates the exception with its arguments, without throwing it.
template <class Exception, errors::Kind... Arguments>
Exception makeError(std::type_identity_t<Identifier<Exception, Arguments...>> identifier,
                    const Arguments&... arguments) {
  Exception error(text::invariantText(identifier.text), identifier.place.recordedName().c_str(),
                  identifier.place.line);
  if constexpr (sizeof...(Arguments) > 0) {
    Message& message = error.getErrorMessage();
    (errors::addArgument(message, arguments), ...);
  }
  return error;
}

template <class Exception, errors::Kind... Arguments>
[[noreturn, gnu::cold]] void raise(std::type_identity_t<Identifier<Exception, Arguments...>> identifier,
                                   const Arguments&... arguments) {
  throw makeError<Exception, Arguments...>(identifier, arguments...);
}

}  // namespace tarvo::oss
