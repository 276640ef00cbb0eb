#include "platform/posix/kelLastError.hpp"

namespace tarvo::platform::posix {
namespace {

thread_local constinit int code = 0;

}  // namespace

int lastError() noexcept {
  return code;
}

void setLastError(int newCode) noexcept {
  code = newCode;
}

}  // namespace tarvo::platform::posix
