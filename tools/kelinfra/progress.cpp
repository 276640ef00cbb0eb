#include "progress.hpp"

#include "terminal.hpp"

#include <algorithm>
#include <cstdio>
#include <string>

namespace kelinfra {

Progress::Progress(std::uint64_t total)
    : total_(total),
      isShown_(total > 0 && isTerminal(standardError)),
      next_(Clock::now() + std::chrono::seconds(1)) {}

Progress::~Progress() {
  if (isDrawn_) std::fputs("\r\033[K", stderr);
}

void Progress::advance(std::uint64_t size) {
  done_ += size;
  const Clock::time_point now = Clock::now();
  if (!isShown_ || now < next_) return;
  constexpr std::uint64_t width = 40;
  const std::uint64_t done = std::min(done_, total_);
  const auto filled = static_cast<std::size_t>(width * done / total_);
  const std::string bar = std::string(filled, '#') + std::string(width - filled, '.');
  std::fprintf(stderr, "\r[%s] %3d %%", bar.c_str(), static_cast<int>(100 * done / total_));
  isDrawn_ = true;
  next_ = now + std::chrono::milliseconds(100);
}

}  // namespace kelinfra
