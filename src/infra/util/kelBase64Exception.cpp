#include "infra/util/kelBase64Exception.hpp"

#include "oss/kelDefineException.hpp"

namespace tarvo::util {

KEL_DEFINE_EXCEPTION(Base64Exception, "Base64Exception")

}  // namespace tarvo::util
