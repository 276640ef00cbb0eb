#include "infra/util/kelMessageCatalogue.hpp"

#include "oss/kelErrorKinds.hpp"
#include "platform/kelStandardLibrary.hpp"
#include "text/kelDecimalText.hpp"
#include "text/kelInvariant.hpp"
#include "text/kelMemory.hpp"
#include "text/kelTextUnits.hpp"
#include "text/kelUTF8Text.hpp"
#include "util/kelPropertiesText.hpp"

#include <unicode/fmtable.h>
#include <unicode/locid.h>
#include <unicode/messagepattern.h>
#include <unicode/msgfmt.h>
#include <unicode/stringpiece.h>
#include <unicode/uloc.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <limits>
#include <list>
#include <map>
#include <new>
#include <string>
#include <string_view>
#include <vector>

namespace tarvo::util {

namespace {

/// A place in a text at which an argument is inserted.
struct Place {
  std::int32_t position;
  std::int32_t argument;
};

/// The text of an identifier, prepared for rendering.
struct Text {
  /// If the pattern has no typed arguments, `words` is the text of the pattern without the placeholders and
  /// quotes. If the pattern has typed arguments, ICU formats the pattern `words` with the values that
  /// `valuesOf` returns. If the text cannot be formatted, `words` is bogus.
  icu::UnicodeString words;
  std::vector<Place> places;  ///< without typed arguments, in their order
  bool isPattern = false;
  std::int32_t arguments = 0;  ///< how many of the message's arguments it needs
};

void throwWithoutMemory(UErrorCode status) {
  if (status == U_MEMORY_ALLOCATION_ERROR) throw std::bad_alloc();
}

using Parts = icu::MessagePattern;

/// The largest number of braces that are accepted. Sentences need far fewer. ICU's parser calls itself for
/// each level of nested braces, so the number is limited.
constexpr std::ptrdiff_t mostBraces = 1000;

/// The largest number of forms (of plurals, selections and choices) that are nested in each other. ICU uses
/// a few kilobytes of stack for each level when it formats a pattern, and a thread may have a small stack.
constexpr std::int32_t mostLevels = 16;

/// Returns whether the forms of a pattern are nested too deeply.
bool isTooDeep(const Parts::Part& part) {
  return part.getType() == UMSGPAT_PART_TYPE_MSG_START && part.getValue() > mostLevels;
}

/// Returns the type of the argument that begins at part `i`, for instance `number`; an empty text if its
/// braces contain no type, or if it has forms.
icu::UnicodeString simpleType(const Parts& parts, std::int32_t i) {
  if (parts.getPart(i).getArgType() != UMSGPAT_ARG_TYPE_SIMPLE) return {};
  return parts.getSubstring(parts.getPart(i + 2));
}

bool isDateOrTime(const icu::UnicodeString& type) {
  return type.caseCompare(u"date", 0) == 0 || type.caseCompare(u"time", 0) == 0;
}

/// Returns whether an argument of this type is formatted as a number. `{0}` and `{0, select, ...}` take the
/// text of the argument.
bool takesNumber(UMessagePatternArgType type) {
  return type != UMSGPAT_ARG_TYPE_NONE && type != UMSGPAT_ARG_TYPE_SELECT;
}

/// Sets the words and places of a text from a pattern without typed arguments.
void takeWords(Text& text, const icu::UnicodeString& pattern, const Parts& parts) {
  std::int32_t done = 0;
  for (std::int32_t i = 0; i < parts.countParts(); ++i) {
    const Parts::Part& part = parts.getPart(i);
    if (part.getType() == UMSGPAT_PART_TYPE_ARG_NUMBER) {
      text.places.push_back({text.words.length(), part.getValue()});
    } else if (part.getType() != UMSGPAT_PART_TYPE_ARG_LIMIT) {
      text.words.append(pattern, done, part.getIndex() - done);
    }
    done = part.getLimit();
  }
}

/// The places of the numbers among the arguments of an identifier; null for an identifier of the program.
using KnownArguments = const oss::errors::NumberArguments*;

KnownArguments knownArguments(std::u16string_view identifier) {
  const auto& all = oss::errors::numberArguments;
  const auto* const place =
      std::lower_bound(all.begin(), all.end(), identifier,
                       [](const auto& entry, std::u16string_view id) { return entry.identifier < id; });
  return place != all.end() && place->identifier == identifier ? &*place : nullptr;
}

bool canBeNumber(KnownArguments known, std::int32_t argument) {
  constexpr std::int32_t mostPlaces = 32;
  return known == nullptr || (argument < mostPlaces && (known->places >> argument & 1U) != 0);
}

/// The place of an argument among the values of `valuesOf`, as a text or as a number.
icu::UnicodeString valuePlace(std::int32_t argument, bool isNumber) {
  return text::invariantText(text::DecimalText(2 * argument + (isNumber ? 2 : 1)).view());
}

/// Writes a pattern again, for the values of `valuesOf`. If an argument cannot be a number, but the pattern
/// gives it a type that takes a number, the argument is written as a text. An argument with the type of a
/// date or a time is written as a text, too. Plural forms of such an argument are replaced by the form
/// `other`, in which `#` is the text.
class ValuePattern {
 public:
  ValuePattern(const icu::UnicodeString& pattern, const Parts& parts, KnownArguments known)
      : pattern_(pattern), parts_(parts), known_(known) {}

  icu::UnicodeString write() {
    for (std::int32_t i = 0; i < parts_.countParts(); ++i) i = writePart(i);
    copyTo(pattern_.length());
    return words_;
  }

 private:
  static constexpr std::int32_t none = -1;

  /// Writes a part of the pattern, with all parts inside it. Returns the last of them.
  std::int32_t writePart(std::int32_t i) {
    const Parts::Part& part = parts_.getPart(i);
    const auto type = part.getType();
    if (type == UMSGPAT_PART_TYPE_ARG_START) return beginArgument(i);
    if (type == UMSGPAT_PART_TYPE_ARG_LIMIT) refused_.pop_back();
    if (refused_.empty() || refused_.back() == none) return i;
    if (type == UMSGPAT_PART_TYPE_REPLACE_NUMBER) replace(part, i, asText(refused_.back()));
    if (type == UMSGPAT_PART_TYPE_ARG_SELECTOR && !parts_.partSubstringMatches(part, u"other")) {
      std::int32_t message = i;
      while (parts_.getPartType(message) != UMSGPAT_PART_TYPE_MSG_START) ++message;
      return replace(part, parts_.getLimitPartIndex(message), {});
    }
    return i;
  }

  std::int32_t beginArgument(std::int32_t i) {
    const Parts::Part& part = parts_.getPart(i);
    const Parts::Part& number = parts_.getPart(i + 1);
    const std::int32_t argument = number.getValue();
    const bool isNumber = takesNumber(part.getArgType());
    const bool isRefused =
        isNumber && (!canBeNumber(known_, argument) || isDateOrTime(simpleType(parts_, i)));
    if (isRefused && !UMSGPAT_ARG_TYPE_HAS_PLURAL_STYLE(part.getArgType()))
      return replace(part, parts_.getLimitPartIndex(i), asText(argument));
    refused_.push_back(isRefused ? argument : none);
    return replace(number, i + 1, isRefused ? icu::UnicodeString(u'0') : valuePlace(argument, isNumber));
  }

  static icu::UnicodeString asText(std::int32_t argument) {
    return icu::UnicodeString(u'{').append(valuePlace(argument, false)).append(u'}');
  }

  void copyTo(std::int32_t end) {
    words_.append(pattern_, done_, end - done_);
    done_ = end;
  }

  /// Writes `text` in place of all parts from `first` to `last`. Returns the last.
  std::int32_t replace(const Parts::Part& first, std::int32_t last, const icu::UnicodeString& text) {
    copyTo(first.getIndex());
    words_.append(text);
    done_ = parts_.getPart(last).getLimit();
    return last;
  }

  const icu::UnicodeString& pattern_;
  const Parts& parts_;
  KnownArguments known_;
  icu::UnicodeString words_;
  std::int32_t done_ = 0;              ///< the units of the pattern that are written
  std::vector<std::int32_t> refused_;  ///< for each open argument its number if it cannot be one, else `none`
};

/// Returns the text of a pattern. If ICU does not accept the pattern, the words of the result are bogus.
Text textOf(const icu::UnicodeString& pattern, const icu::Locale& locale, KnownArguments known) {
  const std::u16string_view units = text::unitsOf(pattern);
  const bool isSimple = std::count(units.begin(), units.end(), u'{') <= mostBraces;
  UErrorCode status = isSimple ? U_ZERO_ERROR : U_ILLEGAL_ARGUMENT_ERROR;
  UParseError place;
  const Parts parts(pattern, &place, status);
  Text text;
  bool isTyped = false;
  for (std::int32_t i = 0; U_SUCCESS(status) && i < parts.countParts(); ++i) {
    const Parts::Part& part = parts.getPart(i);
    isTyped = isTyped || part.getArgType() != UMSGPAT_ARG_TYPE_NONE;
    if (part.getType() == UMSGPAT_PART_TYPE_ARG_NAME || isTooDeep(part)) status = U_ILLEGAL_ARGUMENT_ERROR;
    if (part.getType() == UMSGPAT_PART_TYPE_ARG_NUMBER)
      text.arguments = std::max(text.arguments, part.getValue() + 1);
  }
  text.isPattern = isTyped;
  if (U_SUCCESS(status) && isTyped) text.words = ValuePattern(pattern, parts, known).write();
  if (U_SUCCESS(status) && !isTyped) takeWords(text, pattern, parts);
  if (text.words.isBogus()) throw std::bad_alloc();
  if (U_SUCCESS(status) && isTyped) const icu::MessageFormat accepted(pattern, locale, place, status);
  throwWithoutMemory(status);
  if (U_FAILURE(status)) text.words.setToBogus();
  return text;
}

/// Returns a decimal number whose digits a double cannot hold. If the number has more digits than numbers in
/// sentences have, returns it as a text. ICU's class for such numbers crashes if there is no memory, so no
/// other number uses this class.
icu::Formattable exactNumber(const icu::UnicodeString& argument, const std::string& digits) {
  constexpr std::size_t mostDigits = 100;
  if (digits.size() > mostDigits) return {argument};
  UErrorCode status = U_ZERO_ERROR;
  icu::Formattable number(icu::StringPiece(digits.data(), static_cast<std::int32_t>(digits.size())), status);
  throwWithoutMemory(status);
  return U_SUCCESS(status) ? number : icu::Formattable(argument);
}

/// Returns the argument as a number, or as a text if it is not a decimal number.
icu::Formattable numberOf(const icu::UnicodeString& argument) {
  std::string digits;
  argument.toUTF8String(digits);
  const char* const end = digits.data() + digits.size();
  std::int64_t integer = 0;
  if (const auto [stop, error] = std::from_chars(digits.data(), end, integer);
      stop == end && error == std::errc())
    return {integer};
  double number = 0;
  const bool isDecimal = digits.find_first_not_of("-.0123456789") == std::string::npos;
  const auto [stop, error] = platform::readDouble(digits.data(), end, number);
  if (!isDecimal || stop != end || error != std::errc()) return {argument};
  return digits.size() <= std::numeric_limits<double>::digits10 ? icu::Formattable(number)
                                                                : exactNumber(argument, digits);
}

using Arguments = std::list<icu::UnicodeString>;

/// Writes the words of a text, and each argument at the place at which the text needs it.
void insertArguments(const Text& text, const Arguments& arguments, icu::UnicodeString& out) {
  std::int32_t done = 0;
  for (const Place& place : text.places) {
    out.append(text.words, done, place.position - done).append(*std::next(arguments.begin(), place.argument));
    done = place.position;
  }
  out.append(text.words, done, text.words.length() - done);
}

/// Returns the values for a pattern: 0, then each argument n as a text at 2n + 1 and as a number at 2n + 2.
std::vector<icu::Formattable> valuesOf(const Arguments& arguments) {
  std::vector<icu::Formattable> values;
  values.reserve(2 * arguments.size() + 1);
  values.emplace_back(std::int32_t{0});
  for (const icu::UnicodeString& argument : arguments) {
    values.emplace_back(argument);
    values.push_back(numberOf(argument));
  }
  return values;
}

/// Formats the pattern with ICU. Returns false if ICU reports an error.
bool formatPattern(const Text& text, const char* language, const Arguments& arguments,
                   icu::UnicodeString& out) {
  const std::vector<icu::Formattable> values = valuesOf(arguments);
  UErrorCode status = U_ZERO_ERROR;
  UParseError place;
  const icu::MessageFormat pattern(text.words, icu::Locale(language), place, status);
  icu::FieldPosition position(icu::FieldPosition::DONT_CARE);
  pattern.format(values.data(), static_cast<std::int32_t>(values.size()), out, position, status);
  throwWithoutMemory(status);
  return U_SUCCESS(status);
}

/// Formats the text with the arguments. Returns false if that is not possible.
bool format(const Text& text, const char* language, const Arguments& arguments, icu::UnicodeString& out) {
  if (text.words.isBogus() || static_cast<std::size_t>(text.arguments) > arguments.size()) return false;
  out.remove();
  if (!text.isPattern) {
    insertArguments(text, arguments, out);
  } else if (!formatPattern(text, language, arguments, out)) {
    return false;
  }
  if (out.isBogus()) throw std::bad_alloc();
  return true;
}

/// Returns the first `length` characters of a language's name, without underscores at the end.
std::string shortened(std::string name, std::size_t length) {
  name.resize(length);
  name.resize(name.find_last_not_of('_') + 1);
  return name;
}

/// Returns ICU's name of a language: "de_AT" for "de-AT" and for "de_AT.UTF-8@euro". Returns an empty name
/// for a text that is not the name of a language.
std::string nameOf(const char* language) {
  const std::string name(language == nullptr ? "" : language);
  std::array<char, ULOC_FULLNAME_CAPACITY> known{};
  UErrorCode status = U_ZERO_ERROR;
  const std::int32_t length = uloc_getName(name.substr(0, name.find_first_of(".@")).c_str(), known.data(),
                                           ULOC_FULLNAME_CAPACITY, &status);
  throwWithoutMemory(status);
  if (U_FAILURE(status)) return {};
  const auto units = static_cast<std::size_t>(length);
  return shortened(std::string(known.data(), units), units);  // a name that fills the array has no NUL
}

}  // namespace

struct MessageCatalogue::Texts {
  using OfLanguage = std::map<icu::UnicodeString, Text>;
  std::map<std::string, OfLanguage, std::less<>> languages;

  struct Found {
    const Text* text;  ///< null if no text was found
    std::string language;
  };

  /// Returns the text of the language, or of the first language in the order of fallbacks that has a text.
  Found find(const icu::UnicodeString& id, const char* language) const {
    for (std::string name = nameOf(language);;) {
      if (const auto texts = languages.find(name); texts != languages.end()) {
        const auto text = texts->second.find(id);
        if (text != texts->second.end()) return {&text->second, name};
      }
      if (name.empty()) return {nullptr, name};
      const std::size_t last = name.rfind('_');
      name = shortened(name, last == std::string::npos ? 0 : last);
    }
  }
};

MessageCatalogue::MessageCatalogue() : texts_(std::make_unique<Texts>()) {}

MessageCatalogue::~MessageCatalogue() = default;

void MessageCatalogue::load(const char* language, const char* data, std::size_t length) {
  std::string_view bytes(data, data == nullptr ? 0 : length);
  const std::string name = nameOf(language);
  if (name.empty() && language != nullptr && *language != '\0') return;
  const icu::Locale locale(name.c_str());
  const bool isUtf8 = text::countWellFormed(bytes.data(), bytes.size()) >= 0;
  constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
  if (isUtf8 && bytes.substr(0, byteOrderMark.size()) == byteOrderMark)
    bytes.remove_prefix(byteOrderMark.size());

  PropertiesReader reader(bytes.data(), bytes.size(), 0,
                          isUtf8 ? PropertiesBytes::wellFormedUtf8 : PropertiesBytes::latin1);
  reader.keepTexts();
  Texts::OfLanguage& texts = texts_->languages[name];
  while (reader.readLine()) {
    if (!reader.hasProperty()) continue;
    const KnownArguments known = knownArguments(reader.key());
    texts.insert_or_assign(text::textOf(reader.key()), textOf(text::textOf(reader.value()), locale, known));
  }
}

bool MessageCatalogue::hasText(const icu::UnicodeString& id, const char* language) const {
  return texts_->find(id, language).text != nullptr;
}

const icu::UnicodeString& MessageCatalogue::render(const oss::Message& message, const char* language,
                                                   icu::UnicodeString& out) const {
  if (text::isHeldOpen(out)) return out;
  const Texts::Found found = texts_->find(message.getMessageID(), language);
  const bool done =
      found.text != nullptr && format(*found.text, found.language.c_str(), message.getMessageArgs(), out);
  return done ? out : message.toString(out);
}

const icu::UnicodeString& MessageCatalogue::render(const oss::MessageList& messages, const char* language,
                                                   icu::UnicodeString& out) const {
  if (text::isHeldOpen(out)) return out;
  oss::MessageList list(messages);  // moves the cursor of the copy
  out.remove();
  icu::UnicodeString line;
  for (const oss::Message* message = list.getFirstMsg(); message != nullptr; message = list.getNextMsg()) {
    if (message != &list.getFirstMessage()) out.append(u'\n');
    out.append(render(*message, language, line));
  }
  if (out.isBogus()) throw std::bad_alloc();
  return out;
}

}  // namespace tarvo::util
