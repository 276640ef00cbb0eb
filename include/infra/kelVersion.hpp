#pragma once

#include "infra/kelExport.hpp"

/// The version of the headers with which a program is compiled. KELINFRA_VERSION_STRING is the text "5.2.1".
/// KELINFRA_VERSION is the number 50201: the minor number and the patch number have two digits each. A
/// preprocessor condition can compare this number, for example `KELINFRA_VERSION >= 50300`.
///
/// The major number increases if existing programs cannot run with the new version of the library. The soname
/// of the shared library contains the major number.
#define KELINFRA_VERSION_MAJOR 5
#define KELINFRA_VERSION_MINOR 2
#define KELINFRA_VERSION_PATCH 1
#define KELINFRA_VERSION \
  (KELINFRA_VERSION_MAJOR * 10000 + KELINFRA_VERSION_MINOR * 100 + KELINFRA_VERSION_PATCH)
#define KELINFRA_VERSION_STRING \
  KELINFRA_VERSION_JOINED(KELINFRA_VERSION_MAJOR, KELINFRA_VERSION_MINOR, KELINFRA_VERSION_PATCH)

/// Only KELINFRA_VERSION_STRING uses this macro.
#define KELINFRA_VERSION_JOINED(major, minor, patch) KELINFRA_VERSION_QUOTED(major, minor, patch)
#define KELINFRA_VERSION_QUOTED(major, minor, patch) #major "." #minor "." #patch

namespace tarvo::oss {

/// Returns the KELINFRA_VERSION of the library with which the program runs. Any thread may call
/// `libraryVersion` at any time. `BuildVersion` returns the version of the library as text, with the protocol
/// version and the build number.
KELINFRA_API int libraryVersion() noexcept;

/// Returns true if a program that is compiled with headers of version `headers` can run with a library of
/// version `library`: both versions must have the same major number, and the library must not be older than
/// the headers.
constexpr bool versionsMatch(int headers, int library) noexcept {
  return headers / 10000 == library / 10000 && headers <= library;
}

/// Returns true if this program can run with the library that was loaded.
inline bool libraryMatchesHeaders() noexcept {
  return versionsMatch(KELINFRA_VERSION, libraryVersion());
}

}  // namespace tarvo::oss
