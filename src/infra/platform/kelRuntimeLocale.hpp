#pragma once

/// The seam between number conversion and the runtime library's locale.
namespace tarvo::platform {

/// While it lives, the runtime's conversions in the calling thread go by the numeric rules of the runtime
/// locale "English_USA.1252": a decimal point and no grouping. Its end puts the locale back that stood before.
/// Not to be nested.
///
/// Where the system has locales for a thread, the switch is the calling thread's alone, stands above the
/// process's locale and leaves other threads as they are; it takes no lock and allocates nothing. Where the
/// locale is the process's, the switches of all threads come one after the other under one lock.
class EnglishRuntimeLocale {
 public:
  /// Raises std::bad_alloc when there is no memory for the switch; the locale is then as it was.
  EnglishRuntimeLocale();
  EnglishRuntimeLocale(const EnglishRuntimeLocale&) = delete;
  EnglishRuntimeLocale& operator=(const EnglishRuntimeLocale&) = delete;
  ~EnglishRuntimeLocale();

 private:
  void* former_;  // the platform's own record of what stood before
};

/// While it lives, the locale stands: no other thread's switch begins. For what the standard library prints, which where
/// the locale is the process's switches it, too, and would put another thread's "English" one back behind that one's
/// end. Whoever holds one may make a switch and hold another. Where a switch is a thread's alone, nothing.
class StandingRuntimeLocale {
 public:
  StandingRuntimeLocale() noexcept;
  StandingRuntimeLocale(const StandingRuntimeLocale&) = delete;
  StandingRuntimeLocale& operator=(const StandingRuntimeLocale&) = delete;
  ~StandingRuntimeLocale();  // NOLINT(performance-trivially-destructible): to one platform only
};

}  // namespace tarvo::platform
