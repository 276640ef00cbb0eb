#include "platform/kelProcess.hpp"

#include <windows.h>

namespace tarvo::platform {

unsigned int currentProcess() noexcept {
  return ::GetCurrentProcessId();
}

}  // namespace tarvo::platform
