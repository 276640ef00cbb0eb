#include "support/kelRendered.hpp"
#include "support/kelRows.hpp"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

// Prints the rows in which a test fails, and an exception that a test did not catch. GoogleTest prints only
// what(), which is the name of the class. It reports the failure inside its catch clause, so this listener
// can still inspect the exception.

namespace tarvo::test {
namespace {

void print(const std::string& text) {
  static_cast<void>(std::fputs(text.c_str(), stdout));
  static_cast<void>(std::fflush(stdout));
}

std::string unexpected() {
  const std::exception_ptr error = std::current_exception();
  return error == nullptr ? "" : "The exception is " + rendered(error) + '\n' + takeEndedRows();
}

class Listener : public testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo& /*test*/) override { takeEndedRows(); }
  void OnTestPartResult(const testing::TestPartResult& result) override {
    if (result.failed()) print(unexpected() + RowScope::living());
  }
};

std::terminate_handler handlerBefore = nullptr;

// Handles an exception that leaves a thread or that is thrown before main.
[[noreturn]] void terminated() {
  print(unexpected() + RowScope::living());
  handlerBefore();
  std::abort();
}

[[maybe_unused]] const bool installed = [] {
  testing::UnitTest::GetInstance()->listeners().Append(new Listener);  // the list owns it
  handlerBefore = std::set_terminate(terminated);
  return true;
}();

}  // namespace
}  // namespace tarvo::test
