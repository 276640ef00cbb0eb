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

#include <cstdint>
#include <map>
#include <memory>
#include <new>
#include <ostream>
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

// Both copies are made first, so that nothing has changed if a copy fails.
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

/// Stores the lines in key order, so that each property usually comes after the last one in the tree. The
/// lines are processed in batches of limited size: a line can be as short as two bytes, and a line in a batch
/// takes twenty times as much memory.
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
