#include "infra/oss/kelNLSException.hpp"
#include "infra/oss/kelSocketException.hpp"

#include "support/kelRaises.hpp"
#include "support/kelRows.hpp"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <stdexcept>

namespace tarvo::test {
namespace {

using oss::BaseException;
using oss::Message;
using oss::NLSException;
using oss::SocketException;
using testing::Matches;

NLSException sample() {
  NLSException error(u"ERR_X", "kelX.cpp", 7);
  error.getErrorMessage().addArgument(u"a");
  error.getErrorMessage().addArgument(2);
  return error;
}

const RaisesMatcher<NLSException> theSample = Raises<NLSException>("ERR_X", "a", 2).from("kelX.cpp");

TEST(RaisesMatcher, AcceptsTheErrorThatItDescribes) {
  EXPECT_THAT([] { throw sample(); }, theSample);
}

struct Difference {
  const char* what;
  void (*raise)();
};

// Each error differs from the sample in the one respect that its row names.
const Difference differences[] = {
    {"the class", [] { throw BaseException(sample()); }},
    {"a sibling class",
     [] {
       SocketException error(u"ERR_X", "kelX.cpp", 7);
       error.getErrorMessage().addArgument(u"a");
       error.getErrorMessage().addArgument(2);
       throw error;
     }},
    {"the identifier",
     [] {
       NLSException error = sample();
       error.getErrorMessage().setMessageID(u"ERR_Y");
       throw error;
     }},
    {"the text",
     [] {
       NLSException error = sample();
       error.getErrorMessage().setMessageText(u"t");
       throw error;
     }},
    {"the level",
     [] {
       NLSException error = sample();
       error.getErrorMessage().setMessageLevel(Message::LEVEL_SEVERE);
       throw error;
     }},
    {"the file",
     [] {
       NLSException error = sample();
       error.getErrorMessage().setFileName("kelY.cpp");
       throw error;
     }},
    {"no line",
     [] {
       NLSException error = sample();
       error.getErrorMessage().setLineNumber(0);
       throw error;
     }},
    {"an argument more",
     [] {
       NLSException error = sample();
       error.getErrorMessage().addArgument(u"");
       throw error;
     }},
    {"the arguments' order",
     [] {
       NLSException error(u"ERR_X", "kelX.cpp", 7);
       error.getErrorMessage().addArgument(2);
       error.getErrorMessage().addArgument(u"a");
       throw error;
     }},
    {"a second message",
     [] {
       NLSException error = sample();
       error.getMessages().addMessage(error.getErrorMessage());
       throw error;
     }},
    {"no message",
     [] {
       NLSException error = sample();
       error.getMessages().clear();
       throw error;
     }},
    {"an error that is not the library's", [] { throw std::runtime_error("ERR_X"); }},
    {"no error", [] {}},
};

TEST(RaisesMatcher, RefusesEveryOtherError) {
  for (const Difference& difference : rowsOf(differences)) EXPECT_FALSE(Matches(theSample)(difference.raise));
}

TEST(RaisesMatcher, RunsAMismatchingCallableOnceAndExplainsThatRun) {
  int runs = 0;
  const auto numbered = [&runs] {
    NLSException error(u"ERR_X", "kelX.cpp", 7);
    error.getErrorMessage().addArgument(++runs);
    throw error;
  };
  EXPECT_NONFATAL_FAILURE(EXPECT_THAT(numbered, theSample), "ERR_X [] <1> from kelX.cpp:7 level 4");
  EXPECT_EQ(runs, 1);
}

TEST(RaisesMatcher, RunsACallableThatRaisesNothingOnce) {
  int runs = 0;
  EXPECT_NONFATAL_FAILURE(EXPECT_THAT([&runs] { ++runs; }, theSample), "throws nothing");
  EXPECT_EQ(runs, 1);
}

TEST(RaisesMatcher, RunsACallableAgainForASecondExpectation) {
  int runs = 0;
  const auto raise = [&runs] {
    if (++runs == 2) throw sample();
  };
  EXPECT_NONFATAL_FAILURE(EXPECT_THAT(raise, theSample), "throws nothing");
  EXPECT_THAT(raise, theSample);
  EXPECT_EQ(runs, 2);
}

TEST(RaisesMatcher, DescribesTheExpectedError) {
  EXPECT_EQ(
      testing::DescribeMatcher<void (*)()>(theSample),
      "throws tarvo::oss::NLSException, 1 message: ERR_X [] <a> <2> from kelX.cpp, any line but 0, level 4");
}

}  // namespace
}  // namespace tarvo::test
