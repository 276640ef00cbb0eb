#include "support/kelAllocationsSeam.hpp"

#include <gtest/gtest.h>
#include <unicode/ucnv.h>
#include <unicode/unistr.h>

#include <cstdlib>
#include <future>
#include <memory>
#include <new>
#include <thread>
#include <vector>

namespace tarvo::test {
namespace {

// Prevents the compiler from removing the allocation together with its release.
template <class Value>
Value* kept(Value* block) {
  Value* volatile seen = block;
  return seen;
}

void takeAndGiveBack() {
  delete kept(new int(1));
}

TEST(Allocations, CountEveryForm) {
  const AllocationCount count;
  delete kept(new int(1));
  delete[] kept(new int[3]);
  delete kept(new (std::nothrow) int(2));
  delete[] kept(new (std::nothrow) int[3]);
  ::operator delete(kept(::operator new(5)));
  const std::size_t made = count.made();
  const std::size_t released = count.released();
  EXPECT_EQ(made, 5U);
  EXPECT_EQ(released, 5U);
  EXPECT_EQ(count.outstanding(), 0);
}

TEST(Allocations, CountTheFormsOfC) {
  const AllocationCount count;
  std::free(kept(std::malloc(5)));
  std::free(kept(std::realloc(kept(std::calloc(2, 10)), 100)));
  std::free(nullptr);
  const std::size_t made = count.made();
  EXPECT_EQ(made, 3U);
  EXPECT_EQ(count.bytes(), 125U);
  EXPECT_EQ(count.outstanding(), 0);
}

TEST(Allocations, CountIcusAllocations) {
  const AllocationCount count;
  {
    const icu::UnicodeString text(1000, u'x', 1000);
    EXPECT_EQ(count.made(), 1U);
    EXPECT_GE(count.bytes(), 2000U);
  }
  EXPECT_EQ(count.outstanding(), 0);
}

TEST(Allocations, ReportTheBlocksThatAreNotReleased) {
  const AllocationCount count;
  auto text = std::make_unique<std::vector<int>>(10);
  EXPECT_EQ(count.outstanding(), 2);
  const AllocationCount inner;
  text.reset();
  EXPECT_EQ(count.outstanding(), 0);
  EXPECT_EQ(inner.outstanding(), -2);
}

TEST(Allocations, DoNotCountAReleaseOfNull) {
  const AllocationCount count;
  ::operator delete(nullptr);
  ::operator delete[](nullptr);
  EXPECT_EQ(count.released(), 0U);
}

TEST(Allocations, FailOnlyAtTheChosenRequest) {
  std::vector<bool> refused(4);
  std::vector<bool> happened(4);
  {
    const FailingAllocation third(3);
    for (std::size_t i = 0; i < 4; ++i) {
      try {
        takeAndGiveBack();
      } catch (const std::bad_alloc&) {
        refused[i] = true;
      }
      happened[i] = third.happened();
    }
  }
  EXPECT_EQ(refused, std::vector<bool>({false, false, true, false}));
  EXPECT_EQ(happened, std::vector<bool>({false, false, true, true}));
}

TEST(Allocations, FailTheArrayFormAndTheNothrowFormsToo) {
  bool thrown = false;
  {
    const FailingAllocation first(1);
    try {
      delete[] kept(new int[2]);
    } catch (const std::bad_alloc&) {
      thrown = true;
    }
  }
  EXPECT_TRUE(thrown);
  const auto first = [](auto request) {
    const FailingAllocation failing(1);
    return request();
  };
  EXPECT_EQ(first([] { return kept(new (std::nothrow) char(1)); }), nullptr);
  EXPECT_EQ(first([] { return kept(new (std::nothrow) char[8]); }), nullptr);
}

TEST(Allocations, FailInCAndInIcu) {
  std::vector<void*> blocks(3);
  bool bogus = false;
  std::size_t requests = 0;
  {
    const FailingAllocation all(1, Shortage::fromThenOn);
    blocks[0] = kept(std::malloc(1));
    blocks[1] = kept(std::calloc(1, 1));
    blocks[2] = kept(std::realloc(nullptr, 1));
    bogus = icu::UnicodeString(1000, u'x', 1000).isBogus();
    requests = all.requests();
  }
  EXPECT_EQ(blocks, std::vector<void*>(3));
  EXPECT_TRUE(bogus);
  EXPECT_EQ(requests, 4U);
}

TEST(Allocations, FailFromTheChosenRequestOn) {
  std::vector<bool> refused(4);
  {
    const FailingAllocation second(2, Shortage::fromThenOn);
    for (std::size_t i = 0; i < 4; ++i) {
      try {
        takeAndGiveBack();
      } catch (const std::bad_alloc&) {
        refused[i] = true;
      }
    }
  }
  EXPECT_EQ(refused, std::vector<bool>({false, true, true, true}));
}

TEST(Allocations, SucceedDuringAllocationsGranted) {
  bool granted = false;
  bool failed = false;
  {
    const FailingAllocation first(1);
    {
      const AllocationsGranted meanwhile;
      takeAndGiveBack();
      granted = !first.happened();
    }
    try {
      takeAndGiveBack();
    } catch (const std::bad_alloc&) {
      failed = true;
    }
  }
  EXPECT_TRUE(granted);
  EXPECT_TRUE(failed);
}

TEST(Allocations, FailFromTheGivenSizeOn) {
  void* small = nullptr;
  void* large = nullptr;
  {
    const AllocationLimit limit(100);
    small = kept(std::malloc(99));
    large = kept(std::malloc(100));
  }
  EXPECT_NE(small, nullptr);
  EXPECT_EQ(large, nullptr);
  std::free(small);
}

TEST(Allocations, SucceedAgainAfterTheFailuresScope) {
  { const FailingAllocation first(1); }
  const AllocationCount count;
  takeAndGiveBack();
  EXPECT_EQ(count.made(), 1U);
}

TEST(Allocations, OfAnotherThreadAreNeitherCountedNorFailed) {
  std::promise<void> armed;
  std::size_t madeThere = 0;
  std::thread other([&, go = armed.get_future()] {
    go.wait();
    const AllocationCount count;
    takeAndGiveBack();
    madeThere = count.made();
  });
  std::size_t madeHere = 0;
  bool happened = false;
  {
    const AllocationCount count;
    const FailingAllocation first(1);
    armed.set_value();
    other.join();
    madeHere = count.made();
    happened = first.happened();
  }
  EXPECT_EQ(madeHere, 0U);
  EXPECT_EQ(madeThere, 1U);
  EXPECT_FALSE(happened);
}

}  // namespace
}  // namespace tarvo::test
