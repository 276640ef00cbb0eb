#include "platform/kelLargePages.hpp"

#include <gtest/gtest.h>

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

namespace tarvo::test {
namespace {

constexpr std::size_t MiB = std::size_t{1} << 20;

/// Whether the page at this address is marked for large pages. Always false on systems without large pages.
bool isMarked(const char* place) {
  const auto address = reinterpret_cast<std::uintptr_t>(place);
  std::ifstream maps("/proc/self/smaps");
  bool inside = false;
  for (std::string line; std::getline(maps, line);) {
    std::uintptr_t begin = 0;
    std::uintptr_t end = 0;
    char dash = 0;
    std::istringstream fields(line);
    if (fields >> std::hex >> begin >> dash >> end && dash == '-') inside = begin <= address && address < end;
    if (inside && line.rfind("VmFlags:", 0) == 0) return (line + ' ').find(" hg ") != std::string::npos;
  }
  return false;
}

/// Newly mapped pages, which are not marked.
class Pages : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(block_, MAP_FAILED);
    ASSERT_FALSE(isMarked(at(0)));
  }
  void TearDown() override { ::munmap(block_, size); }

  char* at(std::size_t offset) const { return static_cast<char*>(block_) + offset; }
  /// The first address in the block where a large page can begin.
  char* largePage() const {
    const auto address = reinterpret_cast<std::uintptr_t>(block_);
    return at((2 * MiB - address % (2 * MiB)) % (2 * MiB));
  }

  static constexpr std::size_t size = 16 * MiB;

 private:
  void* block_ = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
};

/// Whether the system has large pages; otherwise pages cannot be marked.
bool hasLargePages() {
  return std::ifstream("/sys/kernel/mm/transparent_hugepage/enabled").good();
}

TEST_F(Pages, AreMarkedWhereAWholeLargePageFitsIntoTheBlock) {
  if (!hasLargePages()) GTEST_SKIP() << "this system has no large pages";
  char* const block = largePage() + 16;  // blocks of the heap begin at such an address
  platform::preferLargePages(block, 6 * MiB);
  EXPECT_FALSE(isMarked(block));
  EXPECT_FALSE(isMarked(block + 2 * MiB - 17));
  EXPECT_TRUE(isMarked(block + 2 * MiB - 16));
  EXPECT_TRUE(isMarked(block + 6 * MiB - 17));
  EXPECT_FALSE(isMarked(block + 6 * MiB - 16));
}

TEST_F(Pages, AreNotMarkedInASmallBlock) {
  platform::preferLargePages(largePage(), 4 * MiB - 1);
  EXPECT_FALSE(isMarked(largePage()));
  if (!hasLargePages()) GTEST_SKIP() << "this system has no large pages";
  platform::preferLargePages(largePage(), 4 * MiB);
  EXPECT_TRUE(isMarked(largePage()));
}

}  // namespace
}  // namespace tarvo::test
