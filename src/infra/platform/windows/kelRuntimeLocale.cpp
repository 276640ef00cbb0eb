#include "platform/kelRuntimeLocale.hpp"

#include <windows.h>

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <new>

namespace tarvo::platform {
namespace {

/// The locale is the process's: who is between a switch and its end holds this. No std::mutex, which here is
/// constructed when the library is loaded.
constinit SRWLOCK switching = SRWLOCK_INIT;

/// Room for the name of the locale that stood before, as long as any that is not made to be longer. Who holds the lock
/// uses it.
constinit char formerName[1024];

/// The name of the locale that stands, copied, since the runtime's own text changes with the next switch.
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
  AcquireSRWLockExclusive(&switching);
  former_ = currentName();
  if (former_ == nullptr) {
    ReleaseSRWLockExclusive(&switching);
    throw std::bad_alloc();
  }
  // A system that lacks it has "C", whose numeric rules are the same.
  if (std::setlocale(LC_ALL, "English_USA.1252") == nullptr) std::setlocale(LC_ALL, "C");
}

EnglishRuntimeLocale::~EnglishRuntimeLocale() {
  std::setlocale(LC_ALL, static_cast<const char*>(former_));
  release(former_);
  ReleaseSRWLockExclusive(&switching);
}

}  // namespace tarvo::platform
