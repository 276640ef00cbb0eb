#include "infra/oss/kelDeadline.hpp"

#include "support/kelRows.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <type_traits>

namespace tarvo::test {
namespace {

using oss::Deadline;

constexpr unsigned long long largest = std::numeric_limits<unsigned long long>::max();
constexpr unsigned long long year = 365ULL * 24 * 60 * 60 * 1000;

static_assert(std::is_trivially_copyable_v<Deadline>);
static_assert(!std::is_convertible_v<unsigned long long, Deadline>, "a number of what?");
static_assert(!std::is_convertible_v<std::nullptr_t, Deadline>,
              "connect with a null timeout would be ambiguous");

TEST(Deadline, NeverExpiresByDefault) {
  for (const Deadline& deadline : rowsOf({Deadline(), Deadline::never()})) {
    EXPECT_FALSE(deadline.expires());
    EXPECT_FALSE(deadline.hasPassed());
    EXPECT_EQ(deadline.remaining(), largest);
  }
}

TEST(Deadline, OfNoTimeHasPassedAtOnce) {
  const Deadline deadline = Deadline::in(0);
  EXPECT_TRUE(deadline.expires());
  EXPECT_TRUE(deadline.hasPassed());
  EXPECT_EQ(deadline.remaining(), 0U);
}

TEST(Deadline, PassesWhenNoTimeRemainsAndNotBefore) {
  const Deadline deadline = Deadline::in(3);
  unsigned long long before = 3;
  while (!deadline.hasPassed()) {
    const unsigned long long left = deadline.remaining();
    EXPECT_LE(left, before);
    // Rounded up: 0 only if the deadline has passed.
    if (left == 0) {
      EXPECT_TRUE(deadline.hasPassed());
    }
    before = left;
  }
  EXPECT_EQ(deadline.remaining(), 0U);
  EXPECT_TRUE(deadline.hasPassed());
}

TEST(Deadline, RoundsTheRemainingTimeUp) {
  // Between the two readings of the clock passes far less than a day.
  const unsigned long long day = 24ULL * 60 * 60 * 1000;
  const unsigned long long left = Deadline::in(2 * day).remaining();
  EXPECT_LE(left, 2 * day);
  EXPECT_GT(left, day);
  unsigned int whole = 0;
  for (int i = 0; i < 1000; ++i) {
    if (Deadline::in(year).remaining() == year) ++whole;
  }
  EXPECT_GT(whole, 0U) << "rounded down, a year that began some nanoseconds ago is never whole";
}

TEST(Deadline, DoesNotOverflow) {
  for (const unsigned long long time :
       rowsOf({largest, largest - 1, largest / 2, largest / 1'000'000, largest / 1'000'000 + 1})) {
    const Deadline deadline = Deadline::in(time);
    EXPECT_TRUE(deadline.expires());
    EXPECT_FALSE(deadline.hasPassed());
    EXPECT_GT(deadline.remaining(), 100 * year);
  }
}

TEST(Deadline, ComparesByItsPointInTime) {
  const Deadline soon = Deadline::in(10);
  const Deadline later = Deadline::in(1000 * year);
  const Deadline never;
  EXPECT_TRUE(soon < later);
  EXPECT_FALSE(later < soon);
  EXPECT_TRUE(later < never);
  EXPECT_FALSE(never < later);
  EXPECT_TRUE(never == Deadline::never());
  EXPECT_TRUE(soon != later);
  EXPECT_TRUE(std::min(never, soon) == soon);
  EXPECT_TRUE(std::min(soon, later) == soon);
}

}  // namespace
}  // namespace tarvo::test
