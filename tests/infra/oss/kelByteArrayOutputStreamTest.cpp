#include "infra/oss/kelByteArrayOutputStream.hpp"
#include "infra/oss/kelIOException.hpp"

#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"
#include "support/kelTraceRecorder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

namespace tarvo::test {
namespace {

using oss::ByteArrayOutputStream;
using oss::IOException;
using oss::OutputStream;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* sourceFile = "kelByteArrayOutputStream.cpp";
constexpr const char* tooSmall = "ERR_BUFFER_SIZE_TOO_SMALL";

static_assert(std::is_base_of_v<OutputStream, ByteArrayOutputStream>);
static_assert(sizeof(ByteArrayOutputStream) == sizeof(OutputStream) + sizeof(char*) + 16);

TEST(ByteArrayOutputStream, WritesFromTheStartOfTheBufferWithoutATerminator) {
  std::string buffer(6, '#');
  ByteArrayOutputStream stream(buffer.data(), buffer.size());
  stream.write('a');
  stream.write('\0');
  stream.write("bc");
  EXPECT_EQ(buffer, (std::string{'a', '\0', 'b', 'c', '#', '#'}));
}

TEST(ByteArrayOutputStream, AcceptsAsManyBytesAsItsCapacity) {
  std::string buffer(5, '#');
  ByteArrayOutputStream stream(buffer.data(), 3);
  stream.write("abc");
  EXPECT_EQ(buffer, "abc##");
}

TEST(ByteArrayOutputStream, RefusesTheFirstByteThatDoesNotFitAndKeepsTheBytesBefore) {
  std::string buffer(5, '#');
  ByteArrayOutputStream stream(buffer.data(), 3);
  EXPECT_THAT([&] { stream.write("abcd"); }, Raises<IOException>(tooSmall, 3).from(sourceFile));
  EXPECT_EQ(buffer, "abc##");
  EXPECT_THAT([&] { stream.write('e'); }, Raises<IOException>(tooSmall, 3).from(sourceFile));
  EXPECT_EQ(buffer, "abc##");
  EXPECT_NO_THROW(stream.write(""));
}

TEST(ByteArrayOutputStream, RefusesTheFirstByteIfTheCapacityIsZero) {
  ByteArrayOutputStream stream(nullptr, 0);
  EXPECT_THAT([&] { stream.write('a'); }, Raises<IOException>(tooSmall, 0).from(sourceFile));
}

TEST(ByteArrayOutputStream, WritesNothingForANullText) {
  char byte = '#';
  ByteArrayOutputStream stream(&byte, 0);
  EXPECT_NO_THROW(stream.write(static_cast<const char*>(nullptr)));
  EXPECT_EQ(byte, '#');
}

TEST(ByteArrayOutputStream, IsUnchangedByCloseAndFlush) {
  std::string buffer(4, '#');
  ByteArrayOutputStream stream(buffer.data(), buffer.size());
  stream.write('a');
  stream.flush();
  stream.close();
  stream.close();
  stream.write('b');
  EXPECT_EQ(buffer, "ab##");
}

TEST(ByteArrayOutputStream, IsWrittenToAndDestroyedThroughItsBase) {
  std::string buffer(4, '#');
  const std::unique_ptr<OutputStream> stream =
      std::make_unique<ByteArrayOutputStream>(buffer.data(), buffer.size());
  stream->write("ab");
  stream->write('c');
  EXPECT_EQ(buffer, "abc#");
}

TEST(ByteArrayOutputStream, DoesNotHideTheRangeWriteOfItsBase) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        std::string buffer(4, '#');
        ByteArrayOutputStream stream(buffer.data(), 3);
        bool refused = false;
        try {
          stream.write("abcdefg", 1, 4);
        } catch (const IOException&) {
          refused = true;
        }
        static_cast<void>(std::fputs((buffer + (refused ? "!" : "?")).c_str(), stderr));
        std::_Exit(0);
      },
      testing::ExitedWithCode(0), testing::Eq("bcd#!"));
}

TEST(ByteArrayOutputStream, ReportsTheLow32BitsOfItsCapacityAsASignedNumber) {
  struct Row {
    std::size_t capacity;
    const char* argument;
  };
  // In 32 bits the last capacity is 5.
  for (const auto& [capacity, argument] :
       rowsOf(std::to_array<Row>({{0x7FFFFFFF, "2147483647"},
                                  {0x80000000, "-2147483648"},
                                  {0xFFFFFFFF, "-1"},
                                  {static_cast<std::size_t>(0x100000005U), "5"}}))) {
    // Instead of writing gigabytes, this sets the position, which is the object's last member, to the end.
    ByteArrayOutputStream stream(nullptr, capacity);
    std::memcpy(reinterpret_cast<char*>(&stream) + sizeof stream - sizeof capacity, &capacity,
                sizeof capacity);
    EXPECT_THAT([&stream] { stream.write('a'); },
                Raises<IOException>(tooSmall, std::string(argument)).from(sourceFile));
  }
}

TEST(ByteArrayOutputStream, TracesItsConstructionAndEveryByte) {
  TraceRecorder trace(0x20001);
  {
    char buffer[2];
    ByteArrayOutputStream stream(buffer, sizeof buffer);
    EXPECT_THAT(trace.take(), ElementsAre("traceExit 5E6 0"));
    stream.write("ab");
    EXPECT_THAT(trace.take(),
                ElementsAre("traceEntry 5E7", "traceExit 5E7 0", "traceEntry 5E7", "traceExit 5E7 0"));
    stream.write("");
    stream.write(static_cast<const char*>(nullptr));
    stream.flush();
    stream.close();
  }
  EXPECT_THAT(trace.take(), IsEmpty()) << "neither the base's members nor the destructor report";
}

TEST(ByteArrayOutputStream, TracesNoExitForARefusedByte) {
  ByteArrayOutputStream stream(nullptr, 0);
  TraceRecorder trace(0x60083);
  EXPECT_THAT([&] { stream.write('a'); }, Raises<IOException>(tooSmall, 0).from(sourceFile));
  const std::vector<std::string> calls = trace.calls();
  ASSERT_GE(calls.size(), 2U);
  EXPECT_EQ(calls[0], "diagDispatchEntry 5E7");
  EXPECT_EQ(calls[1], "traceEntry 5E7");
  EXPECT_EQ(std::count_if(calls.begin(), calls.end(),
                          [](const std::string& call) { return call.find("5E7") != std::string::npos; }),
            2);
}

struct HookRow {
  std::uint32_t flags;
  std::vector<std::string> construction;
  std::vector<std::string> byte;
};

TEST(ByteArrayOutputStream, CallsTheHooksThatEachFlagEnables) {
  const std::vector<HookRow> rows = {
      {0x0, {}, {}},
      {0x1, {}, {"traceEntry 5E7"}},
      {0x2, {"traceExit 5E6 0"}, {"traceExit 5E7 0"}},
      {0x80, {"traceFlightRecord 5E6 0 0 0"}, {"traceFlightRecord 5E7 0 0 0"}},
      {0x20000, {"traceExit 5E6 0"}, {"traceEntry 5E7", "traceExit 5E7 0"}},
      {0x40000, {"diagDispatchExit 5E6"}, {"diagDispatchEntry 5E7", "diagDispatchExit 5E7"}},
      {0x60080,
       {"diagDispatchExit 5E6", "traceExit 5E6 0", "traceFlightRecord 5E6 0 0 0"},
       {"diagDispatchEntry 5E7", "traceEntry 5E7", "diagDispatchExit 5E7", "traceExit 5E7 0",
        "traceFlightRecord 5E7 0 0 0"}},
  };
  for (const HookRow& row : rowsOf(rows)) {
    TraceRecorder trace(row.flags);
    char byte = 0;
    ByteArrayOutputStream stream(&byte, 1);
    EXPECT_EQ(trace.take(), row.construction) << std::hex << row.flags;
    stream.write('a');
    EXPECT_EQ(trace.take(), row.byte) << std::hex << row.flags;
  }
}

}  // namespace
}  // namespace tarvo::test
