#pragma once

#include <cstddef>

namespace tarvo::test {

/// How many descriptors this process has open, the system asked: one that leaked shows as a difference.
std::size_t openDescriptors();

}  // namespace tarvo::test
