#pragma once

#include <cstddef>
#include <span>
#include <string_view>

/// The locale codes that the library knows, and the mapping from the names of ICU's locales to them.
namespace tarvo::oss {

/// Another name of a locale. The key consists of two to four capitals for a language, perhaps with a
/// territory, or it is the three-letter abbreviation that Windows uses, or "DEFAULTLOCALE".
struct LocaleAlias {
  const char* key;
  const char* code;  ///< language and territory: "deCH"
};

/// Returns all aliases, sorted by key. Each key occurs once.
std::span<const LocaleAlias> localeAliases();

/// Returns the codes of the supported locales in capitals. The last one is "DEFAULTLOCALE", the key of the
/// fallback.
std::span<const char* const> supportedLocales();

/// Returns the code for the name of an ICU locale, of which the first 63 bytes are used. The code is looked
/// up by the letters and digits of the name ("de_CH" is DECH), and then by those before the first "."
/// ("en_US.UTF-8" is ENUS). If both look-ups fail, the result is the code of the fallback.
const char* localeCodeOf(std::string_view icuName);

}  // namespace tarvo::oss
