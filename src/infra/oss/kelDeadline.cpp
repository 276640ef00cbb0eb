#include "infra/oss/kelDeadline.hpp"

#include <chrono>
#include <limits>

namespace tarvo::oss {
namespace {

constexpr std::uint64_t unlimited = std::numeric_limits<std::uint64_t>::max();
constexpr std::uint64_t lastTime = unlimited - 1;
constexpr std::uint64_t perMillisecond = 1'000'000;

std::uint64_t now() noexcept {
  const auto time = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(time).count());
}

}  // namespace

Deadline::Deadline() noexcept : nanoseconds_(unlimited) {}

Deadline::Deadline(std::uint64_t nanoseconds) noexcept : nanoseconds_(nanoseconds) {}

Deadline Deadline::never() noexcept {
  return {};
}

Deadline Deadline::in(unsigned long long milliseconds) noexcept {
  const std::uint64_t start = now();
  if (milliseconds > (lastTime - start) / perMillisecond) return Deadline(lastTime);
  return Deadline(start + milliseconds * perMillisecond);
}

bool Deadline::expires() const noexcept {
  return nanoseconds_ != unlimited;
}

bool Deadline::hasPassed() const noexcept {
  return expires() && now() >= nanoseconds_;
}

unsigned long long Deadline::remaining() const noexcept {
  if (!expires()) return std::numeric_limits<unsigned long long>::max();
  const std::uint64_t time = now();
  if (time >= nanoseconds_) return 0;
  const std::uint64_t left = nanoseconds_ - time;
  return left / perMillisecond + (left % perMillisecond == 0 ? 0 : 1);
}

}  // namespace tarvo::oss
