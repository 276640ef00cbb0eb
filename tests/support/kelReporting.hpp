#pragma once

#include <gtest/gtest.h>

#include <utility>

namespace tarvo::test {

/// `work` for a thread of a test: an exception that leaves it fails the test and does not end the program.
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
