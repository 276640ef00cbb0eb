#include "infra/oss/kelSizeableBuffer.hpp"

#include "support/kelCountedCell.hpp"
#include "support/kelRows.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <new>
#include <type_traits>

namespace tarvo::test {
namespace {

using oss::SizeableBuffer;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr unsigned long long GiB = 1ULL << 30;
constexpr unsigned long long greatest = std::numeric_limits<unsigned long long>::max();

static_assert(std::has_virtual_destructor_v<SizeableBuffer<char, 16>>);
static_assert(!std::is_copy_constructible_v<SizeableBuffer<char, 16>>);
static_assert(!std::is_copy_assignable_v<SizeableBuffer<char, 16>>);

template <class T, std::size_t N>
class Limited : public SizeableBuffer<T, N> {
 public:
  explicit Limited(unsigned long long maximumSize) { this->setMaximumSize(maximumSize); }
};

template <class T, std::size_t N>
bool liesInside(const SizeableBuffer<T, N>& buffer) {
  const auto* const first = reinterpret_cast<const char*>(&buffer);
  const auto* const data = reinterpret_cast<const char*>(buffer.data());
  return std::less_equal<>()(first, data) && std::less<>()(data, first + sizeof buffer);
}

template <class T, std::size_t N>
void expectSizes(const SizeableBuffer<T, N>& buffer, unsigned long long capacity, unsigned long long size) {
  EXPECT_NE(buffer.data(), nullptr);
  EXPECT_EQ(buffer.capacity(), capacity);
  EXPECT_EQ(buffer.size(), size);
}

template <std::size_t N>
void startsInline() {
  ROW("N", N);
  const CellHeap heap;
  {
    SizeableBuffer<Cell, N> buffer;
    EXPECT_TRUE(liesInside(buffer));
    expectSizes(buffer, N, N);
    std::memset(static_cast<void*>(buffer.data()), 'x', N);
    EXPECT_EQ(buffer.data()[N - 1].value, 'x');
  }
  EXPECT_THAT(Cell::asked, IsEmpty());
}

template <std::size_t N>
void growsBy(unsigned long long size, unsigned long long capacity) {
  ROW("N", N);
  const CellHeap heap;
  {
    SizeableBuffer<Cell, N> buffer;
    buffer.resize(size);
    EXPECT_FALSE(liesInside(buffer));
    expectSizes(buffer, capacity, size);
    EXPECT_THAT(Cell::asked, ElementsAre(capacity));
    std::memset(static_cast<void*>(buffer.data()), 'x', static_cast<std::size_t>(capacity));
  }
  EXPECT_EQ(Cell::live, 0);
}

TEST(SizeableBuffer, StartsWithItsInlineStorage) {
  startsInline<1>();
  startsInline<16>();
  startsInline<512>();
  startsInline<1026>();
}

TEST(SizeableBuffer, GrowsToTheNextPowerOfTwoFromFour) {
  growsBy<1>(2, 4);
  growsBy<1>(4, 4);
  growsBy<1>(5, 8);
  growsBy<16>(17, 32);
  growsBy<512>(513, 1024);
  growsBy<512>(1024, 1024);
  growsBy<512>(1025, 2048);
  growsBy<1026>(1027, 2048);
}

TEST(SizeableBuffer, StaysInlineUpToN) {
  const CellHeap heap;
  SizeableBuffer<Cell, 16> buffer;
  for (const unsigned long long size : rowsOf({16ULL, 1ULL, 0ULL, 15ULL, 16ULL})) {
    buffer.resize(size);
    EXPECT_TRUE(liesInside(buffer));
    expectSizes(buffer, 16, size);
  }
  EXPECT_THAT(Cell::asked, IsEmpty());
}

TEST(SizeableBuffer, GrowsOnTheHeapAndNeverShrinks) {
  const CellHeap heap;
  {
    SizeableBuffer<Cell, 16> buffer;
    buffer.resize(17);
    expectSizes(buffer, 32, 17);
    const Cell* const block = buffer.data();
    buffer.resize(32);
    EXPECT_EQ(buffer.data(), block);
    expectSizes(buffer, 32, 32);
    buffer.resize(33);
    expectSizes(buffer, 64, 33);
    buffer.resize(20);
    expectSizes(buffer, 64, 20);
    EXPECT_THAT(Cell::asked, ElementsAre(32, 64));
    EXPECT_EQ(Cell::live, 1);
  }
  EXPECT_EQ(Cell::live, 0);
}

TEST(SizeableBuffer, IsDestroyedThroughItsVirtualDestructor) {
  const CellHeap heap;
  SizeableBuffer<Cell, 16>* const buffer = new Limited<Cell, 16>(100);
  buffer->resize(50);
  EXPECT_EQ(Cell::live, 1);
  delete buffer;
  EXPECT_EQ(Cell::live, 0);
}

TEST(SizeableBuffer, RefusesMoreThanOneGiBWithoutARequestToTheHeap) {
  for (const unsigned long long size : rowsOf({GiB + 1, 2 * GiB, 4 * GiB + 1, 1ULL << 63, greatest})) {
    const CellHeap heap;
    SizeableBuffer<Cell, 16> buffer;
    EXPECT_THROW(buffer.resize(size), std::bad_alloc);
    EXPECT_THAT(Cell::asked, IsEmpty());
    EXPECT_EQ(buffer.data(), nullptr);
    EXPECT_EQ(buffer.size(), 0U);
    EXPECT_EQ(buffer.capacity(), 0U);
  }
}

TEST(SizeableBuffer, IsUsableAfterAnAllocationFailure) {
  const CellHeap heap;
  {
    SizeableBuffer<Cell, 16> buffer;
    buffer.resize(20);
    Cell::failing = true;
    EXPECT_THROW(buffer.resize(100), std::bad_alloc);
    EXPECT_EQ(buffer.data(), nullptr);
    EXPECT_EQ(buffer.size(), 0U);
    EXPECT_EQ(buffer.capacity(), 0U);
    EXPECT_EQ(Cell::live, 0);
    Cell::failing = false;
    buffer.resize(100);
    expectSizes(buffer, 128, 100);
  }
  EXPECT_EQ(Cell::live, 0);
}

TEST(SizeableBuffer, ChangesNothingAboveItsMaximum) {
  const CellHeap heap;
  Limited<Cell, 16> buffer(100);
  Cell* const inlineStore = buffer.data();
  buffer.resize(101);
  EXPECT_EQ(buffer.data(), inlineStore);
  expectSizes(buffer, 16, 16);
  EXPECT_THAT(Cell::asked, IsEmpty());

  buffer.resize(100);
  expectSizes(buffer, 128, 100);
  Cell* const block = buffer.data();
  block[99].value = 'x';
  for (const unsigned long long size : rowsOf({101ULL, 1000ULL, GiB + 1, greatest})) {
    buffer.resize(size);
    EXPECT_EQ(buffer.data(), block);
    EXPECT_EQ(block[99].value, 'x');
    expectSizes(buffer, 128, 100);
  }
}

TEST(SizeableBuffer, AppliesItsMaximumToTheInlineStorageToo) {
  Limited<char, 16> buffer(8);
  buffer.resize(9);
  expectSizes(buffer, 16, 16);
  buffer.resize(8);
  expectSizes(buffer, 16, 8);
}

}  // namespace
}  // namespace tarvo::test
