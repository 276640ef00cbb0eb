#pragma once

/// The platform layer's access to the runtime library's locale, for number conversion.
namespace tarvo::platform {

/// During its lifetime the runtime's conversions in the calling thread use the numeric rules of the runtime
/// locale "English_USA.1252": a decimal point and no grouping. The destructor restores the former locale. Not
/// to be nested.
///
/// If the system has locales per thread, the switch affects only the calling thread and overrides the
/// process's locale; it takes no lock and allocates nothing. If the locale belongs to the process, one lock
/// serialises the switches of all threads.
class EnglishRuntimeLocale {
 public:
  /// Raises std::bad_alloc if there is no memory for the switch; the locale has not changed then.
  EnglishRuntimeLocale();
  EnglishRuntimeLocale(const EnglishRuntimeLocale&) = delete;
  EnglishRuntimeLocale& operator=(const EnglishRuntimeLocale&) = delete;
  ~EnglishRuntimeLocale();

 private:
  void* former_;  // the platform's record of the former locale
};

/// During its lifetime no other thread begins a switch. Held while the standard library prints numbers: if
/// the locale belongs to the process, the standard library switches it too, and could restore another
/// thread's "English" locale after that thread has ended its switch. A thread that holds the lock may switch
/// the locale or take the lock again. Does nothing on platforms where the switch affects only the calling
/// thread.
class RuntimeLocaleLock {
 public:
  RuntimeLocaleLock() noexcept;
  RuntimeLocaleLock(const RuntimeLocaleLock&) = delete;
  RuntimeLocaleLock& operator=(const RuntimeLocaleLock&) = delete;
  ~RuntimeLocaleLock();  // NOLINT(performance-trivially-destructible): trivial on one platform only
};

}  // namespace tarvo::platform
