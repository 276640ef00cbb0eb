#pragma once

#include "infra/kelExport.hpp"
#include "infra/oss/kelBaseException.hpp"

namespace tarvo::util {

/// The exception for errors of `ExtendedProperties`. The class differs from `BaseException` only in its type
/// and in `name()`.
class KELINFRA_API PropertiesException : public oss::BaseException {
 public:
  PropertiesException(const icu::UnicodeString& messageID, const char* fileName, unsigned int lineNumber);
  PropertiesException(const PropertiesException& other);
  ~PropertiesException() override;

  /// "PropertiesException"
  const char* name() const override;
};

}  // namespace tarvo::util
