#pragma once

#include "infra/oss/kelBaseException.hpp"
#include "infra/oss/kelFormatter.hpp"

#include "text/kelDecimalText.hpp"
#include "text/kelTextUnits.hpp"

#include <unicode/unistr.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

/// The types that a property's value can have.
namespace tarvo::util {

/// Returns the value that `read` returns, or nothing if `read` raises an error. The function discards the
/// error.
template <class Number>
std::optional<Number> attempt(Number (*read)(const icu::UnicodeString&), const icu::UnicodeString& text) {
  try {
    return read(text);
  } catch (const oss::BaseException&) {
    return std::nullopt;
  }
}

// Each of the following types has a function that reads a trimmed text, and a function that returns the type
// word of the error.

struct Boolean {
  static std::optional<bool> read(const icu::UnicodeString& text) {
    constexpr std::array<std::u16string_view, 4> yes = {u"true", u"yes", u"on", u"1"};
    constexpr std::array<std::u16string_view, 4> no = {u"false", u"no", u"off", u"0"};
    const std::u16string_view word = text::unitsOf(text);
    if (std::find(yes.begin(), yes.end(), word) != yes.end()) return true;
    if (std::find(no.begin(), no.end(), word) != no.end()) return false;
    return std::nullopt;
  }
  static const char* wordFor(const icu::UnicodeString& /*text*/) { return "boolean"; }
};

struct Int32 {
  static auto read(const icu::UnicodeString& text) { return attempt(&oss::Formatter::stringToInt32, text); }
  static const char* wordFor(const icu::UnicodeString& /*text*/) { return "integer"; }
};

struct Int64 {
  static auto read(const icu::UnicodeString& text) { return attempt(&oss::Formatter::stringToInt64, text); }
  static const char* wordFor(const icu::UnicodeString& /*text*/) { return "int64"; }
};

// For the unsigned types the type word depends on whether the signed type accepts the text.

struct UInt32 {
  static auto read(const icu::UnicodeString& text) { return attempt(&oss::Formatter::stringToUint32, text); }
  static const char* wordFor(const icu::UnicodeString& text) {
    return Int32::read(text) ? "uint32" : "integer";
  }
};

struct UInt64 {
  static auto read(const icu::UnicodeString& text) { return attempt(&oss::Formatter::stringToUint64, text); }
  static const char* wordFor(const icu::UnicodeString& text) {
    return Int64::read(text) ? "uint64" : "longint";
  }
};

struct Double {
  static auto read(const icu::UnicodeString& text) {
    return attempt<double>(&oss::Formatter::stringToDouble, text);
  }
  static const char* wordFor(const icu::UnicodeString& /*text*/) { return "double"; }
};

/// Returns whether the value equals the number in the text, that is, whether the number was not reduced. The
/// type's function must have read the text before.
template <class Number>
bool isShownBy(std::u16string_view text, Number value) {
  const bool negative = text.front() == u'-';
  if (negative || text.front() == u'+') text.remove_prefix(1);
  text.remove_prefix(std::min(text.find_first_not_of(u'0'), text.size() - 1));
  const text::DecimalText<Number> decimal(value);
  std::string_view digits = decimal.view();
  if (value < 0) digits.remove_prefix(1);
  return (value < 0) == (negative && text != u"0") &&
         std::equal(digits.begin(), digits.end(), text.begin(), text.end());
}

/// A type for checked integers. `Type` would reduce a number out of range; the checked type refuses it.
template <class Type>
struct Checked : Type {
  static auto read(const icu::UnicodeString& text) {
    auto value = Type::read(text);
    if (value && !isShownBy(text::unitsOf(text), *value)) value.reset();
    return value;
  }
};

/// Returns whether the text has no white space at its ends, so that no trimmed copy is needed.
inline bool isTrimmed(const icu::UnicodeString& text) {
  const auto isVisible = [](char16_t unit) { return unit > u' ' && unit < 0x7F; };
  const std::u16string_view units = text::unitsOf(text);
  return !units.empty() && isVisible(units.front()) && isVisible(units.back());
}

}  // namespace tarvo::util
