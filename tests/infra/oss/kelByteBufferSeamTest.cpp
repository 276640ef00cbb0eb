#include "infra/oss/kelByteBuffer.hpp"

#include "support/kelAllocationsSeam.hpp"

#include <gtest/gtest.h>

#include <cstddef>
#include <new>
#include <string>
#include <string_view>

/// Appends with little memory left.

namespace tarvo::test {
namespace {

using oss::ByteBuffer;

constexpr unsigned long long KiB = 1ULL << 10;

const std::string contents(32 * KiB - 1, 'c');

std::string_view bytesOf(const ByteBuffer& buffer) {
  return {buffer.get(), static_cast<std::size_t>(buffer.length())};
}

TEST(ByteBufferMemory, IsAskedForAheadAboveWhat32KiBHold) {
  ByteBuffer buffer(contents.data(), contents.size());
  const AllocationCount first;
  buffer.append("x", 1);
  EXPECT_EQ(first.made(), 1U);
  EXPECT_EQ(first.bytes(), 128 * KiB);
  EXPECT_EQ(first.released(), 1U);
  const AllocationCount second;
  buffer.append(contents.data(), contents.size());
  buffer.append("x", 1);
  EXPECT_EQ(second.made(), 0U);
  EXPECT_EQ(buffer.capacity(), 128 * KiB);
}

TEST(ByteBufferMemory, IsAskedForAsMuchAsNeededAbove16MiB) {
  constexpr unsigned long long MiB = 1024 * KiB;
  for (const unsigned long long capacity : {8 * MiB, 16 * MiB}) {
    ByteBuffer buffer(nullptr, capacity - 1);
    const AllocationCount count;
    buffer.append("x", 1);
    EXPECT_EQ(count.bytes(), 32 * MiB);
    EXPECT_EQ(buffer.capacity(), 2 * capacity);
  }
}

TEST(ByteBufferMemory, SufficesForAnAppendThoughNotForABlockGotAhead) {
  ByteBuffer buffer(contents.data(), contents.size());
  {
    const AllocationLimit limit(128 * KiB);
    buffer.append("x", 1);
  }
  EXPECT_EQ(bytesOf(buffer), contents + 'x');
  EXPECT_EQ(buffer.capacity(), 64 * KiB);
  buffer.append(contents.data(), contents.size());
  std::size_t requests = 0;
  {
    const FailingAllocation ahead(1);
    buffer.append("y", 1);
    requests = ahead.requests();
  }
  EXPECT_EQ(requests, 2U);
  EXPECT_EQ(bytesOf(buffer), contents + 'x' + contents + 'y');
  EXPECT_EQ(buffer.capacity(), 128 * KiB);
}

TEST(ByteBufferMemory, DoesNotSufficeForAnAppendThatThenChangesNothing) {
  ByteBuffer buffer(contents.data(), contents.size());
  const char* const block = buffer.get();
  {
    const AllocationLimit limit(64 * KiB);
    EXPECT_THROW(buffer.append("x", 1), std::bad_alloc);
  }
  EXPECT_EQ(buffer.get(), block);
  EXPECT_EQ(bytesOf(buffer), contents);
  EXPECT_EQ(buffer.capacity(), 32 * KiB);
}

}  // namespace
}  // namespace tarvo::test
