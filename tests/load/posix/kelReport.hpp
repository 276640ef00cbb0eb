#pragma once

#include "support/kelSeed.hpp"

#include <chrono>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <utility>

namespace tarvo::load {

/// Prints a line for every check. A check returns its figures, or throws an error.
class Report {
 public:
  explicit Report(std::string name) : name_(std::move(name)) {}

  template <class Check>
  void check(const std::string& title, const Check& check) {
    const auto start = std::chrono::steady_clock::now();
    try {
      const std::string figures = check();
      const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
      std::printf("ok      %s: %s (%.1f s)\n", title.c_str(), figures.c_str(), took.count());
      ++passed_;
    } catch (const std::exception& error) {
      std::printf("FAILED  %s: %s, with %s=%u\n", title.c_str(), error.what(), test::seedVariable,
                  test::runSeed());
      ++failed_;
    }
    std::fflush(stdout);
  }

  /// Prints the closing line and returns the exit status.
  int close() const {
    std::printf("%s: %d passed, %d failed\n", name_.c_str(), passed_, failed_);
    return failed_ == 0 && passed_ > 0 ? 0 : 1;
  }

 private:
  std::string name_;
  int passed_ = 0;
  int failed_ = 0;
};

inline void require(bool holds, const std::string& what) {
  if (!holds) throw std::runtime_error(what);
}

inline void requireSame(const std::string& got, const std::string& expected, const std::string& what) {
  require(got == expected, what + ": \"" + got + "\" instead of \"" + expected + "\"");
}

}  // namespace tarvo::load
