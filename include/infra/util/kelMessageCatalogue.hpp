#pragma once

#include "infra/kelExport.hpp"
#include "infra/oss/kelMessage.hpp"
#include "infra/oss/kelMessageList.hpp"

#include <unicode/unistr.h>

#include <cstddef>
#include <memory>

namespace tarvo::util {

/// The texts of a program's messages in several languages. Each text belongs to a message identifier. A text
/// is a pattern of ICU's MessageFormat, in which `{0}` is the first argument of the message.
///
///     const std::string english = "ERR_DISK_FULL = {1, plural, one {# page does} other {# pages do}} "
///                                 "not fit on {0}.";
///     MessageCatalogue catalogue;
///     catalogue.load("", english.data(), english.size());
///     Message message("ERR_DISK_FULL", Message::LEVEL_ERROR, "store.cpp", 120);
///     message.addArgument(u"C:");
///     message.addArgument(512);
///     icu::UnicodeString text;
///     catalogue.render(message, "de_AT", text);      // -> "512 pages do not fit on C:."
///
/// The name of a language is a locale name of ICU or a tag of BCP 47: "de", "de_AT", "de-AT". In a POSIX
/// locale name ("de_DE.UTF-8@euro") the catalogue ignores the encoding and the variant. If "de_AT" has no
/// text for an identifier, the catalogue uses the text of "de", and then the text of the empty name: load the
/// texts of the default language under the empty name.
///
/// The rendered text contains an argument as the message records it: port 4711 is "4711". There is one
/// exception: a decimal number is formatted by the rules of the language if the pattern gives the argument a
/// type that takes a number (`number`, `plural`, `selectordinal`, `choice`, `spellout`, `ordinal`,
/// `duration`). The types `date` and `time` do not format an argument.
///
/// `share/kelinfra/catalogue.json` lists the kinds of the arguments of the library's errors. Of these
/// arguments, only sizes can be numbers. If an argument is not a number but its type takes a number, the text
/// contains the argument as the message records it. `plural` and `selectordinal` then use the form `other`,
/// in which `#` is the recorded text.
///
/// Threads: any number of threads may call `render` and `hasText` at the same time. During `load` no other
/// thread may use the object.
class KELINFRA_API MessageCatalogue {
 public:
  /// Creates a catalogue without texts.
  MessageCatalogue();
  MessageCatalogue(const MessageCatalogue& other) = delete;
  MessageCatalogue& operator=(const MessageCatalogue& other) = delete;
  ~MessageCatalogue();

  /// Adds texts of a language. If the language already has a text for an identifier, the text is replaced.
  /// The data consists of lines in the text format of `ExtendedProperties`, with the identifier as the key
  /// and the text as the value. `load` does not resolve references (`%name%`). If all bytes are well-formed
  /// UTF-8, with or without a byte order mark at the start, the encoding is UTF-8; otherwise it is
  /// ISO-8859-1. `load` accepts any bytes. The catalogue does not need the data after the call.
  ///
  /// `load` also stores texts that `render` cannot use: a text that ICU does not accept as a pattern, a
  /// pattern whose arguments have names instead of numbers, a pattern with more than 1000 "{", and a pattern
  /// with plurals, selections and choices that are nested more than 16 deep. For such a text `hasText`
  /// returns true, and `render` does not use the text.
  ///
  /// A null language means the empty name. If `language` is a text such as "@x" or ".UTF-8", which does not
  /// name a language, `load` adds nothing.
  ///   raises   std::bad_alloc: there is no memory. Some of the texts may have been added.
  void load(const char* language, const char* data, std::size_t length);

  /// Returns true if the language, or a language that it falls back to, has a text for the identifier.
  bool hasText(const icu::UnicodeString& id, const char* language) const;

  /// Replaces the contents of `out` by the text of the message, formatted with the message's arguments, and
  /// returns `out`. If there is no text for the identifier, or if the text cannot be formatted with these
  /// arguments (for instance because there are too few), `out` is the result of `Message::toString`. `render`
  /// raises only std::bad_alloc. If the caller has called `out.getBuffer(minCapacity)` and not yet
  /// `releaseBuffer`, `out` does not change.
  ///
  /// If memory is exhausted, ICU can end the program when it formats a number or a plural. Therefore the
  /// arguments in texts for errors about a lack of memory should not have types.
  const icu::UnicodeString& render(const oss::Message& message, const char* language,
                                   icu::UnicodeString& out KELINFRA_LIFETIMEBOUND) const;

  /// Renders each message of a list as the other overload does, with one message on each line and without a
  /// line end after the last message. The list's cursor does not move.
  const icu::UnicodeString& render(const oss::MessageList& messages, const char* language,
                                   icu::UnicodeString& out KELINFRA_LIFETIMEBOUND) const;

 private:
  struct Texts;

  std::unique_ptr<Texts> texts_;
};

}  // namespace tarvo::util
