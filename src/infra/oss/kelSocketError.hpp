#pragma once

#include "infra/oss/kelSocketException.hpp"

#include "oss/kelRaise.hpp"

#include <unicode/unistr.h>

#include <string>

/// The mapping from Winsock codes to the errors that callers see. All socket errors use this mapping.
namespace tarvo::oss {

/// The host and port for an error. If `host` is null, the error is QN_ERR_SOCKET_ERROR, and its only argument
/// is the code.
struct Peer {
  const icu::UnicodeString* host = nullptr;
  unsigned int port = 0;
};

/// Returns the exception for `code`. If the table has an identifier for this code, the arguments are (host,
/// port); otherwise the identifier is QN_ERR_SOCKET_ERROR and the arguments are (code, host, port).
SocketException mappedError(int code, const Peer& peer, SourcePlace place);

/// Throws the exception for `code`. Read the code of a failed call before you make other calls to clean up.
[[noreturn]] void raiseMapped(int code, const Peer& peer,
                              SourcePlace place = SourcePlace::here(__builtin_FILE(), __builtin_LINE()));

/// Throws the exception for the last call of the platform layer that failed in this thread.
[[noreturn]] void raiseLastError(const Peer& peer,
                                 SourcePlace place = SourcePlace::here(__builtin_FILE(), __builtin_LINE()));

/// Throws ERR_SOCKET_GETADDRINFO_ERROR (host, port, code, the system's text).
[[noreturn]] void raiseResolverError(int code, const Peer& peer,
                                     SourcePlace place = SourcePlace::here(__builtin_FILE(),
                                                                           __builtin_LINE()));

/// Returns the decimal text of a port, which the resolver accepts as the name of a service.
std::string serviceText(unsigned int port);

}  // namespace tarvo::oss
