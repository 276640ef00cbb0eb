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

}  // namespace tarvo::platform
