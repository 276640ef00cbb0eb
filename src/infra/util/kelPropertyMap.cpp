#include "util/kelPropertyMap.hpp"

#include "machine/kelWideProduct.hpp"
#include "platform/kelStandardLibrary.hpp"
#include "text/kelTextUnits.hpp"

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>
#include <tuple>
#include <utility>

namespace tarvo::util {

namespace {

bool mayRefer(const icu::UnicodeString& value) {
  return text::holds(text::unitsOf(value), u'%');
}

/// Multiplies two numbers and combines both halves of the product. One half of the product is not sufficient:
/// its lower bits do not depend on the upper bits of the factors, and its upper bits depend little on the
/// lower bits of the factors.
std::uint64_t folded(std::uint64_t left, std::uint64_t right) noexcept {
  const auto [lower, upper] = machine::multiplied(left, right);
  return lower ^ upper;
}

// The factors of the hash function: arbitrary numbers whose bits have no pattern.
constexpr std::uint64_t saltOfFirst = 0x9E37'79B9'7F4A'7C15;
constexpr std::uint64_t saltOfSecond = 0xD1B5'4A32'D192'ED03;

std::uint64_t foldedWords(std::uint64_t one, std::uint64_t next) noexcept {
  return folded(one ^ saltOfFirst, next ^ saltOfSecond);
}

/// Does the same as `wordAt` for fewer units than fit into a word.
std::uint64_t shortWordOf(std::u16string_view units) noexcept {
  std::uint64_t word = 0;
  for (const char16_t unit : units) word = word << 16U | unit;
  return word;
}

}  // namespace

// --- the index

/// Computes the hash of a key. The function reads two words at a time; the products of these two words do not
/// depend on each other.
PropertyIndex::Hash PropertyIndex::hashOf(std::u16string_view key) noexcept {
  const std::size_t size = key.size();
  if (size < text::wordUnits) return static_cast<Hash>(foldedWords(shortWordOf(key), size) >> 32U);
  const char16_t* const units = key.data();
  std::uint64_t hash = size;
  const auto take = [&](const char16_t* one, const char16_t* next) {
    hash = std::rotl(hash, 29) ^ foldedWords(text::wordAt(one), text::wordAt(next));
  };
  for (std::size_t i = 0; i + 2 * text::wordUnits < size; i += 2 * text::wordUnits)
    take(units + i, units + i + text::wordUnits);
  // The last two words may overlap earlier words and each other.
  take(units + (size < 2 * text::wordUnits ? 0 : size - 2 * text::wordUnits), units + size - text::wordUnits);
  return static_cast<Hash>(folded(hash, saltOfFirst) >> 32U);
}

constexpr std::size_t least = 8;

// Between a third and a half of the slots of the index are in use. If the index has no room, the map rebuilds
// the index with more slots, so each property is moved only a few times.
PropertyIndex::PropertyIndex(std::size_t count) : home_(3 * std::max(count, least)) {
  places_.resize(home_ + reach);
}

PropertyIndex::Answer PropertyIndex::find(Hash hash, std::u16string_view key) const noexcept {
  if (home_ == 0) return {nullptr, true};
  const Place* place = places_.data() + homeOf(hash);
  for (const Place* const end = place + reach; place != end; ++place) {
    if (!place->used) return {nullptr, true};
    if (place->hash != hash || place->property == nullptr) continue;
    const std::u16string_view stored = text::unitsOf(place->property->first);
    if (stored.size() == key.size() &&
        (key.empty() ||  // an empty key may have no units to point to
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

// --- the nodes

/// Returns memory for a node. Each new block is twice as large as the previous block, up to a size that
/// malloc takes from its heap. For each larger block malloc would get new pages from the system.
void* NodePool::take(std::size_t size) {
  constexpr std::size_t most = 256;
  if (left_ != nullptr) return std::exchange(left_, left_->next);
  if (next_ == end_) {
    auto block = platform::makeUniqueForOverwrite<std::byte[]>(nodesOfNext_ * size);
    std::byte* const first = block.get();
    blocks_.push_back(std::move(block));
    next_ = first;
    end_ = first + nodesOfNext_ * size;
    nodesOfNext_ = std::min(2 * nodesOfNext_, most);
  }
  return std::exchange(next_, next_ + size);
}

// --- the map

bool ExtendedProperties::KeyOrder::precedes(std::u16string_view left, std::u16string_view right) noexcept {
  return text::isLess(left, right);
}

ExtendedProperties::PropertyMap::PropertyMap(const PropertyMap& other)
    : map_(other.map_, allocatorFrom(nodes_)) {
  rebuildIndex(0);
}

void ExtendedProperties::PropertyMap::rebuildIndex(std::size_t more) {
  PropertyIndex index(map_.size() + more);
  for (Property& property : map_) {
    index.add(PropertyIndex::hashOf(text::unitsOf(property.first)), property, mayRefer(property.second));
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
  return {const_cast<Property*>(&*found), nullptr};  // not const, as in the index
}

void ExtendedProperties::PropertyMap::store(icu::UnicodeString&& key, icu::UnicodeString&& value) {
  const bool refers = mayRefer(value);
  const PropertyIndex::Hash hash = PropertyIndex::hashOf(text::unitsOf(key));
  const auto [property, place] = search(hash, text::unitsOf(key));
  if (property != nullptr) {
    property->second = std::move(value);
    if (place != nullptr) index_.noteValue(*place, refers);
    return;
  }
  reserve(1);
  // The hint for the insertion is the end of the tree, because a new key often comes after all other keys.
  const auto added = map_.emplace_hint(map_.cend(), std::move(key), std::move(value));
  index_.add(hash, *added, refers);
}

/// After sorting, the text of each line and the index slot for its key are scattered in memory. Therefore the
/// loop prefetches the text and the slot of a line some lines in advance.
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
  property->second = text::textOf(line.value);
  if (place != nullptr) index_.noteValue(*place, line.refers);
}

/// Inserts a property. The texts are constructed in the node, because moving a string takes as long as
/// constructing it. The hint for the insertion is the end of the tree, because the lines are in key order.
ExtendedProperties::PropertyMap::Tree::iterator ExtendedProperties::PropertyMap::insert(
    const PropertyLine& line) {
  const std::int32_t keyLength = text::lengthOf(line.key);
  const std::int32_t valueLength = text::lengthOf(line.value);
  const std::size_t before = map_.size();
  const auto added = map_.emplace_hint(map_.cend(), std::piecewise_construct,
                                       std::forward_as_tuple(line.key.data(), keyLength),
                                       std::forward_as_tuple(line.value.data(), valueLength));
  if (added->first.length() != keyLength || added->second.length() != valueLength) {
    // If this code is reached, there was no memory for a text. If there was no memory for the key, the key is
    // bogus and counts as the empty key, which may have existed before.
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
  // If there are few properties with references, sorting them is faster than searching the values of all
  // properties.
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
