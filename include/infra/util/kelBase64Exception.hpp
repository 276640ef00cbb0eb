#pragma once

#include "infra/kelExport.hpp"
#include "infra/oss/kelBaseException.hpp"

namespace tarvo::util {

/// The exception for errors of `Base64`. The class differs from `BaseException` only in its type and in
/// `name()`.
class KELINFRA_API Base64Exception : public oss::BaseException {
 public:
  Base64Exception(const icu::UnicodeString& messageID, const char* fileName, unsigned int lineNumber);
  Base64Exception(const Base64Exception& other);
  ~Base64Exception() override;

  /// "Base64Exception"
  const char* name() const override;
};

}  // namespace tarvo::util
