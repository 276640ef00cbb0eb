#pragma once

#include <string>

namespace tarvo::test {

/// The text of the system's resolver for an unknown service, in UTF-8.
std::string textOfAnUnknownService();

}  // namespace tarvo::test
