#include "infra/oss/kelNLSException.hpp"

#include "support/kelReporting.hpp"
#include "support/kelRows.hpp"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>

// Each test fails in one way. No test list runs them: kelUnexpectedTest.cpp does, one at a time.

namespace tarvo::test {
namespace {

[[noreturn]] void raise() {
  oss::NLSException error(u"ERR_X", "kelX.cpp", 7);
  error.getErrorMessage().addArgument(u"first");
  error.getErrorMessage().addArgument(2);
  throw error;
}

struct Row {
  const char* why;
  bool good;
};
const Row rows[] = {{"a good row", true}, {"a bad row", false}};

void raiseUnless(bool good) {
  if (!good) raise();
}

TEST(Failing, RaisesOutsideOfRows) {
  raise();
}

TEST(Failing, RaisesInATable) {
  for (const Row& row : rowsOf(rows)) raiseUnless(row.good);
}

TEST(Failing, RaisesInATableOfATable) {
  for (const Row& row : rowsOf(rows)) {
    for (const int number : rowsOf({5, 6})) raiseUnless(row.good || number == 5);
  }
}

TEST(Failing, RaisesInANamedScope) {
  const int seed = 4711;
  ROW("seed", seed);
  raise();
}

TEST(Failing, RaisesAfterARow) {
  for (const int number : rowsOf({1, 2})) static_cast<void>(number);
  { ROW("an earlier row"); }
  raise();
}

TEST(Failing, RaisesWhereItIsHandled) {
  for (const std::string& text : rowsOf({std::string("text")})) {
    try {
      throw std::runtime_error(text);
    } catch (const std::runtime_error&) {
      ROW("handled");
    }
  }
  raise();
}

TEST(Failing, ThrowsAnExceptionOfTheStandardLibrary) {
  ROW("row");
  throw std::out_of_range("too far");
}

TEST(Failing, ThrowsANumber) {
  throw 1;  // NOLINT(misc-throw-by-value-catch-by-reference,hicpp-exception-baseclass)
}

TEST(Failing, ExpectsSomethingElseInATable) {
  for (const auto& [text, length] : rowsOf({std::pair{std::string("a"), 1U}, {std::string("b"), 2U}}))
    EXPECT_EQ(text.size(), length);
}

TEST(Failing, RaisesInAThreadThatReports) {
  std::thread(reporting([] {
    for (const Row& row : rowsOf(rows)) raiseUnless(row.good);
  })).join();
}

TEST(Failing, RaisesInAThread) {
  std::thread([] {
    for (const Row& row : rowsOf(rows)) raiseUnless(row.good);
  }).join();
}

}  // namespace
}  // namespace tarvo::test
