#pragma once

#include <string>

namespace tarvo::test {

/// Compares the report on a text with `ExtendedProperties` and `PropertiesEditor`. Returns the law that is
/// broken, or an empty text.
std::string brokenReportLaw(const std::string& bytes);

/// Checks a text against a schema, and the schema's sample against the schema. Returns the law that is
/// broken, or an empty text.
std::string brokenSchemaLaw(const std::string& schema, const std::string& bytes);

}  // namespace tarvo::test
