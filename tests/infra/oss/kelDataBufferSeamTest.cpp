#include "infra/oss/kelDataBuffer.hpp"
#include "infra/oss/kelNLSException.hpp"

#include "machine/kelByteOrder.hpp"
#include "support/kelAllocationsSeam.hpp"
#include "support/kelDefaultCodePageSeam.hpp"
#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace tarvo::test {
namespace {

using oss::DataBuffer;
using oss::NLSException;

TEST(DataBuffer, RefusesADefaultConverterWithOneOfTheTwoNames) {
  for (const std::string name : rowsOf({"UTF-16", "UTF-32"})) {
    const DefaultCodePage wide(name.c_str());
    const auto error =
        Raises<NLSException>("ERR_CONV_CONVERSION_ERROR", name, name).from("kelDataBuffer.cpp");
    DataBuffer buffer("xyz");
    EXPECT_THAT([&] { buffer.appendString(u"a", nullptr); }, error);
    EXPECT_THAT([&] { buffer.insertString(0, u"a", nullptr); }, error);
    EXPECT_THAT([&] { DataBuffer(icu::UnicodeString(u"a")); }, error);
    EXPECT_STREQ(buffer.getString(), "xyz");
  }
}

// An empty name is not checked, although it means the same default. Its text begins with a mark, in the
// order of the processor.
TEST(DataBuffer, DoesNotRefuseAnEmptyName) {
  const DefaultCodePage wide("UTF-16");
  DataBuffer buffer("xyz");
  buffer.appendString(u"a", "");
  const std::string expected = machine::isLittleEndian ? "xyz\xFF\xFE\x61" : "xyz\xFE\xFF";
  EXPECT_EQ(buffer.getString(), expected) << "up to the zero byte";
}

// --- the heap blocks of a growing text

/// The sizes of the blocks that are allocated, without the first.
std::vector<std::size_t> blocksUpTo(std::size_t length) {
  std::vector<std::size_t> blocks;
  const std::string piece(1000, 'p');
  DataBuffer buffer(5000);
  for (std::size_t held = 0; held < length; held += piece.size()) {
    const AllocationCount count;
    buffer.appendString(piece.c_str());
    if (count.made() > 0) blocks.push_back(count.bytes());
  }
  EXPECT_EQ(std::string(buffer.getString()), std::string(length, 'p'));
  return blocks;
}

TEST(DataBuffer, GrowsItsBlockTwofoldBelow32KiBAndAbove32MiBAndFourfoldBetween) {
  constexpr std::size_t first = 5000 + 1000 + 4096 + 1;  // the required size
  constexpr std::size_t large = first * 4;
  EXPECT_THAT(blocksUpTo(80'000'000),
              ::testing::ElementsAre(first, first * 2, large, large * 4, large * 16, large * 64, large * 256,
                                     large * 512, large * 1024, large * 2048));
}

}  // namespace
}  // namespace tarvo::test
