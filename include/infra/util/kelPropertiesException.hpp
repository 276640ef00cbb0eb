#pragma once

#include "infra/kelExport.hpp"
#include "infra/oss/kelBaseException.hpp"

namespace tarvo::util {

/// Raised by `ExtendedProperties`, for errors of the map and of its text format. The class differs from
/// `BaseException` only in its type and `name()`.
class KELINFRA_API PropertiesException : public oss::BaseException {
 public:
  PropertiesException(const icu::UnicodeString& messageID, const char* fileName, unsigned int lineNumber);
  PropertiesException(const PropertiesException& other);
  ~PropertiesException() override;

  /// "PropertiesException"
  const char* name() const override;
};

}  // namespace tarvo::util
