#pragma once

#include <cstddef>
#include <span>
#include <string_view>

/// The locale codes that the library knows, and the mapping from the names of ICU's locales to them.
namespace tarvo::oss {

/// Another name of a locale: two to four capitals for a language, perhaps with a territory, or the
/// three-letter abbreviation that Windows uses. "DEFAULTLOCALE" is one too.
struct LocaleAlias {
  const char* key;
  const char* code;  ///< language and territory: "deCH"
};

/// Sorted by key, each key once.
std::span<const LocaleAlias> localeAliases();

/// In capitals; the last one is the key of the fallback.
std::span<const char* const> supportedLocales();

/// The code for the name of an ICU locale, of which the first 63 bytes are used. Found by its letters and
/// digits ("de_CH" is DECH), or by those before the first "." ("en_US.UTF-8" is ENUS); otherwise the
/// fallback's.
const char* localeCodeOf(std::string_view icuName);

}  // namespace tarvo::oss
