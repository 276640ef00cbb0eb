#include "support/kelThreadEnd.hpp"

#include <windows.h>

#include <memory>
#include <stdexcept>
#include <utility>

namespace tarvo::test {

// The system calls the callbacks of the slots in the order in which the slots were allocated.
void atThreadEnd(std::function<void()> action) {
  static const DWORD slot = ::FlsAlloc([](void* data) WINAPI {
    const std::unique_ptr<std::function<void()>> last(static_cast<std::function<void()>*>(data));
    (*last)();
  });
  if (::FlsSetValue(slot, new std::function<void()>(std::move(action))) == 0)
    throw std::runtime_error("no slot for the end of a thread");
}

}  // namespace tarvo::test
