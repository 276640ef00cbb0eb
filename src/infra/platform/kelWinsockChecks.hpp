#pragma once

#include "platform/kelWinsock.hpp"

#include <cstdint>
#include <cstdlib>
#include <cstring>

/// What is refused on every platform before the system is asked, because systems differ in what they make of it.
namespace tarvo::platform {

/// 0, or why there is no such socket.
inline int socketRefusal(int family, int type) noexcept {
  constexpr int lastType = 5;  // further bits are flags to some systems, not types
  if (family != familyInet && family != familyInet6) return wsa::familyNotSupported;
  if (type < typeStream || type > lastType) return wsa::socketTypeNotSupported;
  return 0;
}

/// 0, or what is wrong with a Winsock address. Only IPv4 and IPv6 pass: what else a stranger's record may hold could
/// mean something to the system, "no family" even the end of a connection.
inline int addressRefusal(const unsigned char* address, std::size_t length) noexcept {
  std::uint16_t family = 0;
  if (address == nullptr || length < sizeof family) return wsa::badAddress;
  std::memcpy(&family, address, sizeof family);
  if (family != familyInet && family != familyInet6) return wsa::familyNotSupported;
  return length < (family == familyInet ? inetAddressSize : inet6AddressSize) ? wsa::badAddress : 0;
}

/// Whether `service` is a number that no port has. Some resolvers would take it modulo 65536.
inline bool isBeyondPorts(const char* service) noexcept {
  constexpr unsigned long mostPort = 65535;
  char* end = nullptr;
  return service != nullptr && std::strtoul(service, &end, 10) > mostPort && *end == '\0';
}

}  // namespace tarvo::platform
