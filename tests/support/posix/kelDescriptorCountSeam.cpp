#include "support/kelDescriptorCountSeam.hpp"

#include <fcntl.h>
#include <unistd.h>

namespace tarvo::test {

std::size_t openDescriptors() {
  std::size_t count = 0;
  const long most = sysconf(_SC_OPEN_MAX);
  for (int descriptor = 0; descriptor < most && descriptor < 4096; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) >= 0) ++count;
  }
  return count;
}

}  // namespace tarvo::test
