#pragma once

#include "infra/util/kelExtendedProperties.hpp"

namespace documents {

/// Limits for the references between untrusted properties. References multiply text: a first line
/// of one word and nine further lines, each with ten references to the line before it, produce 10^9 words.
struct ReferenceLimits {
  unsigned int percents = 0;  ///< percent signs, two for each reference
  unsigned int nesting = 0;   ///< references that lead from one to the next
  unsigned int produced = 0;  ///< characters of the values that hold references, after they are replaced
};

/// Computes what `resolveReferences` would produce, without producing it. Call it after a `load` that
/// resolves nothing. References that lead nowhere or back to themselves are left to `resolveReferences`,
/// which reports them.
///   raises   PropertiesException ERR_TOO_MANY_REFERENCES (percent signs, limit)
///            PropertiesException ERR_PERCENT_SIGN_ALONE (key): the value has an odd number of percent signs
///            PropertiesException ERR_REFERENCES_TOO_DEEP (limit)
///            PropertiesException ERR_TOO_MUCH_PRODUCED (limit)
void checkReferences(const tarvo::util::ExtendedProperties& properties, const ReferenceLimits& limits);

}  // namespace documents
