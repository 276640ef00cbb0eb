#include "trace/kelProbes.hpp"

#include <gtest/gtest.h>

namespace tarvo::trace {
namespace {

TEST(Probes, ShareTheHighHalf) {
  for (const ProbeEntry& entry : probeTable)
    EXPECT_EQ((probeBase + entry.number) >> 16, 0x1CD8U) << entry.function;
}

}  // namespace
}  // namespace tarvo::trace
