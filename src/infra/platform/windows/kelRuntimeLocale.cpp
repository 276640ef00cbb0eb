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

/// The locale that stands, copied, since the runtime's own text changes with the next switch.
char* currentName() {
  const char* const name = std::setlocale(LC_ALL, nullptr);
  const std::size_t size = std::strlen(name) + 1;
  void* const copy = std::malloc(size);
  return copy == nullptr ? nullptr : static_cast<char*>(std::memcpy(copy, name, size));
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
  std::free(former_);
  ReleaseSRWLockExclusive(&switching);
}

}  // namespace tarvo::platform
