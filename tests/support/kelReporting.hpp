#pragma once

#include <gtest/gtest.h>

#include <utility>

namespace tarvo::test {

/// Wraps `work` for a thread of a test: an exception that it throws fails the test instead of ending the
/// program.
///
///     std::thread reader(reporting([&] { socket.read(buffer, 0, 1); }));
template <class Work>
auto reporting(Work work) {
  return [work = std::move(work)] {
    try {
      work();
    } catch (...) {
      ADD_FAILURE() << "an exception has left a thread";
    }
  };
}

}  // namespace tarvo::test
