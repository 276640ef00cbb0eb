#include "platform/kelProcess.hpp"

#include <unistd.h>

namespace tarvo::platform {

unsigned int currentProcess() noexcept {
  return static_cast<unsigned int>(::getpid());
}

}  // namespace tarvo::platform
