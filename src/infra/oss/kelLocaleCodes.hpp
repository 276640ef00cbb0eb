#pragma once

#include <cstddef>
#include <span>
#include <string_view>

/// The locale codes that the library knows, and the mapping from the names of ICU's locales to these codes.
namespace tarvo::oss {

/// An alias of a locale code. The key of an alias has one of three forms: the letters of a language and
/// perhaps a territory, together two to four capitals; the three-letter abbreviation that Windows uses; or
/// "DEFAULTLOCALE".
struct LocaleAlias {
  const char* key;
  const char* code;  ///< language and territory: "deCH"
};

/// Returns all aliases, sorted by key. Each key occurs once.
std::span<const LocaleAlias> localeAliases();

/// Returns the codes of the supported locales in capitals. The last code is "DEFAULTLOCALE", the key of the
/// fallback.
std::span<const char* const> supportedLocales();

/// Returns the code for the name of an ICU locale, of which the first 63 bytes are used. The function looks
/// up the code by all letters and digits of the name ("de_CH" is DECH). If there is no such code, it uses
/// only the letters and digits before the first "." ("en_US.UTF-8" is ENUS). If both look-ups fail, the
/// result is the code of the fallback.
const char* localeCodeOf(std::string_view icuName);

}  // namespace tarvo::oss
