#include "support/kelProcess.hpp"
#include "support/kelRows.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tarvo::test {
namespace {

using testing::HasSubstr;
using testing::Not;

ProcessResult failing(const std::string& test) {
  return runBuilt({KELINFRA_FAILING_PROGRAM, "--gtest_color=no", "--gtest_filter=Failing." + test});
}

const char* const raised =
    "tarvo::oss::NLSException, 1 message(s): ERR_X [] <first> <2> from kelX.cpp:7 level 4";

struct Failure {
  const char* name;
  std::vector<std::string> printed;
  std::string notPrinted;
};

const Failure failures[] = {
    {"RaisesOutsideOfRows", {raised}, "  in "},
    {"RaisesInATable", {raised, "kelFailing.cpp:", "row 2 is \"a bad row\""}, "a good row"},
    {"RaisesInATableOfATable", {raised, "row 2 is \"a bad row\"", "row 2 is 6"}, "a good row"},
    {"RaisesInANamedScope", {raised, "kelFailing.cpp:", "seed 4711"}, "a good row"},
    {"RaisesAfterARow", {raised}, "  in "},
    {"RaisesWhereItIsHandled", {raised}, "  in "},
    {"ThrowsAnExceptionOfTheStandardLibrary",
     {"std::out_of_range: too far", std::string(": row") + lineEnd},
     "message(s)"},
    {"ThrowsANumber", {"The exception is not derived from std::exception"}, "  in "},
    {"RaisesInAThreadThatReports",
     {raised, "an exception has left a thread", "row 2 is \"a bad row\""},
     "a good row"},
    {"ExpectsSomethingElseInATable", {"kelFailing.cpp:", "row 2 is (\"b\", 2)"}, "(\"a\", 1)"},
};

TEST(Unexpected, ExceptionsAreShownWithTheirRowAndMessage) {
  for (const Failure& row : rowsOf(failures)) {
    const ProcessResult result = failing(row.name);
    EXPECT_EQ(result.status, 1);
    for (const std::string& text : rowsOf(row.printed)) EXPECT_THAT(result.out, HasSubstr(text));
    EXPECT_THAT(result.out, Not(HasSubstr(row.notPrinted)));
  }
}

TEST(Unexpected, ExceptionsThatLeaveAThreadAreShownBeforeTheProgramEnds) {
  const ProcessResult result = failing("RaisesInAThread");
  EXPECT_NE(result.status, 0);
  EXPECT_THAT(result.out, HasSubstr(raised));
}

}  // namespace
}  // namespace tarvo::test
