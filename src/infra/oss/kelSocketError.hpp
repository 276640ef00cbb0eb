#pragma once

#include "infra/oss/kelSocketException.hpp"

#include "oss/kelRaise.hpp"

#include <unicode/unistr.h>

#include <array>
#include <string>

/// The only mapping from Winsock codes to the errors that callers see.
namespace tarvo::oss {

struct SocketErrorName {
  int code;
  const char* identifier;
};

inline constexpr std::array<SocketErrorName, 6> socketErrorNames = {{
    {10048, "QN_ERR_SOCKET_ADDRESS_IN_USE"},
    {10054, "QN_ERR_SOCKET_CONNECTION_RESET"},
    {10057, "QN_ERR_SOCKET_NOT_CONNECTED"},
    {10058, "QN_ERR_SOCKET_SHUTDOWN"},
    {10060, "QN_ERR_SOCKET_TIMEOUT"},
    {10061, "QN_ERR_SOCKET_CONNECTION_REFUSED"},
}};

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
