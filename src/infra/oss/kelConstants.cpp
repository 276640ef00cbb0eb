#include "infra/oss/kelConstants.hpp"

namespace tarvo::oss {

// NOLINTBEGIN(modernize-avoid-c-arrays): see the header
const char Constants::DOCUMENT_CONSTRUCTOR_NAME[] = "ctor.name";
const char Constants::DOCUMENT_CONSTRUCTOR_CONFIG[] = "ctor.config";
const char Constants::DOCUMENT_CONSTRUCTOR_DATA[] = "ctor.doc.data";
// NOLINTEND(modernize-avoid-c-arrays)

}  // namespace tarvo::oss
