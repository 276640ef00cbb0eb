#include "platform/kelLargePages.hpp"
#include "support/kelRows.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <memory>

namespace tarvo::test {
namespace {

constexpr std::size_t MiB = std::size_t{1} << 20;

TEST(LargePages, DoNotChangeContents) {
  for (const std::size_t size : rowsOf({std::size_t{0}, std::size_t{1}, 4 * MiB - 1, 4 * MiB, 9 * MiB + 5})) {
    const std::unique_ptr<char, decltype(&std::free)> block(static_cast<char*>(std::malloc(size + 1)),
                                                            &std::free);
    ASSERT_NE(block, nullptr);
    char* const end = std::fill_n(block.get(), size, 'x');
    *end = 'e';
    platform::preferLargePages(block.get(), size);
    EXPECT_EQ(std::count(block.get(), end, 'x'), static_cast<std::ptrdiff_t>(size));
    EXPECT_EQ(*end, 'e');
  }
}

TEST(LargePages, IgnoreANullBlock) {
  errno = 4711;
  platform::preferLargePages(nullptr, 8 * MiB);
  EXPECT_EQ(errno, 4711);
}

}  // namespace
}  // namespace tarvo::test
