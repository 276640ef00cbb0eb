#include "infra/kelVersion.hpp"

namespace tarvo::oss {

int libraryVersion() noexcept {
  return KELINFRA_VERSION;
}

}  // namespace tarvo::oss
