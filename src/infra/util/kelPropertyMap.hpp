#pragma once

#include "infra/util/kelExtendedProperties.hpp"

#include "util/kelPropertyLines.hpp"

#include <unicode/unistr.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <new>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

/// The properties themselves: a map in key order, and beside it a hash index that answers most look-ups.
namespace tarvo::util {

/// A hash table of properties that others own, of fixed size, so that what changes it cannot fail.
///
/// Properties stand at the place that their hash names or in one of the next `reach - 1`. One that finds no free
/// place there is left out, and a look-up that comes by that many full places is not certain of its answer:
/// however keys are chosen, the index costs a bounded number of steps, and the map answers then.
class PropertyIndex {
 public:
  using Property = std::pair<const icu::UnicodeString, icu::UnicodeString>;
  using Hash = std::uint32_t;

  static constexpr std::size_t reach = 32;

  struct Place {
    Property* property = nullptr;
    Hash hash = 0;
    bool used = false;    ///< now or before: the properties behind it are found past it
    bool refers = false;  ///< the value may hold a "%"
  };

  struct Answer {
    const Place* place;
    bool certain;  ///< without a place: there is no such property
  };

  static Hash hashOf(std::u16string_view key) noexcept;

  PropertyIndex() = default;
  /// Without properties, with room for so many.
  explicit PropertyIndex(std::size_t count);

  /// Whether so many more may be added. Half of the places stay free, so that look-ups are short.
  bool hasRoom(std::size_t more) const noexcept { return 2 * (used_ + more) <= home_; }
  /// Whether none was left out.
  bool isComplete() const noexcept { return complete_; }
  const std::vector<Place>& places() const noexcept { return places_; }

  Answer find(Hash hash, std::u16string_view key) const noexcept;
  /// That a look-up of the hash follows soon.
  void announce(Hash hash) const noexcept { __builtin_prefetch(places_.data() + homeOf(hash)); }
  /// What has room and is not there.
  void add(Hash hash, Property& property, bool refers) noexcept;
  /// What it has, at `place`.
  void remove(const Place& place) noexcept { mine(place).property = nullptr; }
  void noteValue(const Place& place, bool refers) noexcept { mine(place).refers = refers; }

 private:
  Place& mine(const Place& place) noexcept {
    return places_[static_cast<std::size_t>(&place - places_.data())];
  }
  std::size_t homeOf(Hash hash) const noexcept {
    return static_cast<std::size_t>((static_cast<std::uint64_t>(hash) * home_) >> 32U);
  }

  std::vector<Place> places_;  ///< `reach` more than hashes name: no search goes round
  std::size_t home_ = 0;       ///< so many places are named by hashes
  std::size_t used_ = 0;
  bool complete_ = true;
};

/// Memory for the nodes of one map, which are all of one size: taken from the system many at a time, and given back
/// when the pool ends. What one node leaves is the next one's.
class NodePool {
 public:
  void* take(std::size_t size);
  void giveBack(void* node) noexcept { left_ = new (node) Left{left_}; }

 private:
  struct Left {
    Left* next;
  };

  std::vector<std::unique_ptr<std::byte[]>> blocks_;
  std::size_t nodesOfNext_ = 4;
  std::byte* next_ = nullptr;  ///< the first node of the last block that was never used
  std::byte* end_ = nullptr;
  Left* left_ = nullptr;
};

/// Nodes of a pool, for the standard library's map.
template <class Node>
class NodeAllocator {
 public:
  using value_type = Node;

  explicit NodeAllocator(NodePool& pool) noexcept : pool_(&pool) {}
  template <class Other>
  explicit NodeAllocator(const NodeAllocator<Other>& other) noexcept : pool_(&other.pool()) {}

  Node* allocate(std::size_t /*count: one*/) { return static_cast<Node*>(pool_->take(sizeof(Node))); }
  void deallocate(Node* node, std::size_t /*count*/) noexcept { pool_->giveBack(node); }

  NodePool& pool() const noexcept { return *pool_; }
  friend bool operator==(const NodeAllocator&, const NodeAllocator&) = default;

 private:
  NodePool* pool_;
};

/// One value a key. References to what is stored stay good as those of a map do.
class ExtendedProperties::PropertyMap {
 public:
  using Property = Map::value_type;
  using Tree = std::map<Map::key_type, Map::mapped_type, Map::key_compare, NodeAllocator<Property>>;
  static_assert(std::is_same_v<Tree::const_iterator, Map::const_iterator>);

  PropertyMap() = default;
  PropertyMap(const PropertyMap& other);
  PropertyMap& operator=(const PropertyMap&) = delete;
  ~PropertyMap() = default;

  Map::const_iterator begin() const { return map_.begin(); }
  Map::const_iterator end() const { return map_.end(); }

  /// Null when there is none.
  const Property* find(std::u16string_view key) const {
    return search(PropertyIndex::hashOf(key), key).property;
  }
  Property* find(std::u16string_view key) { return search(PropertyIndex::hashOf(key), key).property; }

  /// Changes nothing when it fails.
  void store(icu::UnicodeString&& key, icu::UnicodeString&& value);
  /// Stores all of them, in the order of their keys, one a key. When it fails, some are stored.
  void store(const std::vector<PropertyLine>& lines);
  /// Whether there was one. The key may be the map's own.
  bool remove(std::u16string_view key);

  /// In key order, at least those whose value holds a "%".
  std::vector<Property*> referring();

 private:
  struct Found {
    Property* property;
    const PropertyIndex::Place* place;  ///< null when the index does not know it
  };

  Found search(PropertyIndex::Hash hash, std::u16string_view key) const;
  void store(const PropertyLine& line);
  Tree::iterator insert(const PropertyLine& line);
  void reserve(std::size_t more);
  void rebuildIndex(std::size_t more);

  NodePool nodes_;
  Tree map_{NodeAllocator<Property>(nodes_)};
  PropertyIndex index_;
};

}  // namespace tarvo::util
