#include "infra/util/kelExtendedProperties.hpp"

#include "infra/oss/kelBaseException.hpp"
#include "infra/oss/kelConverter.hpp"
#include "infra/oss/kelFormatter.hpp"
#include "infra/oss/kelSizeableBuffer.hpp"
#include "infra/util/kelPropertiesException.hpp"

#include "oss/kelRaise.hpp"
#include "text/kelDecimalText.hpp"
#include "text/kelInvariant.hpp"
#include "text/kelMemory.hpp"
#include "text/kelTextUnits.hpp"
#include "util/kelPropertiesText.hpp"
#include "util/kelPropertyLines.hpp"
#include "util/kelPropertyMap.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

U_NAMESPACE_BEGIN

// Declared as in ICU's header for streams. That header also includes <iostream>, which would construct the
// standard streams when the library is loaded.
U_IO_API std::ostream& U_EXPORT2 operator<<(std::ostream& stream, const UnicodeString& text);

U_NAMESPACE_END

namespace tarvo::util {

using oss::Formatter;
using oss::raise;

namespace {

template <class Number>
icu::UnicodeString decimalText(Number value) {
  return text::invariantText(text::DecimalText<Number>(value).view());
}

PropertyLine lineOf(std::u16string_view key, std::u16string_view value) {
  return {key, value, PropertyIndex::hashOf(key), text::holds(value, u'%')};
}

// --- typed values

/// Returns the value that `read` returns, or nothing if it raises an error; the error itself is not used.
template <class Number>
std::optional<Number> attempt(Number (*read)(const icu::UnicodeString&), const icu::UnicodeString& text) {
  try {
    return read(text);
  } catch (const oss::BaseException&) {
    return std::nullopt;
  }
}

// Each type has a function that reads a trimmed text, and one that returns the type word for the error.

struct Boolean {
  static std::optional<bool> read(const icu::UnicodeString& text) {
    constexpr std::array<std::u16string_view, 4> yes = {u"true", u"yes", u"on", u"1"};
    constexpr std::array<std::u16string_view, 4> no = {u"false", u"no", u"off", u"0"};
    const std::u16string_view word = text::unitsOf(text);
    if (std::find(yes.begin(), yes.end(), word) != yes.end()) return true;
    if (std::find(no.begin(), no.end(), word) != no.end()) return false;
    return std::nullopt;
  }
  static const char* wordFor(const icu::UnicodeString& /*text*/) { return "boolean"; }
};

struct Int32 {
  static auto read(const icu::UnicodeString& text) { return attempt(&Formatter::stringToInt32, text); }
  static const char* wordFor(const icu::UnicodeString& /*text*/) { return "integer"; }
};

struct Int64 {
  static auto read(const icu::UnicodeString& text) { return attempt(&Formatter::stringToInt64, text); }
  static const char* wordFor(const icu::UnicodeString& /*text*/) { return "int64"; }
};

// For the unsigned types the word depends on whether the signed type accepts the text.

struct UInt32 {
  static auto read(const icu::UnicodeString& text) { return attempt(&Formatter::stringToUint32, text); }
  static const char* wordFor(const icu::UnicodeString& text) {
    return Int32::read(text) ? "uint32" : "integer";
  }
};

struct UInt64 {
  static auto read(const icu::UnicodeString& text) { return attempt(&Formatter::stringToUint64, text); }
  static const char* wordFor(const icu::UnicodeString& text) {
    return Int64::read(text) ? "uint64" : "longint";
  }
};

struct Double {
  static auto read(const icu::UnicodeString& text) {
    return attempt<double>(&Formatter::stringToDouble, text);
  }
  static const char* wordFor(const icu::UnicodeString& /*text*/) { return "double"; }
};

/// Whether there is no white space at either end, so that no trimmed copy is needed.
bool isTrimmed(const icu::UnicodeString& text) {
  const auto isVisible = [](char16_t unit) { return unit > u' ' && unit < 0x7F; };
  const std::u16string_view units = text::unitsOf(text);
  return !units.empty() && isVisible(units.front()) && isVisible(units.back());
}

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
    raise<PropertiesException>("ERR_PROPERTY_WRONG_TYPE", key, text,
                               text::invariantText(Type::wordFor(text)));
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

// Copies first: if a copy fails, nothing has changed.
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
  if (required) raise<PropertiesException>("ERR_PROPERTY_MISSING", key);
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

/// Stores the lines in key order, so that each property usually comes after the last one of the tree. A line
/// can be as short as two bytes and takes twenty times as much memory here, so their number is limited.
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

/// Replaces references one by one, as if each value were searched from its start after every replacement. It
/// reads each unit only once, since the text before the first "%" does not change any more.
///
/// While references remain in a value, it is in progress: it waits for the values that it refers to. The
/// waiting values are on a separate stack on the heap, not on the thread's. The stored text of a value does
/// not change until the value is complete.
class ExtendedProperties::Resolver {
 public:
  explicit Resolver(PropertyMap& properties) : properties_(properties) {}

  void resolveAll() {
    try {
      for (Property* const property : properties_.referring()) resolve(*property);
    } catch (...) {
      storeProgress();
      throw;
    }
  }

 private:
  using Property = Map::value_type;
  static constexpr std::size_t none = std::u16string_view::npos;

  /// The text after the "%" of a value that keeps one "%". When such a value replaces a reference, its "%"
  /// opens the next reference, and this tail begins the name. The map holds the properties whose names are
  /// the tail and the text after it, by that text. The tail may be long and the text short, so each name is
  /// put together only once.
  using Tail = std::pair<const std::u16string_view, std::map<std::u16string, Property*, std::less<>>>;

  struct Work {
    explicit Work(Property& which) : property(&which) {}

    /// The part that is not read yet. After an open "%" it begins with the name, or with the end of the name.
    std::u16string_view rest() const { return text::unitsOf(property->second).substr(position); }

    Property* property;
    std::u16string done;       ///< the value up to the rest or the open "%", with its replacements
    std::size_t position = 0;  ///< where the rest of the stored value begins
    bool open = false;         ///< whether a "%" is between `done` and the rest
    Tail* opener = nullptr;    ///< the tail that came with the open "%", before the rest
  };

  void resolve(Property& property) {
    const std::u16string_view value = text::unitsOf(property.second);
    const std::size_t first = value.find(u'%');
    if (first == none || value.find(u'%', first + 1) == none) return;
    begin(property);
    while (!underWay_.empty()) step();
  }

  /// Replaces one reference of the last value on the stack, or begins with the value that it refers to.
  void step() {
    Work& work = underWay_.back();
    const std::size_t length = open(work) ? work.rest().find(u'%') : none;
    if (length == none) {
      finish(work);
      return;
    }
    Property& target = referenced(work, work.rest().substr(0, length));
    const std::u16string_view value = text::unitsOf(target.second);
    const std::size_t percent = value.find(u'%');
    Tail* const tail = percent == none ? nullptr : findTail(target, percent);
    if (percent != none && tail == nullptr) {
      begin(target);
      return;
    }
    append(work.done, value.substr(0, percent));
    work.position += length + 1;
    work.open = tail != nullptr;
    work.opener = tail;
  }

  void begin(Property& property) {
    // Cycles are found here, since a value without references is never in progress.
    if (!keysUnderWay_.insert(&property).second) {
      raise<PropertiesException>("ERR_PROPERTIES_CYCLIC_REFERENCE", property.first);
    }
    underWay_.emplace_back(property);
  }

  void finish(Work& work) {
    store(work);
    keysUnderWay_.erase(work.property);
    underWay_.pop_back();
  }

  /// Throws before the text would exceed ICU's maximum length.
  static void append(std::u16string& text, std::u16string_view more) {
    if (text.size() + more.size() > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max()))
      throw std::bad_alloc();
    text.append(more);
  }

  /// Moves past the next "%" unless one is open. Returns false if the rest contains no "%".
  static bool open(Work& work) {
    if (work.open) return true;
    const std::size_t percent = work.rest().find(u'%');
    if (percent == none) return false;
    append(work.done, work.rest().substr(0, percent));
    work.position += percent + 1;
    work.open = true;
    return true;
  }

  /// Returns null if the value has a second "%" after this one.
  Tail* findTail(const Property& property, std::size_t percent) {
    const auto known = tailOf_.find(&property);
    if (known != tailOf_.end()) return known->second;
    const std::u16string_view text = text::unitsOf(property.second).substr(percent + 1);
    if (text.find(u'%') != none) return nullptr;
    Tail& tail = *tails_.try_emplace(text).first;
    return tailOf_.emplace(&property, &tail).first->second;
  }

  Property& referenced(const Work& work, std::u16string_view name) {
    if (work.opener == nullptr) return find(work, name);
    auto& named = work.opener->second;
    const auto known = named.find(name);
    if (known != named.end()) return *known->second;
    std::u16string whole(work.opener->first);
    append(whole, name);
    Property& found = find(work, whole);
    named.emplace(name, &found);
    return found;
  }

  Property& find(const Work& work, std::u16string_view name) const {
    Property* const found = properties_.find(name);
    if (found == nullptr) {
      raise<PropertiesException>("ERR_PROPERTIES_BAD_REFERENCE", work.property->first, text::textOf(name));
    }
    return *found;
  }

  /// Stores the value with its replacements so far. After std::bad_alloc it may be called again.
  static void store(Work& work) {
    if (work.open) append(work.done, u"%");
    work.open = false;
    if (work.opener != nullptr) append(work.done, work.opener->first);
    work.opener = nullptr;
    const std::u16string_view rest = work.rest();
    append(work.done, rest);
    work.position += rest.size();
    work.property->second = text::textOf(work.done);
  }

  /// Replacements made before an error stay.
  void storeProgress() {
    for (Work& work : underWay_) store(work);
  }

  PropertyMap& properties_;
  std::vector<Work> underWay_;
  std::unordered_set<const Property*> keysUnderWay_;
  std::map<Tail::first_type, Tail::second_type> tails_;
  std::unordered_map<const Property*, Tail*> tailOf_;
};

void ExtendedProperties::resolveReferences() {
  Resolver(*properties_).resolveAll();
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
  for (const auto& [key, value] : *properties_) out << key << '=' << value << std::endl;
}

}  // namespace tarvo::util
