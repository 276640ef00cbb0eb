#include "referenceLimits.hpp"

#include "infra/util/kelPropertiesException.hpp"

#include "documentService.hpp"

#include <algorithm>
#include <map>

namespace documents {

using icu::UnicodeString;
using tarvo::util::ExtendedProperties;
using tarvo::util::PropertiesException;

namespace {

constexpr const char* thisFile = "referenceLimits.cpp";

class Forecast {
 public:
  Forecast(const ExtendedProperties& properties, const ReferenceLimits& limits)
      : properties_(properties), limits_(limits) {}

  /// Takes the property into account: the value of `key` itself.
  void add(const UnicodeString& key, const UnicodeString& value) { extentOf(key, value, 0); }

 private:
  struct Extent {
    unsigned long long length = 0;
    unsigned int nesting = 0;
  };

  /// `above` counts the references that led here: recursion ends at the limit.
  // NOLINTNEXTLINE(misc-no-recursion)
  Extent extentOf(const UnicodeString& key, const UnicodeString& value, unsigned int above) {
    Extent extent = {static_cast<unsigned long long>(value.length())};
    int opening = value.indexOf(u'%');
    if (opening < 0) return extent;
    // A property that leads back to itself is found here with nothing in it.
    const auto [known, isNew] = extents_.try_emplace(key);
    if (!isNew) return known->second;
    // Each value holds pairs alone, so no percent sign comes with a replacement, and pairs stay what they
    // are.
    for (int closing = 0; opening >= 0; opening = value.indexOf(u'%', closing + 1)) {
      closing = value.indexOf(u'%', opening + 1);
      if (closing < 0) fail<PropertiesException>("ERR_PERCENT_SIGN_ALONE", thisFile, __LINE__, key);
      const Extent part = referredTo(value.tempSubStringBetween(opening + 1, closing), above + 1);
      extent.length += part.length;
      extent.nesting = std::max(extent.nesting, part.nesting + 1);
    }
    checkNesting(extent.nesting);
    produced_ += extent.length;
    if (produced_ > limits_.produced) {
      fail<PropertiesException>("ERR_TOO_MUCH_PRODUCED", thisFile, __LINE__, limits_.produced);
    }
    return known->second = extent;
  }

  // NOLINTNEXTLINE(misc-no-recursion)
  Extent referredTo(const UnicodeString& name, unsigned int above) {
    checkNesting(above);
    static const UnicodeString none;
    const UnicodeString& value = properties_.getProperty(name, none);
    return extentOf(name, value, above);
  }

  void checkNesting(unsigned int nesting) const {
    if (nesting > limits_.nesting) {
      fail<PropertiesException>("ERR_REFERENCES_TOO_DEEP", thisFile, __LINE__, limits_.nesting);
    }
  }

  const ExtendedProperties& properties_;
  const ReferenceLimits& limits_;
  std::map<UnicodeString, Extent> extents_;
  unsigned long long produced_ = 0;
};

unsigned int percentsIn(const UnicodeString& value) {
  unsigned int percents = 0;
  for (int at = value.indexOf(u'%'); at >= 0; at = value.indexOf(u'%', at + 1)) ++percents;
  return percents;
}

}  // namespace

void checkReferences(const ExtendedProperties& properties, const ReferenceLimits& limits) {
  unsigned int percents = 0;
  for (const auto& [key, value] : properties) percents += percentsIn(value);
  if (percents > limits.percents) {
    fail<PropertiesException>("ERR_TOO_MANY_REFERENCES", thisFile, __LINE__, percents, limits.percents);
  }
  Forecast forecast(properties, limits);
  for (const auto& [key, value] : properties) forecast.add(key, value);
}

}  // namespace documents
