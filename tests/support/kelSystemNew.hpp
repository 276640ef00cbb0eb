#pragma once

#include <cstddef>

namespace tarvo::test {

/// The operators that the test program's operators replace: those of the standard library, or of a sanitizer.
/// Each operator of the program calls the operator of the same form here, so that a sanitizer detects a block
/// that is released with the wrong form.
void* systemNew(std::size_t size);
void* systemNewArray(std::size_t size);
void systemDelete(void* block) noexcept;
void systemDeleteArray(void* block) noexcept;

}  // namespace tarvo::test
