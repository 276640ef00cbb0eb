#pragma once

#include "infra/kelExport.hpp"

#include <unicode/unistr.h>

namespace tarvo::oss {

/// A version text "product-protocol-build" and its three parts. A default-constructed object holds the
/// version of this library.
///
///     BuildVersion version;
///     version.getBuildVersion();         // -> "5.2.1.0-1.1-275"
///     version.getProductVersion();       // -> "5.2.1.0"
///     version.getProtocolVersion();      // -> "1.1"
///     version.getBuildNumberString();    // -> "275"
///
/// The parts are the tokens that `StringTokenizer` finds between hyphens. Adjacent hyphens count as one
/// hyphen, so "5--275" has the product version 5 and the protocol version 275. A missing part is an empty
/// text. If a version text has more than three parts, only `getBuildVersion` returns the rest. The class
/// raises only std::bad_alloc. Returned references are valid as long as the object exists. After an
/// assignment to the object, the references refer to the new texts.
class KELINFRA_API BuildVersion {
 public:
  /// Creates an object that holds the version of this library.
  BuildVersion();
  explicit BuildVersion(const icu::UnicodeString& buildVersion);
  BuildVersion(const BuildVersion& other);
  ~BuildVersion();

  /// Copies the four texts of `other`; `other` does not change.
  // NOLINTNEXTLINE(misc-unconventional-assign-operator): programs depend on this signature
  BuildVersion& operator=(BuildVersion& other) KELINFRA_LIFETIMEBOUND;

  /// Returns the whole version text.
  const icu::UnicodeString& getBuildVersion() const KELINFRA_LIFETIMEBOUND;
  const icu::UnicodeString& getProtocolVersion() const KELINFRA_LIFETIMEBOUND;
  const icu::UnicodeString& getProductVersion() const KELINFRA_LIFETIMEBOUND;
  const icu::UnicodeString& getBuildNumberString() const KELINFRA_LIFETIMEBOUND;

 private:
  icu::UnicodeString buildVersion_;
  icu::UnicodeString protocolVersion_;
  icu::UnicodeString productVersion_;
  icu::UnicodeString buildNumber_;
};

}  // namespace tarvo::oss
