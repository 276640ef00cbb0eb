#pragma once

/// The platform layer's access to the locale of the C runtime, for number conversion.
namespace tarvo::platform {

/// While an object of this class exists, number conversions of the C runtime in the calling thread use the
/// rules of the locale "English_USA.1252": a decimal point and no grouping. The destructor restores the
/// former locale. A thread must not create a second object of this class while it has one.
///
/// If the system has a locale for each thread, the switch affects only the calling thread and overrides the
/// locale of the process. On such a system the switch takes no lock and allocates nothing. If the locale
/// belongs to the process, one lock serialises the switches of all threads.
class EnglishRuntimeLocale {
 public:
  /// Raises std::bad_alloc if there is no memory for the switch; the locale does not change then.
  EnglishRuntimeLocale();
  EnglishRuntimeLocale(const EnglishRuntimeLocale&) = delete;
  EnglishRuntimeLocale& operator=(const EnglishRuntimeLocale&) = delete;
  ~EnglishRuntimeLocale();

 private:
  void* former_;  // the platform's record of the former locale
};

/// A lock: while an object of this class exists, no other thread can switch the locale. The library holds the
/// lock while the standard library prints numbers. If the locale belongs to the process, the standard library
/// switches the locale too. Without the lock, the standard library could read the "English" locale that
/// another thread has set, and restore this locale after the other thread has ended its switch. A thread that
/// holds the lock may switch the locale or take the lock again. On platforms where a switch affects only the
/// calling thread the class does nothing.
class RuntimeLocaleLock {
 public:
  RuntimeLocaleLock() noexcept;
  RuntimeLocaleLock(const RuntimeLocaleLock&) = delete;
  RuntimeLocaleLock& operator=(const RuntimeLocaleLock&) = delete;
  ~RuntimeLocaleLock();  // NOLINT(performance-trivially-destructible): trivial on one platform only
};

}  // namespace tarvo::platform
