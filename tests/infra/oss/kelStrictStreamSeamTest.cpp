#include "oss/kelStrictStream.hpp"
#include "support/kelRows.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>

namespace tarvo::test {
namespace {

using oss::StrictStream;

TEST(StrictStream, CountsOffsetsBeyond4GiB) {
  constexpr std::uint64_t before = (std::uint64_t{1} << 32U) - 3;
  for (const std::size_t clean : rowsOf({2U, 3U, 4U, 5000U})) {
    StrictStream stream("UTF-8", "ISO-8859-1", before);
    const std::string bytes = std::string(clean, 'a') + "\xE2\x82\xAC\xFF";
    std::array<char, 6000> room{};
    const char* source = bytes.data();
    const char* const end = source + bytes.size();
    char* target = room.data();
    EXPECT_EQ(stream.convert(source, end, target, room.data() + room.size(), true),
              StrictStream::Status::FAULT);
    EXPECT_EQ(stream.fault().offset, before + clean);
    EXPECT_EQ(stream.convert(source, end, target, room.data() + room.size(), true),
              StrictStream::Status::FAULT);
    EXPECT_EQ(stream.fault().offset, before + clean + 3);
  }
}

TEST(StrictStream, CountsUnitsOfUTF16FromAnOddOffset) {
  StrictStream stream("UTF-16BE", "UTF-8", 7);
  const std::string bytes("\0A\xD8\0\0B\xDC\0", 8);
  std::array<char, 10> room{};
  const char* source = bytes.data();
  char* target = room.data();
  for (const std::uint64_t offset : {9U, 13U}) {
    EXPECT_EQ(stream.convert(source, bytes.data() + bytes.size(), target, room.data() + room.size(), true),
              StrictStream::Status::FAULT);
    EXPECT_EQ(stream.fault().offset, offset);
  }
}

}  // namespace
}  // namespace tarvo::test
