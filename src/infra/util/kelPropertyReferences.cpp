#include "util/kelPropertyReferences.hpp"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <new>
#include <utility>

namespace tarvo::util {
namespace {

/// Appends `more` to `text`. Throws if the result would exceed ICU's maximum length.
void append(std::u16string& text, std::u16string_view more) {
  if (text.size() + more.size() > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max()))
    throw std::bad_alloc();
  text.append(more);
}

}  // namespace

ExtendedProperties::Resolver::Fault ExtendedProperties::Resolver::resolveAll() {
  try {
    for (Property* const property : properties_.referring()) {
      resolve(*property);
      if (fault_.key != nullptr) break;
    }
  } catch (...) {
    storeProgress();
    throw;
  }
  storeProgress();
  return fault_;
}

void ExtendedProperties::Resolver::resolve(Property& property) {
  const std::u16string_view value = text::unitsOf(property.second);
  const std::size_t first = value.find(u'%');
  if (first == none || value.find(u'%', first + 1) == none) return;
  begin(property);
  while (!underWay_.empty() && fault_.key == nullptr) step();
}

/// Makes one step with the last value on the stack: either replaces one reference, or puts the value to which
/// the reference refers on the stack.
void ExtendedProperties::Resolver::step() {
  Work& work = underWay_.back();
  const std::size_t length = open(work) ? work.rest().find(u'%') : none;
  if (length == none) {
    finish(work);
    return;
  }
  Property* const target = referenced(work, work.rest().substr(0, length));
  if (target == nullptr) {
    if (watcher_ != nullptr) passFault(work, length);
    return;
  }
  const std::u16string_view value = text::unitsOf(target->second);
  const std::size_t percent = value.find(u'%');
  Tail* const tail = percent == none ? nullptr : findTail(*target, percent);
  if (percent != none && tail == nullptr) {
    begin(*target);
    if (fault_.key != nullptr && watcher_ != nullptr) passFault(work, length);
    return;
  }
  if (watcher_ != nullptr) {
    if (watcher_->affected.contains(target)) watcher_->affected.insert(work.property);
    charge(work, std::min(percent, value.size()));
  }
  append(work.done, value.substr(0, percent));
  work.position += length + 1;
  work.open = tail != nullptr;
  work.opener = tail;
}

void ExtendedProperties::Resolver::begin(Property& property) {
  // A second insertion of the same property detects every cycle, because a value without references is never
  // in progress.
  if (keysUnderWay_.insert(&property).second) {
    underWay_.emplace_back(property);
  } else {
    fault_.key = &property.first;
  }
}

/// Records the fault and removes the reference, whose name has `length` units, from the value.
void ExtendedProperties::Resolver::passFault(Work& work, std::size_t length) {
  const Fault fault = std::exchange(fault_, {});
  watcher_->faults.push_back(
      {{work.property, work.position - 1}, fault.name ? *fault.name : *fault.key, !fault.name});
  watcher_->affected.insert(work.property);
  // The recorded name contains a copy of the tail. One long tail can be in any number of names.
  if (fault.name && work.opener != nullptr) charge(work, work.opener->first.size());
  work.position += length + 1;
  work.open = false;
  work.opener = nullptr;
}

/// Counts the units that were copied from another value. Stops if the copied units exceed the limit.
void ExtendedProperties::Resolver::charge(const Work& work, std::size_t units) {
  if (units <= watcher_->unitsLeft_) {
    watcher_->unitsLeft_ -= units;
  } else {
    watcher_->stoppedAt = work.property;
    fault_.key = &work.property->first;
  }
}

void ExtendedProperties::Resolver::finish(Work& work) {
  if (watcher_ != nullptr && work.opener != nullptr) {
    charge(work, work.opener->first.size());
  } else if (watcher_ != nullptr && work.open) {
    watcher_->lonePercents.push_back({work.property, work.position - 1});
  }
  store(work);
  keysUnderWay_.erase(work.property);
  underWay_.pop_back();
}

/// Moves to the position after the next "%", unless a "%" already opens a reference. Returns false if the
/// rest contains no "%".
bool ExtendedProperties::Resolver::open(Work& work) {
  if (work.open) return true;
  const std::size_t percent = work.rest().find(u'%');
  if (percent == none) return false;
  append(work.done, work.rest().substr(0, percent));
  work.position += percent + 1;
  work.open = true;
  return true;
}

/// Returns the tail of a value, which is the text after its "%" at `percent`. Returns null if the value has
/// another "%" after this one.
ExtendedProperties::Resolver::Tail* ExtendedProperties::Resolver::findTail(const Property& property,
                                                                           std::size_t percent) {
  const auto known = tailOf_.find(&property);
  if (known != tailOf_.end()) return known->second;
  const std::u16string_view text = text::unitsOf(property.second).substr(percent + 1);
  if (text.find(u'%') != none) return nullptr;
  Tail& tail = *tails_.try_emplace(text).first;
  return tailOf_.emplace(&property, &tail).first->second;
}

/// Returns the property to which a reference refers. If that property does not exist, records the error and
/// returns null.
ExtendedProperties::Resolver::Property* ExtendedProperties::Resolver::referenced(const Work& work,
                                                                                 std::u16string_view name) {
  if (work.opener == nullptr) return find(work, name);
  auto& named = work.opener->second;
  const auto known = named.find(name);
  if (known != named.end()) return known->second;
  std::u16string whole(work.opener->first);
  append(whole, name);
  Property* const found = find(work, whole);
  if (found != nullptr) named.emplace(name, found);
  return found;
}

ExtendedProperties::Resolver::Property* ExtendedProperties::Resolver::find(const Work& work,
                                                                           std::u16string_view name) {
  Property* const found = properties_.find(name);
  if (found == nullptr) fault_ = {&work.property->first, text::textOf(name)};
  return found;
}

/// Stores the value with the replacements that were made so far. If the function throws std::bad_alloc, it
/// may be called again.
void ExtendedProperties::Resolver::store(Work& work) {
  if (work.open) append(work.done, u"%");
  work.open = false;
  if (work.opener != nullptr) append(work.done, work.opener->first);
  work.opener = nullptr;
  const std::u16string_view rest = work.rest();
  append(work.done, rest);
  work.position += rest.size();
  work.property->second = text::textOf(work.done);
}

void ExtendedProperties::Resolver::storeProgress() {
  for (Work& work : underWay_) store(work);
}

void PropertyReferences::resolve(ExtendedProperties& properties, std::size_t mostUnits) {
  unitsLeft_ = mostUnits;
  ExtendedProperties::Resolver(*properties.properties_, this).resolveAll();
}

}  // namespace tarvo::util
