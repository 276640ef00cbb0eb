#include "support/kelSystemNew.hpp"

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <type_traits>

namespace tarvo::test {
namespace {

// The names under which the operators are linked. They depend on which type std::size_t is.
constexpr bool sizesAreInts = std::is_same_v<std::size_t, unsigned int>;
constexpr const char* newName = sizesAreInts ? "_Znwj" : "_Znwm";
constexpr const char* newArrayName = sizesAreInts ? "_Znaj" : "_Znam";
constexpr const char* deleteName = "_ZdlPv";
constexpr const char* deleteArrayName = "_ZdaPv";

template <class Function>
Function* nextAfterTheProgram(const char* name) {
  void* found = dlsym(RTLD_NEXT, name);
  if (found == nullptr) {
    std::fputs("no further operator new or delete after the program's own\n", stderr);
    std::abort();
  }
  return reinterpret_cast<Function*>(found);
}

}  // namespace

void* systemNew(std::size_t size) {
  static auto* const next = nextAfterTheProgram<void*(std::size_t)>(newName);
  return next(size);
}

void* systemNewArray(std::size_t size) {
  static auto* const next = nextAfterTheProgram<void*(std::size_t)>(newArrayName);
  return next(size);
}

void systemDelete(void* block) noexcept {
  static auto* const next = nextAfterTheProgram<void(void*)>(deleteName);
  next(block);
}

void systemDeleteArray(void* block) noexcept {
  static auto* const next = nextAfterTheProgram<void(void*)>(deleteArrayName);
  next(block);
}

}  // namespace tarvo::test
