#include "infra/oss/kelPrintStream.hpp"

#include "support/kelRows.hpp"
#include "support/kelTraceRecorder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <iomanip>
#include <iostream>
#include <limits>
#include <locale>
#include <sstream>
#include <string>
#include <type_traits>

namespace tarvo::test {
namespace {

using oss::ossOut;
using oss::PrintStream;

static_assert(std::is_same_v<decltype(ossOut), PrintStream&>);
static_assert(std::has_virtual_destructor_v<PrintStream>);
static_assert(sizeof(PrintStream) == sizeof(void*));

/// Captures the output of std::cerr, and restores its formatting state and locale at the end.
class PrintStreamTest : public testing::Test {
 public:
  PrintStreamTest() : before_(std::cerr.rdbuf(caught_.rdbuf())), locale_(std::cerr.getloc()) {
    state_.copyfmt(std::cerr);
  }
  PrintStreamTest(const PrintStreamTest&) = delete;
  PrintStreamTest& operator=(const PrintStreamTest&) = delete;
  ~PrintStreamTest() override {
    std::cerr.rdbuf(before_);
    std::cerr.copyfmt(state_);
    std::cerr.imbue(locale_);
    std::cerr.clear();
  }

 protected:
  /// Returns the text that was printed since the last call.
  std::string printed() {
    std::string text = caught_.str();
    caught_.str("");
    return text;
  }

  template <class Value>
  std::string printed(Value value) {
    PrintStream& same = ossOut << value;
    EXPECT_EQ(&same, &ossOut);
    return printed();
  }

  /// Expects that integers print as decimal text, including the smallest and the largest value of the type.
  template <class Integer>
  void expectDecimal() {
    for (const Integer value : rowsOf({std::numeric_limits<Integer>::min(), Integer{0}, Integer{65},
                                       std::numeric_limits<Integer>::max()}))
      EXPECT_EQ(printed(value), std::to_string(value));
  }

 private:
  std::ostringstream caught_;
  std::ios state_{nullptr};
  std::streambuf* before_;
  std::locale locale_;
};

TEST_F(PrintStreamTest, PrintsTheThreeCharacterTypesAsCharacters) {
  EXPECT_EQ(printed('A'), "A");
  EXPECT_EQ(printed(static_cast<signed char>(65)), "A");
  EXPECT_EQ(printed(static_cast<unsigned char>(65)), "A");
  EXPECT_EQ(printed(static_cast<unsigned char>(0xE9)), "\xE9");
  EXPECT_EQ(printed('\0'), std::string(1, '\0'));
}

TEST_F(PrintStreamTest, PrintsTheIntegerTypesAsNumbers) {
  expectDecimal<short>();
  expectDecimal<unsigned short>();
  expectDecimal<int>();
  expectDecimal<unsigned int>();
  expectDecimal<long>();
  expectDecimal<unsigned long>();
  expectDecimal<long long>();
  expectDecimal<unsigned long long>();
}

TEST_F(PrintStreamTest, AcceptsTheFixedWidthTypesWithoutAmbiguity) {
  EXPECT_EQ(printed(std::int8_t{66}), "B");
  EXPECT_EQ(printed(std::int16_t{-2}), "-2");
  EXPECT_EQ(printed(std::int32_t{-3}), "-3");
  EXPECT_EQ(printed(std::int64_t{-4}), "-4");
  EXPECT_EQ(printed(std::uint64_t{5}), "5");
  EXPECT_EQ(printed(std::size_t{6}), "6");
  EXPECT_EQ(printed(std::ptrdiff_t{-7}), "-7");
}

TEST_F(PrintStreamTest, PrintsFloatingPointNumbersLikeTheStandardStream) {
  EXPECT_EQ(printed(1.5F), "1.5");
  EXPECT_EQ(printed(-0.25), "-0.25");
  EXPECT_EQ(printed(3.14159265358979), "3.14159");
  EXPECT_EQ(printed(1e300), "1e+300");
  EXPECT_EQ(printed(std::numeric_limits<float>::infinity()), "inf");
}

TEST_F(PrintStreamTest, PrintsTextUpToItsTerminator) {
  EXPECT_EQ(printed("retry 3%s\n"), "retry 3%s\n");
  EXPECT_EQ(printed(""), "");
  EXPECT_EQ(printed("ab\0cd"), "ab");
}

TEST_F(PrintStreamTest, PrintsAChainInOrder) {
  ossOut << "retry " << 2 << " of " << 3U << ':' << ' ' << 0.5 << '\n';
  EXPECT_EQ(printed(), "retry 2 of 3: 0.5\n");
}

TEST_F(PrintStreamTest, SharesTheFormattingStateOfStandardError) {
  std::cerr << std::hex << std::showbase;
  EXPECT_EQ(printed(255), "0xff");
  EXPECT_EQ(printed(255ULL), "0xff");
  std::cerr << std::dec << std::noshowbase << std::fixed << std::setprecision(2);
  EXPECT_EQ(printed(255), "255");
  EXPECT_EQ(printed(0.5), "0.50");
  std::cerr << std::setw(4) << std::setfill('.');
  EXPECT_EQ(printed("ab"), "..ab");
  EXPECT_EQ(printed("ab"), "ab") << "a width holds for one insertion";
  std::cerr << std::setw(3);
  EXPECT_EQ(printed('c'), "..c");
}

TEST_F(PrintStreamTest, PrintsInTheLocaleOfStandardError) {
  struct Grouping : std::numpunct<char> {
    std::string do_grouping() const override { return "\3"; }
    char do_thousands_sep() const override { return '\''; }
  };
  std::cerr.imbue(std::locale(std::locale::classic(), new Grouping));
  EXPECT_EQ(printed(1234567), "1'234'567");
}

TEST_F(PrintStreamTest, PrintsNothingWhileStandardErrorHasFailed) {
  std::cerr.setstate(std::ios::failbit);
  EXPECT_EQ(printed("lost"), "");
  EXPECT_TRUE(std::cerr.fail()) << "the error bits are the standard stream's own";
  std::cerr.clear();
  EXPECT_EQ(printed("seen"), "seen");
}

TEST_F(PrintStreamTest, PrintsToTheSameStreamThroughEveryObject) {
  PrintStream own;
  own << "own " << 1;
  EXPECT_EQ(printed(), "own 1");
}

TEST_F(PrintStreamTest, CallsNoTraceHooks) {
  TraceRecorder trace(0x60083);
  ossOut << "quiet" << 1 << 'c';
  EXPECT_THAT(trace.calls(), testing::IsEmpty());
}

}  // namespace
}  // namespace tarvo::test
