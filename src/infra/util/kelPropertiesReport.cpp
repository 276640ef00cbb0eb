#include "infra/util/kelPropertiesReport.hpp"

#include "infra/util/kelExtendedProperties.hpp"

#include "text/kelDecimalText.hpp"
#include "text/kelInvariant.hpp"
#include "text/kelTextUnits.hpp"
#include "util/kelLineStarts.hpp"
#include "util/kelPropertiesText.hpp"
#include "util/kelPropertyReferences.hpp"

#include <algorithm>
#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <utility>

namespace tarvo::util {

namespace {

using oss::Message;

constexpr std::size_t mostInsertedUnits = std::size_t{1} << 24U;

icu::UnicodeString decimalText(std::size_t number) {
  return text::invariantText(text::DecimalText<std::size_t>(number).view());
}

/// A "%" in a value that begins no reference, or that begins a reference that cannot be resolved.
struct Percent {
  std::size_t property;
  std::size_t unit;  ///< the number of units of the value before it
  const PropertyReferences::Fault* fault = nullptr;
};

/// Returns the position of the first byte of the text that stands for a unit of a line's value. `unit` is the
/// number of units before that unit in the key and the value together.
std::size_t byteOf(std::size_t unit, std::size_t keyUnits, std::size_t value,
                   const std::vector<PropertyEscape>& escapes) {
  const auto after = std::partition_point(escapes.begin(), escapes.end(),
                                          [&](const PropertyEscape& escape) { return escape.unit <= unit; });
  if (after == escapes.begin() || (after - 1)->at < value) return value + (unit - keyUnits);
  const PropertyEscape& escape = *(after - 1);
  return unit < escape.unitEnd ? escape.at : escape.end + (unit - escape.unitEnd);
}

/// Reads a text and collects the findings and properties of the report.
class Reader {
 public:
  Reader(const char* data, std::size_t length) : data_(data, length), places_(data_) {}

  void read();
  void checkReferences();
  void checkValues();

  std::vector<PropertyFinding> takeFindings();
  std::vector<PropertiesReport::Property> takeProperties() { return std::move(properties_); }

 private:
  void add(const char* rule, Message::Level level, std::size_t offset,
           std::vector<icu::UnicodeString> arguments);
  void checkEscape(const PropertyEscape& escape);
  void addProperty(const PropertiesReader& reader, std::size_t start);
  void checkDuplicates();
  void addPercents(std::vector<Percent> percents);

  std::string_view data_;
  LineStarts places_;
  std::vector<PropertyFinding> findings_;
  std::vector<PropertiesReport::Property> properties_;
  std::vector<std::pair<std::size_t, std::size_t>> lines_;         ///< start and end of each property's line
  std::map<std::u16string_view, std::size_t, text::Less> lastOf_;  ///< the property that counts
};

void Reader::add(const char* rule, Message::Level level, std::size_t offset,
                 std::vector<icu::UnicodeString> arguments) {
  const LineStarts::Position place = places_[offset];
  findings_.push_back({rule, level, place.line, place.column, std::move(arguments)});
}

void Reader::read() {
  PropertiesReader reader(data_.data(), data_.size(), 0);
  std::vector<PropertyEscape> escapes;
  reader.noteEscapes(escapes);
  for (std::size_t start = 0; reader.readLine(); start = reader.position()) {
    if (!reader.hasProperty()) continue;
    addProperty(reader, start);
    for (const PropertyEscape& escape : escapes) checkEscape(escape);
  }
  checkDuplicates();
}

void Reader::addProperty(const PropertiesReader& reader, std::size_t start) {
  const LineStarts::Position key = places_[reader.bytes().key];
  const LineStarts::Position value = places_[reader.bytes().value];
  PropertiesReport::Property property;
  property.key = text::textOf(reader.key());
  property.value = text::textOf(reader.value());
  property.counts = false;
  property.isResolved = false;
  std::tie(property.line, property.column) = std::pair(key.line, key.column);
  std::tie(property.valueLine, property.valueColumn) = std::pair(value.line, value.column);
  properties_.push_back(std::move(property));
  lines_.emplace_back(start, reader.position());
}

void Reader::checkEscape(const PropertyEscape& escape) {
  constexpr std::size_t mostDigits = 4;
  const std::size_t afterU = escape.at + 2;
  if (escape.end != afterU || data_[escape.at + 1] != 'u') return;
  std::size_t digits = 0;
  unsigned int unit = 0;
  for (; digits < mostDigits && afterU + digits < data_.size(); ++digits) {
    const unsigned int digit = hexDigit(static_cast<unsigned char>(data_[afterU + digits]));
    if (digit == noDigit) break;
    unit = unit << 4U | digit;
  }
  const char* rule = "escape-malformed";
  if (digits == mostDigits) rule = isReadFromEscape(unit) ? "escape-at-end" : "escape-not-character";
  add(rule, Message::LEVEL_ERROR, escape.at, {text::invariantText(data_.substr(escape.at, 2 + digits))});
}

void Reader::checkDuplicates() {
  for (std::size_t i = properties_.size(); i > 0; --i) {
    PropertiesReport::Property& property = properties_[i - 1];
    const auto [last, counts] = lastOf_.try_emplace(text::unitsOf(property.key), i - 1);
    property.counts = counts;
    if (counts) continue;
    const PropertiesReport::Property& other = properties_[last->second];
    findings_.push_back({"duplicate-key",
                         Message::LEVEL_WARNING,
                         property.line,
                         property.column,
                         {property.key, decimalText(other.line), decimalText(other.column)}});
  }
}

void Reader::checkReferences() {
  ExtendedProperties resolved;
  resolved.load(data_.data(), data_.size(), false);
  PropertyReferences references;
  references.resolve(resolved, mostInsertedUnits);

  std::vector<Percent> percents;
  std::unordered_map<const PropertyReferences::Property*, std::size_t> indexOf;
  auto last = lastOf_.begin();  // the properties of `resolved`, in the same order
  for (const auto& entry : resolved) {
    const std::size_t index = (last++)->second;
    indexOf.emplace(&entry, index);
    PropertiesReport::Property& property = properties_[index];
    const std::u16string_view value = text::unitsOf(property.value);
    const auto count = std::count(value.begin(), value.end(), u'%');
    if (count == 1) percents.push_back({index, value.find(u'%')});
    property.resolved = entry.second;
    property.isResolved =
        !references.affected.contains(&entry) && (count < 2 || references.stoppedAt == nullptr);
  }
  for (const auto& fault : references.faults) {
    percents.push_back({indexOf.at(fault.place.property), fault.place.unit, &fault});
  }
  for (const auto& place : references.lonePercents) {
    percents.push_back({indexOf.at(place.property), place.unit});
  }
  if (references.stoppedAt != nullptr) {
    const PropertiesReport::Property& property = properties_[indexOf.at(references.stoppedAt)];
    findings_.push_back(
        {"references-too-long", Message::LEVEL_ERROR, property.line, property.column, {property.key}});
  }
  addPercents(std::move(percents));
}

/// Reads each line with such a "%" again, to find the byte positions of the "%".
void Reader::addPercents(std::vector<Percent> percents) {
  std::sort(percents.begin(), percents.end(), [](const Percent& left, const Percent& right) {
    return std::tie(left.property, left.unit) < std::tie(right.property, right.unit);
  });
  std::vector<PropertyEscape> escapes;
  std::size_t value = 0;
  std::size_t before = properties_.size();
  for (const Percent& percent : percents) {
    const PropertiesReport::Property& property = properties_[percent.property];
    if (percent.property != before) {
      const auto [start, end] = lines_[percent.property];
      PropertiesReader reader(data_.data(), end, start);
      reader.noteEscapes(escapes);
      reader.readLine();
      value = reader.bytes().value;
      before = percent.property;
    }
    const auto keyUnits = static_cast<std::size_t>(property.key.length());
    const std::size_t offset = byteOf(keyUnits + percent.unit, keyUnits, value, escapes);
    if (percent.fault == nullptr) {
      add("lone-percent", Message::LEVEL_WARNING, offset, {property.key});
    } else {
      add(percent.fault->isCycle ? "reference-cyclic" : "reference-missing", Message::LEVEL_ERROR, offset,
          {property.key, percent.fault->name});
    }
  }
}

void Reader::checkValues() {
  for (const PropertiesReport::Property& property : properties_) {
    if (!property.counts || ExtendedProperties::roundTrips(property.key, property.value, false)) continue;
    findings_.push_back({"value-not-saved",
                         Message::LEVEL_WARNING,
                         property.valueLine,
                         property.valueColumn,
                         {property.key}});
  }
}

std::vector<PropertyFinding> Reader::takeFindings() {
  std::stable_sort(findings_.begin(), findings_.end(), [](const auto& left, const auto& right) {
    return std::tie(left.line, left.column) < std::tie(right.line, right.column);
  });
  return std::move(findings_);
}

}  // namespace

PropertiesReport::PropertiesReport(const char* data, std::size_t length) {
  Reader reader(data == nullptr ? "" : data, data == nullptr ? 0 : length);
  reader.read();
  reader.checkReferences();
  reader.checkValues();
  findings_ = reader.takeFindings();
  properties_ = reader.takeProperties();
}

PropertiesReport::PropertiesReport(const PropertiesReport& other) = default;
PropertiesReport& PropertiesReport::operator=(const PropertiesReport& other) = default;
PropertiesReport::~PropertiesReport() = default;

const std::vector<PropertyFinding>& PropertiesReport::findings() const {
  return findings_;
}

const std::vector<PropertiesReport::Property>& PropertiesReport::properties() const {
  return properties_;
}

}  // namespace tarvo::util
