#pragma once

#include "infra/kelExport.hpp"
#include "infra/oss/kelMessage.hpp"
#include "infra/oss/kelMessageList.hpp"

#include <unicode/unistr.h>

#include <cstddef>
#include <memory>

namespace tarvo::util {

/// The texts of a program's messages in several languages. A text belongs to an identifier and is a pattern
/// of ICU's MessageFormat, in which `{0}` is the first argument of the message.
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
/// A language is named as ICU's locales or in BCP 47: "de", "de_AT", "de-AT"; what a POSIX locale adds
/// ("de_DE.UTF-8@euro") is ignored. "de_AT" falls back to "de", and "de" to the empty name: load the texts of
/// the default language under it.
///
/// Arguments are shown as the message records them: port 4711 is "4711". Only where the pattern has a type
/// that takes a number (`number`, `plural`, `selectordinal`, `choice`, `spellout`, `ordinal`, `duration`), an
/// argument whose text is a decimal number is used as a number, in the rules of the text's language.
///
/// Threads: any number may render at the same time; `load` needs the object for its thread.
class KELINFRA_API MessageCatalogue {
 public:
  /// No texts.
  MessageCatalogue();
  MessageCatalogue(const MessageCatalogue& other) = delete;
  MessageCatalogue& operator=(const MessageCatalogue& other) = delete;
  ~MessageCatalogue();

  /// Adds the texts of a language; a text that the language has already is replaced. The data are lines of
  /// the text format of `ExtendedProperties`, with the identifier as the key, but references (`%name%`) are
  /// not resolved. The bytes are UTF-8 if all of them are well-formed UTF-8, with or without a byte order
  /// mark at the start; otherwise they are ISO-8859-1. Any bytes are accepted. They are not needed after the
  /// call.
  ///
  /// A pattern that ICU does not accept, or that names an argument instead of numbering it, counts as a text:
  /// `hasText` is true for it, and `render` shows the message without it.
  ///   raises   std::bad_alloc: there is no memory. Some of the texts may have been added.
  void load(const char* language, const char* data, std::size_t length);

  /// Whether the language, or one that it falls back to, has a text for the identifier.
  bool hasText(const icu::UnicodeString& id, const char* language) const;

  /// Writes the message's sentence into `out`, whose former contents are dropped, and returns `out`. The
  /// message as `Message::toString` renders it is written instead if there is no text for its identifier, or
  /// if the text cannot be formatted with the message's arguments, for instance because it needs more of
  /// them. Raises only std::bad_alloc. If the caller holds the buffer of `out` open, `out` is not changed.
  ///
  /// Without memory, ICU's formats of numbers and plurals can end the program. Texts for errors that report
  /// a lack of memory should therefore have no typed arguments.
  const icu::UnicodeString& render(const oss::Message& message, const char* language,
                                   icu::UnicodeString& out KELINFRA_LIFETIMEBOUND) const;

  /// The same for each message of a list, one in each line, without a line end after the last. The list's
  /// cursor is not used.
  const icu::UnicodeString& render(const oss::MessageList& messages, const char* language,
                                   icu::UnicodeString& out KELINFRA_LIFETIMEBOUND) const;

 private:
  struct Texts;

  std::unique_ptr<Texts> texts_;
};

}  // namespace tarvo::util
