#include "support/kelResolverText.hpp"

#include <netdb.h>

namespace tarvo::test {

std::string textOfAnUnknownService() {
  return ::gai_strerror(EAI_SERVICE);
}

}  // namespace tarvo::test
