#include "platform/kelConsole.hpp"

namespace tarvo::platform {

unsigned int systemOemCodePage() noexcept {
  return 437;
}

constinit OemCodePage currentOemCodePage = &systemOemCodePage;

}  // namespace tarvo::platform
