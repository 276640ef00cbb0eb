#pragma once

#include <cstddef>
#include <optional>

namespace tarvo::benchmarks {

/// The number of the calling thread's allocations: malloc, calloc, realloc and functions that call them.
/// On Windows there is no number, because each library allocates in a way that the program cannot count.
std::optional<std::size_t> requestsForMemory();

}  // namespace tarvo::benchmarks
