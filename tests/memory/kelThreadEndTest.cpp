#include "infra/oss/kelDataBuffer.hpp"

#include <gtest/gtest.h>
#include <unicode/uclean.h>
#include <unicode/unistr.h>

#include <atomic>
#include <cstdlib>
#include <thread>

/// The library frees the memory that it keeps for a thread when the thread ends, however it learns of the
/// end. This is the only test of the program, because ICU's memory functions must be set before ICU is used.
namespace tarvo::test {
namespace {

std::atomic<long> blocks{0};

void* U_CALLCONV allocate(const void*, std::size_t size) {
  ++blocks;
  return std::malloc(size);
}

void* U_CALLCONV reallocate(const void*, void* block, std::size_t size) {
  if (block == nullptr) ++blocks;
  return std::realloc(block, size);
}

void U_CALLCONV release(const void*, void* block) {
  if (block != nullptr) --blocks;
  std::free(block);
}

constexpr const char* pages[] = {"UTF-8", "ISO-8859-1", "windows-1252", "Shift_JIS"};

void convertInAThread() {
  std::thread([] {
    const icu::UnicodeString word(u"caf\u00E9");
    for (const char* const page : pages) {
      oss::DataBuffer buffer(word, page);
      buffer.appendString(word, page);
    }
  }).join();
}

TEST(ThreadEnd, ClosesTheConvertersKeptForTheThread) {
  UErrorCode status = U_ZERO_ERROR;
  u_setMemoryFunctions(nullptr, &allocate, &reallocate, &release, &status);
  ASSERT_TRUE(U_SUCCESS(status));
  convertInAThread();  // loads the data that ICU keeps
  const long before = blocks;
  ASSERT_GT(before, 0);
  for (int i = 0; i < 20; ++i) convertInAThread();
  EXPECT_EQ(blocks, before);
}

}  // namespace
}  // namespace tarvo::test
