#pragma once

#include <chrono>
#include <cstdint>

/// A clock for short times: the counter of the processor, which advances at a constant rate on current
/// processors. The unit of the counter depends on the processor. In a machine with several processor chips,
/// the counters of the chips can differ.
namespace tarvo::machine {

/// Nanoseconds of the system's steady clock.
inline std::uint64_t steadyNanoseconds() noexcept {
  const auto sinceStart = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(sinceStart).count());
}

/// Returns the processor's counter. If this file does not know the counter of a processor, `hasTicks` is
/// false, and the result is `steadyNanoseconds`.
#if defined(__x86_64__) || defined(__i386__)
inline constexpr bool hasTicks = true;
inline std::uint64_t ticks() noexcept {
  return __builtin_ia32_rdtsc();
}
#elif defined(__aarch64__)
inline constexpr bool hasTicks = true;
inline std::uint64_t ticks() noexcept {
  std::uint64_t count;
  __asm__ volatile("mrs %0, cntvct_el0" : "=r"(count));
  return count;
}
#else
inline constexpr bool hasTicks = false;
inline std::uint64_t ticks() noexcept {
  return steadyNanoseconds();
}
#endif

}  // namespace tarvo::machine
