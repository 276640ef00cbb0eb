#include "platform/kelConsole.hpp"

#include <windows.h>

namespace tarvo::platform {

unsigned int systemOemCodePage() noexcept {
  return GetOEMCP();
}

constinit OemCodePage currentOemCodePage = &systemOemCodePage;

}  // namespace tarvo::platform
