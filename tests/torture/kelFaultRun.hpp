#pragma once

#include "support/kelAllocationsSeam.hpp"
#include "support/kelRaises.hpp"

#include <gtest/gtest.h>

#include <cstddef>
#include <exception>
#include <functional>
#include <new>
#include <string>

namespace tarvo::test {

/// One run of a scenario in which memory runs out once, at its n-th request or from there on. Memory is short
/// only inside the calls below, so that a scenario prepares and looks at things undisturbed. What a call takes
/// part in the count goes on through all calls of the run.
class FaultRun {
 public:
  FaultRun(std::size_t nth, Shortage shortage) : nth_(nth), shortage_(shortage) {}

  /// Runs `operation`. False when it ended with std::bad_alloc, for which a request has to have been refused.
  /// Any other exception fails the test.
  template <class Operation>
  bool completes(Operation operation) {
    const std::exception_ptr error = run(operation);
    if (error == nullptr) return true;
    if (!ranOut(error)) ADD_FAILURE() << "ended with " << rendered(error);
    return false;
  }

  /// How an operation with an error of its own for that says that there is no memory.
  enum class Saying { always, inPart };

  /// The same for an operation that says, always or in part of its work, by an error of its own, matched by
  /// `wanted`, that there is no memory.
  template <class Operation, class Matcher>
  bool completes(Operation operation, const Matcher& wanted, Saying saying) {
    const std::exception_ptr error = run(operation);
    if (error == nullptr) return true;
    // Where memory stays short there is none for the error either.
    const bool always = saying == Saying::always && shortage_ == Shortage::once;
    if (always || !ranOut(error)) {
      EXPECT_TRUE(struckLast_ || icuIsLost()) << "there was memory";
      EXPECT_THAT([&] { std::rethrow_exception(error); }, wanted);
    }
    return false;
  }

  /// Runs `operation`, which ends with the error that `wanted` matches, or with std::bad_alloc if a request
  /// was refused. True: with the error.
  template <class Operation, class Matcher>
  bool raises(Operation operation, const Matcher& wanted) {
    const std::exception_ptr error = run(operation);
    if (error != nullptr && ranOut(error)) return false;
    EXPECT_THAT(
        [&] {
          if (error != nullptr) std::rethrow_exception(error);
        },
        wanted);
    return true;
  }

  /// Without memory at its first use ICU stays without its table of names. No code page can be opened then.
  static bool icuIsLost();

  /// Whether a request was refused so far, and in the call made last.
  bool struck() const { return struck_; }
  bool struckLast() const { return struckLast_; }

 private:
  template <class Operation>
  std::exception_ptr run(Operation& operation) {
    std::exception_ptr error;
    const bool over = shortage_ == Shortage::once && struck_;
    const std::size_t at = nth_ > seen_ ? nth_ - seen_ : 1;
    const FailingAllocation failing(over ? 0 : at, shortage_);
    try {
      operation();
    } catch (...) {
      error = std::current_exception();
    }
    seen_ += failing.requests();
    struckLast_ = failing.happened();
    struck_ = struck_ || struckLast_;
    return error;
  }

  bool ranOut(const std::exception_ptr& error) const;

  std::size_t nth_;
  Shortage shortage_;
  std::size_t seen_ = 0;
  bool struck_ = false;
  bool struckLast_ = false;
};

/// Runs `scenario` for every request that it makes: that one failing alone, and that one and all behind it;
/// each with ICU as in a program that has just started, and with ICU at work for long. Every run has a thread
/// of its own, so that what the library keeps for a thread is also asked for while memory is short; after it
/// nothing is left, neither memory nor handles.
void sweepMemory(const std::string& name, const std::function<void(FaultRun&)>& scenario);

/// Adds to what is printed at the end.
void reportFaults(const std::string& name, std::size_t faults);

}  // namespace tarvo::test
