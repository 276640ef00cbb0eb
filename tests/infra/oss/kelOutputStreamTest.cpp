#include "infra/oss/kelOutputStream.hpp"

#include "support/kelRows.hpp"
#include "support/kelTraceRecorder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>

namespace tarvo::test {
namespace {

using oss::OutputStream;

/// Stores the characters that are passed to the virtual write, and counts the flushes.
class KeepingStream : public OutputStream {
 public:
  using OutputStream::write;
  void write(char c) override {
    if (kept.size() == limit) throw std::length_error("full");
    kept += c;
  }
  void flush() override { ++flushes; }

  std::string kept;
  std::size_t limit = 1000;
  int flushes = 0;
};

TEST(OutputStream, WritesTheCharactersOfATextWithoutItsTerminator) {
  KeepingStream stream;
  stream.write("abc");
  stream.write("\xFF\x01");
  EXPECT_EQ(stream.kept, "abc\xFF\x01");
}

TEST(OutputStream, WritesNothingForAnEmptyOrANullText) {
  KeepingStream stream;
  stream.limit = 0;
  EXPECT_NO_THROW(stream.write(""));
  EXPECT_NO_THROW(stream.write(static_cast<const char*>(nullptr)));
  EXPECT_EQ(stream.kept, "");
}

TEST(OutputStream, StopsATextAtTheCharacterThatWriteRefuses) {
  KeepingStream stream;
  stream.limit = 2;
  EXPECT_THROW(stream.write("abcd"), std::length_error);
  EXPECT_EQ(stream.kept, "ab");
}

TEST(OutputStream, FlushesAtEveryCloseAndAcceptsWritesAfterIt) {
  KeepingStream stream;
  OutputStream& base = stream;
  base.close();
  base.close();
  EXPECT_EQ(stream.flushes, 2);
  base.write('x');
  EXPECT_EQ(stream.kept, "x");
}

TEST(OutputStream, DoesNothingInItsOwnFlush) {
  class BareStream : public OutputStream {
   public:
    using OutputStream::write;
    void write(char) override { FAIL() << "flushing writes nothing"; }
  };
  BareStream stream;
  stream.flush();
  stream.close();
}

TEST(OutputStream, CallsNoTraceHooks) {
  KeepingStream stream;
  TraceRecorder trace(0x60083);
  stream.write("abc");
  stream.close();
  EXPECT_THAT(trace.calls(), testing::IsEmpty());
}

/// The index of a virtual function in the vtable of its class, in the C++ ABI that the supported compilers
/// use. The destructor takes two entries. A pointer to a member consists of two words: an offset in the
/// vtable and an adjustment of the object's address. If the function is virtual, the lowest bit of one of
/// them is set: of the adjustment on ARM, where code can be at odd addresses, and of the offset on other
/// processors.
template <class Function>
std::uintptr_t slotOf(Function function) {
  std::array<std::uintptr_t, 2> words{};
  static_assert(sizeof words == sizeof function);
  std::memcpy(words.data(), &function, sizeof function);
  const auto [offset, adjustment] = words;
  EXPECT_EQ((offset & 1) + (adjustment & 1), 1U) << "the function is virtual";
  return (offset & ~std::uintptr_t{1}) / sizeof(void*);
}

TEST(OutputStream, KeepsTheOrderOfItsVirtualFunctions) {
  EXPECT_EQ(slotOf(&OutputStream::close), 2U);
  EXPECT_EQ(slotOf(&OutputStream::flush), 3U);
  EXPECT_EQ(slotOf<void (OutputStream::*)(char)>(&OutputStream::write), 4U);
  EXPECT_EQ(slotOf<void (OutputStream::*)(const char*)>(&OutputStream::write), 5U);
  EXPECT_EQ(slotOf<void (OutputStream::*)(const char*, std::size_t, std::size_t)>(&OutputStream::write), 6U);
  EXPECT_EQ(sizeof(OutputStream), sizeof(void*));
}

/// The start pointer of the first range write is used for the rest of the process. So each test of range
/// writes runs in a separate process, which prints the result and exits.
class OutputStreamRange : public testing::Test {
 protected:
  OutputStreamRange() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

  [[noreturn]] static void printAndEnd(const std::string& seen) {
    static_cast<void>(std::fputs(seen.c_str(), stderr));
    std::_Exit(0);
  }
};

TEST_F(OutputStreamRange, IsWrittenFromItsOffset) {
  EXPECT_EXIT(
      {
        KeepingStream stream;
        stream.write("abcdefgh", 2, 4);
        printAndEnd(stream.kept);
      },
      testing::ExitedWithCode(0), testing::Eq("cdef"));
}

TEST_F(OutputStreamRange, IsWrittenIncludingZeroBytes) {
  EXPECT_EXIT(
      {
        KeepingStream stream;
        stream.write("a\0b", 0, 3);
        printAndEnd(std::to_string(stream.kept.size()) + stream.kept.substr(2));
      },
      testing::ExitedWithCode(0), testing::Eq("3b"));
}

TEST_F(OutputStreamRange, UsesTheStartOfTheFirstRangeOfTheProcess) {
  EXPECT_EXIT(
      {
        KeepingStream stream;
        stream.write("first range", 6, 2);
        stream.write("SECOND RANGE", 0, 5);
        KeepingStream other;
        other.write("THIRD RANGE", 3, 3);
        other.write(nullptr, 1000, 1);
        printAndEnd(stream.kept + "|" + other.kept);
      },
      testing::ExitedWithCode(0), testing::Eq("rarange|ranr"));
}

TEST_F(OutputStreamRange, StoresItsStartEvenIfTheLengthIsZero) {
  EXPECT_EXIT(
      {
        KeepingStream stream;
        stream.write("first", 1, 0);
        const std::size_t before = stream.kept.size();
        stream.write("SECOND", 0, 4);
        printAndEnd(std::to_string(before) + stream.kept);
      },
      testing::ExitedWithCode(0), testing::Eq("0irst"));
}

TEST_F(OutputStreamRange, ReadsTheCurrentBytesAtTheStoredStart) {
  EXPECT_EXIT(
      {
        char range[] = "old";
        KeepingStream stream;
        stream.write(range, 0, 3);
        std::memcpy(range, "new", 3);
        stream.write(range, 0, 3);
        printAndEnd(stream.kept);
      },
      testing::ExitedWithCode(0), testing::Eq("oldnew"));
}

TEST_F(OutputStreamRange, StopsAtTheCharacterThatWriteRefuses) {
  EXPECT_EXIT(
      {
        KeepingStream stream;
        stream.limit = 2;
        bool refused = false;
        try {
          stream.write("abcd", 0, 4);
        } catch (const std::length_error&) {
          refused = true;
        }
        printAndEnd(stream.kept + (refused ? "!" : "?"));
      },
      testing::ExitedWithCode(0), testing::Eq("ab!"));
}

}  // namespace
}  // namespace tarvo::test
