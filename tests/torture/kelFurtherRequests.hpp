#pragma once

#include <cstddef>
#include <string_view>

namespace tarvo::test {

/// How many requests for memory an operation makes here beyond those that it makes on Linux.
std::size_t furtherRequests(std::string_view subject, std::string_view operation);

}  // namespace tarvo::test
