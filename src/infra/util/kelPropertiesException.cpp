#include "infra/util/kelPropertiesException.hpp"

#include "oss/kelDefineException.hpp"

namespace tarvo::util {

KEL_DEFINE_EXCEPTION(PropertiesException, "PropertiesException")

}  // namespace tarvo::util
