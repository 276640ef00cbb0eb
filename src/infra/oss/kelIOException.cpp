#include "infra/oss/kelIOException.hpp"

#include "oss/kelDefineException.hpp"

namespace tarvo::oss {

KEL_DEFINE_EXCEPTION(IOException, "IOException")

}  // namespace tarvo::oss
