#include "catalogueCheck.hpp"

#include "infra/util/kelMessageCatalogue.hpp"

#include "propertyPlaces.hpp"
#include "suggestion.hpp"
#include "texts.hpp"

#include <unicode/messagepattern.h>
#include <unicode/msgfmt.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <iterator>
#include <list>
#include <map>
#include <optional>
#include <regex>
#include <set>

namespace kelinfra {

namespace {

/// Kinds whose arguments can be numbers in a text. A port is a name: nobody counts in ports.
bool isNumber(const std::string& kind) {
  return kind == "number" || kind == "size" || kind == "count";
}

/// The language that a file's name ends with: "de" for "texts/errors_de.properties".
std::string languageOf(const std::string& fileName) {
  static const std::regex language("(?:^|[/\\\\_.-])([a-z]{2,3}(?:[_-][A-Za-z]{2,4})*)(?:\\.[a-z]+)?$");
  std::smatch match;
  return std::regex_search(fileName, match, language) ? match[1].str() : "";
}

/// Whether an escape of half a surrogate pair is there, which the format cannot hold.
bool isSurrogateEscape(const std::string& bytes, std::size_t position) {
  const std::string escape = bytes.substr(position, 6);
  static const std::regex form(R"(\\u[dD][89a-fA-F][0-9a-fA-F]{2})");
  return std::regex_match(escape, form);
}

/// The limits of `MessageCatalogue`: the number of "{" in a pattern, and the depth to which forms are nested.
constexpr std::ptrdiff_t mostBraces = 1000;
constexpr std::int32_t mostLevels = 16;

bool hasTooManyBraces(const icu::UnicodeString& pattern) {
  const char16_t* const units = pattern.getBuffer();
  return std::count(units, units + pattern.length(), u'{') > mostBraces;
}

/// If the forms are nested too deeply, sets the status and the place as ICU does for a wrong pattern.
void limitLevels(const icu::MessagePattern& parts, UParseError& place, UErrorCode& status) {
  for (std::int32_t i = 0; U_SUCCESS(status) && i < parts.countParts(); ++i) {
    const icu::MessagePattern::Part& part = parts.getPart(i);
    if (part.getType() != UMSGPAT_PART_TYPE_MSG_START || part.getValue() <= mostLevels) continue;
    status = U_INDEX_OUTOFBOUNDS_ERROR;
    place.offset = part.getIndex();
  }
}

/// The checks of one file.
class FileCheck {
 public:
  FileCheck(const CatalogueFile& file, const Contract& contract, std::list<Finding>& findings)
      : file_(file), contract_(contract), findings_(findings), places_(file.bytes) {}

  /// For each identifier, the arguments that its text shows.
  using Shown = std::map<std::string, std::set<int>>;

  Shown run() {
    if (!places_.isUtf8()) {
      report(places_.malformedAt(), "not-utf8", Level::warning, "KELINFRA_CATALOGUE_NOT_UTF8");
    }
    offset_ = byteOrderMark();
    for (const PlacedProperty& property : placedProperties(file_.bytes.substr(offset_), places_.isUtf8())) {
      checkProperty(property);
    }
    reportMissing();
    return shown_;
  }

 private:
  template <class... Arguments>
  void report(std::size_t byte, const char* rule, Level level, const char* id,
              const Arguments&... arguments) {
    const Places::Place place = places_.of(byte);
    findings_.push_back({file_.name, place.line, place.column, rule, level, message(id, arguments...)});
    if (level == Level::error) ++errors_;
  }

  std::size_t byteOrderMark() const { return file_.bytes.compare(0, 3, "\xEF\xBB\xBF") == 0 ? 3 : 0; }

  void checkEscapes(const PlacedProperty& property) {
    const std::string& bytes = file_.bytes;
    for (std::size_t i = offset_ + property.keyAt; i < offset_ + property.valueAt.back(); ++i) {
      if (bytes[i] != '\\') continue;
      if (isSurrogateEscape(bytes, i)) {
        report(i, "surrogate-escape", Level::error, "KELINFRA_CATALOGUE_SURROGATE", bytes.substr(i, 6));
      }
      ++i;  // the escaped byte
    }
  }

  void checkProperty(const PlacedProperty& property) {
    const std::string id = utf8(property.key);
    const std::size_t keyAt = offset_ + property.keyAt;
    if (shown_.count(id) != 0) {
      report(keyAt, "duplicate-identifier", Level::warning, "KELINFRA_CATALOGUE_DUPLICATE", id);
    }
    checkEscapes(property);
    std::set<int>& shown = shown_[id];
    shown.clear();
    const auto known = contract_.find(id);
    if (known == contract_.end()) {
      reportUnknown(keyAt, id);
    }
    checkPattern(property, known == contract_.end() ? nullptr : &known->second, shown);
  }

  void reportUnknown(std::size_t byte, const std::string& id) {
    if (!suggestions_) suggestions_.emplace(identifiers());
    const std::string better = suggestions_->of(id);
    if (better.empty()) {
      report(byte, "unknown-identifier", Level::error, "KELINFRA_CATALOGUE_UNKNOWN", id);
    } else {
      report(byte, "unknown-identifier", Level::error, "KELINFRA_CATALOGUE_UNKNOWN_SUGGESTION", id, better);
    }
  }

  std::vector<std::string> identifiers() const {
    std::vector<std::string> all;
    for (const auto& entry : contract_) all.push_back(entry.first);
    return all;
  }

  std::size_t at(const PlacedProperty& property, std::int32_t unit) const {
    const auto last = static_cast<std::int32_t>(property.valueAt.size()) - 1;
    return offset_ + property.valueAt[static_cast<std::size_t>(std::clamp(unit, 0, last))];
  }

  void checkPattern(const PlacedProperty& property, const Identifier* known, std::set<int>& shown) {
    UErrorCode status = hasTooManyBraces(property.value) ? U_INDEX_OUTOFBOUNDS_ERROR : U_ZERO_ERROR;
    UParseError place{};
    const icu::MessagePattern parts(property.value, &place, status);
    limitLevels(parts, place, status);
    if (status == U_DEFAULT_KEYWORD_MISSING) {
      return report(at(property, place.offset), "without-other", Level::error, "KELINFRA_CATALOGUE_NO_OTHER");
    }
    if (U_FAILURE(status)) {
      return report(at(property, place.offset), "syntax", Level::error, "KELINFRA_CATALOGUE_SYNTAX",
                    u_errorName(status));
    }
    const std::size_t before = errors_;
    checkQuotes(property);
    for (std::int32_t i = 0; i < parts.countParts(); ++i) checkPart(property, parts, i, known, shown);
    const icu::MessageFormat accepted(property.value, icu::Locale::getRoot(), place, status);
    if (U_FAILURE(status)) {
      report(at(property, 0), "unknown-type", Level::error, "KELINFRA_CATALOGUE_TYPE");
    } else if (errors_ == before && known != nullptr) {
      renderSamples(property, *known);
    }
    if (known != nullptr) reportUnused(property, *known, shown);
  }

  /// '{0}' is shown as {0}. An apostrophe quotes from a brace up to the next apostrophe; two are one.
  void checkQuotes(const PlacedProperty& property) {
    static const std::regex placeholder(R"('\{ *[0-9]+ *[,}])");
    bool isQuoted = false;
    for (std::int32_t i = 0; i < property.value.length(); ++i) {
      if (property.value[i] != u'\'') continue;
      const char16_t next = property.value.charAt(i + 1);
      if (next == u'\'') {
        ++i;
      } else if (isQuoted || next == u'{' || next == u'}') {
        isQuoted = !isQuoted;
        const std::string rest = utf8(property.value.tempSubString(i, 16));
        if (isQuoted && std::regex_search(rest, placeholder, std::regex_constants::match_continuous)) {
          report(at(property, i), "quoted-placeholder", Level::error, "KELINFRA_CATALOGUE_QUOTED");
        }
      }
    }
  }

  void checkPart(const PlacedProperty& property, const icu::MessagePattern& parts, std::int32_t index,
                 const Identifier* known, std::set<int>& shown) {
    const icu::MessagePattern::Part& part = parts.getPart(index);
    const std::size_t byte = at(property, parts.getPart(std::max(index - 1, 0)).getIndex());  // its brace
    if (part.getType() == UMSGPAT_PART_TYPE_ARG_NAME) {
      report(byte, "named-placeholder", Level::error, "KELINFRA_CATALOGUE_NAMED",
             utf8(parts.getSubstring(part)));
    }
    if (part.getType() != UMSGPAT_PART_TYPE_ARG_NUMBER) return;
    const int number = part.getValue();
    shown.insert(number);
    if (known == nullptr) return;
    const std::size_t count = known->arguments.size();
    if (static_cast<std::size_t>(number) >= count) {
      return report(byte, "beyond-arguments", Level::error, "KELINFRA_CATALOGUE_BEYOND", number, count);
    }
    const UMessagePatternArgType type = parts.getPart(index - 1).getArgType();
    const Argument& argument = known->arguments[static_cast<std::size_t>(number)];
    if (type != UMSGPAT_ARG_TYPE_NONE && type != UMSGPAT_ARG_TYPE_SELECT && !isNumber(argument.kind)) {
      report(byte, "wrong-kind", Level::error, "KELINFRA_CATALOGUE_KIND", number, argument.name,
             argument.kind);
    }
  }

  void reportUnused(const PlacedProperty& property, const Identifier& known, const std::set<int>& shown) {
    for (std::size_t i = 0; i < known.arguments.size(); ++i) {
      if (shown.count(static_cast<int>(i)) != 0) continue;
      report(at(property, 0), "argument-not-shown", Level::warning, "KELINFRA_CATALOGUE_NOT_SHOWN", i,
             known.arguments[i].name);
    }
  }

  /// Each text must be rendered for numbers of each plural form.
  void renderSamples(const PlacedProperty& property, const Identifier& known) {
    load(property);
    for (const char* number : {"0", "1", "2", "5", "4711"}) {
      tarvo::oss::Message sample(property.key, tarvo::oss::Message::LEVEL_ERROR, "sample", 1);
      for (const Argument& argument : known.arguments) {
        sample.addArgument(unicode(isNumber(argument.kind) ? number : argument.name));
      }
      icu::UnicodeString text;
      icu::UnicodeString plain;
      catalogue_.render(sample, languageOf(file_.name).c_str(), text);
      if (text == sample.toString(plain)) {
        return report(at(property, 0), "not-rendered", Level::error, "KELINFRA_CATALOGUE_NOT_RENDERED",
                      number);
      }
    }
  }

  /// Loads the text of this property only. A later property may have the same identifier.
  void load(const PlacedProperty& property) {
    const std::size_t from = offset_ + property.keyAt;
    const std::size_t end = offset_ + property.valueAt.back();
    const std::string latin1 = "#\xFF\n";  // not UTF-8, so the following bytes are ISO-8859-1, too
    const std::string line = (places_.isUtf8() ? "" : latin1) + file_.bytes.substr(from, end - from) + "\n";
    catalogue_.load(languageOf(file_.name).c_str(), line.data(), line.size());
  }

  /// The texts of a program may be in a file without those of the library.
  void reportMissing() {
    const bool hasBuiltIn = std::any_of(shown_.begin(), shown_.end(), [&](const auto& text) {
      const auto known = contract_.find(text.first);
      return known != contract_.end() && known->second.isBuiltIn;
    });
    for (const auto& [id, identifier] : contract_) {
      if (shown_.count(id) != 0 || (identifier.isBuiltIn && !hasBuiltIn)) continue;
      findings_.push_back(
          {file_.name, 0, 0, "missing-text", Level::warning, message("KELINFRA_CATALOGUE_MISSING", id)});
    }
  }

  const CatalogueFile& file_;
  const Contract& contract_;
  std::list<Finding>& findings_;
  Places places_;
  tarvo::util::MessageCatalogue catalogue_;
  std::size_t offset_ = 0;
  std::size_t errors_ = 0;
  std::optional<Suggestions> suggestions_;
  Shown shown_;
};

std::string listOf(const std::set<int>& numbers) {
  std::string list;
  for (const int number : numbers) list += (list.empty() ? "{" : ", {") + std::to_string(number) + "}";
  return list.empty() ? "-" : list;
}

/// Reports the texts whose arguments differ from those in the first file.
void compare(const std::string& name, const FileCheck::Shown& texts, const std::string& firstName,
             const FileCheck::Shown& first, std::list<Finding>& findings) {
  for (const auto& [id, shown] : texts) {
    const auto same = first.find(id);
    if (same == first.end() || same->second == shown) continue;
    findings.push_back(
        {name, 0, 0, "languages-differ", Level::warning,
         message("KELINFRA_CATALOGUE_DIFFERS", id, listOf(shown), firstName, listOf(same->second))});
  }
}

}  // namespace

std::list<Finding> checkCatalogues(const std::vector<CatalogueFile>& files, const Contract& contract) {
  std::list<Finding> findings;
  std::optional<FileCheck::Shown> first;
  for (const CatalogueFile& file : files) {
    FileCheck::Shown shown = FileCheck(file, contract, findings).run();
    if (!first) {
      first = std::move(shown);
    } else {
      compare(file.name, shown, files.front().name, *first, findings);
    }
  }
  return findings;
}

}  // namespace kelinfra
