#include "support/kelSystemNew.hpp"

#include <windows.h>

#include <cstdio>
#include <cstdlib>

namespace tarvo::test {
namespace {

// The names under which the compiler links the operators; y is the mangled size type.
constexpr const char* newName = "_Znwy";
constexpr const char* newArrayName = "_Znay";
constexpr const char* deleteName = "_ZdlPv";
constexpr const char* deleteArrayName = "_ZdaPv";

template <class Function>
Function* ofTheRuntime(const char* name) {
  const FARPROC found = ::GetProcAddress(::GetModuleHandleA("libstdc++-6.dll"), name);
  if (found == nullptr) {
    std::fputs("no operator new or delete in the runtime library\n", stderr);
    std::abort();
  }
  return reinterpret_cast<Function*>(reinterpret_cast<void*>(found));
}

}  // namespace

void* systemNew(std::size_t size) {
  static auto* const next = ofTheRuntime<void*(std::size_t)>(newName);
  return next(size);
}

void* systemNewArray(std::size_t size) {
  static auto* const next = ofTheRuntime<void*(std::size_t)>(newArrayName);
  return next(size);
}

void systemDelete(void* block) noexcept {
  static auto* const next = ofTheRuntime<void(void*)>(deleteName);
  next(block);
}

void systemDeleteArray(void* block) noexcept {
  static auto* const next = ofTheRuntime<void(void*)>(deleteArrayName);
  next(block);
}

}  // namespace tarvo::test
