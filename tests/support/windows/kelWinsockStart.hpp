#pragma once

// Before windows.h, which would bring in the first Winsock.
#include <winsock2.h>
// Behind it.
#include <mstcpip.h>
#include <windows.h>
#include <ws2tcpip.h>

#include <string>
#include <system_error>

namespace tarvo::test {

/// Started once and kept: the tests' own sockets need no `Socket` to live. Every function of the support that calls
/// Winsock goes through here.
inline void winsockStarted() {
  static const int code = [] {
    WSADATA data;
    return ::WSAStartup(0x0202, &data);
  }();
  if (code != 0) throw std::system_error(code, std::system_category(), "WSAStartup");
}

/// The result of a call of Winsock, which must not be a failure.
template <class Result>
Result checked(Result result, const char* what) {
  if (result == static_cast<Result>(SOCKET_ERROR)) {
    const int code = ::WSAGetLastError();
    throw std::system_error(code, std::system_category(), what + (" " + std::to_string(code)));
  }
  return result;
}

}  // namespace tarvo::test
