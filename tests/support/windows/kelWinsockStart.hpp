#pragma once

// Must be included before windows.h, which would include the first version of Winsock.
#include <winsock2.h>
// After winsock2.h.
#include <mstcpip.h>
#include <windows.h>
#include <ws2tcpip.h>

#include <string>
#include <system_error>

namespace tarvo::test {

/// Starts Winsock once, so that the sockets of the tests work even if no `Socket` exists. Every support
/// function that calls Winsock calls this first.
inline void winsockStarted() {
  static const int code = [] {
    WSADATA data;
    return ::WSAStartup(0x0202, &data);
  }();
  if (code != 0) throw std::system_error(code, std::system_category(), "WSAStartup");
}

/// Returns the result of a Winsock call; throws if the call failed.
template <class Result>
Result checked(Result result, const char* what) {
  if (result == static_cast<Result>(SOCKET_ERROR)) {
    const int code = ::WSAGetLastError();
    throw std::system_error(code, std::system_category(), what + (" " + std::to_string(code)));
  }
  return result;
}

}  // namespace tarvo::test
