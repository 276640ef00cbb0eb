#pragma once

#include "infra/kelExport.hpp"
#include "infra/oss/kelBaseException.hpp"

namespace tarvo::oss {

/// The exception for errors of `ByteArrayOutputStream`. The class differs from `BaseException` only in its
/// type and in `name()`.
class KELINFRA_API IOException : public oss::BaseException {
 public:
  IOException(const icu::UnicodeString& messageID, const char* fileName, unsigned int lineNumber);
  IOException(const IOException& other);
  ~IOException() override;

  /// "IOException"
  const char* name() const override;
};

}  // namespace tarvo::oss
