#include "oss/kelLocaleCodes.hpp"

#include <algorithm>
#include <array>
#include <iterator>

namespace tarvo::oss {
namespace {

// ARA, DEBE, DELI, NR, RUUA, SRL and SVFI look wrong but are intended: programs depend on these codes. In
// this table each first letter begins a new line; clang-format would change that.
// clang-format off
constexpr LocaleAlias aliases[] = {
    {"AR", "arAA"}, {"ARA", "arSA"}, {"ARAA", "arAA"}, {"ARAE", "arAE"}, {"ARB", "arLB"}, {"ARBH", "arBH"},
    {"ARDZ", "arDZ"}, {"ARE", "arEG"}, {"AREG", "arEG"}, {"ARG", "arDZ"}, {"ARH", "arBH"}, {"ARI", "arAA"},
    {"ARIQ", "arAA"}, {"ARJ", "arJO"}, {"ARJO", "arJO"}, {"ARK", "arKW"}, {"ARKW", "arKW"}, {"ARL", "arAA"},
    {"ARLB", "arLB"}, {"ARLY", "arAA"}, {"ARM", "arMA"}, {"ARMA", "arMA"}, {"ARO", "arOM"}, {"AROM", "arOM"},
    {"ARQ", "arQA"}, {"ARQA", "arQA"}, {"ARS", "arSY"}, {"ARSA", "arSA"}, {"ARSD", "arAA"}, {"ARSY", "arSY"},
    {"ART", "arTN"}, {"ARTN", "arTN"}, {"ARU", "arAE"}, {"ARY", "arYE"}, {"ARYE", "arYE"}, {"AS", "asIN"},
    {"ASIN", "asIN"}, {"ASM", "asIN"}, {"AZ", "azAZ"}, {"AZAZ", "azAZ"},
    {"BE", "beBY"}, {"BEBY", "beBY"}, {"BEL", "beBY"}, {"BEN", "bnIN"}, {"BG", "bgBG"}, {"BGBG", "bgBG"},
    {"BGR", "bgBG"}, {"BN", "bnIN"}, {"BNIN", "bnIN"},
    {"CA", "caES"}, {"CAES", "caES"}, {"CAT", "caES"}, {"CES", "csCZ"}, {"CHS", "zhCN"}, {"CHT", "zhTW"},
    {"CS", "csCZ"}, {"CSCZ", "csCZ"}, {"CSY", "csCZ"}, {"CY", "cyGB"}, {"CYGB", "cyGB"}, {"CYM", "cyGB"},
    {"CYUK", "cyGB"}, {"CZ", "csCZ"},
    {"DA", "daDK"}, {"DADK", "daDK"}, {"DAN", "daDK"}, {"DE", "deDE"}, {"DEA", "deAT"}, {"DEAT", "deAT"},
    {"DEBE", "deDE"}, {"DEC", "deDE"}, {"DECH", "deCH"}, {"DEDE", "deDE"}, {"DEFAULTLOCALE", "enUS"},
    {"DEL", "deLU"}, {"DELI", "deDE"}, {"DELU", "deLU"}, {"DES", "deCH"}, {"DEU", "deDE"},
    {"EL", "elGR"}, {"ELGR", "elGR"}, {"ELL", "elGR"}, {"EN", "enUS"}, {"ENA", "enAU"}, {"ENAU", "enAU"},
    {"ENB", "enUS"}, {"ENBE", "enBE"}, {"ENBW", "enUS"}, {"ENBZ", "enUS"}, {"ENC", "enCA"}, {"ENCA", "enCA"},
    {"ENDK", "enUS"}, {"ENG", "enGB"}, {"ENGB", "enGB"}, {"ENHK", "enHK"}, {"ENI", "enIE"}, {"ENIE", "enIE"},
    {"ENIN", "enIN"}, {"ENJ", "enUS"}, {"ENJM", "enUS"}, {"ENL", "enUS"}, {"ENNZ", "enNZ"}, {"ENPH", "enPH"},
    {"ENPK", "enPK"}, {"ENS", "enZA"}, {"ENSG", "enSG"}, {"ENT", "enUS"}, {"ENTT", "enUS"}, {"ENU", "enUS"},
    {"ENUS", "enUS"}, {"ENW", "enUS"}, {"ENZ", "enNZ"}, {"ENZA", "enZA"}, {"ENZW", "enUS"}, {"ES", "esES"},
    {"ESA", "esPA"}, {"ESAR", "esAR"}, {"ESB", "esBO"}, {"ESBO", "esBO"}, {"ESC", "esCR"}, {"ESCL", "esCL"},
    {"ESCO", "esCO"}, {"ESCR", "esCR"}, {"ESD", "esDO"}, {"ESDO", "esDO"}, {"ESE", "esSV"}, {"ESEC", "esEC"},
    {"ESES", "esES"}, {"ESF", "esEC"}, {"ESG", "esGT"}, {"ESGT", "esGT"}, {"ESH", "esHN"}, {"ESHN", "esHN"},
    {"ESI", "esNI"}, {"ESL", "esCL"}, {"ESM", "esMX"}, {"ESMX", "esMX"}, {"ESN", "esES"}, {"ESNI", "esNI"},
    {"ESO", "esCO"}, {"ESP", "esES"}, {"ESPA", "esPA"}, {"ESPE", "esPE"}, {"ESPR", "esPR"}, {"ESPY", "esPY"},
    {"ESR", "esPE"}, {"ESS", "esAR"}, {"ESSV", "esSV"}, {"EST", "etEE"}, {"ESU", "esPR"}, {"ESUS", "esUS"},
    {"ESUY", "esUY"}, {"ESV", "esVE"}, {"ESVE", "esVE"}, {"ESY", "esUY"}, {"ESZ", "esPY"}, {"ET", "etEE"},
    {"ETEE", "etEE"}, {"ETI", "etEE"},
    {"FI", "fiFI"}, {"FIFI", "fiFI"}, {"FIN", "fiFI"}, {"FR", "frFR"}, {"FRA", "frFR"}, {"FRB", "frBE"},
    {"FRBE", "frBE"}, {"FRC", "frCA"}, {"FRCA", "frCA"}, {"FRCH", "frCH"}, {"FRFR", "frFR"}, {"FRL", "frLU"},
    {"FRLU", "frLU"}, {"FRS", "frCH"},
    {"GU", "guIN"}, {"GUIN", "guIN"}, {"GUJ", "guIN"},
    {"HE", "heIL"}, {"HEB", "heIL"}, {"HEIL", "heIL"}, {"HI", "hiIN"}, {"HIIN", "hiIN"}, {"HIN", "hiIN"},
    {"HR", "hrHR"}, {"HRHR", "hrHR"}, {"HRV", "hrHR"}, {"HU", "huHU"}, {"HUHU", "huHU"}, {"HUN", "huHU"},
    {"ID", "idID"}, {"IDID", "idID"}, {"IN", "idID"}, {"IND", "idID"}, {"INID", "idID"}, {"IS", "isIS"},
    {"ISIS", "isIS"}, {"ISL", "isIS"}, {"IT", "itIT"}, {"ITA", "itIT"}, {"ITCH", "itCH"}, {"ITIT", "itIT"},
    {"ITS", "itCH"}, {"IW", "heIL"}, {"IWIL", "heIL"},
    {"JA", "jaJP"}, {"JAJP", "jaJP"}, {"JPN", "jaJP"},
    {"KAN", "knIN"}, {"KAZ", "kkKZ"}, {"KK", "kkKZ"}, {"KKKZ", "kkKZ"}, {"KKZ", "kkKZ"}, {"KN", "knIN"},
    {"KNIN", "knIN"}, {"KO", "koKR"}, {"KOKR", "koKR"}, {"KOR", "koKR"},
    {"LAV", "lvLV"}, {"LIT", "ltLT"}, {"LT", "ltLT"}, {"LTH", "ltLT"}, {"LTLT", "ltLT"}, {"LV", "lvLV"},
    {"LVI", "lvLV"}, {"LVLV", "lvLV"},
    {"MAL", "mlIN"}, {"MAR", "mrIN"}, {"MK", "mkMK"}, {"MKD", "mkMK"}, {"MKI", "mkMK"}, {"MKMK", "mkMK"},
    {"ML", "mlIN"}, {"MLIN", "mlIN"}, {"MR", "mrIN"}, {"MRIN", "mrIN"}, {"MS", "msMY"}, {"MSA", "msMY"},
    {"MSL", "msMY"}, {"MSMY", "msMY"}, {"MT", "mtMT"}, {"MTL", "mtMT"}, {"MTMT", "mtMT"},
    {"NBNO", "noNO"}, {"NL", "nlNL"}, {"NLB", "nlBE"}, {"NLBE", "nlBE"}, {"NLD", "nlNL"}, {"NLNL", "nlNL"},
    {"NN", "noNO"}, {"NNNO", "noNO"}, {"NO", "noNO"}, {"NON", "noNO"}, {"NONO", "noNO"}, {"NONY", "noNO"},
    {"NOR", "noNO"}, {"NR", "shSP"},
    {"OR", "orIN"}, {"ORI", "orIN"}, {"ORIN", "orIN"},
    {"PA", "paIN"}, {"PAIN", "paIN"}, {"PAN", "paIN"}, {"PL", "plPL"}, {"PLK", "plPL"}, {"PLPL", "plPL"},
    {"POL", "plPL"}, {"POR", "ptPT"}, {"PT", "ptPT"}, {"PTB", "ptBR"}, {"PTBR", "ptBR"}, {"PTG", "ptPT"},
    {"PTPT", "ptPT"},
    {"RO", "roRO"}, {"ROM", "roRO"}, {"RON", "roRO"}, {"RORO", "roRO"}, {"RU", "ruRU"}, {"RURU", "ruRU"},
    {"RUS", "ruRU"}, {"RUUA", "ruRU"},
    {"SH", "shSP"}, {"SHBA", "shSP"}, {"SHSP", "shSP"}, {"SHYU", "shSP"}, {"SK", "skSK"}, {"SKSK", "skSK"},
    {"SKY", "skSK"}, {"SL", "slSI"}, {"SLK", "skSK"}, {"SLSI", "slSI"}, {"SLV", "slSI"}, {"SPA", "esES"},
    {"SQ", "sqAL"}, {"SQAL", "sqAL"}, {"SQI", "sqAL"}, {"SR", "srSP"}, {"SRB", "srSP"}, {"SRL", "shSP"},
    {"SRP", "srSP"}, {"SRSP", "srSP"}, {"SRYU", "srSP"}, {"SV", "svSE"}, {"SVE", "svSE"}, {"SVF", "svSE"},
    {"SVFI", "svSE"}, {"SVSE", "svSE"}, {"SWE", "svSE"},
    {"TA", "taIN"}, {"TAIN", "taIN"}, {"TAM", "taIN"}, {"TE", "teIN"}, {"TEIN", "teIN"}, {"TEL", "teIN"},
    {"TH", "thTH"}, {"THA", "thTH"}, {"THAI", "thTH"}, {"THTH", "thTH"}, {"TR", "trTR"}, {"TRK", "trTR"},
    {"TRTR", "trTR"}, {"TUR", "trTR"},
    {"UK", "ukUA"}, {"UKR", "ukUA"}, {"UKUA", "ukUA"}, {"UR", "urPK"}, {"URD", "urPK"}, {"URIN", "urIN"},
    {"URPK", "urPK"},
    {"VI", "viVN"}, {"VIE", "viVN"}, {"VIT", "viVN"}, {"VIVN", "viVN"},
    {"ZH", "zhCN"}, {"ZHCN", "zhCN"}, {"ZHH", "zhHK"}, {"ZHHK", "zhHK"}, {"ZHI", "zhSG"}, {"ZHO", "zhCN"},
    {"ZHSG", "zhSG"}, {"ZHTW", "zhTW"},
};
constexpr const char* supported[] = {
    "ENUS", "ENAU", "ENBE", "ENCA", "ENHK", "ENIN", "ENIE", "ENNZ", "ENPH", "ENPK", "ENSG", "ENZA", "ENGB",
    "SQAL", "AZAZ", "BGBG", "BEBY", "CAES", "HRHR", "CSCZ", "DADK", "NLNL", "NLBE", "ETEE", "FIFI", "FRFR",
    "FRBE", "FRCA", "FRLU", "FRCH", "DEDE", "DEAT", "DELU", "DECH", "ELGR", "HUHU", "ISIS", "IDID", "ITIT",
    "ITCH", "KKKZ", "LVLV", "LTLT", "MKMK", "MSMY", "MTMT", "NONO", "PLPL", "PTBR", "PTPT", "RORO", "RURU",
    "SRSP", "SHSP", "SKSK", "SLSI", "ESES", "ESAR", "ESBO", "ESCL", "ESCO", "ESCR", "ESDO", "ESEC", "ESSV",
    "ESGT", "ESHN", "ESMX", "ESNI", "ESPA", "ESPY", "ESPE", "ESPR", "ESUS", "ESUY", "ESVE", "SVSE", "TRTR",
    "UKUA", "CYGB", "ZHCN", "ZHSG", "ZHTW", "ZHHK", "JAJP", "KOKR", "ARAA", "ARDZ", "ARBH", "AREG", "ARJO",
    "ARKW", "ARLB", "ARMA", "AROM", "ARQA", "ARSA", "ARSY", "ARTN", "ARAE", "ARYE", "ASIN", "BNIN", "GUIN",
    "HEIL", "HIIN", "KNIN", "MLIN", "MRIN", "ORIN", "PAIN", "TAIN", "TEIN", "THTH", "URPK", "URIN", "VIVN",
    "DEFAULTLOCALE",
};
// clang-format on

constexpr std::string_view keyOf(const LocaleAlias& alias) {
  return alias.key;
}

static_assert(std::adjacent_find(std::begin(aliases), std::end(aliases),
                                 [](const LocaleAlias& left, const LocaleAlias& right) {
                                   return keyOf(left) >= keyOf(right);
                                 }) == std::end(aliases),
              "the search needs the keys sorted, each once");

constexpr const char* find(std::string_view key) {
  const auto* const found = std::lower_bound(
      std::begin(aliases), std::end(aliases), key,
      [](const LocaleAlias& alias, std::string_view wanted) { return keyOf(alias) < wanted; });
  return found != std::end(aliases) && keyOf(*found) == key ? found->code : nullptr;
}

constexpr const char* fallback = find(*std::rbegin(supported));
static_assert(fallback == std::string_view("enUS"));

/// The largest number of bytes of an ICU name that the look-up uses.
constexpr std::size_t longestName = 63;

/// Looks up a code by the letters and digits of a name, in capitals. Returns null if there is no such code.
const char* findNormalised(std::string_view name) {
  std::array<char, longestName> key{};
  std::size_t length = 0;
  for (const char c : name) {
    if ('a' <= c && c <= 'z') key.at(length++) = static_cast<char>(c - 'a' + 'A');
    if (('A' <= c && c <= 'Z') || ('0' <= c && c <= '9')) key.at(length++) = c;
  }
  return find({key.data(), length});
}

}  // namespace

std::span<const LocaleAlias> localeAliases() {
  return aliases;
}

std::span<const char* const> supportedLocales() {
  return supported;
}

const char* localeCodeOf(std::string_view icuName) {
  const std::string_view name = icuName.substr(0, longestName);
  if (const char* const code = findNormalised(name)) return code;
  if (const char* const code = findNormalised(name.substr(0, name.find('.')))) return code;
  return fallback;
}

}  // namespace tarvo::oss
