#include "infra/trace/kelTraceRecorder.hpp"

#include "machine/kelTicks.hpp"
#include "support/kelAllocationsSeam.hpp"
#include "support/kelRows.hpp"
#include "support/kelThreadEnd.hpp"
#include "support/kelTraceFile.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <new>
#include <string>
#include <thread>

namespace tarvo::test {
namespace {

using trace::TraceRecorder;

void start() {
  TraceRecorder::start(TraceRecorder::Settings());
}

TEST(TraceRecorder, AllocatesOnlyAtTheFirstEventOfAThread) {
  start();
  std::size_t first = 0;
  std::size_t later = 1;
  std::thread([&] {
    {
      const AllocationCount count;
      TraceRecorder::entered(1);
      first = count.made();
    }
    const AllocationCount count;
    for (int i = 0; i < 40000; ++i) TraceRecorder::left(1, 0);
    later = count.made();
  }).join();
  TraceRecorder::stop();
  EXPECT_EQ(first, 2U) << "the thread's block and its ring";
  EXPECT_EQ(later, 0U);
}

TEST(TraceRecorder, CountsEventsAsLostWithoutMemoryAndRecordsLaterOnes) {
  for (const std::size_t failing : rowsOf({std::size_t{1}, std::size_t{2}})) {
    start();
    std::thread([&] {
      {
        const FailingAllocation none(failing, Shortage::fromThenOn);
        TraceRecorder::entered(1);
        TraceRecorder::left(1, 0);
        EXPECT_TRUE(none.happened());
      }
      TraceRecorder::entered(2);
    }).join();
    TraceRecorder::stop();
    EXPECT_EQ(TraceRecorder::lost(), 2U) << failing;
    const TraceFile file(TraceRecorder::snapshot());
    EXPECT_EQ(file.lost, 2U) << failing;
    ASSERT_EQ(file.threads.size(), 1U) << failing;
    ASSERT_EQ(file.threads[0].events.size(), 1U) << failing;
    EXPECT_EQ(file.threads[0].events[0].probe, 2U) << failing;
  }
}

TEST(TraceRecorder, CountsEventsAfterTheEndOfTheThreadsStorageAsLost) {
  std::thread([] { TraceRecorder::entered(1); }).join();
  start();
  std::thread([] { TraceRecorder::entered(1); }).join();  // creates the slot before the one of `atThreadEnd`
  std::thread([] {
    atThreadEnd([] { TraceRecorder::left(3, 0); });
    TraceRecorder::entered(2);
  }).join();
  TraceRecorder::stop();
  EXPECT_EQ(TraceRecorder::lost(), 1U);
  const TraceFile file(TraceRecorder::snapshot());
  ASSERT_EQ(file.threads.size(), 2U);
  EXPECT_EQ(file.threads[1].events.size(), 1U);
}

/// Numbers the events of a thread, and acts as a thread that records while a snapshot is made.
struct Numbered {
  static inline std::uint32_t next = 1;

  static void record() {
    for (int i = 0; i < 37; ++i) TraceRecorder::entered(next++);
  }
};

TEST(TraceRecorder, LeavesEventsOutThatAreOverwrittenDuringASnapshot) {
  TraceRecorder::start({64, 0, TraceRecorder::Clock::SYSTEM});
  std::thread([] {
    for (int times = 0; times < 4; ++times) Numbered::record();
    const std::uint32_t before = Numbered::next;
    std::string bytes;
    {
      const AllocationAction overwriting(&Numbered::record);
      bytes = TraceRecorder::snapshot();
    }
    ASSERT_GT(Numbered::next, before + 37) << "a snapshot makes several requests";
    const TraceFile::Thread thread = TraceFile(bytes).threads.at(0);
    EXPECT_GT(thread.lost, before - 64U);
    for (std::size_t i = 0; i < thread.events.size(); ++i)
      ASSERT_EQ(thread.events[i].probe, thread.lost + i + 1);
  }).join();
  TraceRecorder::stop();
}

TEST(TraceRecorder, RaisesBadAllocIfASnapshotHasNoMemoryAndKeepsAllEvents) {
  start();
  std::thread([] {
    for (std::uint32_t i = 1; i <= 100; ++i) TraceRecorder::entered(i);
  }).join();
  TraceRecorder::stop();
  bool failed = true;
  for (std::size_t at = 1; failed; ++at) {
    ROW("at", at);
    const FailingAllocation none(at);
    try {
      EXPECT_EQ(TraceFile(TraceRecorder::snapshot()).threads.size(), 1U);
      failed = none.happened();
    } catch (const std::bad_alloc&) {
      EXPECT_TRUE(none.happened());
    }
  }
  EXPECT_EQ(TraceFile(TraceRecorder::snapshot()).threads.at(0).events.size(), 100U);
}

TEST(Ticks, NeverGoBackInOneThread) {
  std::uint64_t before = machine::ticks();
  std::uint64_t steadyBefore = machine::steadyNanoseconds();
  for (int i = 0; i < 10000; ++i) {
    const std::uint64_t now = machine::ticks();
    ASSERT_GE(now, before);
    before = now;
    const std::uint64_t steadyNow = machine::steadyNanoseconds();
    ASSERT_GE(steadyNow, steadyBefore);
    steadyBefore = steadyNow;
  }
}

}  // namespace
}  // namespace tarvo::test
