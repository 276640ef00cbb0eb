#include "kelRequestsForMemory.hpp"

std::optional<std::size_t> tarvo::benchmarks::requestsForMemory() {
  return std::nullopt;
}
