#pragma once

#include <string>

namespace tarvo::test {

/// The text, in UTF-8, of the system's resolver for a service that it does not know.
std::string textOfAnUnknownService();

}  // namespace tarvo::test
