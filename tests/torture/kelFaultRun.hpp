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

/// One run of a scenario in which allocations fail: only the n-th one, or all from the n-th on. Allocations
/// fail only inside the members below, so that a scenario can prepare and check without failures. The
/// allocations of all calls of a run are counted together.
class FaultRun {
 public:
  FaultRun(std::size_t nth, Shortage shortage) : nth_(nth), shortage_(shortage) {}

  /// Runs `operation`. Returns false if it ended with std::bad_alloc, which is allowed only if an allocation
  /// was refused. Any other exception fails the test.
  template <class Operation>
  bool completes(Operation operation) {
    const std::exception_ptr error = run(operation);
    if (error == nullptr) return true;
    if (!ranOut(error)) ADD_FAILURE() << "ended with " << rendered(error);
    return false;
  }

  /// How often an operation reports lack of memory with a separate error instead of std::bad_alloc.
  enum class Saying { always, inPart };

  /// The same for an operation that reports lack of memory, always or in part of its work, with an error that
  /// `wanted` matches.
  template <class Operation, class Matcher>
  bool completes(Operation operation, const Matcher& wanted, Saying saying) {
    const std::exception_ptr error = run(operation);
    if (error == nullptr) return true;
    // If all further allocations fail, the error cannot be allocated either.
    const bool always = saying == Saying::always && shortage_ == Shortage::once;
    if (always || !ranOut(error)) {
      EXPECT_TRUE(struckLast_ || icuIsLost()) << "no allocation was refused";
      EXPECT_THAT([&] { std::rethrow_exception(error); }, wanted);
    }
    return false;
  }

  /// Runs `operation`, which must end with the error that `wanted` matches, or with std::bad_alloc if an
  /// allocation was refused. Returns true if the operation ended with the error.
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

  /// If ICU's first allocation fails, ICU never has its table of names, and no code page can be opened.
  static bool icuIsLost();

  /// Return whether an allocation was refused so far, and whether one was refused in the last call.
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

/// Runs `scenario` for every allocation that it makes: that one fails, or that one and all after it; each
/// with ICU as in a program that has just started, and with ICU after long use. Every run has a separate
/// thread, so that the allocations that the library keeps for a thread fail, too. After the run, neither
/// memory nor handles may be left.
void sweepMemory(const std::string& name, const std::function<void(FaultRun&)>& scenario);

/// Adds a line to the report that is printed at the end.
void reportFaults(const std::string& name, std::size_t faults);

}  // namespace tarvo::test
