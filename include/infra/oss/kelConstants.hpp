#pragma once

#include "infra/kelExport.hpp"

namespace tarvo::oss {

/// The names of three properties that programs share: they configure a program's constructor of documents,
/// which is not a part of this library. The names are NUL-terminated ASCII texts, and are valid from the
/// start of the process to its end.
class KELINFRA_API Constants {
 public:
  Constants() = delete;

  // NOLINTBEGIN(modernize-avoid-c-arrays): programs depend on the types of these arrays
  static const char DOCUMENT_CONSTRUCTOR_NAME[10];    ///< "ctor.name"
  static const char DOCUMENT_CONSTRUCTOR_CONFIG[12];  ///< "ctor.config"
  static const char DOCUMENT_CONSTRUCTOR_DATA[14];    ///< "ctor.doc.data"
  // NOLINTEND(modernize-avoid-c-arrays)
};

}  // namespace tarvo::oss
