#include "texts.hpp"

#include "infra/util/kelMessageCatalogue.hpp"

#include "embedded.hpp"

#include <unicode/unistr.h>

#include <array>
#include <cstdint>
#include <cstdio>
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

std::string printable(const std::string& utf8) {
  std::string shown;
  for (std::size_t i = 0; i < utf8.size(); ++i) {
    // U+0080 to U+009F are the byte C2 and one of 80 to 9F.
    const bool isC1 = utf8[i] == '\xC2' && i + 1 < utf8.size() && (utf8[i + 1] & 0xE0) == 0x80;
    if (isC1) ++i;
    const unsigned int unit = static_cast<unsigned char>(utf8[i]);
    if (!isC1 && unit >= 0x20 && unit != 0x7F) {
      shown += utf8[i];
      continue;
    }
    std::array<char, 8> escape{};
    std::snprintf(escape.data(), escape.size(), "\\u%04X", unit);
    shown += escape.data();
  }
  return shown;
}

icu::UnicodeString unicode(std::string_view utf8) {
  return icu::UnicodeString::fromUTF8(icu::StringPiece(utf8.data(), static_cast<std::int32_t>(utf8.size())));
}

std::string utf8(const icu::UnicodeString& text) {
  std::string bytes;
  return text.toUTF8String(bytes);
}

}  // namespace kelinfra
