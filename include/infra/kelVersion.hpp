#pragma once

#include "infra/kelExport.hpp"

/// The version of the library whose headers a program is compiled with: "5.2.1", or 50201 as one number, in
/// which minor and patch take two digits each. A condition of the preprocessor can compare the number, for
/// example `KELINFRA_VERSION >= 50300`.
///
/// The major number changes with a version that existing programs cannot run with. It is also the number in
/// the shared library's soname.
#define KELINFRA_VERSION_MAJOR 5
#define KELINFRA_VERSION_MINOR 2
#define KELINFRA_VERSION_PATCH 1
#define KELINFRA_VERSION \
  (KELINFRA_VERSION_MAJOR * 10000 + KELINFRA_VERSION_MINOR * 100 + KELINFRA_VERSION_PATCH)
#define KELINFRA_VERSION_STRING \
  KELINFRA_VERSION_JOINED(KELINFRA_VERSION_MAJOR, KELINFRA_VERSION_MINOR, KELINFRA_VERSION_PATCH)

/// Used by KELINFRA_VERSION_STRING only.
#define KELINFRA_VERSION_JOINED(major, minor, patch) KELINFRA_VERSION_QUOTED(major, minor, patch)
#define KELINFRA_VERSION_QUOTED(major, minor, patch) #major "." #minor "." #patch

namespace tarvo::oss {

/// The KELINFRA_VERSION of the library that the program runs with. Any thread may call it at any time.
/// `BuildVersion` has this version as text, with the protocol version and the build number.
KELINFRA_API int libraryVersion() noexcept;

/// Whether a program that is compiled with headers of version `headers` can run with a library of version
/// `library`: both have the same major number, and the library is not older.
constexpr bool versionsMatch(int headers, int library) noexcept {
  return headers / 10000 == library / 10000 && headers <= library;
}

/// Whether this program can run with the library that was loaded.
inline bool libraryMatchesHeaders() noexcept {
  return versionsMatch(KELINFRA_VERSION, libraryVersion());
}

}  // namespace tarvo::oss
