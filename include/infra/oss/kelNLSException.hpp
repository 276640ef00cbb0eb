#pragma once

#include "infra/kelExport.hpp"
#include "infra/oss/kelBaseException.hpp"

namespace tarvo::oss {

/// The exception for errors in text, code pages, number formats, UTF-8, message lists and `DataBuffer`. The
/// class differs from `BaseException` only in its type and in `name()`.
class KELINFRA_API NLSException : public oss::BaseException {
 public:
  NLSException(const icu::UnicodeString& messageID, const char* fileName, unsigned int lineNumber);
  NLSException(const NLSException& other);
  ~NLSException() override;

  /// "NLSException"
  const char* name() const override;
};

}  // namespace tarvo::oss
