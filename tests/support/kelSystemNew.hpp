#pragma once

#include <cstddef>

namespace tarvo::test {

/// The operators that the program's own ones replace: those of the standard library, or of a sanitizer.
/// Calling the same form lets a sanitizer detect a block that is released with the wrong form.
void* systemNew(std::size_t size);
void* systemNewArray(std::size_t size);
void systemDelete(void* block) noexcept;
void systemDeleteArray(void* block) noexcept;

}  // namespace tarvo::test
