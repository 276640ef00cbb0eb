#include "support/kelAllocationCount.hpp"

namespace tarvo::test {
namespace {

constinit thread_local std::size_t allocationCalls = 0;
constinit thread_local std::size_t allocationBytes = 0;

}  // namespace

void detail::noteAllocation(std::size_t size) noexcept {
  ++allocationCalls;
  allocationBytes += size;
}

AllocationCount::AllocationCount() : callsBefore_(allocationCalls), bytesBefore_(allocationBytes) {}

std::size_t AllocationCount::calls() const {
  return allocationCalls - callsBefore_;
}

std::size_t AllocationCount::bytes() const {
  return allocationBytes - bytesBefore_;
}

}  // namespace tarvo::test
