#include "util/kelPropertyMap.hpp"

#include "util/kelTextUnits.hpp"

#include <algorithm>
#include <cstring>
#include <new>
#include <tuple>
#include <utility>

namespace tarvo::util {

namespace {

bool mayRefer(const icu::UnicodeString& value) {
  return unitsOf(value).find(u'%') != std::u16string_view::npos;
}

/// An odd factor carries each bit to all higher ones; the shift takes those down again.
constexpr std::uint64_t factor = 0x9E37'79B9'7F4A'7C15;

std::uint64_t mixed(std::uint64_t hash, std::uint64_t word) noexcept {
  const std::uint64_t product = (hash ^ word) * factor;
  return product ^ (product >> 32U);
}

}  // namespace

// --- the index

PropertyIndex::Hash PropertyIndex::hashOf(std::u16string_view key) noexcept {
  const std::size_t size = key.size();
  std::uint64_t hash = mixed(size, 0);
  if (size < wordUnits) {
    for (const char16_t unit : key) hash = mixed(hash, unit);
  } else {
    // The last word may hold units of the one before again.
    for (std::size_t i = 0; i + wordUnits < size; i += wordUnits) hash = mixed(hash, wordAt(key.data() + i));
    hash = mixed(hash, wordAt(key.data() + size - wordUnits));
  }
  return static_cast<Hash>((hash * factor) >> 32U);
}

constexpr std::size_t least = 8;

// Between a third and a half of the places are used: rebuilt when there is no room, each property is moved a
// bounded number of times.
PropertyIndex::PropertyIndex(std::size_t count) : home_(3 * std::max(count, least)) {
  places_.resize(home_ + reach);
}

PropertyIndex::Answer PropertyIndex::find(Hash hash, std::u16string_view key) const noexcept {
  if (home_ == 0) return {nullptr, true};
  const Place* place = places_.data() + homeOf(hash);
  for (const Place* const end = place + reach; place != end; ++place) {
    if (!place->used) return {nullptr, true};
    if (place->hash != hash || place->property == nullptr) continue;
    const std::u16string_view stored = unitsOf(place->property->first);
    if (stored.size() == key.size() &&
        (key.empty() ||  // then there may be no units to point to
         std::memcmp(stored.data(), key.data(), key.size() * sizeof(char16_t)) == 0)) {
      return {place, true};
    }
  }
  return {nullptr, false};
}

void PropertyIndex::add(Hash hash, Property& property, bool refers) noexcept {
  Place* const first = places_.data() + homeOf(hash);
  Place* const place =
      std::find_if(first, first + reach, [](const Place& one) { return one.property == nullptr; });
  if (place == first + reach) {
    complete_ = false;
    return;
  }
  if (!place->used) ++used_;
  *place = {&property, hash, true, refers};
}

// --- the map

bool ExtendedProperties::KeyOrder::precedes(std::u16string_view left, std::u16string_view right) noexcept {
  return isLess(left, right);
}

ExtendedProperties::PropertyMap::PropertyMap(const PropertyMap& other) : map_(other.map_) {
  rebuildIndex(0);
}

void ExtendedProperties::PropertyMap::rebuildIndex(std::size_t more) {
  PropertyIndex index(map_.size() + more);
  for (Property& property : map_) {
    index.add(PropertyIndex::hashOf(unitsOf(property.first)), property, mayRefer(property.second));
  }
  index_ = std::move(index);
}

void ExtendedProperties::PropertyMap::reserve(std::size_t more) {
  if (!index_.hasRoom(more)) rebuildIndex(more);
}

ExtendedProperties::PropertyMap::Found ExtendedProperties::PropertyMap::search(
    PropertyIndex::Hash hash, std::u16string_view key) const {
  const auto [place, certain] = index_.find(hash, key);
  if (place != nullptr) return {place->property, place};
  if (certain) return {nullptr, nullptr};
  const auto found = map_.find(key);
  if (found == map_.end()) return {nullptr, nullptr};
  return {const_cast<Property*>(&*found), nullptr};  // as the index has it: those who ask say who may write
}

void ExtendedProperties::PropertyMap::store(icu::UnicodeString key, icu::UnicodeString value) {
  const bool refers = mayRefer(value);
  const PropertyIndex::Hash hash = PropertyIndex::hashOf(unitsOf(key));
  const auto [property, place] = search(hash, unitsOf(key));
  if (property != nullptr) {
    property->second = std::move(value);
    if (place != nullptr) index_.noteValue(*place, refers);
    return;
  }
  reserve(1);
  // The end is tried first.
  const auto added = map_.emplace_hint(map_.cend(), std::move(key), std::move(value));
  index_.add(hash, *added, refers);
}

/// Texts and places lie anywhere in memory once the lines are sorted: asked for some lines ahead, they come while
/// others are stored.
void ExtendedProperties::PropertyMap::store(const std::vector<PropertyLine>& lines) {
  constexpr std::size_t ahead = 8;
  reserve(lines.size());
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (i + ahead < lines.size()) {
      const PropertyLine& next = lines[i + ahead];
      index_.announce(next.hash);
      __builtin_prefetch(next.key.data());
      __builtin_prefetch(next.value.data());
    }
    store(lines[i]);
  }
}

void ExtendedProperties::PropertyMap::store(const PropertyLine& line) {
  const auto [property, place] = search(line.hash, line.key);
  if (property == nullptr) {
    index_.add(line.hash, *insert(line), line.refers);
    return;
  }
  property->second = textOf(line.value);
  if (place != nullptr) index_.noteValue(*place, line.refers);
}

/// The texts are made where they stay: a string takes as long to move as to make. The end is tried first.
ExtendedProperties::Map::iterator ExtendedProperties::PropertyMap::insert(const PropertyLine& line) {
  const std::int32_t keyLength = lengthOf(line.key);
  const std::int32_t valueLength = lengthOf(line.value);
  const std::size_t before = map_.size();
  const auto added = map_.emplace_hint(map_.cend(), std::piecewise_construct,
                                       std::forward_as_tuple(line.key.data(), keyLength),
                                       std::forward_as_tuple(line.value.data(), valueLength));
  if (added->first.length() != keyLength || added->second.length() != valueLength) {
    // There was no memory for the text. Such a key is taken for the empty one, which may have been there.
    if (map_.size() != before) map_.erase(added);
    throw std::bad_alloc();
  }
  return added;
}

bool ExtendedProperties::PropertyMap::remove(std::u16string_view key) {
  const auto found = map_.find(key);
  if (found == map_.end()) return false;
  const PropertyIndex::Place* const place = index_.find(PropertyIndex::hashOf(key), key).place;
  if (place != nullptr) index_.remove(*place);
  map_.erase(found);
  return true;
}

std::vector<ExtendedProperties::PropertyMap::Property*> ExtendedProperties::PropertyMap::referring() {
  std::vector<Property*> properties;
  // Few are sorted sooner than all values are searched.
  const std::size_t few = map_.size() / 16;
  if (index_.isComplete()) {
    for (const PropertyIndex::Place& place : index_.places()) {
      if (place.property == nullptr || !place.refers) continue;
      if (properties.size() > few) break;
      properties.push_back(place.property);
    }
  }
  if (!index_.isComplete() || properties.size() > few) {
    properties.clear();
    for (Property& property : map_) {
      if (mayRefer(property.second)) properties.push_back(&property);
    }
    return properties;
  }
  std::sort(properties.begin(), properties.end(), [](const Property* left, const Property* right) {
    return KeyOrder()(left->first, right->first);
  });
  return properties;
}

}  // namespace tarvo::util
