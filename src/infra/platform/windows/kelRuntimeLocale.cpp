#include "platform/kelRuntimeLocale.hpp"

#include <windows.h>

#include <atomic>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <new>

namespace tarvo::platform {
namespace {

/// The lock for the locale, which belongs to the process. A thread holds the lock while the locale that it
/// set is in effect, or while the locale must not change. A thread that holds the lock may take it again. The
/// lock is not a std::recursive_mutex, because the compiler for Windows constructs a std::recursive_mutex
/// when the library is loaded.
class SwitchLock {
 public:
  void take() noexcept {
    const DWORD self = ::GetCurrentThreadId();
    if (owner_.load(std::memory_order_relaxed) != self) {
      ::AcquireSRWLockExclusive(&lock_);
      owner_.store(self, std::memory_order_relaxed);
    }
    ++depth_;
  }
  void giveBack() noexcept {
    if (--depth_ != 0) return;
    owner_.store(0, std::memory_order_relaxed);
    ::ReleaseSRWLockExclusive(&lock_);
  }

 private:
  SRWLOCK lock_ = SRWLOCK_INIT;
  std::atomic<DWORD> owner_{0};  ///< no thread has the number 0
  unsigned int depth_ = 0;
};

constinit SwitchLock switching;

/// Room for the name of the former locale; only artificial names are longer. Only the thread that holds the
/// lock may use this array.
constinit char formerName[1024];

/// Returns a copy of the current locale's name. The copy is necessary because the next switch of the locale
/// changes the runtime's text.
char* currentName() {
  const char* const name = std::setlocale(LC_ALL, nullptr);
  const std::size_t size = std::strlen(name) + 1;
  void* const room = size <= sizeof formerName ? formerName : std::malloc(size);
  return room == nullptr ? nullptr : static_cast<char*>(std::memcpy(room, name, size));
}

void release(void* name) {
  if (name != formerName) std::free(name);
}

}  // namespace

EnglishRuntimeLocale::EnglishRuntimeLocale() {
  switching.take();
  former_ = currentName();
  if (former_ == nullptr) {
    switching.giveBack();
    throw std::bad_alloc();
  }
  // If the system does not have this locale, "C" is used, which has the same numeric rules.
  if (std::setlocale(LC_ALL, "English_USA.1252") == nullptr) std::setlocale(LC_ALL, "C");
}

EnglishRuntimeLocale::~EnglishRuntimeLocale() {
  std::setlocale(LC_ALL, static_cast<const char*>(former_));
  release(former_);
  switching.giveBack();
}

RuntimeLocaleLock::RuntimeLocaleLock() noexcept {
  switching.take();
}

RuntimeLocaleLock::~RuntimeLocaleLock() {
  switching.giveBack();
}

}  // namespace tarvo::platform
