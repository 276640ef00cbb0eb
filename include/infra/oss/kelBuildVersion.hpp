#pragma once

#include "infra/kelExport.hpp"

#include <unicode/unistr.h>

namespace tarvo::oss {

/// Which build of the library this is: "product-protocol-build", and its three parts.
///
///     BuildVersion version;
///     version.getBuildVersion();         // -> "5.2.1.0-1.1-275"
///     version.getProductVersion();       // -> "5.2.1.0"
///     version.getProtocolVersion();      // -> "1.1"
///     version.getBuildNumberString();    // -> "275"
///
/// A part that a text lacks is empty; whatever follows the third stands in the whole text only. Raises
/// nothing of its own. Returned references live as long as the object and follow an assignment.
class KELINFRA_API BuildVersion {
 public:
  /// The library's own.
  BuildVersion();
  explicit BuildVersion(const icu::UnicodeString& buildVersion);
  BuildVersion(const BuildVersion& other);
  ~BuildVersion();

  /// Takes the other's four texts, which stay as they are.
  // NOLINTNEXTLINE(misc-unconventional-assign-operator): the signature is settled
  BuildVersion& operator=(BuildVersion& other) KELINFRA_LIFETIMEBOUND;

  /// The whole text.
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
