#pragma once

/// Defines the members of an exception class; use it inside the namespace of the class. A macro defines the
/// exception classes, because each class is a separate type with a separate key function, and the classes
/// differ only in type and name. NOLINTNEXTLINE(cppcoreguidelines-macro-usage,bugprone-macro-parentheses):
/// see above; Class names a type
#define KEL_DEFINE_EXCEPTION(Class, text)                                                          \
  Class::Class(const icu::UnicodeString& messageID, const char* fileName, unsigned int lineNumber) \
      : BaseException(messageID, fileName, lineNumber) {}                                          \
  Class::Class(const Class& other) = default;                                                      \
  Class::~Class() = default;                                                                       \
  const char* Class::name() const {                                                                \
    return text;                                                                                   \
  }
