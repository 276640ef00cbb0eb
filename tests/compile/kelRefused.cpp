#include "infra/util/kelExtendedProperties.hpp"

#include <cstdint>

// Defaults of the typed getters. The marked lines must not compile, for the reason that the mark names. All
// other lines must compile.

namespace {

struct Settings {
  bool verbose;
};

using tarvo::util::ExtendedProperties;

[[maybe_unused]] void takeDefaults(const ExtendedProperties& p, bool flag, double ratio,
                                   std::int32_t number) {
  const char* const text = "false";
  const void* const address = &flag;
  const unsigned int natural = 1;
  const std::int64_t wide = 1;
  const std::uint64_t wideNatural = 1;

  p.getPropertyAsBoolean("k", "false");             // reported: deleted.*getPropertyAsBoolean
  p.getPropertyAsBoolean("k", text);                // reported: deleted.*getPropertyAsBoolean
  p.getPropertyAsBoolean("k", u"false");            // reported: deleted.*getPropertyAsBoolean
  p.getPropertyAsBoolean("k", address);             // reported: deleted.*getPropertyAsBoolean
  p.getPropertyAsBoolean("k", &number);             // reported: deleted.*getPropertyAsBoolean
  p.getPropertyAsBoolean("k", takeDefaults);        // reported: deleted.*getPropertyAsBoolean
  p.getPropertyAsBoolean("k", &Settings::verbose);  // reported: deleted.*getPropertyAsBoolean
  p.getPropertyAsBoolean("k", false);
  p.getPropertyAsBoolean("k", 0);
  p.getPropertyAsBoolean("k", &flag);
  p.getPropertyAsBoolean("k", nullptr);
  p.getPropertyAsBoolean("k", static_cast<const bool*>(&flag));

  p.getPropertyAsInt32("k", "1");       // reported: deleted.*getPropertyAsInt32
  p.getPropertyAsInt32("k", &natural);  // reported: deleted.*getPropertyAsInt32
  p.getPropertyAsInt32("k", 0);
  p.getPropertyAsInt32("k", &number);
  p.getPropertyAsInt32("k", nullptr);

  p.getPropertyAsUInt32("k", "1");      // reported: deleted.*getPropertyAsUInt32
  p.getPropertyAsUInt32("k", &number);  // reported: deleted.*getPropertyAsUInt32
  p.getPropertyAsUInt32("k", 0);
  p.getPropertyAsUInt32("k", &natural);
  p.getPropertyAsUInt32("k", nullptr);

  p.getPropertyAsInt64("k", "1");           // reported: deleted.*getPropertyAsInt64
  p.getPropertyAsInt64("k", &number);       // reported: deleted.*getPropertyAsInt64
  p.getPropertyAsInt64("k", &wideNatural);  // reported: deleted.*getPropertyAsInt64
  p.getPropertyAsInt64("k", 0);
  p.getPropertyAsInt64("k", &wide);
  p.getPropertyAsInt64("k", nullptr);

  p.getPropertyAsUint64("k", "1");    // reported: deleted.*getPropertyAsUint64
  p.getPropertyAsUint64("k", &wide);  // reported: deleted.*getPropertyAsUint64
  p.getPropertyAsUint64("k", 0);
  p.getPropertyAsUint64("k", &wideNatural);
  p.getPropertyAsUint64("k", nullptr);

  p.getPropertyAsDouble("k", "1.5");    // reported: deleted.*getPropertyAsDouble
  p.getPropertyAsDouble("k", &number);  // reported: deleted.*getPropertyAsDouble
  p.getPropertyAsDouble("k", 0);
  p.getPropertyAsDouble("k", &ratio);
  p.getPropertyAsDouble("k", nullptr);
}

}  // namespace
