#pragma once

/// Defines the members of a class of the exception family, inside the class's namespace. A macro, since the
/// classes are separate types with a key function each and nothing to tell them apart but type and name.
// NOLINTNEXTLINE(cppcoreguidelines-macro-usage,bugprone-macro-parentheses): see above; Class names a type
#define KEL_DEFINE_EXCEPTION(Class, text)                                                          \
  Class::Class(const icu::UnicodeString& messageID, const char* fileName, unsigned int lineNumber) \
      : BaseException(messageID, fileName, lineNumber) {}                                          \
  Class::Class(const Class& other) = default;                                                      \
  Class::~Class() = default;                                                                       \
  const char* Class::name() const {                                                                \
    return text;                                                                                   \
  }
