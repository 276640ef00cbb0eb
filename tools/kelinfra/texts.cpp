#include "texts.hpp"

#include "infra/util/kelMessageCatalogue.hpp"

#include "embedded.hpp"

#include <unicode/unistr.h>

#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <utility>

namespace kelinfra {

namespace {

using tarvo::util::MessageCatalogue;

void load(MessageCatalogue& catalogue, const char* language, std::string_view text) {
  catalogue.load(language, text.data(), text.size());
}

/// The texts of the tool and of the library's errors. English is also the language of last resort.
struct Texts {
  MessageCatalogue catalogue;
  std::string language;

  Texts() {
    for (const char* english : {"", "en"}) {
      load(catalogue, english, embedded::libraryEnglish);
      load(catalogue, english, embedded::toolEnglish);
    }
    load(catalogue, "de", embedded::libraryGerman);
    load(catalogue, "de", embedded::toolGerman);
    load(catalogue, "ja", embedded::libraryJapanese);
    load(catalogue, "ja", embedded::toolJapanese);
    for (const char* variable : {"LANG", "LC_MESSAGES", "LC_ALL"}) {
      const char* const value = std::getenv(variable);
      if (value != nullptr && *value != '\0') language = value;
    }
  }
};

Texts& texts() {
  static Texts all;
  return all;
}

}  // namespace

void chooseLanguage(std::string name) {
  texts().language = std::move(name);
}

std::string rendered(const tarvo::oss::Message& message) {
  icu::UnicodeString text;
  return utf8(texts().catalogue.render(message, texts().language.c_str(), text));
}

std::string rendered(const tarvo::oss::MessageList& messages) {
  icu::UnicodeString text;
  return utf8(texts().catalogue.render(messages, texts().language.c_str(), text));
}

icu::UnicodeString unicode(std::string_view utf8) {
  return icu::UnicodeString::fromUTF8(icu::StringPiece(utf8.data(), static_cast<std::int32_t>(utf8.size())));
}

std::string utf8(const icu::UnicodeString& text) {
  std::string bytes;
  return text.toUTF8String(bytes);
}

}  // namespace kelinfra
