#include "infra/oss/kelSocketException.hpp"

#include "oss/kelDefineException.hpp"

namespace tarvo::oss {

KEL_DEFINE_EXCEPTION(SocketException, "oss::SocketException")

}  // namespace tarvo::oss
