#pragma once

#include "infra/oss/kelSocketException.hpp"

#include "oss/kelRaise.hpp"

#include <unicode/unistr.h>

#include <string>

/// The only mapping from Winsock codes to the errors that callers see.
namespace tarvo::oss {

/// The host and port in an error. Without a host the error carries neither.
struct Peer {
  const icu::UnicodeString* host = nullptr;
  unsigned int port = 0;
};

/// The exception for `code`: an identifier for this code with (host, port), or QN_ERR_SOCKET_ERROR with
/// (code, host, port).
SocketException mappedError(int code, const Peer& peer, SourcePlace place);

/// Throws the exception for `code`. Read the code of a failed call before any clean-up call.
[[noreturn]] void raiseMapped(int code, const Peer& peer,
                              SourcePlace place = SourcePlace::here(__builtin_FILE(), __builtin_LINE()));

/// Throws the exception for the call that has just failed in this thread.
[[noreturn]] void raiseLastError(const Peer& peer,
                                 SourcePlace place = SourcePlace::here(__builtin_FILE(), __builtin_LINE()));

/// Throws ERR_SOCKET_GETADDRINFO_ERROR (host, port, code, the system's text).
[[noreturn]] void raiseResolverError(int code, const Peer& peer,
                                     SourcePlace place = SourcePlace::here(__builtin_FILE(),
                                                                           __builtin_LINE()));

/// A port as the service text for the resolver.
std::string serviceText(unsigned int port);

}  // namespace tarvo::oss
