#pragma once

#include <cstddef>
#include <optional>

namespace tarvo::benchmarks {

/// How often the calling thread has asked for memory: malloc, calloc, realloc and what stands on them. Nothing on
/// Windows, where each library asks in its own way, which the program does not see.
std::optional<std::size_t> requestsForMemory();

}  // namespace tarvo::benchmarks
