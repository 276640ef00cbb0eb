#include "machine/kelByteOrder.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace tarvo::machine {
namespace {

/// Starts at an odd address.
const char* const bytes = &"-\x81\x02\x03\x04\x05\x06\x07\x88"[1];

TEST(ByteOrder, LoadsTheLowestByteFirst) {
  EXPECT_EQ(littleEndianAt<std::uint16_t>(bytes), 0x0281U);
  EXPECT_EQ(littleEndianAt<std::uint32_t>(bytes), 0x04030281U);
  EXPECT_EQ(littleEndianAt<std::uint64_t>(bytes), 0x8807'0605'0403'0281U);
}

TEST(ByteOrder, LoadsTheHighestByteFirst) {
  EXPECT_EQ(bigEndianAt<std::uint16_t>(bytes), 0x8102U);
  EXPECT_EQ(bigEndianAt<std::uint32_t>(bytes), 0x81020304U);
  EXPECT_EQ(bigEndianAt<std::uint64_t>(bytes), 0x8102'0304'0506'0788U);
}

TEST(ByteOrder, StoresInTheOrderThatIsNamed) {
  std::array<char, 11> place{};
  putLittleEndian(place.data() + 1, 0x8807'0605'0403'0281U);
  EXPECT_EQ(std::string_view(place.data() + 1, 8), std::string_view(bytes, 8));
  EXPECT_EQ(place[9], 0);
  place = {};
  putBigEndian(place.data() + 1, std::uint32_t{0x81020304});
  EXPECT_EQ(std::string_view(place.data() + 1, 4), std::string_view(bytes, 4));
  EXPECT_EQ(place[5], 0);
}

TEST(ByteOrder, OfTheProcessorIsOneOfTheTwo) {
  const auto native = nativeAt<std::uint64_t>(bytes);
  EXPECT_EQ(native, isLittleEndian ? 0x8807'0605'0403'0281U : 0x8102'0304'0506'0788U);
  EXPECT_EQ(swapped(native), isLittleEndian ? 0x8102'0304'0506'0788U : 0x8807'0605'0403'0281U);
}

}  // namespace
}  // namespace tarvo::machine
