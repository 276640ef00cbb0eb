#include "platform/kelThreadBlock.hpp"
#include "support/kelAllocationsSeam.hpp"
#include "support/kelRows.hpp"
#include "support/kelThreadEnd.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>

namespace tarvo::test {
namespace {

using platform::ThreadPart;

struct Ended {
  static inline std::atomic<int> count{0};

  static void note(void* block) noexcept {
    ++count;
    EXPECT_EQ(*static_cast<int*>(block), 7);
    EXPECT_EQ(platform::threadBlock(ThreadPart::converters, &note), nullptr) << "while the block ends";
  }
};

/// The calling thread's block, with a mark that `Ended` checks.
int* markedBlock() {
  auto* const block = static_cast<int*>(platform::threadBlock(ThreadPart::converters, &Ended::note));
  if (block != nullptr) *block = 7;
  return block;
}

TEST(ThreadBlock, IsZeroedAndStaysTheSameUntilTheThreadEnds) {
  Ended::count = 0;
  for (int i = 1; i <= 5; ++i) {
    ROW("i", i);
    std::thread([] {
      auto* const block = static_cast<int*>(platform::threadBlock(ThreadPart::converters, &Ended::note));
      ASSERT_NE(block, nullptr);
      EXPECT_TRUE(std::all_of(block, block + platform::threadPartSizes[0] / sizeof(int),
                              [](int word) { return word == 0; }));
      *block = 7;
      EXPECT_EQ(platform::threadBlock(ThreadPart::converters, &Ended::note), block);
    }).join();
    EXPECT_EQ(Ended::count, i);
  }
}

TEST(ThreadBlock, HasAPartForEachUserAndEndsEachOnce) {
  static std::atomic<int> ended;
  static std::atomic<void*> given;
  ended = 0;
  Ended::count = 0;
  void* part = nullptr;
  std::thread([&] {
    part = platform::threadBlock(ThreadPart::trace, [](void* own) noexcept {
      ++ended;
      given = own;
    });
    auto* const other = static_cast<unsigned char*>(static_cast<void*>(markedBlock()));
    ASSERT_NE(part, nullptr);
    auto* const bytes = static_cast<unsigned char*>(part);
    EXPECT_TRUE(std::all_of(bytes, bytes + platform::threadPartSizes[1], [](int byte) { return byte == 0; }));
    EXPECT_TRUE(bytes >= other + platform::threadPartSizes[0] ||
                bytes + platform::threadPartSizes[1] <= other);
  }).join();
  EXPECT_EQ(ended, 1);
  EXPECT_EQ(given, part);
  EXPECT_EQ(Ended::count, 1);
}

TEST(ThreadBlock, CallsNoEndForAPartThatTheThreadHasNotUsed) {
  Ended::count = 0;
  std::thread([] { platform::threadBlock(ThreadPart::trace, [](void*) noexcept {}); }).join();
  EXPECT_EQ(Ended::count, 0);
}

TEST(ThreadBlock, IsNullForCodeThatRunsAfterItsEnd) {
  std::thread([] {
    markedBlock();
  }).join();  // creates the system's slot for blocks before the slot of `atThreadEnd`
  Ended::count = 0;
  bool endedBefore = false;
  void* after = &after;
  std::thread([&] {
    atThreadEnd([&] {
      endedBefore = Ended::count == 1;
      after = platform::threadBlock(ThreadPart::converters, &Ended::note);
    });
    markedBlock();
  }).join();
  EXPECT_TRUE(endedBefore);
  EXPECT_EQ(after, nullptr);
  EXPECT_EQ(Ended::count, 1);
}

TEST(ThreadBlock, IsNullIfAllocationFailsAndAvailableAfterwards) {
  Ended::count = 0;
  std::thread([] {
    {
      const FailingAllocation failing(1, Shortage::fromThenOn);
      EXPECT_EQ(platform::threadBlock(ThreadPart::converters, &Ended::note), nullptr);
      EXPECT_TRUE(failing.happened());
    }
    EXPECT_EQ(Ended::count, 0);
    EXPECT_NE(markedBlock(), nullptr);
  }).join();
  EXPECT_EQ(Ended::count, 1);
}

}  // namespace
}  // namespace tarvo::test
