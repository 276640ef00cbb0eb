#pragma once

#include <cstddef>

namespace tarvo::test {

/// The operators that the program would have without its own: the standard library's, or a sanitizer's, which
/// so still tells a block of one form from a block of the other.
void* systemNew(std::size_t size);
void* systemNewArray(std::size_t size);
void systemDelete(void* block) noexcept;
void systemDeleteArray(void* block) noexcept;

}  // namespace tarvo::test
