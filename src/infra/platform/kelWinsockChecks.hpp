#pragma once

#include "machine/kelByteOrder.hpp"
#include "platform/kelWinsock.hpp"

#include <cstdint>
#include <cstdlib>

/// Arguments that are refused on every platform before the system is called, because systems differ in how
/// they treat them.
namespace tarvo::platform {

/// Returns 0, or the code if there is no such socket.
inline int socketRefusal(int family, int type) noexcept {
  constexpr int lastType = 5;  // some systems use further bits as flags
  if (family != familyInet && family != familyInet6) return wsa::familyNotSupported;
  if (type < typeStream || type > lastType) return wsa::socketTypeNotSupported;
  return 0;
}

/// The family of a Winsock address of at least two bytes.
inline int familyOf(const unsigned char* address) noexcept {
  return machine::littleEndianAt<std::uint16_t>(address);
}

/// Returns 0, or the code that says what is wrong with a Winsock address. Only IPv4 and IPv6 are accepted:
/// other families in an untrusted record could have a meaning for the system; "no family" can even end a
/// connection.
inline int addressRefusal(const unsigned char* address, std::size_t length) noexcept {
  if (address == nullptr || length < sizeof(std::uint16_t)) return wsa::badAddress;
  const int family = familyOf(address);
  if (family != familyInet && family != familyInet6) return wsa::familyNotSupported;
  return length < (family == familyInet ? inetAddressSize : inet6AddressSize) ? wsa::badAddress : 0;
}

/// Whether `service` is a number above the largest port. Some resolvers would reduce it modulo 65536.
inline bool isBeyondPorts(const char* service) noexcept {
  constexpr unsigned long mostPort = 65535;
  char* end = nullptr;
  return service != nullptr && std::strtoul(service, &end, 10) > mostPort && *end == '\0';
}

}  // namespace tarvo::platform
