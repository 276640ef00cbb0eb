#pragma once

#include <cstddef>
#include <string_view>

namespace tarvo::test {

/// The number of allocations that an operation makes on this platform in addition to those on Linux.
std::size_t furtherRequests(std::string_view subject, std::string_view operation);

}  // namespace tarvo::test
