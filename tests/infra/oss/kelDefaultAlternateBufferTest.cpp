#include "infra/oss/kelDefaultAlternateBuffer.hpp"

#include "support/kelCountedCell.hpp"
#include "support/kelRows.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <new>
#include <type_traits>
#include <vector>

namespace tarvo::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Storage = oss::DefaultAlternateBuffer<char>;

constexpr unsigned long long GiB = 1ULL << 30;
constexpr unsigned long long greatest = std::numeric_limits<unsigned long long>::max();

static_assert(std::has_virtual_destructor_v<Storage>);
static_assert(!std::is_copy_constructible_v<Storage> && !std::is_copy_assignable_v<Storage>);

/// Gives access to the two settings that are protected.
template <class T>
class Adjustable : public oss::DefaultAlternateBuffer<T> {
 public:
  explicit Adjustable(unsigned long long maximumSize = 0) { this->setMaximumSize(maximumSize); }
  T* giveAlternateBlock(unsigned long long size) {
    T* block = new T[static_cast<std::size_t>(size)];
    this->setAlternateBlock(block, size);
    return block;
  }
  void claimAlternateSize(unsigned long long size) { this->setAlternateBlock(nullptr, size); }
};

template <class Buffer>
void expectEmpty(const Buffer& buffer) {
  EXPECT_EQ(buffer.data(), nullptr);
  EXPECT_EQ(buffer.capacity(), 0U);
  EXPECT_EQ(buffer.usedSize(), 0U);
}

template <class Buffer>
void expectSizes(const Buffer& buffer, unsigned long long capacity, unsigned long long usedSize) {
  EXPECT_NE(buffer.data(), nullptr);
  EXPECT_EQ(buffer.capacity(), capacity);
  EXPECT_EQ(buffer.usedSize(), usedSize);
}

TEST(DefaultAlternateBuffer, StartsWithoutStorage) {
  const Storage buffer;
  expectEmpty(buffer);
}

TEST(DefaultAlternateBuffer, AllocatesNothingForASizeOfZero) {
  const CellHeap heap;
  oss::DefaultAlternateBuffer<Cell> buffer;
  buffer.resize(0);
  expectEmpty(buffer);
  EXPECT_THAT(Cell::asked, IsEmpty());
}

TEST(DefaultAlternateBuffer, AllocatesAtLeastFourElements) {
  for (const unsigned long long need : rowsOf({1ULL, 2ULL, 3ULL, 4ULL})) {
    Storage buffer;
    buffer.resize(need);
    expectSizes(buffer, 4, need);
  }
}

TEST(DefaultAlternateBuffer, GrowsToTheSmallestSufficientPowerOfTwo) {
  for (int k = 2; k < 30; ++k) {
    ROW("k", k);
    const unsigned long long power = 1ULL << k;
    Storage below;
    below.resize(power - 1);
    expectSizes(below, k == 2 ? 4 : power, power - 1);
    Storage at;
    at.resize(power);
    expectSizes(at, power, power);
    Storage above;
    above.resize(power + 1);
    expectSizes(above, 2 * power, power + 1);
  }
}

TEST(DefaultAlternateBuffer, AcceptsUpToOneGiB) {
  Storage buffer;
  buffer.resize(GiB);
  expectSizes(buffer, GiB, GiB);
  buffer.data()[0] = 'a';
  buffer.data()[GiB - 1] = 'z';
  EXPECT_EQ(buffer.data()[0], 'a');
  EXPECT_EQ(buffer.data()[GiB - 1], 'z');
}

TEST(DefaultAlternateBuffer, RequestsExactlyTheCapacityFromTheHeap) {
  const CellHeap heap;
  {
    oss::DefaultAlternateBuffer<Cell> buffer;
    buffer.resize(1);
    buffer.resize(100);
    buffer.resize(128);
    buffer.resize(129);
    EXPECT_EQ(Cell::live, 1);
  }
  EXPECT_THAT(Cell::asked, ElementsAre(4, 128, 256));
  EXPECT_EQ(Cell::live, 0);
}

TEST(DefaultAlternateBuffer, KeepsBlockAndContentsWhileTheSizeFits) {
  Storage buffer;
  buffer.resize(64);
  char* const block = buffer.data();
  std::memset(block, 'x', 64);
  for (const unsigned long long need : rowsOf({1ULL, 0ULL, 63ULL, 64ULL})) {
    buffer.resize(need);
    EXPECT_EQ(buffer.data(), block);
    expectSizes(buffer, 64, need);
  }
  EXPECT_EQ(std::vector<char>(block, block + 64), std::vector<char>(64, 'x'));
}

TEST(DefaultAlternateBuffer, RefusesMoreThanOneGiBWithoutARequestToTheHeap) {
  for (const unsigned long long need :
       rowsOf({GiB + 1, 2 * GiB - 1, 2 * GiB, 2 * GiB + 1, 4 * GiB, 4 * GiB + 4, 1ULL << 62, (1ULL << 62) + 1,
               1ULL << 63, greatest - 1, greatest})) {
    const CellHeap heap;
    oss::DefaultAlternateBuffer<Cell> buffer;
    EXPECT_THROW(buffer.resize(need), std::bad_alloc);
    EXPECT_THAT(Cell::asked, IsEmpty());
    expectEmpty(buffer);
  }
}

TEST(DefaultAlternateBuffer, IsEmptyAndUsableAfterARefusedSize) {
  const CellHeap heap;
  {
    oss::DefaultAlternateBuffer<Cell> buffer;
    buffer.resize(100);
    EXPECT_THROW(buffer.resize(GiB + 1), std::bad_alloc);
    expectEmpty(buffer);
    EXPECT_EQ(Cell::live, 0);
    buffer.resize(5);
    expectSizes(buffer, 8, 5);
  }
  EXPECT_EQ(Cell::live, 0);
}

TEST(DefaultAlternateBuffer, IsEmptyAndUsableAfterTheHeapFailed) {
  const CellHeap heap;
  {
    oss::DefaultAlternateBuffer<Cell> buffer;
    buffer.resize(100);
    Cell::failing = true;
    EXPECT_THROW(buffer.resize(1000), std::bad_alloc);
    expectEmpty(buffer);
    EXPECT_EQ(Cell::live, 0);
    Cell::failing = false;
    buffer.resize(1000);
    expectSizes(buffer, 1024, 1000);
  }
  EXPECT_THAT(Cell::asked, ElementsAre(128, 1024, 1024));
  EXPECT_EQ(Cell::live, 0);
}

TEST(DefaultAlternateBuffer, SwapsBlocksAndSettings) {
  const CellHeap heap;
  {
    Adjustable<Cell> left(100);
    const Cell* const leftBlock = left.giveAlternateBlock(50);
    left.resize(20);
    Adjustable<Cell> right;
    right.resize(300);
    const Cell* const rightBlock = right.data();
    left.swap(right);
    EXPECT_EQ(left.data(), rightBlock);
    expectSizes(left, 512, 300);
    EXPECT_EQ(right.data(), leftBlock);
    expectSizes(right, 50, 20);
    left.resize(600);
    expectSizes(left, 1024, 600);
    right.resize(101);
    expectEmpty(right);
    right.resize(50);
    EXPECT_EQ(right.data(), leftBlock);
  }
  EXPECT_EQ(Cell::live, 0);
}

// --- the maximum size

TEST(DefaultAlternateBuffer, AllocatesASizeOfExactlyTheMaximum) {
  Adjustable<char> buffer(100);
  buffer.resize(100);
  expectSizes(buffer, 128, 100);
}

TEST(DefaultAlternateBuffer, ReleasesTheStorageAboveTheMaximumWithoutAnError) {
  const CellHeap heap;
  for (const unsigned long long need : rowsOf({101ULL, 1000ULL, GiB + 1, greatest})) {
    CellHeap::reset();
    Adjustable<Cell> buffer(100);
    buffer.resize(10);
    buffer.resize(need);
    expectEmpty(buffer);
    EXPECT_THAT(Cell::asked, ElementsAre(16));
    EXPECT_EQ(Cell::live, 0);
    buffer.resize(20);
    expectSizes(buffer, 32, 20);
  }
}

TEST(DefaultAlternateBuffer, AllocatesTheMaximumOnlyIfTheCapacityIsTooSmall) {
  Adjustable<char> buffer(100);
  buffer.resize(65);
  char* const block = buffer.data();
  buffer.resize(128);
  EXPECT_EQ(buffer.data(), block);
  expectSizes(buffer, 128, 128);
  buffer.resize(129);
  expectEmpty(buffer);
}

// --- the alternate block

TEST(DefaultAlternateBuffer, UsesTheAlternateBlockForSizesThatFit) {
  for (const unsigned long long need : rowsOf({1ULL, 99ULL, 100ULL})) {
    const CellHeap heap;
    {
      Adjustable<Cell> buffer;
      const Cell* const block = buffer.giveAlternateBlock(100);
      expectEmpty(buffer);
      buffer.resize(need);
      EXPECT_EQ(buffer.data(), block);
      expectSizes(buffer, 100, need);
      EXPECT_THAT(Cell::asked, ElementsAre(100));
      EXPECT_EQ(Cell::live, 1);
    }
    EXPECT_EQ(Cell::live, 0);
  }
}

TEST(DefaultAlternateBuffer, UsesTheHeapForLargerSizesAndKeepsTheAlternateBlock) {
  const CellHeap heap;
  {
    Adjustable<Cell> buffer;
    const Cell* const block = buffer.giveAlternateBlock(100);
    buffer.resize(100);
    buffer.resize(101);
    EXPECT_NE(buffer.data(), block);
    expectSizes(buffer, 128, 101);
    EXPECT_EQ(Cell::live, 2);
    buffer.resize(50);
    EXPECT_NE(buffer.data(), block) << "what fits the capacity stays where it is";
    expectSizes(buffer, 128, 50);
  }
  EXPECT_EQ(Cell::live, 0);
}

TEST(DefaultAlternateBuffer, ReplacesASmallerBlockByTheAlternateBlock) {
  const CellHeap heap;
  {
    Adjustable<Cell> buffer;
    buffer.resize(4);
    const Cell* const block = buffer.giveAlternateBlock(100);
    EXPECT_EQ(Cell::live, 2);
    buffer.resize(5);
    EXPECT_EQ(buffer.data(), block);
    expectSizes(buffer, 100, 5);
    EXPECT_EQ(Cell::live, 1) << "the smaller block goes back";
  }
  EXPECT_EQ(Cell::live, 0);
}

TEST(DefaultAlternateBuffer, FreesAnAlternateBlockThatWasNeverUsed) {
  const CellHeap heap;
  {
    Adjustable<Cell> buffer;
    buffer.giveAlternateBlock(100);
    EXPECT_EQ(Cell::live, 1);
  }
  EXPECT_EQ(Cell::live, 0);
}

TEST(DefaultAlternateBuffer, KeepsTheAlternateBlockAfterARefusedSize) {
  const CellHeap heap;
  {
    Adjustable<Cell> buffer;
    const Cell* const block = buffer.giveAlternateBlock(100);
    buffer.resize(10);
    EXPECT_THROW(buffer.resize(GiB + 1), std::bad_alloc);
    expectEmpty(buffer);
    EXPECT_EQ(Cell::live, 1);
    buffer.resize(10);
    EXPECT_EQ(buffer.data(), block);
    expectSizes(buffer, 100, 10);
  }
  EXPECT_EQ(Cell::live, 0);
}

TEST(DefaultAlternateBuffer, KeepsTheAlternateBlockIfTheMaximumIsExceeded) {
  const CellHeap heap;
  {
    Adjustable<Cell> buffer(200);
    const Cell* const block = buffer.giveAlternateBlock(100);
    buffer.resize(10);
    buffer.resize(201);
    expectEmpty(buffer);
    EXPECT_EQ(Cell::live, 1);
    buffer.resize(100);
    EXPECT_EQ(buffer.data(), block);
  }
  EXPECT_EQ(Cell::live, 0);
}

TEST(DefaultAlternateBuffer, AppliesTheMaximumToTheAlternateBlockToo) {
  Adjustable<char> buffer(50);
  const char* const block = buffer.giveAlternateBlock(100);
  buffer.resize(51);
  expectEmpty(buffer);
  buffer.resize(50);
  EXPECT_EQ(buffer.data(), block);
}

TEST(DefaultAlternateBuffer, IgnoresANullAlternateBlock) {
  const CellHeap heap;
  {
    Adjustable<Cell> buffer;
    buffer.claimAlternateSize(100);
    buffer.resize(10);
    EXPECT_EQ(buffer.data(), nullptr);
    EXPECT_EQ(buffer.usedSize(), 0U);
    EXPECT_THAT(Cell::asked, IsEmpty());
    buffer.resize(101);
    expectSizes(buffer, 128, 101);
  }
  EXPECT_EQ(Cell::live, 0);
}

}  // namespace
}  // namespace tarvo::test
