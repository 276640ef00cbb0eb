#include "infra/oss/kelBuildVersion.hpp"

#include "infra/kelVersion.hpp"
#include "infra/oss/kelStringTokenizer.hpp"

#include "text/kelInvariant.hpp"
#include "text/kelMemory.hpp"

namespace tarvo::oss {
namespace {

constexpr const char* builtInVersion = KELINFRA_VERSION_STRING ".0-1.1-275";

}  // namespace

BuildVersion::BuildVersion() : BuildVersion(text::invariantText(builtInVersion)) {}

// NOLINTNEXTLINE(modernize-pass-by-value): programs depend on this signature
BuildVersion::BuildVersion(const icu::UnicodeString& buildVersion)
    : buildVersion_(text::copied(buildVersion)) {
  StringTokenizer parts(buildVersion_, "-");
  productVersion_ = parts.getNextTokenString();
  protocolVersion_ = parts.getNextTokenString();
  buildNumber_ = parts.getNextTokenString();
}

BuildVersion::BuildVersion(const BuildVersion& other) = default;

BuildVersion::~BuildVersion() = default;

// NOLINTNEXTLINE(misc-unconventional-assign-operator): see the header
BuildVersion& BuildVersion::operator=(BuildVersion& other) = default;

const icu::UnicodeString& BuildVersion::getBuildVersion() const {
  return buildVersion_;
}
const icu::UnicodeString& BuildVersion::getProtocolVersion() const {
  return protocolVersion_;
}
const icu::UnicodeString& BuildVersion::getProductVersion() const {
  return productVersion_;
}
const icu::UnicodeString& BuildVersion::getBuildNumberString() const {
  return buildNumber_;
}

}  // namespace tarvo::oss
