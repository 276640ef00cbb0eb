#pragma once

#include "infra/util/kelExtendedProperties.hpp"

#include "text/kelTextUnits.hpp"
#include "util/kelPropertyMap.hpp"

#include <unicode/unistr.h>

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

namespace tarvo::util {

/// Finds the references that cannot be resolved, and each "%" that begins no reference.
class PropertyReferences {
 public:
  using Property = PropertyIndex::Property;

  /// The position of a "%" in a value, as the value was before the replacement.
  struct Place {
    const Property* property;
    std::size_t unit;  ///< the number of units before the "%"
  };
  struct Fault {
    Place place;
    icu::UnicodeString name;  ///< the name that no property has, or the key of the property in a cycle
    bool isCycle;
  };

  /// Resolves the references of the properties, and removes faulty references from the values. Stops after
  /// inserting more than `mostUnits` units. If a missing name contains units of another value, these units
  /// count, too. The results point to the properties, so the results are valid until the properties change.
  void resolve(ExtendedProperties& properties, std::size_t mostUnits);

  std::vector<Fault> faults;
  std::vector<Place> lonePercents;
  std::unordered_set<const Property*> affected;  ///< those whose values have a fault in them
  const Property* stoppedAt = nullptr;           ///< the one whose value was too long

 private:
  friend class ExtendedProperties::Resolver;

  std::size_t unitsLeft_ = 0;
};

/// Replaces references one by one. The result is the same as if each value were searched from its start after
/// every replacement. Each unit is read only once, because the text before the first "%" does not change any
/// more.
///
/// A value that still has references is in progress: it waits for the values to which it refers. The waiting
/// values are on a separate stack in heap memory, not on the stack of the thread. The stored text of a value
/// does not change until the value is complete.
class ExtendedProperties::Resolver {
 public:
  /// The reason why the replacement ended early.
  struct Fault {
    const icu::UnicodeString* key = nullptr;  ///< of the value that has the reference; null if all went well
    std::optional<icu::UnicodeString>
        name;  ///< the name that no property has; none if the value is in a cycle
  };

  explicit Resolver(PropertyMap& properties, PropertyReferences* watcher = nullptr)
      : properties_(properties), watcher_(watcher) {}

  /// Replaces all references, or the references before the first fault. If a fault or an exception ends the
  /// function, the values keep the replacements that were already made.
  /// If there is a watcher, the resolver removes a faulty reference from the value, and the watcher records
  /// the reference.
  Fault resolveAll();

 private:
  using Property = Map::value_type;
  static constexpr std::size_t none = std::u16string_view::npos;

  /// The tail of a value that has a single "%": the text after the "%". If a value with a single "%" replaces
  /// a reference, this "%" begins the next reference, whose name begins with the tail. For each tail a map
  /// contains the properties whose names begin with the tail; the key of the map is the rest of the name. The
  /// tail of a value may be long and the rest of a name short, so the resolver assembles each name only once.
  using Tail = std::pair<const std::u16string_view, std::map<std::u16string, Property*, std::less<>>>;

  struct Work {
    explicit Work(Property& which) : property(&which) {}

    /// Returns the part of the value that has not been read yet. If a "%" has opened a reference, this part
    /// of the value begins with the name of the reference, or with the end of the name.
    std::u16string_view rest() const { return text::unitsOf(property->second).substr(position); }

    Property* property;
    std::u16string done;       ///< the value up to the rest or the open "%", with its replacements
    std::size_t position = 0;  ///< where the rest of the stored value begins
    bool open = false;         ///< whether a "%" is between `done` and the rest
    Tail* opener = nullptr;    ///< the tail that came with the open "%", before the rest
  };

  void resolve(Property& property);
  void step();
  void begin(Property& property);
  void finish(Work& work);
  void passFault(Work& work, std::size_t length);
  void charge(const Work& work, std::size_t units);
  static bool open(Work& work);
  Tail* findTail(const Property& property, std::size_t percent);
  Property* referenced(const Work& work, std::u16string_view name);
  Property* find(const Work& work, std::u16string_view name);
  static void store(Work& work);
  void storeProgress();

  PropertyMap& properties_;
  PropertyReferences* watcher_;
  Fault fault_;
  std::vector<Work> underWay_;
  std::unordered_set<const Property*> keysUnderWay_;
  std::map<Tail::first_type, Tail::second_type> tails_;
  std::unordered_map<const Property*, Tail*> tailOf_;
};

}  // namespace tarvo::util
