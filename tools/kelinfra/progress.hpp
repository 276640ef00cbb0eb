#pragma once

#include <chrono>
#include <cstdint>

namespace kelinfra {

/// A bar on the terminal of the standard error for work that takes longer than a second. Without a terminal
/// nothing is printed.
class Progress {
 public:
  /// `total` is the size of the work; 0 if it is not known.
  explicit Progress(std::uint64_t total);
  Progress(const Progress& other) = delete;
  Progress& operator=(const Progress& other) = delete;
  /// Removes the bar.
  ~Progress();

  void advance(std::uint64_t size);

 private:
  using Clock = std::chrono::steady_clock;

  std::uint64_t total_;
  std::uint64_t done_ = 0;
  bool isShown_;  ///< on a terminal
  bool isDrawn_ = false;
  Clock::time_point next_;  ///< when the bar is drawn again
};

}  // namespace kelinfra
