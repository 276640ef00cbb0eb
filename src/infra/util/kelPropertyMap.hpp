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

/// The storage of properties: a map in key order, and a hash index that finds most properties without
/// searching the map.
namespace tarvo::util {

/// A hash table of pointers to properties. The size of the table is fixed, so adding and removing properties
/// cannot fail.
///
/// A property is in the slot that its hash determines, or in one of the next `reach - 1` slots. If none of
/// these slots is free, the property is not added. If a look-up finds other properties in all of these slots,
/// the property may exist although it is not in the index. The caller then has to search the map. Therefore a
/// look-up in the index takes a bounded number of steps for all keys.
class PropertyIndex {
 public:
  using Property = std::pair<const icu::UnicodeString, icu::UnicodeString>;
  using Hash = std::uint32_t;

  static constexpr std::size_t reach = 32;

  struct Place {
    Property* property = nullptr;
    Hash hash = 0;
    bool used = false;    ///< now or earlier: look-ups continue after this place
    bool refers = false;  ///< the value may contain a "%"
  };

  struct Answer {
    const Place* place;
    bool certain;  ///< if there is no place: no such property exists
  };

  static Hash hashOf(std::u16string_view key) noexcept;

  PropertyIndex() = default;
  /// Creates an empty index with room for `count` properties.
  explicit PropertyIndex(std::size_t count);

  /// Returns whether `more` properties can be added. At least half of the slots stay free, so that look-ups
  /// are short.
  bool hasRoom(std::size_t more) const noexcept { return 2 * (used_ + more) <= home_; }
  /// Returns whether the index contains all properties.
  bool isComplete() const noexcept { return complete_; }
  const std::vector<Place>& places() const noexcept { return places_; }

  Answer find(Hash hash, std::u16string_view key) const noexcept;
  /// Prefetches the slot of a hash that the caller will look up soon.
  void announce(Hash hash) const noexcept { __builtin_prefetch(places_.data() + homeOf(hash)); }
  /// Adds a property that is not in the index. The index must have room.
  void add(Hash hash, Property& property, bool refers) noexcept;
  /// Removes the property at `place`.
  void remove(const Place& place) noexcept { mine(place).property = nullptr; }
  void noteValue(const Place& place, bool refers) noexcept { mine(place).refers = refers; }

 private:
  Place& mine(const Place& place) noexcept {
    return places_[static_cast<std::size_t>(&place - places_.data())];
  }
  std::size_t homeOf(Hash hash) const noexcept {
    return static_cast<std::size_t>((static_cast<std::uint64_t>(hash) * home_) >> 32U);
  }

  std::vector<Place> places_;  ///< `reach` more than the hashes address: no search wraps around
  std::size_t home_ = 0;       ///< the number of places that hashes address
  std::size_t used_ = 0;
  bool complete_ = true;
};

/// A pool of memory for the nodes of one map, which all have the same size. The pool allocates memory for
/// many nodes at a time, and releases the memory when the pool is destroyed. The pool uses the memory of a
/// released node again.
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

/// Allocates the nodes of the standard library's map from a pool.
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

/// The map that stores the properties of an `ExtendedProperties`. References to stored texts stay valid in
/// the same way as references into a std::map.
class ExtendedProperties::PropertyMap {
 public:
  using Property = Map::value_type;
  using PoolTree = std::map<Map::key_type, Map::mapped_type, Map::key_compare, NodeAllocator<Property>>;
  /// Callers iterate over the properties with the iterators of `Map`. If the iterator type does not depend on
  /// the allocator, the tree allocates its nodes from the pool. In the checked containers of libstdc++ the
  /// iterator type depends on the allocator. If the library uses these containers, the tree is a `Map`.
  using Tree =
      std::conditional_t<std::is_same_v<PoolTree::const_iterator, Map::const_iterator>, PoolTree, Map>;

  PropertyMap() = default;
  PropertyMap(const PropertyMap& other);
  PropertyMap& operator=(const PropertyMap&) = delete;
  ~PropertyMap() = default;

  Map::const_iterator begin() const { return map_.begin(); }
  Map::const_iterator end() const { return map_.end(); }

  /// Returns the property with this key, or null if there is no such property.
  const Property* find(std::u16string_view key) const {
    return search(PropertyIndex::hashOf(key), key).property;
  }
  Property* find(std::u16string_view key) { return search(PropertyIndex::hashOf(key), key).property; }

  /// Stores a property. If there is no memory, nothing changes.
  void store(icu::UnicodeString&& key, icu::UnicodeString&& value);
  /// Stores all lines. The lines must be in key order, with one line for each key. If there is no memory,
  /// some of the lines have been stored.
  void store(const std::vector<PropertyLine>& lines);
  /// Removes a property and returns whether it existed. The key may be a text of the map.
  bool remove(std::u16string_view key);

  /// Returns, in key order, all properties whose value contains a "%", and perhaps some other properties.
  std::vector<Property*> referring();

 private:
  struct Found {
    Property* property;
    const PropertyIndex::Place* place;  ///< null if the index does not contain it
  };

  template <class Allocator = Tree::allocator_type>
  static Allocator allocatorFrom([[maybe_unused]] NodePool& nodes) {
    if constexpr (std::is_constructible_v<Allocator, NodePool&>) {
      return Allocator(nodes);
    } else {
      return Allocator();
    }
  }
  Found search(PropertyIndex::Hash hash, std::u16string_view key) const;
  void store(const PropertyLine& line);
  Tree::iterator insert(const PropertyLine& line);
  void reserve(std::size_t more);
  void rebuildIndex(std::size_t more);

  NodePool nodes_;
  Tree map_{allocatorFrom(nodes_)};
  PropertyIndex index_;
};

}  // namespace tarvo::util
