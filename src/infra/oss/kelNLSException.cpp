#include "infra/oss/kelNLSException.hpp"

#include "oss/kelDefineException.hpp"

namespace tarvo::oss {

KEL_DEFINE_EXCEPTION(NLSException, "NLSException")

}  // namespace tarvo::oss
