#pragma once

#include "infra/oss/kelMessage.hpp"

#include <unicode/unistr.h>

#include <type_traits>

namespace tarvo::oss {
class SocketException;
}

/// The types of the entries in `oss/kelErrors.hpp`, and the types of the arguments of errors. The type of an
/// argument is its kind, so that the compiler compares the arguments of a `raise` statement with the
/// arguments of the identifier.
namespace tarvo::oss::errors {

/// A host name or address.
struct Host {
  const icu::UnicodeString& value;
};
/// A port, added as the signed decimal of its 32 bits.
struct Port {
  unsigned int value;
};
/// A code of the system, in Winsock's numbers.
struct Code {
  int value;
};
/// A number of bytes or units, added as the signed decimal of its low 32 bits.
struct Size {
  template <class Integer, std::enable_if_t<std::is_integral_v<Integer>, int> = 0>
  explicit constexpr Size(Integer number) : value(static_cast<int>(number)) {}

  int value;
};
/// The name of something that the caller knows: a property, a code page, a type.
struct Name {
  const icu::UnicodeString& value;
};
/// A piece of the data, or a text of the system.
struct Text {
  const icu::UnicodeString& value;
};
/// The name of a member of the library, in ASCII; ICU's default converter converts the name.
struct Operation {
  const char* value;
};

/// True for the kinds of arguments that this file defines.
template <class Type>
concept Kind = requires(const Type& argument) {
  argument.value;
};

template <Kind Argument>
void addArgument(Message& message, const Argument& argument) {
  message.addArgument(argument.value);
}

inline void addArgument(Message& message, const Operation& argument) {
  message.addArgument(argument.value, nullptr);
}

template <class... Exceptions>
struct Classes {};

template <class... Arguments>
struct Kinds {};

/// An identifier, the classes of the exceptions that carry it, and the kinds of its arguments in order. An
/// error has all arguments, or all except the `Omissible` ones at the end.
template <class ExceptionClasses, class Required, class Omissible = Kinds<>>
struct Entry {
  const char* identifier;
};

/// A Winsock code, and the identifier of the error that is raised if a system call fails with this code.
struct CodeEntry {
  int code;
  Entry<Classes<SocketException>, Kinds<Host, Port>> entry;
};

/// Whether arguments match an identifier: their number, their kinds and their order.
template <class Given, class Required, class Omissible>
inline constexpr bool areArguments = false;

template <class... Given, class... Required, class... Omissible>
inline constexpr bool areArguments<Kinds<Given...>, Kinds<Required...>, Kinds<Omissible...>> =
    std::is_same_v<Kinds<Given...>, Kinds<Required...>> ||
    std::is_same_v<Kinds<Given...>, Kinds<Required..., Omissible...>>;

}  // namespace tarvo::oss::errors
