#pragma once

#include "infra/kelExport.hpp"
#include "infra/oss/kelBaseException.hpp"

namespace tarvo::oss {

/// The exception for errors of `Socket`, `SocketServer`, `Poller` and `Wakeup`. The class differs from
/// `BaseException` only in its type and in `name()`.
class KELINFRA_API SocketException : public oss::BaseException {
 public:
  SocketException(const icu::UnicodeString& messageID, const char* fileName, unsigned int lineNumber);
  SocketException(const SocketException& other);
  ~SocketException() override;

  /// "oss::SocketException"
  const char* name() const override;
};

}  // namespace tarvo::oss
