#pragma once

#include "machine/kelByteOrder.hpp"
#include "platform/kelWinsock.hpp"

#include <cstdint>
#include <cstdlib>

/// Checks of arguments that every platform makes before it calls the system, because systems treat invalid
/// arguments differently.
namespace tarvo::platform {

/// Returns 0, or the Winsock code of the error if no socket can have this family and type.
inline int socketRefusal(int family, int type) noexcept {
  constexpr int lastType = 5;  // some systems use further bits as flags
  if (family != familyInet && family != familyInet6) return wsa::familyNotSupported;
  if (type < typeStream || type > lastType) return wsa::socketTypeNotSupported;
  return 0;
}

/// Returns the family of a Winsock address, which has at least two bytes.
inline int familyOf(const unsigned char* address) noexcept {
  return machine::littleEndianAt<std::uint16_t>(address);
}

/// Returns 0 if a Winsock address is valid, otherwise the code of the error. Only IPv4 and IPv6 are accepted.
/// An untrusted record can contain other families, and some systems give these families a meaning. For
/// example, some systems end the connection of a socket if a program connects it to the family "no family".
inline int addressRefusal(const unsigned char* address, std::size_t length) noexcept {
  if (address == nullptr || length < sizeof(std::uint16_t)) return wsa::badAddress;
  const int family = familyOf(address);
  if (family != familyInet && family != familyInet6) return wsa::familyNotSupported;
  return length < (family == familyInet ? inetAddressSize : inet6AddressSize) ? wsa::badAddress : 0;
}

/// Returns true if `service` is a number above the largest port. Some resolvers would reduce such a number
/// modulo 65536.
inline bool isBeyondPorts(const char* service) noexcept {
  constexpr unsigned long mostPort = 65535;
  char* end = nullptr;
  return service != nullptr && std::strtoul(service, &end, 10) > mostPort && *end == '\0';
}

}  // namespace tarvo::platform
