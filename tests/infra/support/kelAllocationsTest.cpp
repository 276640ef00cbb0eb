#include "support/kelAllocations.hpp"

#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <new>
#include <thread>
#include <vector>

namespace tarvo::test {
namespace {

// The compiler may not take the request away together with the release.
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

TEST(Allocations, TellWhatIsStillHeld) {
  const AllocationCount count;
  auto text = std::make_unique<std::vector<int>>(10);
  EXPECT_EQ(count.outstanding(), 2);
  const AllocationCount inner;
  text.reset();
  EXPECT_EQ(count.outstanding(), 0);
  EXPECT_EQ(inner.outstanding(), -2);
}

TEST(Allocations, OfNullGiveNothingBack) {
  const AllocationCount count;
  ::operator delete(nullptr);
  ::operator delete[](nullptr);
  EXPECT_EQ(count.released(), 0U);
}

TEST(Allocations, FailAtTheOneNamedAndAtNoOther) {
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

TEST(Allocations, AreGrantedAgainWhenTheFailureGoes) {
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
