#include "infra/oss/kelWakeup.hpp"

#include "support/kelAllocationsSeam.hpp"
#include "support/kelTraceRecorder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>

namespace tarvo::test {
namespace {

constexpr std::uint32_t everyFlag = 0xFFFFFFFF;

TEST(Wakeup, TriggersWithoutAllocationsAndTraceHooks) {
  oss::Wakeup wakeup;
  TraceRecorder trace(everyFlag);
  const AllocationCount count;
  wakeup.trigger();
  const std::size_t made = count.made();
  EXPECT_EQ(made, 0U);
  EXPECT_THAT(trace.calls(), testing::IsEmpty());
}

}  // namespace
}  // namespace tarvo::test
