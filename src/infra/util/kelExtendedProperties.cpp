#include "infra/util/kelExtendedProperties.hpp"

#include "infra/oss/kelConverter.hpp"
#include "infra/oss/kelSizeableBuffer.hpp"
#include "infra/util/kelPropertiesException.hpp"

#include "oss/kelRaise.hpp"
#include "platform/kelStandardLibrary.hpp"
#include "text/kelDecimalText.hpp"
#include "text/kelInvariant.hpp"
#include "text/kelTextUnits.hpp"
#include "util/kelPropertiesText.hpp"
#include "util/kelPropertyLines.hpp"
#include "util/kelPropertyMap.hpp"
#include "util/kelPropertyReferences.hpp"
#include "util/kelPropertyTypes.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <new>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace tarvo::util {

using oss::raise;
namespace errors = oss::errors;

namespace {

template <class Number>
icu::UnicodeString decimalText(Number value) {
  return text::invariantText(text::DecimalText<Number>(value).view());
}

PropertyLine lineOf(std::u16string_view key, std::u16string_view value) {
  return {key, value, PropertyIndex::hashOf(key), text::holds(value, u'%')};
}

// --- typed values

template <class Type>
auto typedValue(const icu::UnicodeString& key, const icu::UnicodeString& stored) {
  icu::UnicodeString copy;
  if (!isTrimmed(stored)) {
    copy = stored;
    if (copy.trim().isBogus() && !stored.isBogus()) throw std::bad_alloc();
  }
  const icu::UnicodeString& text = isTrimmed(stored) ? stored : copy;
  const auto value = Type::read(text);
  if (!value) {
    raise<PropertiesException>(errors::ERR_PROPERTY_WRONG_TYPE, errors::Name{key}, errors::Text{text},
                               errors::Name{text::invariantText(Type::wordFor(text))});
  }
  return *value;
}

template <class Type, class Value>
Value typedValueOr(const icu::UnicodeString& key, const icu::UnicodeString* stored, Value defaultValue) {
  return stored == nullptr ? defaultValue : static_cast<Value>(typedValue<Type>(key, *stored));
}

// --- texts that are read back

/// The character that begins an escape of `escapeText`. `save` writes this character unchanged.
constexpr char16_t escapeMark = u'~';

bool areReadBack(std::u16string_view units) {
  return std::all_of(units.begin(), units.end(), isReadFromEscape);
}

}  // namespace

// --- construct

ExtendedProperties::ExtendedProperties() : properties_(std::make_unique<PropertyMap>()) {}
ExtendedProperties::ExtendedProperties(const ExtendedProperties& other)
    : properties_(std::make_unique<PropertyMap>(*other.properties_)), includes_(other.includes_) {}
ExtendedProperties::~ExtendedProperties() = default;

ExtendedProperties& ExtendedProperties::operator=(const ExtendedProperties& other) {
  copy(other);
  return *this;
}

// The function makes both copies first, so that this object has not changed if a copy fails.
void ExtendedProperties::copy(const ExtendedProperties& other) {
  if (this == &other) return;
  auto properties = std::make_unique<PropertyMap>(*other.properties_);
  std::list<icu::UnicodeString> includes = other.includes_;
  properties_.swap(properties);
  includes_.swap(includes);
}

// --- ask

const icu::UnicodeString* ExtendedProperties::findProperty(const icu::UnicodeString& key,
                                                           const icu::UnicodeString* defaultValue,
                                                           bool required) const {
  const PropertyMap::Property* const found = std::as_const(*properties_).find(text::unitsOf(key));
  if (found != nullptr) return &found->second;
  if (required) raise<PropertiesException>(errors::ERR_PROPERTY_MISSING, errors::Name{key});
  return defaultValue;
}

const icu::UnicodeString& ExtendedProperties::getProperty(const icu::UnicodeString& key,
                                                          const icu::UnicodeString& defaultValue) const {
  return *findProperty(key, &defaultValue, false);
}

const icu::UnicodeString& ExtendedProperties::requireProperty(const icu::UnicodeString& key) const {
  return *findProperty(key, nullptr, true);
}

bool ExtendedProperties::getPropertyAsBoolean(const icu::UnicodeString& key, bool defaultValue) const {
  return typedValueOr<Boolean>(key, findProperty(key, nullptr, false), defaultValue);
}

std::int32_t ExtendedProperties::getPropertyAsInt32(const icu::UnicodeString& key,
                                                    std::int32_t defaultValue) const {
  return typedValueOr<Int32>(key, findProperty(key, nullptr, false), defaultValue);
}

unsigned int ExtendedProperties::getPropertyAsUInt32(const icu::UnicodeString& key,
                                                     unsigned int defaultValue) const {
  return typedValueOr<UInt32>(key, findProperty(key, nullptr, false), defaultValue);
}

std::int64_t ExtendedProperties::getPropertyAsInt64(const icu::UnicodeString& key,
                                                    std::int64_t defaultValue) const {
  return typedValueOr<Int64>(key, findProperty(key, nullptr, false), defaultValue);
}

std::uint64_t ExtendedProperties::getPropertyAsUint64(const icu::UnicodeString& key,
                                                      std::uint64_t defaultValue) const {
  return typedValueOr<UInt64>(key, findProperty(key, nullptr, false), defaultValue);
}

double ExtendedProperties::getPropertyAsDouble(const icu::UnicodeString& key, double defaultValue) const {
  return typedValueOr<Double>(key, findProperty(key, nullptr, false), defaultValue);
}

bool ExtendedProperties::requirePropertyAsBoolean(const icu::UnicodeString& key) const {
  return typedValue<Boolean>(key, requireProperty(key));
}

std::int32_t ExtendedProperties::requirePropertyAsInt32(const icu::UnicodeString& key) const {
  return typedValue<Int32>(key, requireProperty(key));
}

unsigned int ExtendedProperties::requirePropertyAsUInt32(const icu::UnicodeString& key) const {
  return typedValue<UInt32>(key, requireProperty(key));
}

std::int64_t ExtendedProperties::requirePropertyAsInt64(const icu::UnicodeString& key) const {
  return typedValue<Int64>(key, requireProperty(key));
}

std::uint64_t ExtendedProperties::requirePropertyAsUint64(const icu::UnicodeString& key) const {
  return typedValue<UInt64>(key, requireProperty(key));
}

double ExtendedProperties::requirePropertyAsDouble(const icu::UnicodeString& key) const {
  return typedValue<Double>(key, requireProperty(key));
}

std::int32_t ExtendedProperties::getPropertyAsCheckedInt32(const icu::UnicodeString& key,
                                                           std::int32_t defaultValue) const {
  return typedValueOr<Checked<Int32>>(key, findProperty(key, nullptr, false), defaultValue);
}

unsigned int ExtendedProperties::getPropertyAsCheckedUInt32(const icu::UnicodeString& key,
                                                            unsigned int defaultValue) const {
  return typedValueOr<Checked<UInt32>>(key, findProperty(key, nullptr, false), defaultValue);
}

std::int64_t ExtendedProperties::getPropertyAsCheckedInt64(const icu::UnicodeString& key,
                                                           std::int64_t defaultValue) const {
  return typedValueOr<Checked<Int64>>(key, findProperty(key, nullptr, false), defaultValue);
}

std::uint64_t ExtendedProperties::getPropertyAsCheckedUint64(const icu::UnicodeString& key,
                                                             std::uint64_t defaultValue) const {
  return typedValueOr<Checked<UInt64>>(key, findProperty(key, nullptr, false), defaultValue);
}

std::int32_t ExtendedProperties::requirePropertyAsCheckedInt32(const icu::UnicodeString& key) const {
  return typedValue<Checked<Int32>>(key, requireProperty(key));
}

unsigned int ExtendedProperties::requirePropertyAsCheckedUInt32(const icu::UnicodeString& key) const {
  return typedValue<Checked<UInt32>>(key, requireProperty(key));
}

std::int64_t ExtendedProperties::requirePropertyAsCheckedInt64(const icu::UnicodeString& key) const {
  return typedValue<Checked<Int64>>(key, requireProperty(key));
}

std::uint64_t ExtendedProperties::requirePropertyAsCheckedUint64(const icu::UnicodeString& key) const {
  return typedValue<Checked<UInt64>>(key, requireProperty(key));
}

// --- change

void ExtendedProperties::putProperty(const icu::UnicodeString& key, const icu::UnicodeString& value) {
  properties_->store(text::copied(key), text::copied(value));
}

void ExtendedProperties::putPropertyAsInt32(const icu::UnicodeString& key, std::int32_t value) {
  properties_->store(text::copied(key), decimalText(value));
}

void ExtendedProperties::putPropertyAsUint32(const icu::UnicodeString& key, unsigned int value) {
  properties_->store(text::copied(key), decimalText(value));
}

void ExtendedProperties::putPropertyAsInt64(const icu::UnicodeString& key, std::int64_t value) {
  properties_->store(text::copied(key), decimalText(value));
}

void ExtendedProperties::putPropertyAsUint64(const icu::UnicodeString& key, std::uint64_t value) {
  properties_->store(text::copied(key), decimalText(value));
}

std::int32_t ExtendedProperties::removeProperty(const icu::UnicodeString& key) {
  return properties_->remove(text::unitsOf(key)) ? 1 : 0;
}

void ExtendedProperties::addInclude(const icu::UnicodeString& name) {
  includes_.push_back(text::copied(name));
}

// --- iterate

ExtendedProperties::iterator ExtendedProperties::begin() const {
  return properties_->begin();
}

ExtendedProperties::iterator ExtendedProperties::end() const {
  return properties_->end();
}

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): programs depend on this signature
const icu::UnicodeString& ExtendedProperties::get(const iterator& it) const {
  return it->first;
}

// --- load

/// Stores the lines in key order, so that each new property usually comes after the last property in the
/// tree. The lines are processed in batches of limited size. A line can be as short as two bytes, but takes
/// twenty times as much memory in a batch.
void ExtendedProperties::storeLines(const char* data, std::size_t length) {
  constexpr std::size_t mostAtOnce = std::size_t{1} << 18U;
  PropertiesReader reader(data, data == nullptr ? 0 : length, 0);
  reader.keepTexts();
  std::vector<PropertyLine> lines;
  for (bool more = true; more;) {
    lines.clear();
    while (more && lines.size() < mostAtOnce) {
      more = reader.readLine();
      if (reader.hasProperty()) lines.push_back(lineOf(reader.key(), reader.value()));
    }
    sortByKey(lines);
    keepLastOfEachKey(lines);
    properties_->store(lines);
  }
}

void ExtendedProperties::load(const char* data, std::size_t length, bool resolveReferences) {
  storeLines(data, length);
  if (resolveReferences) this->resolveReferences();
}

void ExtendedProperties::load(const char* data, std::size_t length) {
  load(data, length, true);
}

void ExtendedProperties::load(const icu::UnicodeString& text) {
  oss::SizeableBuffer<char, 512> bytes;
  const std::size_t count = oss::Converter::convertToBytes(text, "ISO8859_1", bytes);
  load(bytes.data(), count, true);
}

bool ExtendedProperties::parseLine(std::size_t& position, const char* data, std::size_t length) {
  PropertiesReader reader(data, data == nullptr ? 0 : length, position);
  if (!reader.readLine()) return false;
  if (reader.hasProperty()) properties_->store(text::textOf(reader.key()), text::textOf(reader.value()));
  position = reader.position();
  return true;
}

// --- references

void ExtendedProperties::resolveReferences() {
  const Resolver::Fault fault = Resolver(*properties_).resolveAll();
  if (fault.key == nullptr) return;
  if (!fault.name)
    raise<PropertiesException>(errors::ERR_PROPERTIES_CYCLIC_REFERENCE, errors::Name{*fault.key});
  raise<PropertiesException>(errors::ERR_PROPERTIES_BAD_REFERENCE, errors::Name{*fault.key},
                             errors::Name{*fault.name});
}

// --- save

void ExtendedProperties::save(oss::OutputStream& out) const {
  PropertiesWriter writer(out);
  writer.writeHeader();
  for (const icu::UnicodeString& name : includes_) writer.writeInclude(name);
  for (const auto& [key, value] : *properties_) writer.writeProperty(key, value);
  out.flush();
}

bool ExtendedProperties::roundTrips(const icu::UnicodeString& key, const icu::UnicodeString& value,
                                    bool resolveReferences) {
  if (key.isBogus() || value.isBogus()) return false;
  const std::u16string_view units = text::unitsOf(value);
  if (!areReadBack(text::unitsOf(key)) || !areReadBack(units) || units.starts_with(u' ')) return false;
  return !resolveReferences || std::count(units.begin(), units.end(), u'%') < 2;
}

bool ExtendedProperties::roundTrips(const icu::UnicodeString& key, const icu::UnicodeString& value) {
  return roundTrips(key, value, true);
}

icu::UnicodeString ExtendedProperties::escapeText(const icu::UnicodeString& text) {
  constexpr std::u16string_view digits = u"0123456789ABCDEF";
  std::u16string escaped;
  for (const char16_t unit : text::unitsOf(text)) {
    const bool isPlain = isReadFromEscape(unit) && unit != u'%' && unit != escapeMark;
    if (isPlain && (unit != u' ' || !escaped.empty())) {
      escaped += unit;
      continue;
    }
    escaped += escapeMark;
    for (unsigned int divisor = 0x1000; divisor > 0; divisor /= 16) escaped += digits[unit / divisor % 16];
  }
  return text::textOf(escaped);
}

bool ExtendedProperties::unescapeText(const icu::UnicodeString& escaped, icu::UnicodeString& text) {
  constexpr std::size_t escapeDigits = 4;
  std::u16string restored;
  const std::u16string_view units = text::unitsOf(escaped);
  for (std::size_t i = 0; i < units.size(); ++i) {
    if (units[i] != escapeMark) {
      restored += units[i];
      continue;
    }
    const std::u16string_view digits = units.substr(i + 1, escapeDigits);
    unsigned int unit = 0;
    for (const char16_t digit : digits) {
      if (hexDigit(digit) == noDigit) return false;
      unit = unit << 4U | hexDigit(digit);
    }
    if (digits.size() < escapeDigits) return false;
    restored += static_cast<char16_t>(unit);
    i += escapeDigits;
  }
  text = text::textOf(restored);
  return true;
}

void ExtendedProperties::list(std::ostream& out) const {
  out << "-- listing properties --" << std::endl;
  for (const auto& [key, value] : *properties_) {
    platform::print(out, key);
    out << '=';
    platform::print(out, value);
    out << std::endl;
  }
}

}  // namespace tarvo::util
