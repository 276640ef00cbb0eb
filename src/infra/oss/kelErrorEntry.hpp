#pragma once

#include "infra/oss/kelMessage.hpp"

#include <unicode/unistr.h>

#include <type_traits>

namespace tarvo::oss {
class SocketException;
}

/// The types of the entries in `oss/kelErrors.hpp`, and of the arguments that an error is raised with. An
/// argument names its kind, so that the compiler compares the arguments with those of the identifier.
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
/// A member of the library, in ASCII; converted by ICU's default converter.
struct Operation {
  const char* value;
};

/// One of the kinds above.
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

/// An identifier that the error of a failed system call has for one of Winsock's codes.
struct CodeEntry {
  int code;
  Entry<Classes<SocketException>, Kinds<Host, Port>> entry;
};

/// Whether the arguments are those of an identifier: their number, their kinds, their order.
template <class Given, class Required, class Omissible>
inline constexpr bool areArguments = false;

template <class... Given, class... Required, class... Omissible>
inline constexpr bool areArguments<Kinds<Given...>, Kinds<Required...>, Kinds<Omissible...>> =
    std::is_same_v<Kinds<Given...>, Kinds<Required...>> ||
    std::is_same_v<Kinds<Given...>, Kinds<Required..., Omissible...>>;

}  // namespace tarvo::oss::errors
