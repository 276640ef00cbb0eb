#include "infra/util/kelPropertiesSchema.hpp"

#include "text/kelInvariant.hpp"
#include "text/kelMemory.hpp"
#include "text/kelTextUnits.hpp"
#include "util/kelPropertyTypes.hpp"
#include "util/kelSuggestion.hpp"
#include "util/kelWrittenProperty.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <optional>
#include <string_view>
#include <tuple>
#include <utility>

namespace tarvo::util {

namespace {

using oss::Message;

constexpr std::size_t mostPairsOfACheck = std::size_t{1} << 26U;

icu::UnicodeString trimmed(const icu::UnicodeString& text) {
  icu::UnicodeString copy = text::copied(text);
  return text::made(copy.trim());
}

// --- types

enum class Verdict { accepted, wrongType, outOfRange };

/// The two bounds of a range, as texts; a missing bound is an empty text.
struct Range {
  icu::UnicodeString low;
  icu::UnicodeString high;
};

struct FiniteDouble : Double {
  static auto read(const icu::UnicodeString& text) {
    auto value = Double::read(text);
    if (value && !std::isfinite(*value)) value.reset();
    return value;
  }
};

template <class Type>
Verdict judge(const icu::UnicodeString& text, const Range& range) {
  const auto value = Type::read(trimmed(text));
  if (!value) return Verdict::wrongType;
  const auto low = range.low.isEmpty() ? value : Type::read(range.low);
  const auto high = range.high.isEmpty() ? value : Type::read(range.high);
  return !low || !high || *value < *low || *value > *high ? Verdict::outOfRange : Verdict::accepted;
}

Verdict judgeText(const icu::UnicodeString& /*text*/, const Range& /*range*/) {
  return Verdict::accepted;
}

struct Type {
  std::u16string_view name;
  bool isNumber;
  Verdict (*judge)(const icu::UnicodeString& text, const Range& range);
};

constexpr auto types = std::to_array<Type>({{u"text", false, &judgeText},
                                            {u"boolean", false, &judge<Boolean>},
                                            {u"int32", true, &judge<Checked<Int32>>},
                                            {u"uint32", true, &judge<Checked<UInt32>>},
                                            {u"int64", true, &judge<Checked<Int64>>},
                                            {u"uint64", true, &judge<Checked<UInt64>>},
                                            {u"double", true, &judge<FiniteDouble>}});

const Type* typeNamed(const icu::UnicodeString& name) {
  for (const Type& type : types) {
    if (type.name == text::unitsOf(name)) return &type;
  }
  return nullptr;
}

// --- entries

struct Entry {
  icu::UnicodeString name;
  const Type* type = types.data();
  std::optional<Range> range;
  icu::UnicodeString rangeText;
  std::vector<icu::UnicodeString> values;
  std::optional<icu::UnicodeString> defaultValue;
  icu::UnicodeString meaning;
  std::optional<icu::UnicodeString> successor;  ///< empty: deprecated without a successor

  bool isPattern() const { return name.indexOf(u'*') >= 0; }
  std::u16string_view before() const { return text::unitsOf(name).substr(0, starAt()); }
  std::u16string_view after() const { return text::unitsOf(name).substr(starAt() + 1); }
  bool matches(std::u16string_view key) const {
    return key.size() + 1 >= static_cast<std::size_t>(name.length()) && key.starts_with(before()) &&
           key.ends_with(after());
  }
  std::u16string valuesText() const {
    std::u16string text;
    for (const icu::UnicodeString& value : values) {
      if (!text.empty()) text += u", ";
      text += text::unitsOf(value);
    }
    return text;
  }
  Verdict judge(const icu::UnicodeString& value) const {
    return type->judge(value, range ? *range : Range());
  }
  bool isListed(const icu::UnicodeString& value) const {
    const icu::UnicodeString text = type == types.data() ? value : trimmed(value);
    return values.empty() || std::find(values.begin(), values.end(), text) != values.end();
  }

 private:
  std::size_t starAt() const { return static_cast<std::size_t>(name.indexOf(u'*')); }
};

std::vector<icu::UnicodeString> listed(const icu::UnicodeString& text) {
  std::vector<icu::UnicodeString> values;
  for (std::int32_t from = 0; from <= text.length();) {
    const std::int32_t comma = text.indexOf(u',', from);
    const std::int32_t end = comma < 0 ? text.length() : comma;
    values.push_back(trimmed(text.tempSubStringBetween(from, end)));
    from = end + 1;
  }
  return values;
}

std::vector<std::u16string> linesOf(std::u16string_view text) {
  std::vector<std::u16string> lines;
  std::u16string line;
  for (const char16_t unit : text) {
    if (unit != u'\n' && unit != u'\r') {
      line += unit;
    } else if (!line.empty()) {
      lines.push_back(std::exchange(line, {}));
    }
  }
  if (!line.empty()) lines.push_back(line);
  return lines;
}

/// Returns the text in one line of Markdown, with a backslash before each character that Markdown interprets.
std::u16string inTable(std::u16string_view text) {
  constexpr std::u16string_view marks = u"\\`*_{}[]<>#|~&";
  std::u16string shown;
  for (const char16_t unit : text) {
    if (marks.find(unit) != std::u16string_view::npos) shown += u'\\';
    shown += unit == u'\n' || unit == u'\r' ? u' ' : unit;
  }
  return shown;
}

}  // namespace

class PropertiesSchema::Entries {
 public:
  Entries(const char* data, std::size_t length);

  const std::vector<PropertyFinding>& faults() const { return faults_; }
  std::vector<PropertyFinding> check(const PropertiesReport& settings) const;
  icu::UnicodeString suggest(const icu::UnicodeString& key) const;
  std::string sample() const;
  icu::UnicodeString markdown() const;

 private:
  using Property = PropertiesReport::Property;

  void add(const Property& line);
  void setUnknown(const Property& line);
  static bool setFacet(Entry& entry, std::u16string_view facet, const Property& line);
  void judgeFacets(const PropertiesReport& report, std::u16string_view facet,
                   void (Entries::*judge)(Entry&, const Property&));
  void judgeType(Entry& entry, const Property& line);
  void judgeRange(Entry& entry, const Property& line);
  void judgeDefault(Entry& entry, const Property& line);
  void judgeSuccessor(Entry& entry, const Property& line);
  void addFault(const char* rule, const Property& line, std::vector<icu::UnicodeString> arguments);
  const Entry* entryOf(std::u16string_view key) const;
  void checkKey(const Entry* entry, const Property& property, std::size_t& pairsLeft,
                std::vector<PropertyFinding>& findings) const;
  static void checkValue(const Entry& entry, const Property& property,
                         std::vector<PropertyFinding>& findings);

  std::vector<PropertyFinding> faults_;
  std::vector<Entry> entries_;
  std::map<std::u16string, std::size_t, std::less<>> byName_;
  std::vector<std::size_t> patterns_;  ///< those that count before others come first
  Suggestions suggestions_;
  std::optional<Message::Level> unknown_ = Message::LEVEL_WARNING;
};

// --- read the schema

namespace {

bool isOfTheText(const PropertyFinding& finding) {
  const std::string_view rule = finding.rule;
  return rule == "duplicate-key" || rule.starts_with("escape-");
}

/// The part of a schema's key after its last "@".
std::u16string_view facetOf(std::u16string_view key) {
  return key.substr(key.rfind(u'@') + 1);
}

bool inOrder(const PropertyFinding& left, const PropertyFinding& right) {
  return std::tie(left.line, left.column) < std::tie(right.line, right.column);
}

}  // namespace

PropertiesSchema::Entries::Entries(const char* data, std::size_t length) {
  const PropertiesReport report(data, length);
  std::copy_if(report.findings().begin(), report.findings().end(), std::back_inserter(faults_), isOfTheText);
  for (const Property& line : report.properties()) {
    if (line.counts) add(line);
  }
  // The lines of a schema may be in any order, so each of the following passes needs the results of the
  // previous pass over all lines.
  judgeFacets(report, u"type", &Entries::judgeType);
  judgeFacets(report, u"range", &Entries::judgeRange);
  judgeFacets(report, u"default", &Entries::judgeDefault);
  judgeFacets(report, u"deprecated", &Entries::judgeSuccessor);
  for (std::size_t i = 0; i < entries_.size(); ++i) {
    if (entries_[i].isPattern()) {
      patterns_.push_back(i);
    } else if (!entries_[i].successor) {
      suggestions_.add(entries_[i].name);
    }
  }
  std::stable_sort(patterns_.begin(), patterns_.end(), [&](std::size_t left, std::size_t right) {
    const auto lengths = [&](std::size_t i) {
      return std::pair(entries_[i].before().size(), entries_[i].after().size());
    };
    return lengths(left) > lengths(right);
  });
  std::stable_sort(faults_.begin(), faults_.end(), inOrder);
}

void PropertiesSchema::Entries::addFault(const char* rule, const Property& line,
                                         std::vector<icu::UnicodeString> arguments) {
  faults_.push_back({rule, Message::LEVEL_ERROR, line.line, line.column, std::move(arguments)});
}

void PropertiesSchema::Entries::add(const Property& line) {
  const std::u16string_view key = text::unitsOf(line.key);
  const std::size_t at = key.rfind(u'@');
  if (key == u"@unknown") return setUnknown(line);
  if (at == std::u16string_view::npos || at == 0) return addFault("schema-facet-unknown", line, {line.key});
  const icu::UnicodeString name = text::textOf(key.substr(0, at));
  if (name.indexOf(u'*') != name.lastIndexOf(u'*')) return addFault("schema-name-malformed", line, {name});
  Entry entry;
  const auto known = byName_.find(key.substr(0, at));
  Entry& target = known == byName_.end() ? entry : entries_[known->second];
  if (!setFacet(target, facetOf(key), line)) return addFault("schema-facet-unknown", line, {line.key});
  if (known != byName_.end()) return;
  entry.name = name;
  byName_.emplace(std::u16string(key.substr(0, at)), entries_.size());
  entries_.push_back(std::move(entry));
}

void PropertiesSchema::Entries::setUnknown(const Property& line) {
  const icu::UnicodeString level = trimmed(line.value);
  if (level == u"error") {
    unknown_ = Message::LEVEL_ERROR;
  } else if (level == u"ignore") {
    unknown_.reset();
  } else if (level != u"warning") {
    addFault("schema-level-unknown", line, {line.value});
  }
}

/// Returns false if the schema has no facet of this name.
bool PropertiesSchema::Entries::setFacet(Entry& entry, std::u16string_view facet, const Property& line) {
  if (facet == u"type") {
    const Type* const type = typeNamed(trimmed(line.value));
    if (type != nullptr) entry.type = type;
  } else if (facet == u"range") {
    entry.rangeText = trimmed(line.value);
  } else if (facet == u"values") {
    entry.values = listed(line.value);
  } else if (facet == u"default") {
    entry.defaultValue = line.value;
  } else if (facet == u"meaning") {
    entry.meaning = line.value;
  } else if (facet == u"deprecated") {
    entry.successor = trimmed(line.value);
  } else {
    return false;
  }
  return true;
}

/// Checks the lines with a facet whose check depends on other lines.
void PropertiesSchema::Entries::judgeFacets(const PropertiesReport& report, std::u16string_view facet,
                                            void (Entries::*judge)(Entry&, const Property&)) {
  for (const Property& line : report.properties()) {
    const std::u16string_view key = text::unitsOf(line.key);
    const std::size_t at = key.rfind(u'@');
    if (!line.counts || at == std::u16string_view::npos || key.substr(at + 1) != facet) continue;
    const auto entry = byName_.find(key.substr(0, at));
    if (entry != byName_.end()) (this->*judge)(entries_[entry->second], line);
  }
}

void PropertiesSchema::Entries::judgeType(Entry& entry, const Property& line) {
  if (typeNamed(trimmed(line.value)) == nullptr) {
    addFault("schema-type-unknown", line, {entry.name, line.value});
  }
}

void PropertiesSchema::Entries::judgeRange(Entry& entry, const Property& line) {
  const std::int32_t dots = entry.rangeText.indexOf(u"..");
  Range range;
  if (dots >= 0) {
    range = {trimmed(entry.rangeText.tempSubStringBetween(0, dots)),
             trimmed(entry.rangeText.tempSubString(dots + 2))};
  }
  const auto isBound = [&](const icu::UnicodeString& bound) {
    return bound.isEmpty() || entry.type->judge(bound, Range()) == Verdict::accepted;
  };
  if (dots < 0 || !entry.type->isNumber || !isBound(range.low) || !isBound(range.high)) {
    addFault("schema-range-malformed", line, {entry.name, line.value});
    entry.rangeText.remove();
  } else {
    entry.range = range;
  }
}

void PropertiesSchema::Entries::judgeDefault(Entry& entry, const Property& line) {
  if (entry.judge(line.value) == Verdict::accepted && entry.isListed(line.value)) return;
  addFault("schema-default-refused", line, {entry.name, line.value});
}

void PropertiesSchema::Entries::judgeSuccessor(Entry& entry, const Property& line) {
  if (entry.successor->isEmpty() || byName_.contains(text::unitsOf(*entry.successor))) return;
  addFault("schema-successor-unknown", line, {entry.name, *entry.successor});
}

// --- check

const Entry* PropertiesSchema::Entries::entryOf(std::u16string_view key) const {
  const auto exact = byName_.find(key);
  if (exact != byName_.end()) return &entries_[exact->second];
  const auto pattern = std::find_if(patterns_.begin(), patterns_.end(),
                                    [&](std::size_t index) { return entries_[index].matches(key); });
  return pattern == patterns_.end() ? nullptr : &entries_[*pattern];
}

std::vector<PropertyFinding> PropertiesSchema::Entries::check(const PropertiesReport& settings) const {
  std::vector<PropertyFinding> findings;
  std::size_t pairsLeft = mostPairsOfACheck;
  for (const Property& property : settings.properties()) {
    if (!property.counts) continue;
    const Entry* const entry = entryOf(text::unitsOf(property.key));
    checkKey(entry, property, pairsLeft, findings);
    if (entry != nullptr && property.isResolved) checkValue(*entry, property, findings);
  }
  std::stable_sort(findings.begin(), findings.end(), inOrder);
  return findings;
}

void PropertiesSchema::Entries::checkKey(const Entry* entry, const Property& property, std::size_t& pairsLeft,
                                         std::vector<PropertyFinding>& findings) const {
  const auto add = [&](const char* rule, Message::Level level, std::vector<icu::UnicodeString> arguments) {
    findings.push_back({rule, level, property.line, property.column, std::move(arguments)});
  };
  if (entry == nullptr) {
    if (!unknown_) return;
    const icu::UnicodeString name = suggestions_.find(property.key, pairsLeft);
    if (name.isEmpty()) return add("unknown-key", *unknown_, {property.key});
    add("misspelt-key", *unknown_, {property.key, name});
  } else if (entry->successor) {
    if (entry->successor->isEmpty()) return add("obsolete-key", Message::LEVEL_WARNING, {property.key});
    add("deprecated-key", Message::LEVEL_WARNING, {property.key, *entry->successor});
  }
}

void PropertiesSchema::Entries::checkValue(const Entry& entry, const Property& property,
                                           std::vector<PropertyFinding>& findings) {
  const auto add = [&](const char* rule, const icu::UnicodeString& allowed) {
    findings.push_back({rule,
                        Message::LEVEL_ERROR,
                        property.valueLine,
                        property.valueColumn,
                        {property.key, trimmed(property.resolved), allowed}});
  };
  switch (entry.judge(property.resolved)) {
    case Verdict::wrongType:
      return add("wrong-type", text::textOf(entry.type->name));
    case Verdict::outOfRange:
      return add("out-of-range", entry.rangeText);
    case Verdict::accepted:
      if (!entry.isListed(property.resolved)) add("unlisted-value", text::textOf(entry.valuesText()));
  }
}

icu::UnicodeString PropertiesSchema::Entries::suggest(const icu::UnicodeString& key) const {
  std::size_t pairsLeft = mostPairsOfACheck;
  return suggestions_.find(key, pairsLeft);
}

// --- describe

std::string PropertiesSchema::Entries::sample() const {
  std::string all;
  for (const Entry& entry : entries_) {
    const auto comment = [&](std::u16string_view before, std::u16string_view text) {
      const std::u16string whole = std::u16string(before).append(text);
      for (const std::u16string& line : linesOf(whole)) {
        all += "# " + writtenComment(text::textOf(line)) + '\n';
      }
    };
    if (!all.empty()) all += '\n';
    comment(u"", text::unitsOf(entry.meaning));
    std::u16string type(entry.type->name);
    if (!entry.rangeText.isEmpty()) type.append(u", ").append(text::unitsOf(entry.rangeText));
    comment(u"Type: ", type);
    if (!entry.values.empty()) comment(u"Values: ", entry.valuesText());
    if (entry.successor) {
      comment(entry.successor->isEmpty() ? u"Deprecated" : u"Deprecated: use ",
              text::unitsOf(*entry.successor));
    }
    all += '#' + writtenKey(entry.name) + '=' + writtenValue(entry.defaultValue.value_or(u"")) + '\n';
  }
  return all;
}

icu::UnicodeString PropertiesSchema::Entries::markdown() const {
  std::u16string table = u"| property | type | values | default | meaning |\n|---|---|---|---|---|\n";
  for (const Entry& entry : entries_) {
    std::u16string meaning(text::unitsOf(entry.meaning));
    if (entry.successor) {
      if (!meaning.empty()) meaning += u' ';
      meaning += entry.successor->isEmpty() ? u"Deprecated" : u"Deprecated: use ";
      meaning.append(text::unitsOf(*entry.successor)).append(u".");
    }
    const std::u16string values = entry.valuesText();
    const std::u16string_view range = text::unitsOf(entry.rangeText);
    const icu::UnicodeString defaultValue = entry.defaultValue.value_or(u"");
    for (const std::u16string_view cell : {text::unitsOf(entry.name), std::u16string_view(entry.type->name),
                                           entry.values.empty() ? range : std::u16string_view(values),
                                           text::unitsOf(defaultValue), std::u16string_view(meaning)}) {
      table.append(u"| ").append(inTable(cell)).append(cell.empty() ? u"" : u" ");
    }
    table += u"|\n";
  }
  return text::textOf(table);
}

// --- the schema

PropertiesSchema::PropertiesSchema(const char* data, std::size_t length)
    : entries_(std::make_unique<Entries>(data, length)) {}

PropertiesSchema::~PropertiesSchema() = default;

const std::vector<PropertyFinding>& PropertiesSchema::faults() const {
  return entries_->faults();
}

std::vector<PropertyFinding> PropertiesSchema::check(const PropertiesReport& settings) const {
  return entries_->check(settings);
}

icu::UnicodeString PropertiesSchema::suggest(const icu::UnicodeString& key) const {
  return entries_->suggest(key);
}

std::string PropertiesSchema::sample() const {
  return entries_->sample();
}

icu::UnicodeString PropertiesSchema::markdown() const {
  return entries_->markdown();
}

}  // namespace tarvo::util
